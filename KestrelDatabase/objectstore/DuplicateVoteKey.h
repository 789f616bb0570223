// The identity of a vote: the event and the vote type text. Two records
// with the same key are duplicates (fixDuplicateVotes keeps one); the key's
// text form "<eventId>-<type>" is the vote cache's key.
//
// Equality: both fields. Hash: over both fields.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace kestrel {

struct DuplicateVoteKey {
  std::int64_t eventId = 0;
  std::string type;

  /// The vote cache's key: the event ID in decimal, a hyphen, the type text.
  std::string cacheKey() const { return std::to_string(eventId) + "-" + type; }

  bool operator==(const DuplicateVoteKey&) const = default;
};

}  // namespace kestrel

template <>
struct std::hash<kestrel::DuplicateVoteKey> {
  std::size_t operator()(const kestrel::DuplicateVoteKey& key) const noexcept {
    const std::size_t a = std::hash<std::int64_t>()(key.eventId);
    return a ^ (std::hash<std::string>()(key.type) + 0x9e3779b97f4a7c15ull + (a << 6) + (a >> 2));
  }
};
