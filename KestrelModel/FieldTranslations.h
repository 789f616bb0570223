// Names of an entity (team, player, tournament, category) in other languages:
// one map from language code to name and one from language code to short name.
// The value travels as JSON; the persistence layer stores that JSON as text.
//
// JSON shape (keys of an object, both optional when decoding, both always
// written when encoding):
//   {"nameTranslation":{"de":"Bayern München"},"shortNameTranslation":{"de":"Bayern"}}
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <nlohmann/json.hpp>

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::model {

struct FieldTranslations {
  /// JSON keys of the two maps.
  static constexpr const char* kNameTranslationKey = "nameTranslation";
  static constexpr const char* kShortNameTranslationKey = "shortNameTranslation";

  /// Language code ("de", "pt-BR", ...) -> name.
  std::map<std::string, std::string> nameTranslation{};
  /// Language code -> short name.
  std::map<std::string, std::string> shortNameTranslation{};

  /// Compact JSON text (no pretty printing). Bytes of a string that are not
  /// valid UTF-8 are written as U+FFFD, so the result is always valid JSON.
  std::string toJson() const;

  /// Decodes a JSON text; std::nullopt when the text is not JSON or does not
  /// have the shape above (not an object, a map that is not an object, a name
  /// that is not a string). Never throws.
  static std::optional<FieldTranslations> fromJson(std::string_view json);

  bool operator==(const FieldTranslations&) const = default;
};

/// nlohmann-json hooks. from_json throws nlohmann::json::type_error on a value
/// of the wrong shape (nlohmann's convention); fromJson above does not.
void to_json(nlohmann::json& json, const FieldTranslations& translations);
void from_json(const nlohmann::json& json, FieldTranslations& translations);

}  // namespace kestrel::model
