#include <KestrelModel/FieldTranslations.h>

namespace kestrel::model {

namespace {

// Whether text is well-formed UTF-8 (no overlongs, surrogates or values above
// U+10FFFF), the only text the direct writer below handles.
bool isValidUtf8(std::string_view text) {
  const auto* p = reinterpret_cast<const unsigned char*>(text.data());
  const auto* end = p + text.size();
  while (p < end) {
    const unsigned char c = *p;
    int extra = 0;
    if (c < 0x80) {
      ++p;
      continue;
    }
    if (c >= 0xC2 && c <= 0xDF)
      extra = 1;
    else if (c >= 0xE0 && c <= 0xEF)
      extra = 2;
    else if (c >= 0xF0 && c <= 0xF4)
      extra = 3;
    else
      return false;
    if (end - p <= extra) return false;
    const unsigned char second = p[1];
    if ((c == 0xE0 && second < 0xA0) || (c == 0xED && second > 0x9F) ||
        (c == 0xF0 && second < 0x90) || (c == 0xF4 && second > 0x8F)) {
      return false;
    }
    for (int i = 1; i <= extra; ++i) {
      if ((p[i] & 0xC0) != 0x80) return false;
    }
    p += extra + 1;
  }
  return true;
}

// Writes a JSON string the way nlohmann does with ensure_ascii off.
void appendJsonString(std::string& out, std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  for (const char ch : text) {
    const auto c = static_cast<unsigned char>(ch);
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\b':
        out += "\\b";
        break;
      case '\f':
        out += "\\f";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20) {
          out += "\\u00";
          out += kHex[c >> 4];
          out += kHex[c & 0xF];
        } else {
          out += ch;
        }
    }
  }
  out += '"';
}

bool appendJsonObject(std::string& out, const std::map<std::string, std::string>& map) {
  out += '{';
  bool first = true;
  for (const auto& [key, value] : map) {
    if (!isValidUtf8(key) || !isValidUtf8(value)) return false;
    if (!first) out += ',';
    first = false;
    appendJsonString(out, key);
    out += ':';
    appendJsonString(out, value);
  }
  out += '}';
  return true;
}

}  // namespace

std::string FieldTranslations::toJson() const {
  // Written directly: this runs for every translated column of every row the
  // tables write. Text that is not valid UTF-8 goes through nlohmann, which
  // replaces the bad bytes; both give the same text for valid input.
  std::string out;
  out.reserve(64);
  out += "{\"";
  out += kNameTranslationKey;
  out += "\":";
  bool valid = appendJsonObject(out, nameTranslation);
  out += ",\"";
  out += kShortNameTranslationKey;
  out += "\":";
  valid = valid && appendJsonObject(out, shortNameTranslation);
  out += '}';
  if (valid) return out;
  const nlohmann::json json = *this;
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<FieldTranslations> FieldTranslations::fromJson(std::string_view json) {
  const nlohmann::json parsed = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
  if (parsed.is_discarded() || !parsed.is_object()) {
    return std::nullopt;
  }
  try {
    return parsed.get<FieldTranslations>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

void to_json(nlohmann::json& json, const FieldTranslations& translations) {
  json = nlohmann::json{
      {FieldTranslations::kNameTranslationKey, translations.nameTranslation},
      {FieldTranslations::kShortNameTranslationKey, translations.shortNameTranslation},
  };
}

void from_json(const nlohmann::json& json, FieldTranslations& translations) {
  if (!json.is_object()) {
    throw nlohmann::json::type_error::create(302, "field translations must be an object", &json);
  }
  FieldTranslations decoded;
  if (json.contains(FieldTranslations::kNameTranslationKey)) {
    json.at(FieldTranslations::kNameTranslationKey).get_to(decoded.nameTranslation);
  }
  if (json.contains(FieldTranslations::kShortNameTranslationKey)) {
    json.at(FieldTranslations::kShortNameTranslationKey).get_to(decoded.shortNameTranslation);
  }
  translations = std::move(decoded);
}

}  // namespace kestrel::model
