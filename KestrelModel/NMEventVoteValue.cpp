#include <KestrelModel/NMEventVoteValue.h>

#include <array>
#include <utility>

namespace kestrel::model {
namespace {

constexpr std::array<std::pair<NMEventVoteValue, std::string_view>, 6> kTexts{{
    {NMEventVoteValue::home, "1"},
    {NMEventVoteValue::away, "2"},
    {NMEventVoteValue::draw, "X"},
    {NMEventVoteValue::yes, "yes"},
    {NMEventVoteValue::no, "no"},
    {NMEventVoteValue::noGoal, "noGoal"},
}};

}  // namespace

std::string_view voteValueText(NMEventVoteValue value) {
  for (const auto& [candidate, text] : kTexts) {
    if (candidate == value) {
      return text;
    }
  }
  return {};
}

std::optional<NMEventVoteValue> voteValueFromText(std::string_view text) {
  for (const auto& [value, candidate] : kTexts) {
    if (candidate == text) {
      return value;
    }
  }
  return std::nullopt;
}

}  // namespace kestrel::model
