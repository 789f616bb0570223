// Timing facts of an event: time played, length of a period and of overtime,
// and the number of periods.
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <optional>

namespace kestrel::model {

struct TimeInfo {
  std::optional<std::int64_t> played{};
  std::optional<std::int64_t> periodLength{};
  std::optional<std::int64_t> overtimeLength{};
  std::optional<std::int64_t> totalPeriodCount{};

  TimeInfo() = default;
  TimeInfo(std::optional<std::int64_t> playedTime, std::optional<std::int64_t> lengthOfPeriod,
           std::optional<std::int64_t> lengthOfOvertime, std::optional<std::int64_t> periodCount)
      : played(playedTime),
        periodLength(lengthOfPeriod),
        overtimeLength(lengthOfOvertime),
        totalPeriodCount(periodCount) {}

  bool operator==(const TimeInfo&) const = default;
};

}  // namespace kestrel::model
