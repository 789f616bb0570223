#include <KestrelModel/FieldTranslations.h>

#include <gtest/gtest.h>

#include <string>

namespace kestrel::model {
namespace {

FieldTranslations sample() {
  FieldTranslations translations;
  translations.nameTranslation = {{"de", "Bayern München"}, {"ru", "Бавария"}, {"ar", "بايرن"}};
  translations.shortNameTranslation = {{"de", "Bayern"}, {"pt-BR", "Baviera \"B\""}};
  return translations;
}

TEST(FieldTranslationsTest, JsonRoundTripKeepsBothMaps) {
  const FieldTranslations original = sample();

  const std::optional<FieldTranslations> decoded = FieldTranslations::fromJson(original.toJson());

  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(*decoded, original);
  EXPECT_EQ(decoded->nameTranslation.at("de"), "Bayern München");
  EXPECT_EQ(decoded->shortNameTranslation.at("pt-BR"), "Baviera \"B\"");
}

TEST(FieldTranslationsTest, EncodesCompactObjectWithBothKeys) {
  FieldTranslations translations;
  translations.nameTranslation = {{"en", "Kestrels"}, {"de", "Falken"}};

  EXPECT_EQ(translations.toJson(),
            R"({"nameTranslation":{"de":"Falken","en":"Kestrels"},"shortNameTranslation":{}})");
  EXPECT_EQ(FieldTranslations{}.toJson(), R"({"nameTranslation":{},"shortNameTranslation":{}})");
}

TEST(FieldTranslationsTest, NlohmannHooksRoundTripAndRejectNonObjects) {
  const nlohmann::json json = sample();
  EXPECT_TRUE(json.is_object());
  EXPECT_EQ(json.get<FieldTranslations>(), sample());

  EXPECT_THROW(nlohmann::json::array().get<FieldTranslations>(), nlohmann::json::type_error);
}

TEST(FieldTranslationsTest, MissingKeysDecodeAsEmptyMapsAndUnknownKeysAreIgnored) {
  const auto empty = FieldTranslations::fromJson("{}");
  ASSERT_TRUE(empty.has_value());
  EXPECT_EQ(*empty, FieldTranslations{});

  const auto onlyNames =
      FieldTranslations::fromJson(R"( {"nameTranslation":{"fr":"Crécerelles"},"colour":"red"} )");
  ASSERT_TRUE(onlyNames.has_value());
  EXPECT_EQ(onlyNames->nameTranslation.at("fr"), "Crécerelles");
  EXPECT_TRUE(onlyNames->shortNameTranslation.empty());
}

TEST(FieldTranslationsTest, InvalidInputGivesNoValueWithoutThrowing) {
  const char* const invalid[] = {
      "",
      "not json",
      "{",
      "{} trailing",
      "null",
      "42",
      R"("text")",
      "[]",
      R"([["de","x"]])",
      R"({"nameTranslation":[]})",
      R"({"nameTranslation":null})",
      R"({"nameTranslation":{"de":1}})",
      R"({"shortNameTranslation":"Bayern"})",
  };
  for (const char* text : invalid) {
    std::optional<FieldTranslations> decoded;
    EXPECT_NO_THROW(decoded = FieldTranslations::fromJson(text)) << text;
    EXPECT_FALSE(decoded.has_value()) << text;
  }
}

TEST(FieldTranslationsTest, InvalidUtf8IsWrittenAsReplacementCharacter) {
  FieldTranslations translations;
  translations.nameTranslation = {{"de", std::string("Caf\xE9", 4)}};

  std::string json;
  EXPECT_NO_THROW(json = translations.toJson());

  const auto decoded = FieldTranslations::fromJson(json);
  ASSERT_TRUE(decoded.has_value());
  EXPECT_EQ(decoded->nameTranslation.at("de"), "Caf\xEF\xBF\xBD");
}

}  // namespace
}  // namespace kestrel::model
