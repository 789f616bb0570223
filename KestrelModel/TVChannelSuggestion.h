// The user's answer to "is this event shown on this TV channel?": the
// channel, the event, the event's start and whether the user approved.
//
// Equality: value equality over all fields (it has no ID of its own);
// std::hash combines all fields.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

namespace kestrel::model {

struct TVChannelSuggestion {
  std::optional<std::int64_t> channelId{};
  std::optional<std::int64_t> eventId{};
  /// Start of the event, seconds since 1970-01-01 UTC.
  std::optional<std::int64_t> startTimestamp{};
  bool approve = false;

  bool operator==(const TVChannelSuggestion&) const = default;
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::TVChannelSuggestion> {
  std::size_t operator()(const kestrel::model::TVChannelSuggestion& suggestion) const noexcept {
    std::size_t seed = 0;
    const auto mix = [&seed](std::size_t value) {
      seed ^= value + 0x9e3779b97f4a7c15ULL + (seed << 6) + (seed >> 2);
    };
    const std::hash<std::optional<std::int64_t>> hashNumber;
    mix(hashNumber(suggestion.channelId));
    mix(hashNumber(suggestion.eventId));
    mix(hashNumber(suggestion.startTimestamp));
    mix(std::hash<bool>{}(suggestion.approve));
    return seed;
  }
};
