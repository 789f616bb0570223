#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

#include "tables/DBTableEventFixture.h"

// Writes and reads of event rows: how the favourite, entity-owned, hidden and
// muted flags come about and what every read makes of them; completion rules,
// also without a queue or without a connection.
namespace kestrel {
namespace {

using model::Event;
using testing::Captured;
using testing::CapturedRead;
using testing::DBTableEventTest;
using testing::kNowSeconds;

using DBTableEventRowsTest = DBTableEventTest;

std::vector<std::int64_t> idsOf(const std::vector<Event>& events) {
  std::vector<std::int64_t> out;
  for (const auto& e : events) out.push_back(e.ID);
  return out;
}

TEST_F(DBTableEventRowsTest, EntityOwnedInsertNeverOverwritesAFavourite) {
  Event favourite = event(1);
  favourite.statusDescription = "starred";
  ASSERT_TRUE(insertFavorite(favourite, /*muted=*/true));

  Event owned = event(1);
  owned.statusDescription = "owned";
  EXPECT_FALSE(insertOwned(owned)) << "the ID exists: nothing was inserted";
  EXPECT_EQ(column(1, "STATUS_DESCRIPTION"), "starred");
  EXPECT_EQ(column(1, "IS_MUTED"), "1");

  EXPECT_TRUE(insertOwned(event(2)));
  EXPECT_EQ(column(2, "IS_MUTED"), std::nullopt);
  EXPECT_FALSE(insertOwned(event(2))) << "a second owned insert is ignored too";

  // Starring an entity-owned (or hidden) row turns it into a plain favourite.
  exec("UPDATE EventTable_ SET IS_HIDDEN = 1 WHERE ID = 2");
  ASSERT_TRUE(insertFavorite(event(2)));
  EXPECT_EQ(column(2, "IS_MUTED"), "0");
  EXPECT_EQ(column(2, "IS_HIDDEN"), std::nullopt);
}

TEST_F(DBTableEventRowsTest, FlagCombinationsAgainstEveryRead) {
  ASSERT_TRUE(insertFavorite(event(1, 3, -3600)));                 // favourite
  ASSERT_TRUE(insertFavorite(event(2, 3, 3600), /*muted=*/true));  // muted favourite
  ASSERT_TRUE(insertOwned(event(3, 3, -7200)));                    // entity-owned
  ASSERT_TRUE(insertFavorite(event(4, 1, -60)));                   // hidden favourite
  ASSERT_TRUE(insertFavorite(event(5, 1, -60), /*muted=*/true));   // hidden and muted
  ASSERT_TRUE(insertFavorite(event(6, 3, -604801)));               // started too long ago
  ASSERT_TRUE(insertFavorite(event(7, 3, -604800)));               // just in range
  ASSERT_TRUE(insertOwned(event(8, 3, std::nullopt)));             // owned, no start
  exec("UPDATE EventTable_ SET IS_HIDDEN = 1 WHERE ID IN (4, 5)");
  exec("UPDATE EventTable_ SET IS_HIDDEN = 0 WHERE ID = 7");

  EXPECT_EQ(ids(&DBTableEvent::getAllEventIDs), (IDSet{1, 2, 3, 4, 5, 6, 7, 8}));
  EXPECT_EQ(ids(&DBTableEvent::getAllFavoriteEventIDs), (IDSet{1, 2, 3, 6, 7, 8}));
  EXPECT_EQ(ids(&DBTableEvent::getFavoriteEventIDs), (IDSet{1, 2, 6, 7}));
  EXPECT_EQ(ids(&DBTableEvent::getMutedEventIDs), (IDSet{2, 5}));

  CapturedRead<std::vector<Event>> favourites;
  DBTableEvent::getAllFavoriteEvents(queue_, favourites.completion());
  ASSERT_EQ(favourites.calls, 1);
  // Oldest start first; a NULL start is not within the last seven days.
  EXPECT_EQ(idsOf(*favourites.value), (std::vector<std::int64_t>{7, 3, 1, 2}));

  // getEvent ignores the flags; an unknown ID gives nothing.
  EXPECT_TRUE(read(5).has_value());
  EXPECT_FALSE(read(99).has_value());
}

TEST_F(DBTableEventRowsTest, UpdateRewritesMappedColumnsKeepsWhatTheEventLacksAndMuteFlips) {
  Event first = event(1, 3, 600);
  first.webUrl = "https://example.org/1";
  first.homeTeamOriginal = model::Team{.ID = 10, .name = "Kestrels"};
  ASSERT_TRUE(insertFavorite(first, /*muted=*/true));

  platform::Clock::setFixed(testing::kNow + 30);
  Event second = event(1, 2, 600);
  second.statusDescription = "1st half";
  Captured<bool> updated;
  DBTableEvent::updateEvent(second, queue_, updated.completion());
  EXPECT_EQ(updated.value, true);

  const auto out = read(1);
  ASSERT_TRUE(out.has_value());
  EXPECT_EQ(out->status.type, 2);
  EXPECT_EQ(out->statusDescription, "1st half");
  // Absent values are left out of the statement: the old ones stay.
  EXPECT_EQ(out->webUrl, "https://example.org/1");
  EXPECT_EQ(out->homeTeamOriginal->name, "Kestrels");
  EXPECT_EQ(column(1, "LAST_UPDATE"), std::to_string(kNowSeconds + 30));
  EXPECT_EQ(column(1, "IS_MUTED"), "1");

  // Unmuting takes an ID and keeps the favourite; muting takes an event.
  DBTableEvent::unmuteEvent(1, queue_, updated.completion());
  EXPECT_EQ(ids(&DBTableEvent::getFavoriteEventIDs), IDSet{1});
  EXPECT_EQ(column(1, "IS_MUTED"), "0");
  DBTableEvent::muteEvent(second, queue_, updated.completion());
  EXPECT_EQ(ids(&DBTableEvent::getMutedEventIDs), IDSet{1});
  EXPECT_EQ(updated.calls, 3);
  EXPECT_EQ(updated.value, true);
}

int countStatements(unsigned, void* counter, void*, void*) {
  ++*static_cast<int*>(counter);
  return 0;
}

TEST_F(DBTableEventRowsTest, DeleteByIDAndAnEmptySetRunsNoSQL) {
  for (std::int64_t id = 1; id <= 5; ++id) ASSERT_TRUE(insertFavorite(event(id)));
  Captured<bool> one, many;
  DBTableEvent::deleteEvent(2, queue_, one.completion());
  DBTableEvent::deleteEvents({1, 4, 99}, queue_, many.completion());
  EXPECT_EQ(one.value, true);
  EXPECT_EQ(many.value, true);
  EXPECT_EQ(ids(&DBTableEvent::getAllEventIDs), (IDSet{3, 5}));

  int statements = 0;
  queue_->inDatabase([&](FMDatabase* db) {
    sqlite3_trace_v2(db->sqliteHandle(), SQLITE_TRACE_STMT, countStatements, &statements);
  });

  Captured<bool> done;
  DBTableEvent::deleteEvents({}, queue_, done.completion());
  EXPECT_EQ(done.calls, 1);
  EXPECT_EQ(done.value, false);
  EXPECT_EQ(statements, 0);

  DBTableEvent::deleteEvents({3}, queue_);
  EXPECT_GT(statements, 0) << "the trace sees statements";
  queue_->inDatabase(
      [](FMDatabase* db) { sqlite3_trace_v2(db->sqliteHandle(), 0, nullptr, nullptr); });
}

TEST_F(DBTableEventRowsTest, NullQueueDoesNoWorkAndCallsNoCompletion) {
  const std::shared_ptr<FMDatabaseQueue> none;
  int calls = 0;
  const BoolCompletion write = [&](bool) { ++calls; };
  // Deleting nothing fails at once, queue or not.
  Captured<bool> nothing;
  DBTableEvent::deleteEvents({}, none, nothing.completion());
  EXPECT_EQ(nothing.calls, 1);
  EXPECT_EQ(nothing.value, false);

  DBTableEvent::insertEvent(event(1), false, none, write);
  DBTableEvent::deleteEvents({1}, none, write);
  DBTableEvent::deleteOldEvents(none, write);
  DBTableEvent::migrateFavoriteNotificationEvents(none, write);
  DBTableEvent::getEvent(1, none, [&](auto) { ++calls; });
  DBTableEvent::getAllEventsWithQuery("SELECT * FROM EventTable_", none, [&](auto) { ++calls; });
  DBTableEvent::getIDs("SELECT ID FROM EventTable_", none, [&](auto) { ++calls; });
  DBTableEvent::getFinishedEventsCount(none, [&](auto) { ++calls; });
  EXPECT_EQ(calls, 0);

  auto migration = DBTableEvent::migrateFavoriteNotificationEvents(none);
  EXPECT_EQ(migration.wait_for(std::chrono::seconds(0)), std::future_status::ready);

  // Empty read completions on a real queue: nothing happens, nothing breaks.
  DBTableEvent::getEvent(1, queue_, {});
  DBTableEvent::getFinishedEventsCount(queue_, {});
}

TEST_F(DBTableEventRowsTest, IDReadsTakeTheNamedColumnAs64BitIntegersAndEventsCollapseByID) {
  Event e = event(1);
  e.homeTeamOriginal = model::Team{.ID = 10};
  ASSERT_TRUE(insertFavorite(e));
  exec("INSERT INTO EventTable_ (ID, HOME_TEAM_ID) VALUES (4294967298, 20)");

  CapturedRead<IDSet> teams;
  DBTableEvent::getIntColumn("HOME_TEAM_ID", "SELECT HOME_TEAM_ID FROM EventTable_", queue_,
                             teams.completion());
  EXPECT_EQ(teams.value, (IDSet{10, 20}));

  // IDs beyond 32 bits read back whole.
  CapturedRead<IDSet> events;
  DBTableEvent::getIDs("SELECT ID FROM EventTable_", queue_, events.completion());
  EXPECT_EQ(events.value, (IDSet{1, 4294967298}));

  // The events of a query collapse by ID.
  CapturedRead<std::unordered_set<Event>> rows;
  DBTableEvent::getAllEventsWithQuery(
      "SELECT * FROM EventTable_ UNION ALL SELECT * FROM EventTable_ WHERE ID = 1", queue_,
      rows.completion());
  EXPECT_EQ(rows.value->size(), 2u);
}

TEST_F(DBTableEventRowsTest, FailingStatementsAndALostConnectionStillCompleteEveryCallOnce) {
  // Callers, and the caches that wait on a read, rely on every completion
  // being called once; a read reports its failure as one (std::nullopt),
  // never as an empty answer.
  const auto expectFailures = [this] {
    EXPECT_FALSE(insertFavorite(event(1)));
    EXPECT_FALSE(insertOwned(event(1)));
    CapturedRead<std::optional<Event>> one;
    DBTableEvent::getEvent(1, queue_, one.completion());
    EXPECT_TRUE(one.calls == 1 && one.failed);
    CapturedRead<IDSet> due;
    DBTableEvent::getEventIDsToRefresh(queue_, due.completion());
    EXPECT_TRUE(due.calls == 1 && due.failed);
    int calls = 0;
    const BoolCompletion expectFalse = [&](bool ok) {
      ++calls;
      EXPECT_FALSE(ok);
    };
    DBTableAbstract::updateRows("DELETE FROM EventTable_", queue_, expectFalse);
    DBTableEvent::deleteFinishedEvents(queue_, expectFalse);
    DBTableEvent::deleteEvents({1, 2}, queue_, expectFalse);
    EXPECT_EQ(calls, 3);
    CapturedRead<std::vector<Event>> favourites;
    DBTableEvent::getAllFavoriteEvents(queue_, favourites.completion());
    EXPECT_TRUE(favourites.calls == 1 && favourites.failed);
    CapturedRead<std::unordered_set<Event>> queried;
    DBTableEvent::getAllEventsWithQuery("SELECT * FROM EventTable_", queue_, queried.completion());
    EXPECT_TRUE(queried.calls == 1 && queried.failed);
    CapturedRead<int> count;
    DBTableEvent::getFinishedEventsCount(queue_, count.completion());
    EXPECT_TRUE(count.calls == 1 && count.failed);
  };
  exec("DROP TABLE EventTable_");
  logs_.clear();
  expectFailures();
  EXPECT_GT(logs_.countContaining("DB Error:"), 0u);

  // A queue that cannot reopen its connection hands its blocks no database.
  queue_->close();
  const auto folder = helper_->databasePath().parent_path();
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "a file where the folder was";
  expectFailures();
  EXPECT_GE(logs_.countContaining("FMDatabaseQueue could not reopen database for path "), 1u);
}

}  // namespace
}  // namespace kestrel
