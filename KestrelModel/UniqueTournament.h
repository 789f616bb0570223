// A unique tournament: a competition across all its seasons (the user pins
// these to the top of lists).
//
// Equality: compares equal when the IDs are equal; std::hash hashes the ID.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/CategoryModel.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct UniqueTournament {
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  /// Its category; the sport is `category->sport`.
  std::optional<CategoryModel> category{};

  friend bool operator==(const UniqueTournament& lhs, const UniqueTournament& rhs) {
    return lhs.ID == rhs.ID;
  }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::UniqueTournament> {
  std::size_t operator()(const kestrel::model::UniqueTournament& tournament) const noexcept {
    return std::hash<std::int64_t>{}(tournament.ID);
  }
};
