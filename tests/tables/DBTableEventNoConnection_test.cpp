// A queue whose connection was closed and cannot be reopened hands its blocks
// no database. Every operation must still call its completion exactly once,
// with a failure or an empty result: callers (and the caches that wait on a
// read) rely on it.
#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableEvent.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fstream>

namespace kestrel {
namespace {

TEST(DBTableEventNoConnection, EveryCompletionIsCalledOnceWithAFailure) {
  testing::TempDir dir;
  const auto folder = dir.path() / "data";
  std::filesystem::create_directories(folder);
  auto queue = FMDatabaseQueue::databaseQueueWithPath((folder / "kestrel.db").string());
  ASSERT_NE(queue, nullptr);
  queue->close();
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "a file where the folder was";  // the reopen must fail
  testing::LogCapture log;

  int calls = 0;
  auto expectFalse = [&](bool ok) {
    ++calls;
    EXPECT_FALSE(ok);
  };
  model::Event event;
  event.ID = 1;
  DBTableAbstract::updateRows("DELETE FROM EventTable_", queue, expectFalse);
  DBTableEvent::insertEvent(event, false, queue, expectFalse);
  DBTableEvent::insertEntityOwnedEvent(event, queue, expectFalse);
  DBTableEvent::deleteFinishedEvents(queue, expectFalse);
  DBTableEvent::deleteEvents({1, 2}, queue, expectFalse);
  DBTableEvent::getEvent(1, queue, [&](std::optional<model::Event> found) {
    ++calls;
    EXPECT_FALSE(found.has_value());
  });
  DBTableEvent::getFavoriteEventIDs(queue, [&](IDSet ids) {
    ++calls;
    EXPECT_TRUE(ids.empty());
  });
  DBTableEvent::getAllFavoriteEvents(queue, [&](std::vector<model::Event> events) {
    ++calls;
    EXPECT_TRUE(events.empty());
  });
  DBTableEvent::getAllEventsWithQuery("SELECT * FROM EventTable_", queue,
                                      [&](std::unordered_set<model::Event> events) {
                                        ++calls;
                                        EXPECT_TRUE(events.empty());
                                      });
  DBTableEvent::getFinishedEventsCount(queue, [&](int count) {
    ++calls;
    EXPECT_EQ(count, 0);
  });
  EXPECT_EQ(calls, 10);
  EXPECT_GE(log.countContaining("FMDatabaseQueue could not reopen database for path "), 1u);
}

}  // namespace
}  // namespace kestrel
