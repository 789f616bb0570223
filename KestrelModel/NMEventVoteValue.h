// What the user voted, and the text each value is stored under:
// home "1", away "2", draw "X", yes "yes", no "no", noGoal "noGoal".
// "1"/"2" mean the first/second team for every vote type that names a team.
//
// Thread-safety: pure functions.
#pragma once

#include <optional>
#include <string_view>

namespace kestrel::model {

enum class NMEventVoteValue {
  home = 0,    // "1"
  away = 1,    // "2"
  draw = 2,    // "X"
  yes = 3,     // "yes"
  no = 4,      // "no"
  noGoal = 5,  // "noGoal"
};

/// The stored text of a vote value.
std::string_view voteValueText(NMEventVoteValue value);

/// The vote value stored under a text; std::nullopt for any other text
/// (matching is exact and case-sensitive: "x" is not a draw).
std::optional<NMEventVoteValue> voteValueFromText(std::string_view text);

}  // namespace kestrel::model
