// One side's score of an event: the displayed score, the score after normal
// time, on aggregate and in penalties, the current point (tennis), the
// per-period scores (as a list and as the seven fixed slots period1-period7),
// tie-break scores and the cricket score text.
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::model {

struct EventScore {
  /// The score shown to the user ("current").
  std::optional<std::int64_t> display{};
  std::optional<std::int64_t> normalTime{};
  std::optional<std::int64_t> aggregated{};
  std::optional<std::int64_t> penalties{};
  /// Current point within a game, e.g. "15", "40", "A".
  std::optional<std::string> point{};
  /// Score of every period played, in order.
  std::vector<std::int64_t> periods{};
  std::optional<std::int64_t> period1{};
  std::optional<std::int64_t> period2{};
  std::optional<std::int64_t> period3{};
  std::optional<std::int64_t> period4{};
  std::optional<std::int64_t> period5{};
  std::optional<std::int64_t> period6{};
  std::optional<std::int64_t> period7{};
  /// Tie-break points per set, in order.
  std::vector<std::int64_t> tieBreaks{};
  /// e.g. "245/6 (50)".
  std::optional<std::string> cricketScoreDescription{};

  bool operator==(const EventScore&) const = default;
};

}  // namespace kestrel::model
