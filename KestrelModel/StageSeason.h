// A season of a unique stage (e.g. "2025" of a racing series).
//
// Equality: compares equal when the IDs are equal; std::hash hashes the ID.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/UniqueStage.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct StageSeason {
  std::int64_t ID = 0;
  std::optional<std::string> desc{};
  /// The year as text, e.g. "2025".
  std::optional<std::string> year{};
  std::optional<UniqueStage> uniqueStage{};

  friend bool operator==(const StageSeason& lhs, const StageSeason& rhs) {
    return lhs.ID == rhs.ID;
  }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::StageSeason> {
  std::size_t operator()(const kestrel::model::StageSeason& season) const noexcept {
    return std::hash<std::int64_t>{}(season.ID);
  }
};
