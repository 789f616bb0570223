#include <KestrelPlatform/Json.h>

namespace kestrel::platform {
namespace {

template <class Input>
std::optional<Json> parse(Input first, Input last) {
  // Without exceptions the parser marks a failure as a "discarded" value.
  Json value = Json::parse(first, last, /*cb=*/nullptr, /*allow_exceptions=*/false);
  if (value.is_discarded()) return std::nullopt;
  return value;
}

}  // namespace

std::optional<Json> parseJson(std::string_view text) {
  return parse(text.data(), text.data() + text.size());
}

std::optional<Json> parseJson(std::span<const std::uint8_t> bytes) {
  return parse(bytes.data(), bytes.data() + bytes.size());
}

std::optional<std::string> dumpJson(const Json& value) {
  try {
    return value.dump();
  } catch (const Json::exception&) {
    return std::nullopt;  // invalid UTF-8 in a string
  }
}

}  // namespace kestrel::platform
