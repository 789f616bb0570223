// What a vote on an event is about, and the text each kind is stored under.
//
// Thread-safety: pure functions.
#pragma once

#include <optional>
#include <string_view>

namespace kestrel::model {

enum class NMEventVoteType {
  fullTime = 0,             // "fullTime": who wins the match
  bothTeamsToScore = 1,     // "bothTeamsToScore"
  firstTeamToScore = 2,     // "firstTeamToScore"
  mmaWhoDeservedToWin = 3,  // "mmaWhoDeservedToWin"
};

/// The stored text of a vote type (the enumerator's name).
std::string_view voteTypeText(NMEventVoteType type);

/// The vote type stored under a text; std::nullopt for any other text
/// (matching is exact and case-sensitive).
std::optional<NMEventVoteType> voteTypeFromText(std::string_view text);

}  // namespace kestrel::model
