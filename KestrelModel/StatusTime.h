// The clock of the current status of an event: where it started (`initial`),
// its regular maximum, added time, the moment it started and a prefix shown
// before the minute (e.g. "+").
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel::model {

struct StatusTime {
  std::optional<std::int64_t> initial{};
  std::optional<std::int64_t> max{};
  std::optional<std::int64_t> extra{};
  std::optional<std::int64_t> timestamp{};
  std::optional<std::string> prefix{};

  bool operator==(const StatusTime&) const = default;
};

}  // namespace kestrel::model
