// The running time of an event: the current match time and the lengths of
// the periods played so far.
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

namespace kestrel::model {

struct EventTime {
  std::optional<std::int64_t> currentTime{};
  /// One entry per period, in order.
  std::vector<std::int64_t> periodTimes{};

  bool operator==(const EventTime&) const = default;
};

}  // namespace kestrel::model
