// Fuzz target: the stored text of field translations (Base64 of JSON).
//
// Input: the first byte picks what the rest is:
//   0  a column's text as the tables read it (Base64, then JSON);
//   1  the JSON itself, Base64-encoded here, so the JSON decoder is reached;
//   2  a value to store: pairs of arbitrary byte strings for the two maps.
//
// Promises checked:
//   - a text decodes to a value or to nothing, never anything else;
//   - Base64 has one text per byte string: a text that decodes is exactly
//     the encoding of its bytes;
//   - a decoded value stored again reads back equal, and its stored text is
//     the Base64 of the JSON the value writes;
//   - the direct JSON writer and nlohmann's writer give the same text;
//   - a value with valid UTF-8 texts round-trips exactly; any other value
//     still stores a text that reads back as a value.
#include "FuzzSupport.h"

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelModel/FieldTranslations.h>
#include <KestrelPlatform/Base64.h>

using namespace kestrel;
using model::FieldTranslations;

namespace {

bool isValidUtf8(const std::string& text) {
  const nlohmann::json json = text;
  try {
    (void)json.dump();
    return true;
  } catch (const nlohmann::json::exception&) {
    return false;
  }
}

void checkStoredValue(const FieldTranslations& value, bool exact) {
  const auto stored = DBTableAbstract::convertFieldTranslationsToString(value);
  fuzz::check(stored.has_value(), "a value always has a stored text");
  const auto bytes = platform::base64Decode(*stored);
  fuzz::check(bytes.has_value(), "the stored text is Base64");
  const std::string json(bytes->begin(), bytes->end());
  fuzz::check(json == value.toJson(), "the stored text is the Base64 of the value's JSON");
  const nlohmann::json viaLibrary = value;
  fuzz::check(json == viaLibrary.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace),
              "the direct JSON writer agrees with nlohmann's", fuzz::shown(json));
  const auto back = DBTableAbstract::convertStringToFieldTranslations(stored);
  fuzz::check(back.has_value(), "a stored text reads back as a value", fuzz::shown(json));
  if (exact) fuzz::check(*back == value, "a value reads back as it was stored", fuzz::shown(json));
}

void readStoredText(const std::string& text) {
  const auto bytes = platform::base64Decode(text);
  if (bytes) {
    fuzz::check(platform::base64Encode(*bytes) == text,
                "a valid Base64 text is the one encoding of its bytes", fuzz::shown(text));
  }
  const auto value = DBTableAbstract::convertStringToFieldTranslations(text);
  if (!bytes) {
    fuzz::check(!value, "invalid Base64 reads as no value");
    return;
  }
  if (value) checkStoredValue(*value, /*exact=*/true);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::FuzzInput in(data, size);
  switch (in.byte() % 3) {
    case 0:
      readStoredText(in.rest());
      break;
    case 1:
      readStoredText(platform::base64Encode(in.rest()));
      break;
    default: {
      FieldTranslations value;
      bool valid = true;
      while (!in.empty()) {
        auto& map = in.flag() ? value.nameTranslation : value.shortNameTranslation;
        std::string key = in.text(32);
        std::string name = in.text(64);
        valid = valid && isValidUtf8(key) && isValidUtf8(name);
        map[std::move(key)] = std::move(name);
      }
      checkStoredValue(value, valid);
    }
  }
  return 0;
}
