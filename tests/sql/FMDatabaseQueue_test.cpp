// The database queue: blocks, transactions, savepoints, re-entrancy, reopen.
#include <KestrelDatabase/sql/FMDatabaseQueue.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace kestrel {
namespace {

class FMDatabaseQueueTest : public ::testing::Test {
 protected:
  void SetUp() override {
    queue = FMDatabaseQueue::databaseQueueWithPath((dir.path() / "queue.db").string());
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
  std::shared_ptr<FMDatabaseQueue> queue;
  testing::LogCapture logs;
};

TEST_F(FMDatabaseQueueTest, CreationFailsForAMissingFolderAndAnAbsentPathIsInMemory) {
  EXPECT_EQ(FMDatabaseQueue::databaseQueueWithPath("/nonexistent-folder/kestrel.db"), nullptr);
  EXPECT_EQ(logs.count("Could not create database queue for path /nonexistent-folder/kestrel.db"),
            1u);
  auto memory = FMDatabaseQueue::databaseQueueWithPath(std::nullopt);
  ASSERT_TRUE(memory);
  memory->inDatabase([](FMDatabase* db) { EXPECT_EQ(db->intForQuery("select 1"), 1); });
}

TEST_F(FMDatabaseQueueTest, InTransactionRollsBackOnlyWhenBlockSetsRollback) {
  queue->inTransaction([](FMDatabase* db, bool* rollback) {
    EXPECT_TRUE(db->isInTransaction());
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  });
  EXPECT_EQ(count(), 0);
  // A failed statement alone does not undo the others.
  queue->inExclusiveTransaction([](FMDatabase* db, bool*) {
    EXPECT_TRUE(db->executeUpdate("insert into t values (1)"));
    EXPECT_FALSE(db->executeUpdate("insert into missing values (1)"));
  });
  EXPECT_EQ(count(), 1);
  queue->inDatabase([](FMDatabase* db) { EXPECT_FALSE(db->isInTransaction()); });
}

TEST_F(FMDatabaseQueueTest, InSavePointRollsBackToTheSavePoint) {
  queue->inDatabase([](FMDatabase* db) { db->beginTransaction(); });
  EXPECT_EQ(queue->inSavePoint([](FMDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  }),
            std::nullopt);
  queue->inSavePoint([](FMDatabase* db, bool*) { db->executeUpdate("insert into t values (2)"); });
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
  EXPECT_EQ(count(), 1);
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
  int calls = 0;
  sub->inDatabase([&](FMDatabase* db) { calls += db == nullptr; });
  sub->inTransaction([&](FMDatabase* db, bool*) { calls += db == nullptr; });
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(logs.count("FMDatabaseQueue could not reopen database for path " +
                       (folder / "x.db").string()),
            2u);
}

TEST_F(FMDatabaseQueueTest, SerialisesBlocksFromManyThreads) {
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 50; ++i) {
        queue->inDatabase([&](FMDatabase* db) {
          EXPECT_TRUE(db->executeUpdate("insert into t values (?)", t * 50 + i));
        });
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(count(), 200);
}

TEST_F(FMDatabaseQueueTest, EveryFormCalledFromItsOwnBlockStopsTheProcessInsteadOfDeadlocking) {
  // Each of these, started from inside a block of the same queue, would wait
  // for ever on the block that is waiting for it.
  const std::vector<std::pair<const char*, std::function<void()>>> forms = {
      {"inDatabase:", [&] { queue->inDatabase([](FMDatabase*) {}); }},
      {"inTransaction:", [&] { queue->inTransaction([](FMDatabase*, bool*) {}); }},
      {"inTransaction:", [&] { queue->inExclusiveTransaction([](FMDatabase*, bool*) {}); }},
      {"inDeferredTransaction:", [&] { queue->inDeferredTransaction([](FMDatabase*, bool*) {}); }},
      {"inImmediateTransaction:",
       [&] { queue->inImmediateTransaction([](FMDatabase*, bool*) {}); }},
      {"inSavePoint:", [&] { (void)queue->inSavePoint([](FMDatabase*, bool*) {}); }},
      {"close", [&] { queue->close(); }},
      {"checkpoint:", [&] { queue->checkpoint(FMDBCheckpointMode::Passive); }},
  };
  for (const auto& [name, form] : forms) {
    const std::string message = std::string(name) + " was called reentrantly on the same queue";
    EXPECT_DEATH(queue->inDatabase([&](FMDatabase*) { form(); }), message) << name;
    EXPECT_DEATH(queue->inTransaction([&](FMDatabase*, bool*) { form(); }), message) << name;
  }
  // Also through another queue's block that the first one synced onto.
  auto other = FMDatabaseQueue::databaseQueueWithPath(std::nullopt);
  EXPECT_DEATH(queue->inDatabase([&](FMDatabase*) {
    other->inDatabase(
        [&](FMDatabase*) { queue->inDeferredTransaction([](FMDatabase*, bool*) {}); });
  }),
               "inDeferredTransaction: was called reentrantly");
  // Outside any block every form works, and a second queue may be used from
  // inside the first one's block.
  for (const auto& [name, form] : forms) form();
  queue->inDatabase([&](FMDatabase*) { other->inTransaction([](FMDatabase*, bool*) {}); });
}

}  // namespace
}  // namespace kestrel
