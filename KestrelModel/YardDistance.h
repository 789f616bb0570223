// American-football field position: yards to the first down, the current
// down, the yard line, whether the possession is a goal possession, which
// team has possession and in which half.
//
// Each value is a number that may be missing, hence the "Number" suffix of
// the member names.
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <optional>

namespace kestrel::model {

struct YardDistance {
  std::optional<std::int64_t> currentYardsToFirstDownNumber{};
  std::optional<std::int64_t> currentDownNumber{};
  std::optional<std::int64_t> currentYardlineNumber{};
  /// 1 for a goal possession, 0 otherwise.
  std::optional<std::int64_t> isGoalPossessionNumber{};
  std::optional<std::int64_t> currentPossessionNumber{};
  std::optional<std::int64_t> currentTeamHalfNumber{};

  YardDistance() = default;
  YardDistance(std::optional<std::int64_t> currentYardsToFirstDown,
               std::optional<std::int64_t> currentDown, std::optional<std::int64_t> currentYardline,
               std::optional<std::int64_t> isGoalPossession,
               std::optional<std::int64_t> currentPossession,
               std::optional<std::int64_t> currentTeamHalf)
      : currentYardsToFirstDownNumber(currentYardsToFirstDown),
        currentDownNumber(currentDown),
        currentYardlineNumber(currentYardline),
        isGoalPossessionNumber(isGoalPossession),
        currentPossessionNumber(currentPossession),
        currentTeamHalfNumber(currentTeamHalf) {}

  bool operator==(const YardDistance&) const = default;
};

}  // namespace kestrel::model
