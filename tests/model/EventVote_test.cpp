#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>

#include <gtest/gtest.h>

namespace kestrel::model {
namespace {

TEST(EventVoteTest, TypesAndValuesMapToTheirStoredTextsAndBack) {
  EXPECT_EQ(voteTypeText(NMEventVoteType::bothTeamsToScore), "bothTeamsToScore");
  EXPECT_EQ(voteTypeFromText("mmaWhoDeservedToWin"), NMEventVoteType::mmaWhoDeservedToWin);
  for (auto value : {NMEventVoteValue::home, NMEventVoteValue::draw, NMEventVoteValue::noGoal}) {
    EXPECT_EQ(voteValueFromText(voteValueText(value)), value);
  }
  EXPECT_EQ(voteValueText(NMEventVoteValue::draw), "X");
  EXPECT_EQ(voteValueText(NMEventVoteValue::away), "2");
  for (std::string_view text : {"", "FullTime", "fullTime ", "Yes", "3"}) {
    EXPECT_FALSE(voteTypeFromText(text).has_value()) << text;
    EXPECT_FALSE(voteValueFromText(text).has_value()) << text;
  }
}

}  // namespace
}  // namespace kestrel::model
