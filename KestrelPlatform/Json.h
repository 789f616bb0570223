// JSON values for the whole system, through nlohmann-json, with helpers that
// never throw: a text that does not parse, or a value that cannot be written
// (a string that is not valid UTF-8), gives std::nullopt instead of an
// exception.
//
// Thread-safety: the helpers are pure; a Json value is as thread-safe as any
// standard container (concurrent reads are fine, writes need a lock).
#pragma once

#include <nlohmann/json.hpp>

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace kestrel::platform {

using Json = nlohmann::json;

/// The value of a complete JSON text (any top-level value; surrounding
/// whitespace allowed, nothing else after it), or std::nullopt.
std::optional<Json> parseJson(std::string_view text);

/// The same for JSON bytes (such as the result of base64Decode).
std::optional<Json> parseJson(std::span<const std::uint8_t> bytes);

/// The compact JSON text of a value (no spaces; object keys sorted, as Json
/// keeps them), or std::nullopt when a string in it is not valid UTF-8.
std::optional<std::string> dumpJson(const Json& value);

}  // namespace kestrel::platform
