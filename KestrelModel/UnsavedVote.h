// A vote the server has not accepted yet (its first submission or its last
// edit failed), handed to the application to send again.
//
// Equality: value equality over all fields.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>

#include <cstdint>
#include <optional>

namespace kestrel::model {

struct UnsavedVote {
  std::int64_t eventId = 0;
  /// Start of the event, seconds since 1970-01-01 UTC.
  std::int64_t eventTimestamp = 0;
  NMEventVoteType type = NMEventVoteType::fullTime;
  NMEventVoteValue vote = NMEventVoteValue::home;
  /// The value before the last edit, when there was one.
  std::optional<NMEventVoteValue> previousVote{};
  /// Whether the first submission was accepted; false means "send as new".
  bool isAddSuccessful = false;
  /// Whether the last edit was accepted; false means "send the edit again".
  bool isEditSuccessful = false;

  bool operator==(const UnsavedVote&) const = default;
};

}  // namespace kestrel::model
