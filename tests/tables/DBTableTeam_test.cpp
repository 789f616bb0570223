#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

#include "tables/TableRowsFixture.h"

// Followed teams: the cascade that removes the events only the team kept
// (and what it keeps), a partly failing cascade, the upsert of a saved team
// with its sort order, and a team's way through its row.
namespace kestrel {
namespace {

using model::Team;
using testing::Captured;
using testing::CapturedRead;

constexpr std::int64_t kTeam = 10;
constexpr std::int64_t kOtherTeam = 20;
constexpr std::int64_t kLeague = 300;

class DBTableTeamTest : public testing::TableRowsTest {
 protected:
  static Team team(std::int64_t id, const std::string& name) {
    return Team{.ID = id,
                .name = name,
                .fieldTranslations = model::FieldTranslations{{{"de", name + " (de)"}}, {}},
                .sport = model::Sport{.ID = 1, .name = "Football", .slug = "football"},
                .userCount = 12000 + id,
                .gender = "M",
                .disabled = id % 2 == 0,
                .type = 2};
  }
  bool save(const Team& t, bool notify = true) {
    Captured<bool> done;
    DBTableTeam::saveTeam(t, notify, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }
  bool deleteTeam(std::int64_t id) {
    Captured<bool> done;
    DBTableTeam::deleteTeamWithID(id, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }
  std::unordered_set<Team> teams() {
    CapturedRead<std::unordered_set<Team>> done;
    DBTableTeam::getTeams(queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(std::unordered_set<Team>{});
  }
  void followBoth() {
    ASSERT_TRUE(save(team(kTeam, "Kestrels")));
    ASSERT_TRUE(save(team(kOtherTeam, "Falcons")));
    follow("MyLeagueTable", kLeague);
  }
};

TEST_F(DBTableTeamTest, CascadeRemovesTheTeamsOwnEventsAndKeepsThoseAnotherFollowKeeps) {
  followBoth();
  storeEvent(1, kTeam, 99);                                  // the team's own: gone
  storeEvent(2, 99, kTeam);                                  // away: gone
  storeEvent(3, kTeam, kOtherTeam);                          // another followed team: kept
  storeEvent(4, kTeam, 99, kLeague);                         // a followed league: kept
  storeEvent(5, kTeam, 99, 0, 0, 0, 0, kOtherTeam);          // other team as a sub-team: kept
  storeEvent(6, 98, 99, 0, kTeam);                           // the team as a sub-team: gone
  storeEvent(7, 98, 99);                                     // not the team's: untouched
  storeEvent(8, 99, kTeam, 301);                             // an unfollowed league: gone
  storeEvent(9, 97, 96, 0, 0, kOtherTeam, 0, kTeam);         // the other as home sub 2: kept
  exec("UPDATE EventTable_ SET IS_MUTED = 1 WHERE ID = 1");  // flags are not looked at

  EXPECT_TRUE(deleteTeam(kTeam));
  EXPECT_EQ(eventIDs(), (IDSet{3, 4, 5, 7, 9}));
  EXPECT_EQ(teams(), (std::unordered_set<Team>{Team{.ID = kOtherTeam}}));

  // Now the other team alone keeps its events; the league's stays.
  EXPECT_TRUE(deleteTeam(kOtherTeam));
  EXPECT_EQ(eventIDs(), (IDSet{4, 7}));
  EXPECT_TRUE(teams().empty());
}

TEST_F(DBTableTeamTest, PartlyFailingCascadeReportsFalseAndCommitsWhatSucceeded) {
  followBoth();
  storeEvent(1, kTeam, 99);
  storeEvent(2, kTeam, 98);
  storeEvent(3, 97, kTeam);
  exec(
      "CREATE TRIGGER keep_two BEFORE DELETE ON EventTable_ WHEN old.ID = 2 "
      "BEGIN SELECT RAISE(ABORT, 'kept'); END");
  EXPECT_FALSE(deleteTeam(kTeam));
  EXPECT_EQ(eventIDs(), IDSet{2});
  EXPECT_EQ(teams(), (std::unordered_set<Team>{Team{.ID = kOtherTeam}}));
}

TEST_F(DBTableTeamTest, OwnedEventsSelectionText) {
  EXPECT_EQ(
      DBTableTeam::ownedEventsQuery(42),
      "SELECT EventTable_.ID FROM EventTable_ WHERE NOT EXISTS (SELECT * FROM MyLeagueTable "
      "WHERE ID = TOURNAMENT_UNIQUE_ID) AND (HOME_TEAM_ID = 42 OR AWAY_TEAM_ID = 42 OR "
      "HOME_SUBTEAM1_COL_ID = 42 OR HOME_SUBTEAM2_COL_ID = 42 OR AWAY_SUBTEAM1_COL_ID = 42 "
      "OR AWAY_SUBTEAM2_COL_ID = 42) AND NOT EXISTS (SELECT * FROM MyTeamTable WHERE "
      "ID <> 42 AND (ID = HOME_TEAM_ID OR ID = AWAY_TEAM_ID OR ID = HOME_SUBTEAM1_COL_ID OR "
      "ID = HOME_SUBTEAM2_COL_ID OR ID = AWAY_SUBTEAM1_COL_ID OR ID = AWAY_SUBTEAM2_COL_ID))");
}

TEST_F(DBTableTeamTest, SavingTwiceKeepsOneRowWithTheNewValuesAndItsPlaceInTheList) {
  ASSERT_TRUE(save(team(1, "First")));
  ASSERT_TRUE(save(team(2, "Second")));
  ASSERT_TRUE(save(team(3, "Third")));
  EXPECT_EQ(cell("MyTeamTable", 1, "SORT_ORDER"), "0");
  EXPECT_EQ(cell("MyTeamTable", 3, "SORT_ORDER"), "2");

  Team renamed = team(1, "First, renamed");
  renamed.gender.reset();
  renamed.sport = model::Sport::sportWithSlug("futsal");
  ASSERT_TRUE(save(renamed, /*notify=*/false));
  EXPECT_EQ(rowCount("MyTeamTable"), 3);
  EXPECT_EQ(cell("MyTeamTable", 1, "TEAM_NAME"), "First, renamed");
  EXPECT_EQ(cell("MyTeamTable", 1, "GENDER"), std::nullopt) << "every column is updated";
  EXPECT_EQ(cell("MyTeamTable", 1, "SPORT_NAME"), std::nullopt);
  EXPECT_EQ(cell("MyTeamTable", 1, "SPORT_SLUG"), "futsal");
  EXPECT_EQ(cell("MyTeamTable", 1, "NOTIFICATIONS_ENABLED"), "0");
  EXPECT_EQ(cell("MyTeamTable", 1, "SORT_ORDER"), "0");

  // A new team goes one past the largest stored position.
  ASSERT_TRUE(deleteTeam(3));
  ASSERT_TRUE(save(team(4, "Fourth")));
  EXPECT_EQ(cell("MyTeamTable", 4, "SORT_ORDER"), "2");
}

TEST_F(DBTableTeamTest, ASavedTeamReadsBackWithEveryStoredValue) {
  ASSERT_TRUE(save(team(2, "Kestrels")));
  ASSERT_TRUE(save(Team{.ID = 3}));
  const auto all = teams();
  ASSERT_EQ(all.size(), 2u);
  const Team& full = *all.find(Team{.ID = 2});
  const Team expected = team(2, "Kestrels");
  EXPECT_EQ(full.name, expected.name);
  EXPECT_EQ(full.fieldTranslations, expected.fieldTranslations);
  ASSERT_TRUE(full.sport.has_value());
  EXPECT_EQ(full.sport->ID, 1);
  EXPECT_EQ(full.sport->name, "Football");
  EXPECT_EQ(full.sport->slug, "football");
  EXPECT_EQ(full.userCount, 12002);
  EXPECT_EQ(full.gender, "M");
  EXPECT_TRUE(full.disabled);
  EXPECT_EQ(full.type, 2);
  EXPECT_TRUE(full.subTeams.empty());
  EXPECT_EQ(cell("MyTeamTable", 2, "SPORT_ROWS"), "0");

  const Team& bare = *all.find(Team{.ID = 3});
  EXPECT_FALSE(bare.name || bare.sport || bare.userCount || bare.gender || bare.fieldTranslations);
}

}  // namespace
}  // namespace kestrel
