#include <KestrelModel/Team.h>

#include <gtest/gtest.h>

namespace kestrel::model {
namespace {

TEST(TeamTest, DescriptionIsTheNameOrElseTheId) {
  EXPECT_EQ((Team{.ID = 42, .name = "Kestrels"}).description(), "Kestrels");
  EXPECT_EQ((Team{.ID = 42, .name = ""}).description(), "");
  EXPECT_EQ(Team{.ID = 42}.description(), "42");
  EXPECT_EQ(Team{.ID = -3}.description(), "-3");
}

TEST(TeamTest, SubTeamsAreCopiedWithTheTeam) {
  Team pair{.ID = 1, .subTeams = {Team{.ID = 2, .name = "A"}, Team{.ID = 3, .name = "B"}}};
  const Team copy = pair;
  pair.subTeams[0].name = "changed";

  ASSERT_EQ(copy.subTeams.size(), 2u);
  EXPECT_EQ(copy.subTeams[0].name, "A");
  EXPECT_EQ(copy.subTeams[1].description(), "B");
}

}  // namespace
}  // namespace kestrel::model
