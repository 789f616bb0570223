// A team or competitor: a club, a national team, a single player of an
// individual sport, or a doubles pair whose members are its `subTeams`.
//
// Equality: compares equal when the IDs are equal (other fields are ignored);
// std::hash hashes the ID. The caches' ordered sets rely on this.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/FieldTranslations.h>
#include <KestrelModel/Sport.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::model {

struct Team {
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  std::optional<std::string> shortName{};
  /// Flag key, e.g. "germany".
  std::optional<std::string> flag{};
  /// Three-letter code, e.g. "FCB".
  std::optional<std::string> nameCode{};
  std::optional<FieldTranslations> fieldTranslations{};
  /// Members of a composite team (doubles partners), in order.
  std::vector<Team> subTeams{};
  std::optional<Sport> sport{};

  /// Number of users following it, where known.
  std::optional<std::int64_t> userCount{};
  /// "M", "F", ... where known.
  std::optional<std::string> gender{};
  bool disabled = false;
  /// Team kind as a number; 0 for an ordinary team.
  std::int64_t type = 0;

  /// The team's text in a list of teams: its name, or its ID in decimal when
  /// it has no name. Sub-team lists are joined from these texts.
  std::string description() const;

  friend bool operator==(const Team& lhs, const Team& rhs) { return lhs.ID == rhs.ID; }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::Team> {
  std::size_t operator()(const kestrel::model::Team& team) const noexcept {
    return std::hash<std::int64_t>{}(team.ID);
  }
};
