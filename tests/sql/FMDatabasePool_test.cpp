// The connection pool: reuse, limit, delegate.
#include <KestrelDatabase/sql/FMDatabasePool.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

using testing::LogCapture;

class FMDatabasePoolTest : public ::testing::Test {
 protected:
  void SetUp() override {
    pool = FMDatabasePool::databasePoolWithPath((dir.path() / "pool.db").string());
    pool->inDatabase([](FMDatabase* db) {
      ASSERT_NE(db, nullptr);
      ASSERT_TRUE(db->executeUpdate("create table t (v integer)"));
    });
  }

  testing::TempDir dir;
  std::shared_ptr<FMDatabasePool> pool;
  LogCapture logs;
};

TEST_F(FMDatabasePoolTest, ReusesAnIdleConnection) {
  FMDatabase* first = nullptr;
  pool->inDatabase([&](FMDatabase* db) {
    first = db;
    EXPECT_TRUE(db->checkedOut());
    EXPECT_EQ(pool->countOfCheckedOutDatabases(), 1u);
  });
  pool->inDatabase([&](FMDatabase* db) { EXPECT_EQ(db, first); });
  EXPECT_EQ(pool->countOfOpenDatabases(), 1u);
  EXPECT_EQ(pool->countOfCheckedInDatabases(), 1u);
  EXPECT_FALSE(first->checkedOut());
}

TEST_F(FMDatabasePoolTest, NestedUseOpensASecondConnectionUpToTheLimit) {
  pool->setMaximumNumberOfDatabasesToCreate(2);
  pool->inDatabase([&](FMDatabase* outer) {
    pool->inDatabase([&](FMDatabase* inner) {
      ASSERT_NE(inner, nullptr);
      EXPECT_NE(inner, outer);
      pool->inDatabase([&](FMDatabase* third) { EXPECT_EQ(third, nullptr); });
    });
  });
  EXPECT_EQ(logs.count("Maximum number of databases (2) has already been reached!"), 1u);
  EXPECT_EQ(pool->countOfCheckedInDatabases(), 2u);
}

TEST_F(FMDatabasePoolTest, TransactionsAndSavePointsUseOneConnection) {
  pool->inTransaction([](FMDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  });
  pool->inDeferredTransaction(
      [](FMDatabase* db, bool*) { db->executeUpdate("insert into t values (2)"); });
  EXPECT_EQ(pool->inSavePoint([](FMDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (3)");
    *rollback = true;
  }),
            std::nullopt);
  pool->inDatabase([](FMDatabase* db) { EXPECT_EQ(db->intForQuery("select sum(v) from t"), 2); });
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

TEST_F(FMDatabasePoolTest, DelegateCanRefuseNewConnections) {
  auto delegate = std::make_shared<RefusingDelegate>();
  pool->setDelegate(delegate);
  pool->releaseAllDatabases();
  pool->inDatabase([](FMDatabase* db) { EXPECT_EQ(db, nullptr); });
  EXPECT_EQ(delegate->asked, 1);
  EXPECT_EQ(delegate->added, 0);
  EXPECT_EQ(pool->countOfOpenDatabases(), 0u);

  delegate.reset();  // held weakly: gone means no one to ask
  pool->inDatabase([](FMDatabase* db) { EXPECT_NE(db, nullptr); });
}

}  // namespace
}  // namespace kestrel
