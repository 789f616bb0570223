// The state of an event or stage: the status type (coarse state), the
// detailed status code and the type's text.
//
// Status types: 1 finished, 2 in progress, 3 not started, 4 postponed,
// 5 canceled, 6 interrupted (4-6 count as finished once the start time has
// passed), 8 pause, 9 suspended, 10 delayed (further live states). The text
// of each type is given by getStringFromStatusType.
//
// Equality: value equality over all three fields.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <string>

namespace kestrel::model {

/// The text of a status type: "finished", "inprogress", "notstarted",
/// "postponed", "canceled", "interrupted", "pause", "suspended", "delayed" for
/// the types 1-6 and 8-10; "unknown" for any other number.
std::string getStringFromStatusType(std::int64_t type);

struct EventStatus {
  static constexpr std::int64_t kFinished = 1;
  static constexpr std::int64_t kInProgress = 2;
  static constexpr std::int64_t kNotStarted = 3;
  static constexpr std::int64_t kPostponed = 4;
  static constexpr std::int64_t kCanceled = 5;
  static constexpr std::int64_t kInterrupted = 6;
  static constexpr std::int64_t kPause = 8;
  static constexpr std::int64_t kSuspended = 9;
  static constexpr std::int64_t kDelayed = 10;

  /// Status type code (see above); 0 when unknown.
  std::int64_t type = 0;
  /// Detailed status code (e.g. which half is being played).
  std::int64_t code = 0;
  /// Text of `type`; derived, never stored.
  std::string typeStr{};

  EventStatus() = default;
  /// A status with the given type and code; `typeStr` is derived from the type.
  explicit EventStatus(std::int64_t statusType, std::int64_t statusCode = 0)
      : type(statusType), code(statusCode), typeStr(getStringFromStatusType(statusType)) {}

  bool operator==(const EventStatus&) const = default;
};

}  // namespace kestrel::model
