#include <KestrelPlatform/Base64.h>
#include <KestrelPlatform/Json.h>

#include <gtest/gtest.h>

namespace kestrel::platform {
namespace {

TEST(JsonTest, ParsesACompleteText) {
  const auto value = parseJson(R"( {"en": "Goal", "ids": [1, 2.5, null], "ok": true} )");
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ((*value)["en"], "Goal");
  EXPECT_EQ((*value)["ids"][1], 2.5);
  EXPECT_TRUE((*value)["ids"][2].is_null());
}

TEST(JsonTest, InvalidTextGivesNoValueWithoutThrowing) {
  for (const char* text :
       {"", "   ", "{", "{\"a\":1} trailing", "[1,]", "{'a':1}", "nul", "\"unterminated"}) {
    EXPECT_FALSE(parseJson(std::string_view(text)).has_value()) << text;
  }
}

TEST(JsonTest, ParsesBytesSuchAsDecodedBase64) {
  const auto bytes = base64Decode(base64Encode(std::string_view(R"({"de":"Tor"})")));
  ASSERT_TRUE(bytes.has_value());
  const auto value = parseJson(std::span<const std::uint8_t>(*bytes));
  ASSERT_TRUE(value.has_value());
  EXPECT_EQ((*value)["de"], "Tor");
  // No bytes at all is not JSON.
  EXPECT_FALSE(parseJson(std::span<const std::uint8_t>()).has_value());
}

TEST(JsonTest, DumpIsCompactAndRefusesInvalidUtf8) {
  Json value = Json::object();
  value["b"] = 1;
  value["a"] = "x";
  EXPECT_EQ(dumpJson(value), R"({"a":"x","b":1})");
  value["bad"] = std::string("\xFF\xFE");
  EXPECT_FALSE(dumpJson(value).has_value());
}

}  // namespace
}  // namespace kestrel::platform
