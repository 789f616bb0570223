#include <KestrelPlatform/Base64.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kestrel::platform {
namespace {

std::vector<std::uint8_t> bytesOf(std::string_view text) {
  return {text.begin(), text.end()};
}

// The test vectors of RFC 4648, section 10.
const std::pair<const char*, const char*> kVectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
};

TEST(Base64Test, EncodesAndDecodesTheStandardVectors) {
  for (const auto& [plain, encoded] : kVectors) {
    EXPECT_EQ(base64Encode(std::string_view(plain)), encoded) << plain;
    const auto decoded = base64Decode(encoded);
    ASSERT_TRUE(decoded.has_value()) << encoded;
    EXPECT_EQ(*decoded, bytesOf(plain)) << encoded;
  }
}

TEST(Base64Test, UsesPlusAndSlashWithoutLineBreaks) {
  const std::vector<std::uint8_t> high = {0xFB, 0xFF, 0xBF};
  EXPECT_EQ(base64Encode(high), "+/+/");
  // 120 bytes encode to 160 characters on one line (MIME would break at 76).
  const std::string longText = base64Encode(std::string(120, 'x'));
  EXPECT_EQ(longText.size(), 160u);
  EXPECT_EQ(longText.find_first_of("\r\n"), std::string::npos);
}

TEST(Base64Test, RoundTripsEveryByteValue) {
  std::vector<std::uint8_t> all(256);
  for (int i = 0; i < 256; ++i) all[i] = static_cast<std::uint8_t>(i);
  // Every length mod 3 so each padding form is exercised with binary data.
  for (std::size_t drop = 0; drop < 3; ++drop) {
    const std::vector<std::uint8_t> bytes(all.begin() + static_cast<std::ptrdiff_t>(drop),
                                          all.end());
    const auto decoded = base64Decode(base64Encode(bytes));
    ASSERT_TRUE(decoded.has_value());
    EXPECT_EQ(*decoded, bytes);
  }
}

TEST(Base64Test, EmptyTextDecodesToNoBytes) {
  const auto decoded = base64Decode("");
  ASSERT_TRUE(decoded.has_value());
  EXPECT_TRUE(decoded->empty());
}

TEST(Base64Test, RejectsWhitespaceAnywhere) {
  for (const char* text :
       {"Zm9v\nYmFy", "Zm9vYmFy\n", " Zm9vYmFy", "Zm9v YmFy", "Zm9v\r\nYmFy", "Zm9v\tYmFy"}) {
    EXPECT_FALSE(base64Decode(text).has_value()) << text;
  }
}

TEST(Base64Test, RejectsCharactersOutsideTheAlphabet) {
  // URL-safe letters, a NUL byte and non-ASCII bytes are all foreign.
  for (const std::string& text : {std::string("Zm9-"), std::string("Zm9_"), std::string("Zm9\0", 4),
                                 std::string("Zm9\xC3"), std::string("Zm.v")}) {
    EXPECT_FALSE(base64Decode(text).has_value()) << text;
  }
}

TEST(Base64Test, RejectsBadPadding) {
  for (const char* text : {
           "Zg",        // missing padding
           "Zg=",       // short padding
           "Zm9",       // length not a multiple of four
           "Zg===",     // too much padding
           "Z===",      // three padding characters
           "====",      // padding only
           "Zg==Zm9v",  // padding before the end
           "Zm=v",      // "=" between data characters
           "=m9v",      // "=" first
       }) {
    EXPECT_FALSE(base64Decode(text).has_value()) << text;
  }
}

TEST(Base64Test, RejectsNonZeroBitsLeftOverByPadding) {
  // "Zh==" and "Zm9=" carry bits beyond the last byte; only "Zg==" and
  // "Zm8=" are the canonical texts of those bytes.
  EXPECT_FALSE(base64Decode("Zh==").has_value());
  EXPECT_FALSE(base64Decode("Zm9=").has_value());
  EXPECT_TRUE(base64Decode("Zg==").has_value());
  EXPECT_TRUE(base64Decode("Zm8=").has_value());
}

}  // namespace
}  // namespace kestrel::platform
