#include <KestrelModel/FieldTranslations.h>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace kestrel::model {
namespace {

TEST(FieldTranslationsTest, JsonRoundTripKeepsBothMapsInTheStoredForm) {
  FieldTranslations original;
  original.nameTranslation = {{"de", "Bayern München"}, {"ru", "Бавария"}};
  original.shortNameTranslation = {{"pt-BR", "Baviera \"B\""}};
  EXPECT_EQ(FieldTranslations::fromJson(original.toJson()), original);

  FieldTranslations names;
  names.nameTranslation = {{"en", "Kestrels"}, {"de", "Falken"}};
  EXPECT_EQ(names.toJson(),
            R"({"nameTranslation":{"de":"Falken","en":"Kestrels"},"shortNameTranslation":{}})");
  // Missing keys decode as empty maps; unknown keys are ignored.
  EXPECT_EQ(FieldTranslations::fromJson(R"({"nameTranslation":{"en":"Kestrels"},"x":1})"),
            (FieldTranslations{.nameTranslation = {{"en", "Kestrels"}}}));
}

TEST(FieldTranslationsTest, InvalidInputGivesNoValueWithoutThrowing) {
  for (const char* text : {"", "{} trailing", "null", "[]", R"({"nameTranslation":[]})",
                           R"({"nameTranslation":{"de":1}})"}) {
    std::optional<FieldTranslations> decoded;
    EXPECT_NO_THROW(decoded = FieldTranslations::fromJson(text)) << text;
    EXPECT_FALSE(decoded.has_value()) << text;
  }
  // Text that is not UTF-8 is written with a replacement character.
  FieldTranslations broken;
  broken.nameTranslation = {{"de", std::string("Caf\xE9", 4)}};
  std::string json;
  EXPECT_NO_THROW(json = broken.toJson());
  EXPECT_EQ(FieldTranslations::fromJson(json)->nameTranslation.at("de"), "Caf\xEF\xBF\xBD");
}

// The stored text is written directly, not through nlohmann; it must stay the
// exact text nlohmann writes, or stored values would change form.
TEST(FieldTranslationsTest, DirectWriterMatchesTheJsonLibraryOnAwkwardText) {
  FieldTranslations t;
  t.nameTranslation = {{"de", "Say \"hi\" \\ back"},
                       {"hr", "Dinamo \u0160ibenik"},
                       {"x\ny", std::string("tab\there\x01\x1f\x7f", 12)},
                       {"zh", "\xE5\x8C\x97\xE4\xBA\xAC \xF0\x9F\x8F\x86"}};
  t.shortNameTranslation = {{"en", ""}};
  const nlohmann::json viaLibrary = t;
  EXPECT_EQ(t.toJson(), viaLibrary.dump());
  EXPECT_EQ(FieldTranslations{}.toJson(), nlohmann::json(FieldTranslations{}).dump());
}

}  // namespace
}  // namespace kestrel::model
