#include <KestrelModel/NMEventVoteType.h>

#include <array>
#include <utility>

namespace kestrel::model {
namespace {

constexpr std::array<std::pair<NMEventVoteType, std::string_view>, 4> kTexts{{
    {NMEventVoteType::fullTime, "fullTime"},
    {NMEventVoteType::bothTeamsToScore, "bothTeamsToScore"},
    {NMEventVoteType::firstTeamToScore, "firstTeamToScore"},
    {NMEventVoteType::mmaWhoDeservedToWin, "mmaWhoDeservedToWin"},
}};

}  // namespace

std::string_view voteTypeText(NMEventVoteType type) {
  for (const auto& [candidate, text] : kTexts) {
    if (candidate == type) {
      return text;
    }
  }
  return {};
}

std::optional<NMEventVoteType> voteTypeFromText(std::string_view text) {
  for (const auto& [type, candidate] : kTexts) {
    if (candidate == text) {
      return type;
    }
  }
  return std::nullopt;
}

}  // namespace kestrel::model
