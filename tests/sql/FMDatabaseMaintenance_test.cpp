// The less travelled operations of the layer, one group each: WAL checkpoints
// and interrupts through the queue, batches of statements, crash-on-errors,
// and the pool's delegate.
#include <KestrelDatabase/sql/FMDatabasePool.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <thread>

namespace kestrel {
namespace {

class FMDatabaseMaintenanceTest : public ::testing::Test {
 protected:
  std::string path() const { return (dir.path() / "maintenance.db").string(); }
  testing::TempDir dir;
  testing::LogCapture logs;
};

TEST_F(FMDatabaseMaintenanceTest, QueueCheckpointsTheWriteAheadLog) {
  auto queue = FMDatabaseQueue::databaseQueueWithPath(path());
  ASSERT_TRUE(queue);
  queue->inDatabase([](FMDatabase* db) {
    EXPECT_EQ(db->stringForQuery("pragma journal_mode = wal"), "wal");
    ASSERT_TRUE(db->executeUpdate("create table t (v integer)"));
    ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  });
  int logFrames = -1;
  int checkpointed = -1;
  EXPECT_TRUE(
      queue->checkpoint(FMDBCheckpointMode::Truncate, std::nullopt, &logFrames, &checkpointed));
  EXPECT_EQ(logFrames, 0);  // the log was truncated
  FMError error;
  EXPECT_FALSE(queue->checkpoint(FMDBCheckpointMode::Passive, "nope", &error));
  EXPECT_EQ(error.code, SQLITE_ERROR);
}

TEST_F(FMDatabaseMaintenanceTest, InterruptFromAnotherThreadStopsARunningStatement) {
  auto queue = FMDatabaseQueue::databaseQueueWithPath(path());
  ASSERT_TRUE(queue);
  queue->inDatabase([&](FMDatabase* db) {
    ASSERT_TRUE(db->executeUpdate("create table t (v integer)"));
    // A function that interrupts its own statement once it is running.
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
    EXPECT_EQ(db->intForQuery("select count(*) from t"), 0);
  });
}

TEST_F(FMDatabaseMaintenanceTest, BatchesRunEveryStatementReportRowsAndLogFailures) {
  auto db = FMDatabase::databaseWithPath(path());
  ASSERT_TRUE(db->open());
  ASSERT_TRUE(db->executeStatements("create table t (v); insert into t values (1);"));
  int rows = 0;
  ASSERT_TRUE(db->executeStatements("select v from t", [&](const auto& row) {
    EXPECT_EQ(row.at("v"), Value("1"));
    ++rows;
    return 0;
  }));
  EXPECT_EQ(rows, 1);
  EXPECT_FALSE(db->executeStatements("insert into t values (3); bogus;"));
  EXPECT_EQ(logs.count("Error inserting batch: near \"bogus\": syntax error"), 1u);
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 2);  // what ran before the error stays
}

TEST_F(FMDatabaseMaintenanceTest, CrashOnErrorsStopsTheProcessOnAPreparationError) {
  auto db = FMDatabase::databaseWithPath(std::nullopt);
  ASSERT_TRUE(db->open());
  db->setCrashOnErrors(true);
  EXPECT_DEATH(db->executeQuery("select from"), "DB Error: 1");
}

class RefusingDelegate : public FMDatabasePoolDelegate {
 public:
  bool databasePoolShouldAddDatabaseToPool(FMDatabasePool&, FMDatabase&) override {
    ++asked;
    return false;
  }
  void databasePoolDidAddDatabase(FMDatabasePool&, FMDatabase&) override { ++added; }
  int asked = 0;
  int added = 0;
};

TEST_F(FMDatabaseMaintenanceTest, PoolDelegateCanRefuseNewConnectionsAndIsHeldWeakly) {
  auto pool = FMDatabasePool::databasePoolWithPath(path());
  auto delegate = std::make_shared<RefusingDelegate>();
  pool->setDelegate(delegate);
  pool->inDatabase([](FMDatabase* db) { EXPECT_EQ(db, nullptr); });
  EXPECT_EQ(delegate->asked, 1);
  EXPECT_EQ(delegate->added, 0);
  delegate.reset();
  pool->inDatabase([](FMDatabase* db) { EXPECT_NE(db, nullptr); });
}

}  // namespace
}  // namespace kestrel
