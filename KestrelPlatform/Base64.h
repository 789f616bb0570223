// Base64 text of bytes: the standard alphabet (A-Z a-z 0-9 + /) with "="
// padding and no line breaks, and a strict decoder for the same form.
//
// The decoder accepts exactly what the encoder produces. The text is invalid
// (std::nullopt) when its length is not a multiple of four, when it holds any
// character outside the alphabet (whitespace and line breaks included), when
// "=" appears anywhere but as one or two final characters, or when the bits
// that padding leaves over in the last group are not zero (so every byte
// sequence has exactly one valid text). Empty text decodes to no bytes.
//
// Thread-safety: pure functions, callable from any thread.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

/// The Base64 text of the bytes.
std::string base64Encode(std::span<const std::uint8_t> bytes);

/// The Base64 text of the bytes of a string (taken as they are, no encoding).
std::string base64Encode(std::string_view bytes);

/// The bytes of a Base64 text, or std::nullopt when the text is invalid.
std::optional<std::vector<std::uint8_t>> base64Decode(std::string_view text);

}  // namespace kestrel::platform
