#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

#include "tables/TableRowsFixture.h"

// Followed players: a saved player reads back with the team's ID and name and
// the sport's slug, a second save updates the row in place, and the deletes
// by one ID and by a set.
namespace kestrel {
namespace {

using model::Player;
using testing::Captured;
using testing::CapturedRead;

class DBTablePlayerTest : public testing::TableRowsTest {
 protected:
  static Player player(std::int64_t id, const std::string& name) {
    return Player{.ID = id,
                  .name = name,
                  .fieldTranslations = model::FieldTranslations{{{"ja", name + " JA"}}, {}},
                  .team = model::Team{.ID = 100 + id, .name = "Team of " + name},
                  .sport = model::Sport::sportWithSlug("basketball"),
                  .userCount = 42};
  }
  bool save(const Player& p, bool notify = true) {
    return DBTablePlayer::savePlayer(p, notify, queue_).get();
  }
  std::unordered_set<Player> players() {
    CapturedRead<std::unordered_set<Player>> done;
    DBTablePlayer::getPlayers(queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(std::unordered_set<Player>{});
  }
};

TEST_F(DBTablePlayerTest, ASavedPlayerReadsBackAndASecondSaveUpdatesItInPlace) {
  ASSERT_TRUE(save(player(1, "Ana")));
  ASSERT_TRUE(save(Player{.ID = 2}));
  Player moved = player(1, "Ana");
  moved.team = model::Team{.ID = 555, .name = "New Club"};
  moved.userCount.reset();
  ASSERT_TRUE(save(moved, /*notify=*/false));
  EXPECT_EQ(rowCount("MyPlayerTable"), 2);
  EXPECT_EQ(cell("MyPlayerTable", 1, "NOTIFICATIONS_ENABLED"), "0");

  const auto all = players();
  ASSERT_EQ(all.size(), 2u);
  const Player& ana = *all.find(Player{.ID = 1});
  EXPECT_EQ(ana.name, "Ana");
  EXPECT_EQ(ana.fieldTranslations, player(1, "Ana").fieldTranslations);
  ASSERT_TRUE(ana.team.has_value());
  EXPECT_EQ(ana.team->ID, 555);
  EXPECT_EQ(ana.team->name, "New Club");
  EXPECT_EQ(ana.sport, model::Sport::sportWithSlug("basketball"));
  EXPECT_EQ(ana.userCount, std::nullopt);

  const Player& bare = *all.find(Player{.ID = 2});
  EXPECT_FALSE(bare.name || bare.team || bare.sport || bare.userCount);
}

TEST_F(DBTablePlayerTest, DeletesByOneIDAndByASet) {
  for (std::int64_t id = 1; id <= 5; ++id) ASSERT_TRUE(save(player(id, "P")));
  Captured<bool> one, many, none;
  DBTablePlayer::deletePlayerWithID(2, queue_, one.completion());
  DBTablePlayer::deletePlayersWithIDs({1, 4, 99}, queue_, many.completion());
  DBTablePlayer::deletePlayersWithIDs({}, queue_, none.completion());
  EXPECT_EQ(one.value, true);
  EXPECT_EQ(many.value, true);
  EXPECT_EQ(none.value, true) << "nothing to delete deletes nothing";
  EXPECT_EQ(players(), (std::unordered_set<Player>{Player{.ID = 3}, Player{.ID = 5}}));
}

}  // namespace
}  // namespace kestrel
