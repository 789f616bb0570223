#include <KestrelModel/FieldTranslations.h>

namespace kestrel::model {

std::string FieldTranslations::toJson() const {
  const nlohmann::json json = *this;
  return json.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::optional<FieldTranslations> FieldTranslations::fromJson(std::string_view json) {
  const nlohmann::json parsed = nlohmann::json::parse(json, nullptr, /*allow_exceptions=*/false);
  if (parsed.is_discarded() || !parsed.is_object()) {
    return std::nullopt;
  }
  try {
    return parsed.get<FieldTranslations>();
  } catch (const nlohmann::json::exception&) {
    return std::nullopt;
  }
}

void to_json(nlohmann::json& json, const FieldTranslations& translations) {
  json = nlohmann::json{
      {FieldTranslations::kNameTranslationKey, translations.nameTranslation},
      {FieldTranslations::kShortNameTranslationKey, translations.shortNameTranslation},
  };
}

void from_json(const nlohmann::json& json, FieldTranslations& translations) {
  if (!json.is_object()) {
    throw nlohmann::json::type_error::create(302, "field translations must be an object", &json);
  }
  FieldTranslations decoded;
  if (json.contains(FieldTranslations::kNameTranslationKey)) {
    json.at(FieldTranslations::kNameTranslationKey).get_to(decoded.nameTranslation);
  }
  if (json.contains(FieldTranslations::kShortNameTranslationKey)) {
    json.at(FieldTranslations::kShortNameTranslationKey).get_to(decoded.shortNameTranslation);
  }
  translations = std::move(decoded);
}

}  // namespace kestrel::model
