// A table operation started from inside a block of the database queue (a
// completion, or a block of any of the queue's forms) would wait for ever on
// the block that is waiting for it. It stops the process instead, with a
// message that names the misuse.
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <string>

#include "tables/DBTableEventFixture.h"

namespace kestrel {
namespace {

using model::Event;
using DBTableEventQueueMisuseDeathTest = testing::DBTableEventTest;

// Writes are stopped by the table base before they reach the queue, reads
// and pruning by the queue itself.
constexpr const char* kWriteInside =
    "a table write was started from inside a block of its own database queue";
constexpr const char* kReentrant = "was called reentrantly on the same queue";

TEST_F(DBTableEventQueueMisuseDeathTest, TableOperationsFromInsideTheQueueStopTheProcess) {
  ASSERT_TRUE(insertFavorite(event(1)));
  const auto queue = queue_;
  // A write from inside a read's completion.
  EXPECT_DEATH(DBTableEvent::getEvent(1, queue,
                                      [&](ReadResult<std::optional<Event>>) {
                                        DBTableEvent::muteEvent(event(1), queue);
                                      }),
               kWriteInside);
  // A read from inside a write's completion.
  EXPECT_DEATH(DBTableEvent::insertEvent(
                   event(2), false, queue,
                   [&](bool) { DBTableEvent::getAllEventIDs(queue, [](ReadResult<IDSet>) {}); }),
               "inDatabase: was called reentrantly on the same queue.*completion");
  // Table operations from inside the transaction and savepoint forms.
  EXPECT_DEATH(queue->inDeferredTransaction(
                   [&](FMDatabase*, bool*) { DBTableEvent::deleteEvent(1, queue); }),
               kWriteInside);
  EXPECT_DEATH((void)queue->inSavePoint(
                   [&](FMDatabase*, bool*) { DBTableEvent::deleteFinishedEvents(queue); }),
               kWriteInside);
  // A write that its checks would refuse stops all the same: the misuse is
  // reported, not hidden behind the refusal.
  Event hostile = event(3);
  hostile.webUrl = "x\", IS_MUTED = \"1";
  EXPECT_DEATH(queue->inDatabase([&](FMDatabase*) { DBTableEvent::updateEvent(hostile, queue); }),
               kWriteInside);

  // Nothing of it happened here: the row is as it was.
  EXPECT_EQ(column(1, "IS_MUTED"), "0");
  EXPECT_EQ(ids(&DBTableEvent::getAllEventIDs), IDSet{1});
}

}  // namespace
}  // namespace kestrel
