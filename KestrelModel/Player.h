// A player the user can follow, with the team he plays for.
//
// Equality: compares equal when the IDs are equal; std::hash hashes the ID.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/FieldTranslations.h>
#include <KestrelModel/Sport.h>
#include <KestrelModel/Team.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct Player {
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  std::optional<FieldTranslations> fieldTranslations{};
  /// The player's team (ID and name are what is kept of it).
  std::optional<Team> team{};
  std::optional<Sport> sport{};
  /// Number of users following the player, where known.
  std::optional<std::int64_t> userCount{};

  friend bool operator==(const Player& lhs, const Player& rhs) { return lhs.ID == rhs.ID; }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::Player> {
  std::size_t operator()(const kestrel::model::Player& player) const noexcept {
    return std::hash<std::int64_t>{}(player.ID);
  }
};
