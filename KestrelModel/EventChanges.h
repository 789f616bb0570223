// What changed in an event at the last update: the names of the changed
// fields, when, and whether anything changed at all.
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::model {

struct EventChanges {
  /// Names of the changed fields, e.g. "homeScore.current".
  std::vector<std::string> changes{};
  std::optional<std::int64_t> changeTimestamp{};
  bool hasChanges = false;

  EventChanges() = default;
  EventChanges(std::vector<std::string> changedFields, std::optional<std::int64_t> timestamp,
               bool anyChanges)
      : changes(std::move(changedFields)), changeTimestamp(timestamp), hasChanges(anyChanges) {}

  bool operator==(const EventChanges&) const = default;
};

}  // namespace kestrel::model
