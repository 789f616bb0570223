#include <KestrelPlatform/Base64.h>

#include <array>

namespace kestrel::platform {
namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::int8_t kInvalid = -1;

constexpr std::array<std::int8_t, 256> makeDecodeTable() {
  std::array<std::int8_t, 256> table{};
  table.fill(kInvalid);
  for (int i = 0; i < 64; ++i)
    table[static_cast<unsigned char>(kAlphabet[i])] = static_cast<std::int8_t>(i);
  return table;
}

constexpr std::array<std::int8_t, 256> kDecodeTable = makeDecodeTable();

int sextet(char c) {
  return kDecodeTable[static_cast<unsigned char>(c)];
}

}  // namespace

std::string base64Encode(std::span<const std::uint8_t> bytes) {
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  std::size_t i = 0;
  for (; i + 3 <= bytes.size(); i += 3) {
    const std::uint32_t group = (std::uint32_t{bytes[i]} << 16) |
                                (std::uint32_t{bytes[i + 1]} << 8) | std::uint32_t{bytes[i + 2]};
    text.push_back(kAlphabet[(group >> 18) & 0x3F]);
    text.push_back(kAlphabet[(group >> 12) & 0x3F]);
    text.push_back(kAlphabet[(group >> 6) & 0x3F]);
    text.push_back(kAlphabet[group & 0x3F]);
  }
  const std::size_t rest = bytes.size() - i;
  if (rest == 1) {
    const std::uint32_t group = std::uint32_t{bytes[i]} << 16;
    text.push_back(kAlphabet[(group >> 18) & 0x3F]);
    text.push_back(kAlphabet[(group >> 12) & 0x3F]);
    text.append("==");
  } else if (rest == 2) {
    const std::uint32_t group =
        (std::uint32_t{bytes[i]} << 16) | (std::uint32_t{bytes[i + 1]} << 8);
    text.push_back(kAlphabet[(group >> 18) & 0x3F]);
    text.push_back(kAlphabet[(group >> 12) & 0x3F]);
    text.push_back(kAlphabet[(group >> 6) & 0x3F]);
    text.push_back('=');
  }
  return text;
}

std::string base64Encode(std::string_view bytes) {
  return base64Encode(std::span<const std::uint8_t>(
      reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()));
}

std::optional<std::vector<std::uint8_t>> base64Decode(std::string_view text) {
  if (text.size() % 4 != 0) return std::nullopt;
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  for (std::size_t i = 0; i < text.size(); i += 4) {
    const bool last = i + 4 == text.size();
    // Padding may only close the final group: "xx==" or "xxx=".
    std::size_t padding = 0;
    if (last && text[i + 3] == '=') padding = text[i + 2] == '=' ? 2 : 1;
    std::uint32_t group = 0;
    for (std::size_t k = 0; k < 4 - padding; ++k) {
      const int value = sextet(text[i + k]);
      if (value == kInvalid) return std::nullopt;
      group = (group << 6) | static_cast<std::uint32_t>(value);
    }
    group <<= 6 * padding;
    bytes.push_back(static_cast<std::uint8_t>(group >> 16));
    if (padding == 2) {
      if ((group & 0xFFFF) != 0) return std::nullopt;  // leftover bits must be zero
      break;
    }
    bytes.push_back(static_cast<std::uint8_t>(group >> 8));
    if (padding == 1) {
      if ((group & 0xFF) != 0) return std::nullopt;
      break;
    }
    bytes.push_back(static_cast<std::uint8_t>(group));
  }
  return bytes;
}

}  // namespace kestrel::platform
