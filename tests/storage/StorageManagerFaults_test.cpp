// The facade under the faults an application meets on a real file: another
// connection holding the database lock, a file the system will not let it
// write, a full disk, its folder removed, the user's data reset again and
// again. Each test asserts the same three things: every write that reported
// success is in the file (read back by a fresh connection, as after a
// restart), every failure was reported as one, and once the fault is gone
// every cache holds what its table holds.
#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelPlatform/Log.h>
#include <gtest/gtest.h>
#include <sys/mount.h>


#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string_view>
#include <optional>
#include <future>
#include <string>

#include "storage/StorageFixture.h"
#include "support/LogCapture.h"
#include "support/ReadOnlyFile.h"
#include "support/TempDir.h"

namespace kestrel {
namespace {

using testing::StorageTest;

/// The favourite event IDs in the file at `home`, read by a connection of
/// their own (what the application finds after a restart).
StorageManager::IDSet favouritesOnDisk(const std::filesystem::path& home) {
  const auto helper = FMDBHelper::forHome(home);
  ReadResult<IDSet> ids;
  DBTableEvent::getFavoriteEventIDs(helper->getDBQueue(),
                                    [&](ReadResult<IDSet> read) { ids = std::move(read); });
  EXPECT_TRUE(ids.has_value()) << "the file could not be read after the fault";
  return ids.value_or(IDSet{});
}

class StorageManagerFaultsTest : public StorageTest {
 protected:
  /// The facade's connection gives up on a lock after `seconds`, so that a
  /// test need not wait the default busy time for every failure.
  void shortenBusyWait(double seconds = 0.05) {
    storage_->dbQueue()->inDatabase(
        [seconds](FMDatabase* db) { db->setMaxBusyRetryTimeInterval(seconds); });
  }
  std::filesystem::path databaseFile() const { return storage_->databaseHelper().databasePath(); }
};

TEST_F(StorageManagerFaultsTest, ALockHeldElsewhereFailsTheWriteAndLeavesNoCacheEmptiedByIt) {
  for (std::int64_t id = 1; id <= 20; ++id)
    ASSERT_TRUE(storage_->insertEvent(event(id), false).get());
  ASSERT_TRUE(storage_->followTeam(team(4), true).get());
  shortenBusyWait();

  // Another connection takes the file's exclusive lock: the facade can
  // neither write nor read.
  auto other = FMDatabase::databaseWithPath(databaseFile().string());
  ASSERT_TRUE(other->open());
  ASSERT_TRUE(other->beginExclusiveTransaction());
  testing::LogCapture log;
  EXPECT_FALSE(storage_->insertEvent(event(21), false).get());
  EXPECT_FALSE(storage_->unfollowTeam(4).get());
  EXPECT_FALSE(storage_->insertStage(stage(30)).get());
  EXPECT_FALSE(storage_->getAllFavoriteEvents().get().has_value()) << "a read fails as a failure";
  storage_->migrateFavoriteNotificationEvents().get();
  EXPECT_FALSE(storage_->userDefaults()->boolForKey(StorageManager::kFavoriteNotificationMigrationKey))
      << "a migration that could not commit is not recorded as done";
  EXPECT_GT(log.countContaining("busy"), 0u);

  // The lock is gone: every cache holds what the tables hold, the 20
  // favourites included, and writing works again.
  ASSERT_TRUE(other->commit());
  other->close();
  EXPECT_EQ(storage_->getFavoriteEventIDs().size(), 20u);
  EXPECT_TRUE(storage_->isFavoriteTeam(4));
  expectCachesAgreeWithStores("after the lock");
  EXPECT_TRUE(storage_->insertEvent(event(21), false).get());
  EXPECT_EQ(favouritesOnDisk(home_.path()).size(), 21u);
  storage_->migrateFavoriteNotificationEvents().get();
  EXPECT_TRUE(storage_->userDefaults()->boolForKey(StorageManager::kFavoriteNotificationMigrationKey));
}

TEST_F(StorageManagerFaultsTest, AFileTheSystemWillNotLetBeWrittenReportsEveryWriteAsFailed) {
  ASSERT_TRUE(storage_->insertEvent(event(1), false).get());
  {
    testing::ReadOnlyFile readOnly(databaseFile());
    if (!readOnly.available()) GTEST_SKIP() << "this system does not let the test make a file read-only";
    testing::LogCapture log;
    EXPECT_FALSE(storage_->insertEvent(event(2), false).get());
    EXPECT_FALSE(storage_->deleteEvent(1).get());
  }

  // Nothing was reported that did not happen; once writable again (the
  // database reopened) the facade works and its caches agree.
  EXPECT_EQ(favouritesOnDisk(home_.path()), (IDSet{1}));
  storage_->reInit();
  expectCachesAgreeWithStores("after the file was writable again");
  EXPECT_TRUE(storage_->insertEvent(event(2), false).get());
  EXPECT_EQ(favouritesOnDisk(home_.path()), (IDSet{1, 2}));
}

TEST_F(StorageManagerFaultsTest, AFolderRemovedUnderTheOpenDatabaseComesBackWithReInit) {
  storeOneOfEach();
  const std::filesystem::path documents = databaseFile().parent_path();
  std::filesystem::remove_all(documents);
  std::filesystem::create_directories(documents);
  testing::LogCapture log;
  EXPECT_FALSE(storage_->insertEvent(event(40), false).get()) << "the open file was removed";

  storage_->reInit();  // a new, empty file in the recreated folder
  expectCachesAgreeWithStores("after reInit");
  EXPECT_TRUE(storage_->getFavoriteEventIDs().empty());
  EXPECT_TRUE(storage_->insertEvent(event(40), false).get());
  EXPECT_TRUE(storage_->isFavoriteEvent(40));
  EXPECT_EQ(favouritesOnDisk(home_.path()), (IDSet{40}));
}

TEST_F(StorageManagerFaultsTest, ResettingTheDataAnyNumberOfTimesLeavesAWorkingEmptyDatabase) {
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    storeOneOfEach();
    ASSERT_TRUE(storage_->insertEvent(event(100 + round), false).get());
    const std::weak_ptr<FMDatabaseQueue> old = storage_->dbQueue();

    storage_->databaseHelper().clearDB();
    storage_->reInit();

    EXPECT_TRUE(old.expired()) << "the old queue and its connection are gone";
    EXPECT_TRUE(storage_->getFavoriteEventIDs().empty());
    EXPECT_TRUE(storage_->getFavoriteTeamIDs().empty());
    EXPECT_TRUE(storage_->getPinnedUniqueTournaments().empty());
    EXPECT_TRUE(favouritesOnDisk(home_.path()).empty());
    expectCachesAgreeWithStores("after the reset");
  }
  EXPECT_TRUE(storage_->insertEvent(event(7), true).get());
  EXPECT_TRUE(storage_->isMutedEvent(7));
  EXPECT_EQ(favouritesOnDisk(home_.path()), (IDSet{7}));
}

// While reInit starts the new connection, a cache emptied on another thread
// still fills from the old queue (the same file), not from no queue at all,
// which would answer "not a favourite" for a favourite. The probe runs when
// the new queue is in place and the start has finished its transactions: a
// table in the way of an index makes the start fail, and its failure is
// logged at that moment.
TEST_F(StorageManagerFaultsTest, ACacheEmptiedWhileReInitStartsTheNewQueueStillAnswersFromTheFile) {
  ASSERT_TRUE(storage_->insertEvent(event(1), false).get());
  storage_->dbQueue()->inDatabase([](FMDatabase* db) {
    ASSERT_TRUE(db->executeUpdate("DROP INDEX unique_tournaments_index"));
    ASSERT_TRUE(db->executeUpdate("CREATE TABLE unique_tournaments_index (x)"));
  });
  std::optional<bool> probed;
  const platform::LogSink previous =
      platform::setLogSink([&](std::string_view line) {
        if (probed || line.find("ERROR: DB START FAILED") == std::string_view::npos) return;
        auto answer = std::async(std::launch::async, [this] {
          cache("DBCacheEvent").invalidate();
          return storage_->isFavoriteEvent(1);
        });
        ASSERT_EQ(answer.wait_for(testing::kHang), std::future_status::ready);
        probed = answer.get();
      });
  storage_->reInit();
  platform::setLogSink(previous);

  ASSERT_TRUE(probed.has_value()) << "the start did not fail as arranged";
  EXPECT_TRUE(*probed);
  EXPECT_TRUE(storage_->isFavoriteEvent(1));
}

// The same on the shared instance: a "reset my data" button pressed three
// times in one session.
TEST(StorageManagerSharedResetTest, ThreeResetsOfTheSharedInstanceLeaveAWorkingEmptyDatabase) {
  testing::TempDir home(/*setAsHome=*/true);
  const std::shared_ptr<StorageManager>& storage = StorageManager::shared();
  for (int round = 0; round < 3; ++round) {
    const model::Event favourite{.ID = 10 + round, .startTimestamp = 1'700'000'000};
    ASSERT_TRUE(storage->insertEvent(favourite, false).get());
    ASSERT_TRUE(storage->isFavoriteEvent(favourite.ID));
    FMDBHelper::getFMDBHelper().clearDB();
    storage->reInit();
    EXPECT_TRUE(storage->getFavoriteEventIDs().empty()) << "round " << round;
    EXPECT_EQ(storage->dbQueue(), FMDBHelper::getFMDBHelper().getDBQueue());
  }
  const model::Event kept{.ID = 99, .startTimestamp = 1'700'000'000};
  ASSERT_TRUE(storage->insertEvent(kept, false).get());
  EXPECT_EQ(favouritesOnDisk(home.path()), (StorageManager::IDSet{99}));
}

// A disk that fills up under the facade. Needs a small file system of its
// own, which the test mounts where the system allows it.
class StorageManagerFullDiskTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (::mount("tmpfs", disk_.path().c_str(), "tmpfs", 0, "size=1536k") != 0) {
      GTEST_SKIP() << "mounting a 1.5 MB tmpfs is not permitted here (" << std::strerror(errno)
                   << "); the full-disk test needs it";
    }
    mounted_ = true;
    home_ = disk_.path() / "home";
    std::filesystem::create_directories(home_);
    // Room to give back once the disk is full.
    std::ofstream(disk_.path() / "ballast", std::ios::binary) << std::string(256 * 1024, 'x');
  }
  void TearDown() override {
    storage_.reset();
    if (mounted_) ::umount2(disk_.path().c_str(), MNT_DETACH);
  }

  testing::TempDir disk_;
  bool mounted_ = false;
  std::filesystem::path home_;
  std::shared_ptr<StorageManager> storage_;
};

TEST_F(StorageManagerFullDiskTest, EveryInsertThatReportedSuccessIsInTheFileAfterARestart) {
  testing::LogCapture log;
  storage_ = StorageManager::forHome(home_);
  StorageManager::IDSet acknowledged;
  std::int64_t id = 1;
  int failures = 0;
  // Big rows fill the disk soon; keep going a while past the first failure,
  // as an application would.
  for (; id <= 20000 && failures < 50; ++id) {
    model::Event event{.ID = id, .startTimestamp = 1'700'000'000};
    event.webUrl = std::string(2048, 'u');
    if (storage_->insertEvent(event, false).get()) {
      acknowledged.insert(id);
    } else {
      ++failures;
    }
  }
  ASSERT_GT(failures, 0) << "the disk never filled up";
  ASSERT_FALSE(acknowledged.empty());
  EXPECT_EQ(storage_->getFavoriteEventIDs(), acknowledged)
      << "memory holds exactly what was acknowledged";

  // Room again: the next write succeeds without a restart.
  std::filesystem::remove(disk_.path() / "ballast");
  model::Event after{.ID = id, .startTimestamp = 1'700'000'000};
  EXPECT_TRUE(storage_->insertEvent(after, false).get());
  acknowledged.insert(id);

  storage_.reset();
  EXPECT_EQ(favouritesOnDisk(home_), acknowledged);
}

}  // namespace
}  // namespace kestrel
