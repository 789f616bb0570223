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

class SleepRecorder {
 public:
  static SleepRecorder& shared() {
    static SleepRecorder recorder;
    return recorder;
  }

  void install() {
    real_ = sqlite3_vfs_find(nullptr);
    vfs_ = *real_;
    vfs_.zName = "kestrel-sleep-recorder";
    vfs_.xSleep = &SleepRecorder::sleep;
    sqlite3_vfs_register(&vfs_, 1);
  }

  void uninstall() {
    sqlite3_vfs_register(real_, 1);
    sqlite3_vfs_unregister(&vfs_);
  }

  std::vector<int> sleeps() {
    std::lock_guard lock(mutex_);
    return sleeps_;
  }

  void waitForSleeps(std::size_t count) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [&] { return sleeps_.size() >= count; });
  }

  void clear() {
    std::lock_guard lock(mutex_);
    sleeps_.clear();
  }

 private:
  static int sleep(sqlite3_vfs* /*vfs*/, int microseconds) {
    SleepRecorder& self = shared();
    {
      std::lock_guard lock(self.mutex_);
      self.sleeps_.push_back(microseconds);
    }
    self.changed_.notify_all();
    return self.real_->xSleep(self.real_, microseconds);
  }

  sqlite3_vfs* real_ = nullptr;
  sqlite3_vfs vfs_{};
  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<int> sleeps_;
};

class FMDatabaseBusyTest : public ::testing::Test {
 protected:
  void SetUp() override {
    SleepRecorder::shared().install();
    SleepRecorder::shared().clear();
    const std::string path = (dir.path() / "busy.db").string();
    holder = FMDatabase::databaseWithPath(path);
    waiter = FMDatabase::databaseWithPath(path);
    ASSERT_TRUE(holder->open());
    ASSERT_TRUE(waiter->open());
    ASSERT_TRUE(holder->executeUpdate("create table t (v integer)"));
    ASSERT_TRUE(holder->beginExclusiveTransaction());
    ASSERT_TRUE(holder->executeUpdate("insert into t values (1)"));
  }

  void TearDown() override {
    holder->close();
    waiter->close();
    SleepRecorder::shared().uninstall();
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

  const std::vector<int> sleeps = SleepRecorder::shared().sleeps();
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
  SleepRecorder::shared().waitForSleeps(1);  // the waiter is retrying now
  ASSERT_TRUE(holder->commit());
  writer.join();
  EXPECT_TRUE(inserted);
  EXPECT_EQ(holder->intForQuery("select count(*) from t"), 2);
}

TEST_F(FMDatabaseBusyTest, NoHandlerFailsAtOnce) {
  waiter->setMaxBusyRetryTimeInterval(0);
  EXPECT_FALSE(waiter->executeUpdate("insert into t values (2)"));
  EXPECT_EQ(waiter->lastErrorCode(), SQLITE_BUSY);
  EXPECT_TRUE(SleepRecorder::shared().sleeps().empty());
}

TEST_F(FMDatabaseBusyTest, AResultSetReportsABusyStep) {
  // Prepared while the file is free, stepped while the holder writes.
  ASSERT_TRUE(holder->rollback());
  waiter->setMaxBusyRetryTimeInterval(0);
  auto rs = waiter->executeQuery("select v from t");
  ASSERT_TRUE(rs);
  ASSERT_TRUE(holder->beginExclusiveTransaction());
  FMError error;
  EXPECT_FALSE(rs->nextWithError(&error));
  EXPECT_EQ(error.code, SQLITE_BUSY);
  EXPECT_EQ(logs.count("Database busy"), 1u);
  EXPECT_EQ(logs.countContaining("Database busy (" + *waiter->databasePath() + ")"), 1u);
}

}  // namespace
}  // namespace kestrel
