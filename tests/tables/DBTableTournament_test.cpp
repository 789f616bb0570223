#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <gtest/gtest.h>

#include <string>
#include <unordered_set>

#include "tables/TableRowsFixture.h"

// Followed unique tournaments: the cascade keeps the league's events in which
// a followed team plays, a saved tournament reads back keyed by its unique ID,
// and one without a unique ID is not saved.
namespace kestrel {
namespace {

using model::Tournament;
using testing::Captured;
using testing::CapturedRead;

constexpr std::int64_t kLeague = 300;
constexpr std::int64_t kTeam = 10;

class DBTableTournamentTest : public testing::TableRowsTest {
 protected:
  static Tournament league(std::int64_t uniqueID, std::int64_t id, const std::string& name) {
    Tournament t;
    t.ID = id;
    t.name = name;
    t.fieldTranslations = model::FieldTranslations{{{"de", name + " DE"}}, {}};
    t.uniqueId = uniqueID;
    t.uniqueName = name + " (all seasons)";
    t.uniqueFieldTranslations = model::FieldTranslations{{}, {{"fr", "L1"}}};
    t.category =
        model::CategoryModel{.ID = 7,
                             .name = "France",
                             .flag = "france",
                             .sport = model::Sport{.ID = 1, .slug = "football"},
                             .fieldTranslations = model::FieldTranslations{{{"fr", "France"}}, {}}};
    t.userCount = 5000;
    return t;
  }
  bool save(const Tournament& t, bool notify = true) {
    Captured<bool> done;
    DBTableTournament::saveTournament(t, notify, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }
};

TEST_F(DBTableTournamentTest, CascadeKeepsTheLeaguesEventsOfFollowedTeams) {
  ASSERT_TRUE(save(league(kLeague, 1, "Ligue 1")));
  follow("MyTeamTable", kTeam);
  storeEvent(1, 98, 99, kLeague);               // gone
  storeEvent(2, kTeam, 99, kLeague);            // a followed team plays: kept
  storeEvent(3, 98, 99, kLeague, 0, 0, kTeam);  // as a sub-team: kept
  storeEvent(4, 98, 99, 301);                   // another league: untouched
  storeEvent(5, 98, 99);                        // no league: untouched

  Captured<bool> done;
  DBTableTournament::deleteTournamentWithID(kLeague, queue_, done.completion());
  EXPECT_EQ(done.calls, 1);
  EXPECT_EQ(done.value, true);
  EXPECT_EQ(eventIDs(), (IDSet{2, 3, 4, 5}));
  EXPECT_EQ(rowCount("MyLeagueTable"), 0);

  EXPECT_EQ(DBTableTournament::ownedEventsQuery(kLeague),
            "SELECT EventTable_.ID FROM EventTable_ WHERE (TOURNAMENT_UNIQUE_ID = 300 AND NOT "
            "EXISTS (SELECT * FROM MyTeamTable WHERE ID = HOME_TEAM_ID OR ID = AWAY_TEAM_ID OR "
            "ID = HOME_SUBTEAM1_COL_ID OR ID = HOME_SUBTEAM2_COL_ID OR ID = AWAY_SUBTEAM1_COL_ID "
            "OR ID = AWAY_SUBTEAM2_COL_ID))");
}

TEST_F(DBTableTournamentTest, ASavedTournamentReadsBackKeyedByItsUniqueID) {
  ASSERT_TRUE(save(league(kLeague, 1, "Ligue 1")));
  ASSERT_TRUE(save(league(kLeague, 2, "Ligue 1, next season"), /*notify=*/false));
  EXPECT_EQ(rowCount("MyLeagueTable"), 1) << "the unique ID is the key";

  CapturedRead<DBTableTournament::TournamentSet> all;
  DBTableTournament::getTournaments(queue_, all.completion());
  ASSERT_EQ(all.calls, 1);
  ASSERT_EQ(all.value->size(), 1u);
  const Tournament& out = *all.value->begin();
  const Tournament in = league(kLeague, 2, "Ligue 1, next season");
  EXPECT_EQ(out.uniqueId, kLeague);
  EXPECT_EQ(out.ID, 2);
  EXPECT_EQ(out.name, in.name);
  EXPECT_EQ(out.uniqueName, in.uniqueName);
  EXPECT_EQ(out.fieldTranslations, in.fieldTranslations);
  EXPECT_EQ(out.uniqueFieldTranslations, in.uniqueFieldTranslations);
  ASSERT_TRUE(out.category.has_value());
  EXPECT_EQ(out.category->ID, 7);
  EXPECT_EQ(out.category->name, "France");
  EXPECT_EQ(out.category->flag, "france");
  EXPECT_EQ(out.category->fieldTranslations, in.category->fieldTranslations);
  EXPECT_EQ(out.category->sport, (model::Sport{.ID = 1, .slug = "football"}));
  EXPECT_EQ(out.userCount, 5000);
  EXPECT_EQ(cell("MyLeagueTable", kLeague, "NOTIFICATIONS_ENABLED"), "0");

  // Another league with the same tournament ID is a row of its own.
  Tournament bare;
  bare.ID = 2;
  bare.uniqueId = 301;
  ASSERT_TRUE(save(bare));
  DBTableTournament::getTournaments(queue_, all.completion());
  ASSERT_EQ(all.value->size(), 2u);
  EXPECT_FALSE(all.value->find(bare)->category.has_value());
}

TEST_F(DBTableTournamentTest, ATournamentWithoutAUniqueIDIsNotSaved) {
  Tournament nameless = league(kLeague, 1, "Ligue 1");
  nameless.uniqueId.reset();
  EXPECT_FALSE(save(nameless));
  EXPECT_FALSE(DBTableTournament::saveTournament(nameless, true, queue_).get());
  EXPECT_EQ(rowCount("MyLeagueTable"), 0);
  EXPECT_EQ(logs_.countContaining("has no unique tournament ID"), 2u);
}

}  // namespace
}  // namespace kestrel
