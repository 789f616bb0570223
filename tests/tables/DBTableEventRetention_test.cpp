#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tables/DBTableEventFixture.h"

// Which rows the finished-event pruning hides or deletes, which rows the old
// events purge removes, which rows are due for a refresh, and what the
// favourite migration does to each kind of row.
namespace kestrel {
namespace {

using model::Event;
using model::Team;
using testing::Captured;
using testing::DBTableEventTest;
using testing::kNowSeconds;

using DBTableEventRetentionTest = DBTableEventTest;

constexpr std::int64_t kTeam = 100;
constexpr std::int64_t kSubteam = 200;
constexpr std::int64_t kLeague = 300;

Event withHome(Event e, std::int64_t teamID) {
  e.homeTeamOriginal = Team{.ID = teamID};
  return e;
}

Event withAwaySubteam2(Event e, std::int64_t teamID) {
  e.awayTeamOriginal = Team{.ID = 9, .subTeams = {Team{.ID = 8}, Team{.ID = teamID}}};
  return e;
}

Event withLeague(Event e, std::int64_t uniqueID) {
  e.tournament = model::Tournament{.ID = 1, .uniqueId = uniqueID};
  return e;
}

TEST_F(DBTableEventRetentionTest, FinishedPruningHidesOwnedRowsAndDeletesTheRest) {
  followTeam(kTeam);
  followTeam(kSubteam);
  followLeague(kLeague);
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

  Captured<int> before;
  DBTableEvent::getFinishedEventsCount(queue_, before.completion());
  EXPECT_EQ(before.value, 7) << "1, 2, 3, 4, 6, 7 and 9";

  Captured<bool> pruned;
  DBTableEvent::deleteFinishedEvents(queue_, pruned.completion());
  ASSERT_EQ(pruned.calls, 1);
  EXPECT_EQ(pruned.value, true);

  EXPECT_EQ(ids(&DBTableEvent::getAllEventIDs), (IDSet{1, 2, 3, 5, 7, 8, 10, 11, 12}));
  EXPECT_EQ(ids(&DBTableEvent::getAllFavoriteEventIDs), (IDSet{5, 8, 10, 11, 12}));
  EXPECT_EQ(ids(&DBTableEvent::getFavoriteEventIDs), (IDSet{5, 8, 10, 11, 12}));
  Captured<std::vector<Event>> favourites;
  DBTableEvent::getAllFavoriteEvents(queue_, favourites.completion());
  for (const auto& e : *favourites.value) EXPECT_GE(e.ID, 5) << "hidden rows are not favourites";
  Captured<int> after;
  DBTableEvent::getFinishedEventsCount(queue_, after.completion());
  EXPECT_EQ(after.value, 0);
}

TEST_F(DBTableEventRetentionTest, FinishedPruningCommitsTheHidingWhenTheDeleteFails) {
  ASSERT_TRUE(insertFavorite(event(1, 1, -7200)));
  exec("DROP TABLE MyLeagueTable");
  Captured<bool> pruned;
  DBTableEvent::deleteFinishedEvents(queue_, pruned.completion());
  EXPECT_EQ(pruned.value, false);
  EXPECT_EQ(column(1, "IS_HIDDEN"), "1") << "the second statement still ran and committed";
}

TEST_F(DBTableEventRetentionTest, OldEventsGoAfterSevenDaysOrFiftySixDaysAheadWhenOwned) {
  followTeam(kTeam);
  followLeague(kLeague);
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

// One row of the refresh check: status, start relative to now (absent:
// NULL), age of the row's data (negative: stamped in the future), and whether
// it is due.
struct RefreshCase {
  const char* what;
  std::int64_t status;
  std::optional<std::int64_t> start;
  std::int64_t age;
  bool due;
};

constexpr std::int64_t kLong = 10'000'000;  // older than any threshold

const RefreshCase kRefreshCases[] = {
    // Not started, more than three days ahead: 12 h.
    {"ns >3d due", 3, 259201, 43201, true},
    {"ns >3d fresh", 3, 259201, 43200, false},
    {"ns exactly 3d", 3, 259200, kLong, false},
    // One to three days ahead: 12 h.
    {"ns 1-3d due", 3, 259199, 43201, true},
    {"ns 1-3d fresh", 3, 86401, 43200, false},
    {"ns exactly 1d", 3, 86400, kLong, false},
    // One hour to one day ahead: 1 h.
    {"ns 1h-1d due", 3, 86399, 3601, true},
    {"ns 1h-1d fresh", 3, 3601, 3600, false},
    {"ns exactly 1h", 3, 3600, kLong, false},
    // 15 min to 1 h ahead: 3 min.
    {"ns 15m-1h due", 3, 3599, 181, true},
    {"ns 15m-1h fresh", 3, 901, 180, false},
    {"ns exactly 15m", 3, 900, kLong, false},
    // Up to 15 min ahead: 14 s.
    {"ns <15m due", 3, 899, 15, true},
    {"ns <15m fresh", 3, 1, 14, false},
    {"ns at start", 3, 0, kLong, false},
    // Up to 15 min past the start, still not started: 14 s.
    {"ns +<15m due", 3, -1, 15, true},
    {"ns +<15m fresh", 3, -899, 14, false},
    {"ns +15m exactly", 3, -900, kLong, false},
    // 15 min to 1 h past: 3 min.
    {"ns +15m-1h due", 3, -901, 181, true},
    {"ns +15m-1h fresh", 3, -3599, 180, false},
    {"ns +1h exactly", 3, -3600, kLong, false},
    // More than 1 h past: 15 min.
    {"ns +>1h due", 3, -3601, 901, true},
    {"ns +>1h fresh", 3, -3601, 900, false},
    // Finished within a day of its start: 1 h; later: 1 day.
    {"fin <1d due", 1, -1, 3601, true},
    {"fin <1d fresh", 1, -86399, 3600, false},
    {"fin at start", 1, 0, kLong, false},
    {"fin exactly 1d", 1, -86400, kLong, false},
    {"fin >1d due", 1, -86401, 86401, true},
    {"fin >1d fresh", 1, -86401, 86400, false},
    {"fin ahead", 1, 60, kLong, false},
    // Live states regardless of time.
    {"suspended due", 9, 0, 181, true},
    {"suspended fresh", 9, 0, 180, false},
    {"pause due", 8, -5000, 181, true},
    {"pause fresh", 8, -5000, 180, false},
    {"interrupted due", 6, 5000, 181, true},
    {"interrupted fresh", 6, 5000, 180, false},
    {"delayed due", 10, 0, 181, true},
    {"delayed fresh", 10, 0, 180, false},
    {"in progress due", 2, -60, 15, true},
    {"in progress fresh", 2, -60, 14, false},
    {"in progress stamped ahead", 2, -60, -15, true},
    {"postponed due", 4, 0, 43201, true},
    {"postponed fresh", 4, 0, 43200, false},
    // Other statuses and starts never.
    {"canceled", 5, 0, kLong, false},
    {"unknown status", 7, 0, kLong, false},
    {"no start", 2, std::nullopt, kLong, false},
};

TEST_F(DBTableEventRetentionTest, RefreshSelectionOnBothSidesOfEveryBound) {
  IDSet expected;
  std::string insert = "INSERT INTO EventTable_ (ID, STATUS_TYPE, START_DATE, LAST_UPDATE) VALUES ";
  std::int64_t id = 0;
  for (const auto& c : kRefreshCases) {
    ++id;
    const std::string start = c.start ? std::to_string(kNowSeconds + *c.start) : "NULL";
    insert += (id > 1 ? ", (" : "(") + std::to_string(id) + ", " + std::to_string(c.status) + ", " +
              start + ", " + std::to_string(kNowSeconds - c.age) + ")";
    if (c.due) expected.insert(id);
  }
  exec(insert);
  const IDSet due = ids(&DBTableEvent::getEventIDsToRefresh);
  id = 0;
  for (const auto& c : kRefreshCases) {
    ++id;
    EXPECT_EQ(due.count(id) == 1, c.due) << c.what;
  }
  EXPECT_EQ(due, expected);
}

TEST_F(DBTableEventRetentionTest, RefreshNeedsAStartAtOrAfterTheWeekMark) {
  // The start is an absolute time compared with 604800: only starts in the
  // first week of 1970 are left out.
  exec(
      "INSERT INTO EventTable_ (ID, STATUS_TYPE, START_DATE, LAST_UPDATE) VALUES (1, 2, 604800, "
      "0), (2, 2, 604799, 0)");
  EXPECT_EQ(ids(&DBTableEvent::getEventIDsToRefresh), IDSet{1});
}

TEST_F(DBTableEventRetentionTest, MigrationConvertsCoveredFavouritesAndOrphanedOwnedRows) {
  followTeam(kTeam);
  followTeam(kSubteam);
  followLeague(kLeague);
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
  for (std::int64_t id = 1; id <= 9; ++id) {
    EXPECT_EQ(column(id, "IS_MUTED"), expected[static_cast<std::size_t>(id - 1)]) << id;
  }

  // A second run finds nothing left to convert.
  Captured<bool> again;
  DBTableEvent::migrateFavoriteNotificationEvents(queue_, again.completion());
  EXPECT_EQ(again.value, true);
  for (std::int64_t id = 1; id <= 9; ++id) {
    EXPECT_EQ(column(id, "IS_MUTED"), expected[static_cast<std::size_t>(id - 1)]) << id;
  }
}

}  // namespace
}  // namespace kestrel
