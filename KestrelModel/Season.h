// A season of a tournament ("Premier League 24/25", year "24/25").
//
// Equality: compares equal when the IDs are equal; std::hash hashes the ID.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct Season {
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  /// The year as text, e.g. "2024" or "24/25".
  std::optional<std::string> year{};

  friend bool operator==(const Season& lhs, const Season& rhs) { return lhs.ID == rhs.ID; }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::Season> {
  std::size_t operator()(const kestrel::model::Season& season) const noexcept {
    return std::hash<std::int64_t>{}(season.ID);
  }
};
