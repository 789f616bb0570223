// The busy handler against a second connection that holds the write lock.
// SQLite's sleeps go through the default VFS; a forwarding VFS records them,
// so the tests see the retries without timing anything.
#include <KestrelDatabase/sql/FMDatabase.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

namespace kestrel {
namespace {

sqlite3_vfs* realVfs = nullptr;
sqlite3_vfs recordingVfs{};
std::mutex sleepsMutex;
std::condition_variable sleepsChanged;
std::vector<int> sleeps;  // microseconds, one entry per retry

int recordSleep(sqlite3_vfs* /*vfs*/, int microseconds) {
  {
    std::lock_guard lock(sleepsMutex);
    sleeps.push_back(microseconds);
  }
  sleepsChanged.notify_all();
  return realVfs->xSleep(realVfs, microseconds);
}

class FMDatabaseBusyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    realVfs = sqlite3_vfs_find(nullptr);
    recordingVfs = *realVfs;
    recordingVfs.zName = "kestrel-sleep-recorder";
    recordingVfs.xSleep = &recordSleep;
    sqlite3_vfs_register(&recordingVfs, 1);
    sleeps.clear();
    const std::string path = (dir.path() / "busy.db").string();
    holder = FMDatabase::databaseWithPath(path);
    waiter = FMDatabase::databaseWithPath(path);
    ASSERT_TRUE(holder->open());
    ASSERT_TRUE(holder->executeUpdate("create table t (v integer)"));
    // Opened once the table exists: an open reads the schema (it sets the
    // connection's synchronous level), and a schema read before the table
    // existed would make the insert fail as "no such table" under the lock.
    ASSERT_TRUE(waiter->open());
    ASSERT_TRUE(holder->beginExclusiveTransaction());
  }

  void TearDown() override {
    holder->close();
    waiter->close();
    sqlite3_vfs_register(realVfs, 1);
    sqlite3_vfs_unregister(&recordingVfs);
  }

  testing::TempDir dir;
  std::shared_ptr<FMDatabase> holder;
  std::shared_ptr<FMDatabase> waiter;
  testing::LogCapture logs;
};

TEST_F(FMDatabaseBusyTest, GivesUpAfterTheRetryIntervalWithSQLiteBusy) {
  waiter->setMaxBusyRetryTimeInterval(0.3);
  FMError error;
  EXPECT_FALSE(waiter->executeUpdate("insert into t values (2)", &error));
  EXPECT_EQ(error.code, SQLITE_BUSY);
  EXPECT_EQ(logs.count("DB Error: 5 \"database is locked\""), 1u);
  std::lock_guard lock(sleepsMutex);
  ASSERT_FALSE(sleeps.empty());
  for (const int microseconds : sleeps) {
    EXPECT_GE(microseconds, 50000);
    EXPECT_LE(microseconds, 99000);
  }
}

TEST_F(FMDatabaseBusyTest, RetriesUntilTheLockIsReleased) {
  waiter->setMaxBusyRetryTimeInterval(60.0);
  bool inserted = false;
  std::thread writer([&] { inserted = waiter->executeUpdate("insert into t values (2)"); });
  {
    std::unique_lock lock(sleepsMutex);
    sleepsChanged.wait(lock, [] { return !sleeps.empty(); });  // the waiter is retrying now
  }
  ASSERT_TRUE(holder->commit());
  writer.join();
  EXPECT_TRUE(inserted);
  EXPECT_EQ(holder->intForQuery("select count(*) from t"), 1);
}

// Setting a connection's sync level reads the schema. Opened under another
// connection's exclusive lock, a connection sets it before its first
// statement, waiting like any statement, and never runs one at a weaker
// level.
TEST_F(FMDatabaseBusyTest, AConnectionOpenedUnderTheLockRunsNothingBeforeItsSyncLevelIsSet) {
  const auto late = FMDatabase::databaseWithPath(holder->databasePath().value());
  late->setMaxBusyRetryTimeInterval(0.3);
  ASSERT_TRUE(late->open());
  FMError error;
  EXPECT_FALSE(late->executeUpdate("insert into t values (3)", &error));
  EXPECT_EQ(error.code, SQLITE_BUSY);
  EXPECT_EQ(logs.count("DB Query: insert into t values (3)"), 1u);

  ASSERT_TRUE(holder->commit());
  EXPECT_EQ(late->intForQuery("PRAGMA synchronous"), 3);
  EXPECT_TRUE(late->executeUpdate("insert into t values (3)"));
}

TEST_F(FMDatabaseBusyTest, AConnectionOpenedUnderTheLockWaitsForItBeforeItsFirstStatement) {
  const auto late = FMDatabase::databaseWithPath(holder->databasePath().value());
  late->setMaxBusyRetryTimeInterval(60.0);
  ASSERT_TRUE(late->open());
  EXPECT_TRUE(sleeps.empty()) << "the open itself does not wait";
  int level = 0;
  std::thread reader([&] { level = late->intForQuery("PRAGMA synchronous"); });
  {
    std::unique_lock lock(sleepsMutex);
    sleepsChanged.wait(lock, [] { return !sleeps.empty(); });
  }
  ASSERT_TRUE(holder->commit());
  reader.join();
  EXPECT_EQ(level, 3);
}

}  // namespace
}  // namespace kestrel
