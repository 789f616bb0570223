// The database queue: blocks, transactions, savepoints, re-entrancy, reopen.
#include <KestrelDatabase/sql/FMDatabaseQueue.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>
#include <vector>

namespace kestrel {
namespace {

using testing::LogCapture;

class FMDatabaseQueueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    path = (dir.path() / "queue.db").string();
    queue = FMDatabaseQueue::databaseQueueWithPath(path);
    ASSERT_TRUE(queue);
    queue->inDatabase(
        [](FMDatabase* db) { ASSERT_TRUE(db->executeUpdate("create table t (v integer)")); });
  }

  int count() {
    int rows = -1;
    queue->inDatabase([&](FMDatabase* db) { rows = db->intForQuery("select count(*) from t"); });
    return rows;
  }

  testing::TempDir dir;
  std::string path;
  std::shared_ptr<FMDatabaseQueue> queue;
  LogCapture logs;
};

TEST_F(FMDatabaseQueueTest, CreationOpensAndLabelsTheQueue) {
  EXPECT_EQ(queue->path(), path);
  EXPECT_EQ(queue->openFlags(), SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  EXPECT_EQ(queue->dispatchQueue().label(), "fmdb." + queue->description());
  EXPECT_EQ(queue->description().rfind("<FMDatabaseQueue: 0x", 0), 0u);
  queue->inDatabase([](FMDatabase* db) {
    ASSERT_NE(db, nullptr);
    EXPECT_TRUE(db->isOpen());
  });
}

TEST_F(FMDatabaseQueueTest, CreationFailureLogsAndGivesNoQueue) {
  EXPECT_EQ(FMDatabaseQueue::databaseQueueWithPath("/nonexistent-folder/kestrel.db"), nullptr);
  EXPECT_EQ(logs.count("Could not create database queue for path /nonexistent-folder/kestrel.db"),
            1u);
}

TEST_F(FMDatabaseQueueTest, InMemoryQueueForAnAbsentPath) {
  auto memory = FMDatabaseQueue::databaseQueueWithPath(std::nullopt);
  ASSERT_TRUE(memory);
  memory->inDatabase([](FMDatabase* db) {
    EXPECT_EQ(db->databasePath(), std::nullopt);
    EXPECT_EQ(db->intForQuery("select 1"), 1);
  });
}

TEST_F(FMDatabaseQueueTest, InTransactionRollsBackWhenBlockSetsRollback) {
  queue->inTransaction([](FMDatabase* db, bool* rollback) {
    EXPECT_TRUE(db->isInTransaction());
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  });
  EXPECT_EQ(count(), 0);
  queue->inDeferredTransaction([](FMDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  });
  EXPECT_EQ(count(), 0);
}

TEST_F(FMDatabaseQueueTest, InTransactionCommitsEvenWhenAStatementFailed) {
  queue->inTransaction([](FMDatabase* db, bool*) {
    EXPECT_TRUE(db->executeUpdate("insert into t values (1)"));
    EXPECT_FALSE(db->executeUpdate("insert into missing values (1)"));
  });
  queue->inImmediateTransaction(
      [](FMDatabase* db, bool*) { db->executeUpdate("insert into t values (2)"); });
  queue->inExclusiveTransaction(
      [](FMDatabase* db, bool*) { db->executeUpdate("insert into t values (3)"); });
  EXPECT_EQ(count(), 3);
  queue->inDatabase([](FMDatabase* db) { EXPECT_FALSE(db->isInTransaction()); });
}

TEST_F(FMDatabaseQueueTest, InSavePointRollsBackToTheSavePoint) {
  queue->inDatabase([](FMDatabase* db) { db->beginTransaction(); });
  EXPECT_EQ(queue->inSavePoint([](FMDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  }),
            std::nullopt);
  EXPECT_EQ(queue->inSavePoint(
                [](FMDatabase* db, bool*) { db->executeUpdate("insert into t values (2)"); }),
            std::nullopt);
  queue->inDatabase([](FMDatabase* db) { db->commit(); });
  EXPECT_EQ(count(), 1);
}

TEST_F(FMDatabaseQueueTest, WarnsAboutAResultSetLeftOpen) {
  std::shared_ptr<FMResultSet> leftOpen;
  queue->inDatabase([&](FMDatabase* db) { leftOpen = db->executeQuery("select * from t"); });
  EXPECT_EQ(logs.count("Warning: there is at least one open result set around after performing "
                       "[FMDatabaseQueue inDatabase:]"),
            1u);
  queue->inDatabase([&](FMDatabase*) { leftOpen->close(); });
  logs.clear();
  queue->inDatabase([&](FMDatabase* db) {
    auto rs = db->executeQuery("select * from t");
    while (rs->next()) {
    }
  });
  EXPECT_TRUE(logs.lines().empty());
}

TEST_F(FMDatabaseQueueTest, ReopensLazilyAfterClose) {
  queue->inDatabase([](FMDatabase* db) { db->executeUpdate("insert into t values (1)"); });
  queue->close();
  queue->inDatabase([](FMDatabase* db) {
    ASSERT_NE(db, nullptr);
    EXPECT_TRUE(db->isOpen());
    EXPECT_EQ(db->intForQuery("select count(*) from t"), 1);
  });
  // A connection closed by a block is reopened too.
  queue->inDatabase([](FMDatabase* db) { db->close(); });
  EXPECT_EQ(count(), 1);
}

TEST_F(FMDatabaseQueueTest, BlocksGetNoDatabaseWhenReopeningFails) {
  const auto folder = dir.path() / "sub";
  std::filesystem::create_directories(folder);
  auto sub = FMDatabaseQueue::databaseQueueWithPath((folder / "x.db").string());
  ASSERT_TRUE(sub);
  sub->close();
  std::filesystem::remove_all(folder);
  logs.clear();

  bool called = false;
  sub->inDatabase([&](FMDatabase* db) {
    called = true;
    EXPECT_EQ(db, nullptr);
  });
  sub->inTransaction([](FMDatabase* db, bool*) { EXPECT_EQ(db, nullptr); });
  EXPECT_TRUE(called);
  EXPECT_EQ(logs.count("FMDatabaseQueue could not reopen database for path " +
                       (folder / "x.db").string()),
            2u);
}

TEST_F(FMDatabaseQueueTest, SerialisesBlocksFromManyThreads) {
  constexpr int kThreads = 4;
  constexpr int kInserts = 50;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kInserts; ++i) {
        queue->inDatabase([&](FMDatabase* db) {
          EXPECT_TRUE(db->executeUpdate("insert into t values (?)", t * kInserts + i));
        });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count(), kThreads * kInserts);
}

TEST_F(FMDatabaseQueueTest, InterruptFromAnotherThreadStopsALongStatement) {
  queue->inDatabase([&](FMDatabase* db) {
    // The function interrupts its own statement once it is running.
    db->makeFunctionNamed("stop_now", 0, [&](FMSQLFunctionContext& context) {
      std::thread([&] { queue->interrupt(); }).join();
      context.resultInt(1);
    });
    FMError error;
    EXPECT_FALSE(db->executeUpdate(
        "with recursive n(i) as (select 1 union all select i + 1 from n where stop_now()) "
        "insert into t select i from n",
        &error));
    EXPECT_EQ(error.code, SQLITE_INTERRUPT);
  });
  EXPECT_EQ(count(), 0);
}

TEST_F(FMDatabaseQueueTest, CheckpointRunsOnTheQueue) {
  queue->inDatabase([](FMDatabase* db) {
    EXPECT_EQ(db->stringForQuery("pragma journal_mode = wal"), "wal");
    db->executeUpdate("insert into t values (1)");
  });
  int logFrames = -1;
  int checkpointed = -1;
  EXPECT_TRUE(
      queue->checkpoint(FMDBCheckpointMode::Truncate, std::nullopt, &logFrames, &checkpointed));
  EXPECT_EQ(logFrames, 0);  // truncated
  EXPECT_TRUE(queue->checkpoint(FMDBCheckpointMode::Passive, "main"));
  FMError error;
  EXPECT_FALSE(queue->checkpoint(FMDBCheckpointMode::Passive, "nope", &error));
  EXPECT_EQ(error.code, SQLITE_ERROR);
}

TEST_F(FMDatabaseQueueTest, NestedInDatabaseStopsTheProcess) {
  EXPECT_DEATH(queue->inDatabase([&](FMDatabase*) { queue->inDatabase([](FMDatabase*) {}); }),
               "reentrant");
}

}  // namespace
}  // namespace kestrel
