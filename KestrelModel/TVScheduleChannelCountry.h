// A TV channel the user chose to show in the TV schedule of one country.
//
// Equality: value equality over all fields.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace kestrel::model {

struct TVScheduleChannelCountry {
  std::int64_t channelId = 0;
  std::optional<std::string> channelName{};
  /// Country code, e.g. "DE".
  std::string countryCode{};

  TVScheduleChannelCountry() = default;
  TVScheduleChannelCountry(std::int64_t channel, std::optional<std::string> name,
                           std::string country)
      : channelId(channel), channelName(std::move(name)), countryCode(std::move(country)) {}

  bool operator==(const TVScheduleChannelCountry&) const = default;
};

}  // namespace kestrel::model
