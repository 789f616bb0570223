// A category of tournaments within a sport, usually a country or region
// ("England", "International"), with its flag and display priority.
//
// Equality: compares equal when the IDs are equal (other fields are ignored);
// std::hash hashes the ID.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/FieldTranslations.h>
#include <KestrelModel/Sport.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct CategoryModel {
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  /// Flag key of the category, e.g. "england".
  std::optional<std::string> flag{};
  /// Sort priority among categories; 0 when unknown.
  std::int64_t priority = 0;
  std::optional<Sport> sport{};
  std::optional<FieldTranslations> fieldTranslations{};

  friend bool operator==(const CategoryModel& lhs, const CategoryModel& rhs) {
    return lhs.ID == rhs.ID;
  }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::CategoryModel> {
  std::size_t operator()(const kestrel::model::CategoryModel& category) const noexcept {
    return std::hash<std::int64_t>{}(category.ID);
  }
};
