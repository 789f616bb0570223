// A tournament: the competition an event belongs to (with its category,
// season and display flags), and also the value the user follows as a
// "league" (one per unique tournament, keyed by `uniqueId`).
//
// The tournament's sport is the sport of its category (`category->sport`).
//
// Equality: compares equal when the IDs (the tournament IDs, not the unique
// IDs) are equal; std::hash hashes the ID. Code that keys followed
// tournaments by unique tournament compares `uniqueId` itself.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/CategoryModel.h>
#include <KestrelModel/FieldTranslations.h>
#include <KestrelModel/Season.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct Tournament {
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  std::optional<FieldTranslations> fieldTranslations{};

  /// The unique tournament (the competition across seasons) this belongs to.
  std::optional<std::int64_t> uniqueId{};
  std::optional<std::string> uniqueName{};
  std::optional<FieldTranslations> uniqueFieldTranslations{};

  std::optional<CategoryModel> category{};
  std::optional<Season> season{};

  bool hasEventPlayerHeatMap = false;
  bool hasEventPlayerStatistics = false;
  bool hasBoxScore = false;
  /// Show the away team first.
  bool displayInverseHomeAwayTeams = false;
  /// Court surface of tennis tournaments, e.g. "Clay".
  std::optional<std::string> groundType{};
  std::optional<std::int64_t> tennisPoints{};

  /// Number of users following it, where known.
  std::optional<std::int64_t> userCount{};

  friend bool operator==(const Tournament& lhs, const Tournament& rhs) { return lhs.ID == rhs.ID; }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::Tournament> {
  std::size_t operator()(const kestrel::model::Tournament& tournament) const noexcept {
    return std::hash<std::int64_t>{}(tournament.ID);
  }
};
