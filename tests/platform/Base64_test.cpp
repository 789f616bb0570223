#include <KestrelPlatform/Base64.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kestrel::platform {
namespace {

TEST(Base64Test, EncodesWithPlusSlashAndPaddingOnOneLineAndRoundTripsEveryByte) {
  EXPECT_EQ(base64Encode(std::string_view("f")), "Zg==");  // RFC 4648 vectors
  EXPECT_EQ(base64Encode(std::string_view("fo")), "Zm8=");
  EXPECT_EQ(base64Encode(std::string_view("foobar")), "Zm9vYmFy");
  EXPECT_EQ(base64Encode(std::vector<std::uint8_t>{0xFB, 0xFF, 0xBF}), "+/+/");
  // 120 bytes encode to 160 characters on one line (MIME would break at 76).
  EXPECT_EQ(base64Encode(std::string(120, 'x')).find_first_of("\r\n"), std::string::npos);
  std::vector<std::uint8_t> all(256);
  for (int i = 0; i < 256; ++i) all[i] = static_cast<std::uint8_t>(i);
  EXPECT_EQ(base64Decode(base64Encode(all)), all);
  EXPECT_EQ(base64Decode("Zm8="), (std::vector<std::uint8_t>{'f', 'o'}));
  EXPECT_EQ(base64Decode(""), std::vector<std::uint8_t>());
}

TEST(Base64Test, RejectsAnythingButTheCanonicalText) {
  for (const std::string& text : {
           std::string("Zm9v\nYmFy"),  // whitespace, even a line break
           std::string("Zm9-"),        // URL-safe alphabet
           std::string("Zm9\0", 4),    // NUL byte
           std::string("Zg"),          // missing padding
           std::string("Zg==="),       // too much padding
           std::string("Zg==Zm9v"),    // padding before the end
           std::string("Zm=v"),        // "=" between data characters
           std::string("Zh=="),        // non-zero bits left over by the padding
       }) {
    EXPECT_FALSE(base64Decode(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace kestrel::platform
