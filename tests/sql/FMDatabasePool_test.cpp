// The connection pool: reuse, limit, transactions.
#include <KestrelDatabase/sql/FMDatabasePool.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

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
  testing::LogCapture logs;
};

TEST_F(FMDatabasePoolTest, ReusesAnIdleConnectionAndNestedUseOpensAnotherUpToTheLimit) {
  FMDatabase* first = nullptr;
  pool->inDatabase([&](FMDatabase* db) { first = db; });
  pool->setMaximumNumberOfDatabasesToCreate(2);
  pool->inDatabase([&](FMDatabase* outer) {
    EXPECT_EQ(outer, first);
    EXPECT_EQ(pool->countOfCheckedOutDatabases(), 1u);
    pool->inDatabase([&](FMDatabase* inner) {
      ASSERT_NE(inner, nullptr);
      EXPECT_NE(inner, outer);
      pool->inDatabase([&](FMDatabase* third) { EXPECT_EQ(third, nullptr); });
    });
  });
  EXPECT_EQ(logs.count("Maximum number of databases (2) has already been reached!"), 1u);
  EXPECT_EQ(pool->countOfCheckedInDatabases(), 2u);
}

TEST_F(FMDatabasePoolTest, TransactionsAndSavePointsRollBackWhenAsked) {
  pool->inTransaction([](FMDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  });
  pool->inDatabase([](FMDatabase* db) { db->executeUpdate("insert into t values (2)"); });
  EXPECT_EQ(pool->inSavePoint([](FMDatabase* db, bool* rollback) {
    db->executeUpdate("insert into t values (3)");
    *rollback = true;
  }),
            std::nullopt);
  pool->inDatabase([](FMDatabase* db) { EXPECT_EQ(db->intForQuery("select sum(v) from t"), 2); });
}

}  // namespace
}  // namespace kestrel
