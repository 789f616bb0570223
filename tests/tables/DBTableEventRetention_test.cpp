#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tables/TableRowsFixture.h"

// Which rows the finished-event pruning hides or deletes, which rows the old
// events purge removes, which rows are due for a refresh, the exact statement
// texts, and what the favourite migration does to each kind of row.
namespace kestrel {
namespace {

using model::Event;
using model::Team;
using testing::Captured;
using testing::CapturedRead;
using testing::kNowSeconds;

constexpr std::int64_t kTeam = 100;
constexpr std::int64_t kSubteam = 200;
constexpr std::int64_t kLeague = 300;

class DBTableEventRetentionTest : public testing::TableRowsTest {
 protected:
  void followAll() {
    follow("MyTeamTable", kTeam);
    follow("MyTeamTable", kSubteam);
    follow("MyLeagueTable", kLeague);
  }
  // The event with one part that a follow can own.
  static Event withHome(Event e, std::int64_t id) {
    e.homeTeamOriginal = Team{.ID = id};
    return e;
  }
  static Event withLeague(Event e, std::int64_t id) {
    e.tournament = model::Tournament{.ID = 1, .uniqueId = id};
    return e;
  }
  static Event withAwaySubteam2(Event e, std::int64_t id) {
    e.awayTeamOriginal = Team{.ID = 9, .subTeams = {Team{.ID = 8}, Team{.ID = id}}};
    return e;
  }
};

TEST_F(DBTableEventRetentionTest, FinishedPruningHidesOwnedRowsDeletesTheRestAndCommitsTheHiding) {
  followAll();
  ASSERT_TRUE(insertFavorite(withHome(event(1, 1, -7200), kTeam)));
  ASSERT_TRUE(insertFavorite(withAwaySubteam2(event(2, 1, -7200), kSubteam)));
  ASSERT_TRUE(insertFavorite(withLeague(event(3, 1, -7200), kLeague)));
  ASSERT_TRUE(insertFavorite(event(4, 1, -7200)));                    // finished, unowned
  ASSERT_TRUE(insertFavorite(event(5, 4, 60)));                       // postponed, ahead
  ASSERT_TRUE(insertFavorite(event(6, 4, -60)));                      // postponed, past
  ASSERT_TRUE(insertOwned(withHome(event(7, 5, -60), kTeam)));        // canceled, owned
  ASSERT_TRUE(insertFavorite(event(8, 2, -60)));                      // in progress
  ASSERT_TRUE(insertFavorite(event(9, 6, -1)));                       // interrupted, past
  ASSERT_TRUE(insertFavorite(event(10, 6, std::nullopt)));            // no start
  ASSERT_TRUE(insertFavorite(event(11, 4, 0)));                       // starts right now
  ASSERT_TRUE(insertFavorite(withHome(event(12, 3, -7200), kTeam)));  // owned, not finished

  CapturedRead<int> before;
  DBTableEvent::getFinishedEventsCount(queue_, before.completion());
  EXPECT_EQ(before.value, 7) << "1, 2, 3, 4, 6, 7 and 9";

  Captured<bool> pruned;
  DBTableEvent::deleteFinishedEvents(queue_, pruned.completion());
  ASSERT_EQ(pruned.calls, 1);
  EXPECT_EQ(pruned.value, true);

  EXPECT_EQ(ids(&DBTableEvent::getAllEventIDs), (IDSet{1, 2, 3, 5, 7, 8, 10, 11, 12}));
  EXPECT_EQ(ids(&DBTableEvent::getAllFavoriteEventIDs), (IDSet{5, 8, 10, 11, 12}));
  CapturedRead<int> after;
  DBTableEvent::getFinishedEventsCount(queue_, after.completion());
  EXPECT_EQ(after.value, 0);

  // When the delete fails, the hiding still runs and commits.
  ASSERT_TRUE(insertFavorite(event(13, 1, -7200)));
  exec("DROP TABLE MyLeagueTable");
  DBTableEvent::deleteFinishedEvents(queue_, pruned.completion());
  EXPECT_EQ(pruned.value, false);
  EXPECT_EQ(column(13, "IS_HIDDEN"), "1");
}

TEST_F(DBTableEventRetentionTest, OldEventsGoAfterSevenDaysOrFiftySixDaysAheadWhenOwned) {
  followAll();
  constexpr std::int64_t kWeek = 604800;
  constexpr std::int64_t kEightWeeks = 4838400;
  ASSERT_TRUE(insertFavorite(event(1, 3, -kWeek)));                             // kept
  ASSERT_TRUE(insertFavorite(event(2, 3, -kWeek - 1)));                         // gone
  ASSERT_TRUE(insertOwned(withHome(event(3, 3, -kWeek - 1), kTeam)));           // gone
  ASSERT_TRUE(insertOwned(withHome(event(4, 3, kEightWeeks), kTeam)));          // kept
  ASSERT_TRUE(insertOwned(withHome(event(5, 3, kEightWeeks + 1), kTeam)));      // gone
  ASSERT_TRUE(insertOwned(withLeague(event(6, 3, kEightWeeks + 1), kLeague)));  // gone
  ASSERT_TRUE(insertFavorite(event(7, 3, kEightWeeks + 1)));                    // kept
  ASSERT_TRUE(insertFavorite(event(8, 3, std::nullopt)));                       // gone
  ASSERT_TRUE(insertOwned(withHome(event(9, 3, 0), kTeam)));                    // kept
  // Followed through the second away sub-team.
  ASSERT_TRUE(insertOwned(withAwaySubteam2(event(10, 3, kEightWeeks + 1), kTeam)));  // gone

  Captured<bool> purged;
  DBTableEvent::deleteOldEvents(queue_, purged.completion());
  EXPECT_EQ(purged.value, true);
  EXPECT_EQ(ids(&DBTableEvent::getAllEventIDs), (IDSet{1, 4, 7, 9}));
}

// One line per window: just inside its bounds and just too fresh, then
// exactly on the start bound it shares with the next window. Status 3 is not
// started, 1 finished.
constexpr std::int64_t kLong = 10'000'000;  // older than any threshold

// clang-format off
const testing::RefreshRow kRefreshCases[] = {
    {3, 259201, 43201, true}, {3, 259201, 43200, false}, {3, 259200, kLong, false},  // >3d ahead
    {3, 259199, 43201, true}, {3, 86401, 43200, false}, {3, 86400, kLong, false},    // 1-3d ahead
    {3, 86399, 3601, true}, {3, 3601, 3600, false}, {3, 3600, kLong, false},         // 1h-1d ahead
    {3, 3599, 181, true}, {3, 901, 180, false}, {3, 900, kLong, false},              // 15m-1h ahead
    {3, 899, 15, true}, {3, 1, 14, false}, {3, 0, kLong, false},                     // <15m ahead
    {3, -1, 15, true}, {3, -899, 14, false}, {3, -900, kLong, false},                // <15m past
    {3, -901, 181, true}, {3, -3599, 180, false}, {3, -3600, kLong, false},          // 15m-1h past
    {3, -3601, 901, true}, {3, -3601, 900, false},                                   // >1h past
    {1, -1, 3601, true}, {1, -86399, 3600, false}, {1, 0, kLong, false},             // finished <1d
    {1, -86401, 86401, true}, {1, -86401, 86400, false}, {1, -86400, kLong, false},  // finished >1d
    {9, 0, 181, true}, {9, 0, 180, false}, {8, -5000, 181, true},                    // live states
    {6, 5000, 181, true}, {10, 0, 181, true},
    {2, -60, 15, true}, {2, -60, 14, false}, {2, -60, -15, true},                    // in progress
    {4, 0, 43201, true}, {4, 0, 43200, false},                                       // postponed
    {5, 0, kLong, false}, {2, std::nullopt, kLong, false},                           // never
};
// clang-format on

TEST_F(DBTableEventRetentionTest, RefreshSelectionOnBothSidesOfEveryBound) {
  storeRefreshRows("EventTable_", "START_DATE", kRefreshCases);
  expectDue(ids(&DBTableEvent::getEventIDsToRefresh), kRefreshCases);
}

// The texts themselves, for one fixed "now" written with "%f": the refresh
// query's sixteen clauses in order with strict bounds, the favourite and
// finished reads, and the pruning statements.
TEST(DBTableEventStatementsTest, StatementTextsForAFixedNow) {
  const double now = 1700000000.5;
  EXPECT_EQ(DBTableEvent::eventIDsToRefreshQuery(now),
      "SELECT ID FROM EventTable_ WHERE START_DATE >= 604800 AND (( (STATUS_TYPE = 3) AND "
      "((START_DATE - 1700000000.500000) > 259200) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 43200) ) OR  "
      "( (STATUS_TYPE = 3) AND ((START_DATE - 1700000000.500000) > 86400) AND "
      "((START_DATE - 1700000000.500000) < 259200) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 43200) ) OR  "
      "( (STATUS_TYPE = 3) AND ((START_DATE - 1700000000.500000) > 3600) AND "
      "((START_DATE - 1700000000.500000) < 86400) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 3600) ) OR  "
      "( (STATUS_TYPE = 3) AND ((START_DATE - 1700000000.500000) > 900) AND "
      "((START_DATE - 1700000000.500000) < 3600) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
      "( (STATUS_TYPE = 3) AND ((START_DATE - 1700000000.500000) > 0) AND "
      "((START_DATE - 1700000000.500000) < 900) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 14) ) OR  "
      "( (STATUS_TYPE = 3) AND ((1700000000.500000 - START_DATE) > 0) AND "
      "((1700000000.500000 - START_DATE) < 900) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 14) ) OR  "
      "( (STATUS_TYPE = 3) AND ((1700000000.500000 - START_DATE) > 900) AND "
      "((1700000000.500000 - START_DATE) < 3600) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
      "( (STATUS_TYPE = 3) AND ((1700000000.500000 - START_DATE) > 3600) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 900) ) OR  "
      "( (STATUS_TYPE = 1) AND ((1700000000.500000 - START_DATE) > 0) AND "
      "((1700000000.500000 - START_DATE) < 86400) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 3600) ) OR  "
      "( (STATUS_TYPE = 1) AND ((1700000000.500000 - START_DATE) > 86400) AND "
      "(ABS(1700000000.500000 - LAST_UPDATE) > 86400) ) OR  "
      "( (STATUS_TYPE = 9) AND (ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
      "( (STATUS_TYPE = 8) AND (ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
      "( (STATUS_TYPE = 6) AND (ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
      "( (STATUS_TYPE = 10) AND (ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
      "( (STATUS_TYPE = 2) AND (ABS(1700000000.500000 - LAST_UPDATE) > 14) ) OR  "
      "( (STATUS_TYPE = 4) AND (ABS(1700000000.500000 - LAST_UPDATE) > 43200) ));");
  EXPECT_EQ(DBTableEvent::allFavoriteEventsQuery(now),
            "SELECT * FROM EventTable_ WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND "
            "(1700000000.500000 - START_DATE) <= 604800 ORDER BY START_DATE ASC");
  EXPECT_EQ(DBTableEvent::allFavoriteEventIDsQuery(),
            "SELECT ID FROM EventTable_ WHERE IS_HIDDEN = 0 OR IS_HIDDEN IS NULL "
            "ORDER BY START_DATE ASC");
  EXPECT_EQ(DBTableEvent::allEventIDsQuery(), "SELECT ID FROM EventTable_;");
  EXPECT_EQ(DBTableEvent::favoriteEventIDsQuery(),
            "SELECT ID FROM EventTable_ WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND "
            "IS_MUTED IS NOT NULL");
  EXPECT_EQ(DBTableEvent::mutedEventIDsQuery(), "SELECT ID FROM EventTable_ WHERE IS_MUTED = 1;");
  EXPECT_EQ(DBTableEvent::finishedEventsCountQuery(now),
            "SELECT COUNT(*) FROM EventTable_ WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND "
            "(STATUS_TYPE = 1 OR ((STATUS_TYPE = 4 OR STATUS_TYPE = 5 OR STATUS_TYPE = 6) AND "
            "START_DATE < 1700000000.500000))");
  EXPECT_EQ(DBTableEvent::deleteEventsStatement({3, 1, 2}),
            "DELETE FROM EventTable_ WHERE ID IN (1, 2, 3)");
  EXPECT_EQ(DBTableEvent::deleteEventsStatement({}), std::nullopt);
  EXPECT_EQ(DBTableEvent::finishedEventsDeleteStatement(now),
            "DELETE FROM EventTable_ WHERE (STATUS_TYPE = 1 OR ((STATUS_TYPE = 4 OR "
            "STATUS_TYPE = 5 OR STATUS_TYPE = 6) AND START_DATE < 1700000000.500000)) AND "
            "NOT EXISTS (SELECT * FROM MyLeagueTable WHERE ID = TOURNAMENT_UNIQUE_ID) AND "
            "NOT EXISTS (SELECT * FROM MyTeamTable WHERE ID = HOME_TEAM_ID OR ID = AWAY_TEAM_ID "
            "OR ID = HOME_SUBTEAM1_COL_ID OR ID = HOME_SUBTEAM2_COL_ID OR "
            "ID = AWAY_SUBTEAM1_COL_ID OR ID = AWAY_SUBTEAM2_COL_ID)");
  EXPECT_EQ(DBTableEvent::hideFinishedEventsStatement(now),
            "UPDATE EventTable_ SET IS_HIDDEN = 1 WHERE STATUS_TYPE = 1 OR ((STATUS_TYPE = 4 OR "
            "STATUS_TYPE = 5 OR STATUS_TYPE = 6) AND START_DATE < 1700000000.500000)");
  EXPECT_EQ(DBTableEvent::oldEventsDeleteStatement(now),
            "DELETE FROM EventTable_ WHERE (1700000000.500000 - START_DATE) > 604800 OR "
            "((START_DATE - 1700000000.500000) > 4838400 AND (EXISTS (SELECT * FROM "
            "MyLeagueTable WHERE ID = TOURNAMENT_UNIQUE_ID) OR EXISTS (SELECT * FROM "
            "MyTeamTable WHERE ID = HOME_TEAM_ID OR ID = AWAY_TEAM_ID OR "
            "ID = HOME_SUBTEAM1_COL_ID OR ID = HOME_SUBTEAM2_COL_ID OR "
            "ID = AWAY_SUBTEAM1_COL_ID OR ID = AWAY_SUBTEAM2_COL_ID))) OR START_DATE IS NULL");
}

TEST_F(DBTableEventRetentionTest, MigrationConvertsCoveredFavouritesAndOrphanedOwnedRows) {
  followAll();
  const auto put = [this](Event e, const char* muted) {
    ASSERT_TRUE(insertFavorite(e));
    exec("UPDATE EventTable_ SET IS_MUTED = " + std::string(muted) +
         " WHERE ID = " + std::to_string(e.ID));
  };
  Event homeSub = event(9);
  homeSub.homeTeamOriginal = Team{.ID = 1, .subTeams = {Team{.ID = kSubteam}}};
  put(withHome(event(1), kTeam), "0");             // covered favourite -> owned
  put(withLeague(event(2), kLeague), "0");         // covered by league -> owned
  put(withAwaySubteam2(event(3), kSubteam), "0");  // covered by sub-team -> owned
  put(event(4), "0");                              // plain favourite stays
  put(withHome(event(5), kTeam), "1");             // muted stays
  put(event(6), "1");                              // muted stays
  put(withHome(event(7), kTeam), "NULL");          // owned stays
  put(event(8), "NULL");                           // orphaned owned -> favourite
  put(homeSub, "NULL");                            // owned via sub-team stays

  DBTableEvent::migrateFavoriteNotificationEvents(queue_).get();

  const std::vector<std::optional<std::string>> expected = {
      std::nullopt, std::nullopt, std::nullopt, "0", "1", "1", std::nullopt, "0", std::nullopt};
  for (int run = 1; run <= 2; ++run) {  // a second run finds nothing left to convert
    for (std::int64_t id = 1; id <= 9; ++id) {
      EXPECT_EQ(column(id, "IS_MUTED"), expected[static_cast<std::size_t>(id - 1)]) << id;
    }
    Captured<bool> again;
    DBTableEvent::migrateFavoriteNotificationEvents(queue_, again.completion());
    EXPECT_EQ(again.value, true);
  }
}

}  // namespace
}  // namespace kestrel
