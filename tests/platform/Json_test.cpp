#include <KestrelPlatform/Json.h>

#include <gtest/gtest.h>

#include <vector>

namespace kestrel::platform {
namespace {

TEST(JsonTest, ParsesCompleteTextsOnlyWithoutThrowing) {
  EXPECT_EQ((*parseJson(R"( {"en": "Goal", "ids": [1, 2.5, null]} )"))["ids"][1], 2.5);
  const std::vector<std::uint8_t> bytes = {'[', '7', ']'};
  EXPECT_EQ((*parseJson(std::span<const std::uint8_t>(bytes)))[0], 7);
  for (const char* text : {"", "{", "{\"a\":1} trailing", "[1,]", "{'a':1}"}) {
    EXPECT_FALSE(parseJson(std::string_view(text)).has_value()) << text;
  }
  EXPECT_FALSE(parseJson(std::span<const std::uint8_t>()).has_value());
}

TEST(JsonTest, DumpIsCompactAndRefusesInvalidUtf8) {
  Json value = {{"b", 1}, {"a", "x"}};
  EXPECT_EQ(dumpJson(value), R"({"a":"x","b":1})");
  value["bad"] = std::string("\xFF\xFE");
  EXPECT_FALSE(dumpJson(value).has_value());
}

}  // namespace
}  // namespace kestrel::platform
