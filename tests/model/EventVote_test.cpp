#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>

#include <gtest/gtest.h>

namespace kestrel::model {
namespace {

TEST(EventVoteTest, TypesMapToTheirStoredTextsAndBack) {
  const std::pair<NMEventVoteType, std::string_view> expected[] = {
      {NMEventVoteType::fullTime, "fullTime"},
      {NMEventVoteType::bothTeamsToScore, "bothTeamsToScore"},
      {NMEventVoteType::firstTeamToScore, "firstTeamToScore"},
      {NMEventVoteType::mmaWhoDeservedToWin, "mmaWhoDeservedToWin"},
  };
  for (const auto& [type, text] : expected) {
    EXPECT_EQ(voteTypeText(type), text);
    EXPECT_EQ(voteTypeFromText(text), type) << text;
  }
}

TEST(EventVoteTest, ValuesMapToTheirStoredTextsAndBack) {
  const std::pair<NMEventVoteValue, std::string_view> expected[] = {
      {NMEventVoteValue::home, "1"}, {NMEventVoteValue::away, "2"},
      {NMEventVoteValue::draw, "X"}, {NMEventVoteValue::yes, "yes"},
      {NMEventVoteValue::no, "no"},  {NMEventVoteValue::noGoal, "noGoal"},
  };
  for (const auto& [value, text] : expected) {
    EXPECT_EQ(voteValueText(value), text);
    EXPECT_EQ(voteValueFromText(text), value) << text;
  }
}

TEST(EventVoteTest, TextsOutsideTheTablesGiveNoVote) {
  for (std::string_view text : {"", "x", "FullTime", "fullTime ", "0", "3", "Yes", "noGoal\n"}) {
    EXPECT_FALSE(voteTypeFromText(text).has_value()) << text;
    EXPECT_FALSE(voteValueFromText(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace kestrel::model
