// The facade's lifecycle: the shared instance made once under concurrent
// first reads, the one-time migration and its flag, clearEventCache, reInit
// dropping what only memory held, and cleanDB's purges and the TV channel
// cache's refill on the main queue.
#include <KestrelDatabase/caches/DBCacheTvChannels.h>
#include <KestrelDatabase/caches/DBCacheVote.h>
#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <latch>
#include <thread>

#include "storage/StorageFixture.h"
#include "support/QueueGate.h"

namespace kestrel {
namespace {

using model::NMEventVoteType;
using model::NMEventVoteValue;
using namespace std::chrono_literals;
using testing::kHang;

TEST(StorageManagerSharedTest, TwoThreadsReadingSharedFirstGetTheOneInstanceOnTheHelpersQueue) {
  testing::TempDir home(/*setAsHome=*/true);
  ASSERT_FALSE(DataManager::shared()->loadStore());

  std::latch start(2);
  const auto read = [&start] {
    start.arrive_and_wait();
    return StorageManager::shared().get();
  };
  std::future<StorageManager*> first = std::async(std::launch::async, read);
  std::future<StorageManager*> second = std::async(std::launch::async, read);
  StorageManager* a = first.get();
  StorageManager* b = second.get();
  ASSERT_NE(a, nullptr);
  EXPECT_EQ(a, b);
  EXPECT_EQ(a, StorageManager::shared().get());
  EXPECT_EQ(a->dbQueue(), FMDBHelper::getFMDBHelper().getDBQueue());
  EXPECT_EQ(a->dataManager(), DataManager::shared());

  // The instance works on the home's database, and its store-fed caches get
  // their answers before the home goes.
  EXPECT_TRUE(a->insertEvent(model::Event{.ID = 5, .startTimestamp = 1'700'000'000}, false).get());
  EXPECT_TRUE(a->isFavoriteEvent(5));
  DataManager::shared()->backgroundContext()->performAndWait([] {});
  platform::DispatchQueue::main()->waitUntilDrained();
}

class StorageManagerLifecycleTest : public testing::StorageTest {
 protected:
  /// An unmuted favourite of a followed team: the migration makes it
  /// entity-owned (no longer a favourite).
  void favouriteOfFollowedTeam() {
    ASSERT_TRUE(storage_->followTeam(team(7), true).get());
    ASSERT_TRUE(storage_->insertEvent(event(70, kNow, 3, 7), false).get());
    ASSERT_TRUE(storedFavoriteEventIDs().contains(70));
  }

  /// Keeps the main queue busy until `gate` is released.
  static void holdMainQueue(const testing::QueueGate& gate) {
    platform::DispatchQueue::main()->async(gate.block());
    gate.waitUntilHeld();
  }

  bool migrated() const {
    return storage_->userDefaults()->boolForKey(StorageManager::kFavoriteNotificationMigrationKey);
  }
};

TEST_F(StorageManagerLifecycleTest, MigrationRunsOnceSetsTheFlagAndEmptiesBothEventCaches) {
  favouriteOfFollowedTeam();
  cache("DBCacheEvent").cacheID(999);  // only in memory
  ASSERT_FALSE(migrated());

  storage_->migrateFavoriteNotificationEvents().get();

  EXPECT_TRUE(migrated());
  EXPECT_FALSE(storedFavoriteEventIDs().contains(70));
  EXPECT_FALSE(cache("DBCacheEvent").IDs().has_value());
  EXPECT_FALSE(cache("DBCacheMutedEvent").IDs().has_value());
  EXPECT_FALSE(storage_->isFavoriteEvent(70));
  EXPECT_FALSE(storage_->isFavoriteEvent(999));

  // Made a favourite again, it stays one: the migration does not run twice.
  ASSERT_TRUE(storage_->insertEvent(event(70, kNow, 3, 7), false).get());
  storage_->migrateFavoriteNotificationEvents().get();
  EXPECT_TRUE(storedFavoriteEventIDs().contains(70));
  EXPECT_TRUE(storage_->isFavoriteEvent(70));
}

TEST_F(StorageManagerLifecycleTest, MigrationWithTheFlagSetTouchesNeitherTheTableNorTheCaches) {
  favouriteOfFollowedTeam();
  storage_->userDefaults()->setBool(true, StorageManager::kFavoriteNotificationMigrationKey);
  cache("DBCacheEvent").cacheID(999);

  std::future<void> done = storage_->migrateFavoriteNotificationEvents();
  ASSERT_EQ(done.wait_for(0s), std::future_status::ready);
  done.get();

  EXPECT_TRUE(storedFavoriteEventIDs().contains(70));
  ASSERT_TRUE(cache("DBCacheEvent").IDs().has_value());
  EXPECT_TRUE(cache("DBCacheEvent").IDs()->contains(999));
  EXPECT_TRUE(cache("DBCacheMutedEvent").IDs().has_value());
}

TEST_F(StorageManagerLifecycleTest, MigrationFlagIsWrittenOnlyOnceTheTableStepHasRun) {
  favouriteOfFollowedTeam();
  // Hold the database queue, so the table step cannot run yet.
  std::promise<void> release;
  std::promise<void> holding;
  std::thread holder([&] {
    storage_->dbQueue()->inDatabase([&](FMDatabase*) {
      holding.set_value();
      release.get_future().wait();
    });
  });
  holding.get_future().wait();

  std::future<void> done = storage_->migrateFavoriteNotificationEvents();
  EXPECT_EQ(done.wait_for(0s), std::future_status::timeout);
  EXPECT_FALSE(migrated());
  release.set_value();
  holder.join();
  ASSERT_EQ(done.wait_for(kHang), std::future_status::ready);
  done.get();
  EXPECT_TRUE(migrated());
  EXPECT_FALSE(storedFavoriteEventIDs().contains(70));
}

TEST_F(StorageManagerLifecycleTest, ClearEventCacheDropsBothSetsUntilTheNextQuestionRereadsThem) {
  ASSERT_TRUE(storage_->insertEvent(event(1), false).get());
  ASSERT_TRUE(storage_->insertEvent(event(2), true).get());
  cache("DBCacheEvent").cacheID(99);
  cache("DBCacheMutedEvent").cacheID(99);

  storage_->clearEventCache();

  EXPECT_FALSE(cache("DBCacheEvent").IDs().has_value());
  EXPECT_FALSE(cache("DBCacheMutedEvent").IDs().has_value());
  EXPECT_FALSE(storage_->isFavoriteEvent(99));
  EXPECT_FALSE(storage_->isMutedEvent(99));
  EXPECT_EQ(storage_->getFavoriteEventIDs(), (IDSet{1, 2}));
  EXPECT_EQ(storage_->getMutedEventIDs(), (IDSet{2}));
}

TEST_F(StorageManagerLifecycleTest, ReInitRefillsEveryCacheWithExactlyWhatItsStoreHolds) {
  storeOneOfEach();
  ASSERT_TRUE(storage_->save(NMEventVoteValue(0), NMEventVoteType(0), 1, kNow, true).get());
  ASSERT_TRUE(storage_->markHighlightWatched(11, std::nullopt, kNow).get());
  ASSERT_TRUE(storage_->followUniqueStage(12).get());
  settleStore();

  // What only memory knows: an ID in every cache that has IDs, a vote.
  constexpr std::int64_t kStale = 777;
  for (DBCacheAbstract* cache : storage_->allCaches()) cache->cacheID(kStale);
  storage_->cacheVote().cacheObject("X", StorageManager::voteCacheKey(kStale, NMEventVoteType(0)));

  storage_->reInit();
  settleStore();

  for (DBCacheAbstract* cache : storage_->allCaches()) {
    EXPECT_FALSE(cache->containsID(kStale)) << cache->cacheName();
  }
  EXPECT_FALSE(storage_->getVote(kStale, NMEventVoteType(0)));
  EXPECT_EQ(storage_->getVote(1, NMEventVoteType(0)), NMEventVoteValue(0));
  EXPECT_TRUE(storage_->isFavoriteEvent(1) && storage_->isMutedEvent(2));
  EXPECT_TRUE(storage_->isFavoriteStage(3) && storage_->isMutedStage(5));
  EXPECT_TRUE(storage_->isTeamNotificationEnabled(4) && storage_->isFavoritePlayer(6));
  EXPECT_TRUE(storage_->isTournamentNotificationEnabled(7) && storage_->isPinned(8));
  EXPECT_TRUE(storage_->isFantasyCompetitionFollowed(9));
  EXPECT_EQ(storage_->getTvChannelSuggestions().size(), 1u);
  EXPECT_TRUE(storage_->isHighlightWatched(11) && storage_->isFollowedUniqueStage(12));
  expectCachesAgreeWithStores("after reInit");

  // The kept queue still serves the reopened file.
  EXPECT_TRUE(storage_->insertEvent(event(13), false).get());
  EXPECT_TRUE(storedFavoriteEventIDs().contains(13));
}

TEST_F(StorageManagerLifecycleTest, CleanDBKeepsVotesAndHighlightsExactlyAtTheirBoundAndThoseWithoutTime) {
  const auto fullTime = NMEventVoteType(0);
  const std::int64_t ninetyDays = DataManager::kVoteRetentionSeconds;
  ASSERT_TRUE(storage_->save(NMEventVoteValue(0), fullTime, 1, kNow - ninetyDays - 1, true).get());
  ASSERT_TRUE(storage_->save(NMEventVoteValue(1), fullTime, 2, kNow - ninetyDays, true).get());
  ASSERT_TRUE(storage_->save(NMEventVoteValue(2), fullTime, 3, 0, true).get());

  const std::int64_t week = DataManager::kHighlightRetentionSeconds;
  platform::Clock::setFixed(static_cast<double>(kNow - week - 1));
  ASSERT_TRUE(storage_->markHighlightWatched(21, std::nullopt, 0).get());
  platform::Clock::setFixed(static_cast<double>(kNow - week));
  ASSERT_TRUE(storage_->markHighlightWatched(22, std::nullopt, 0).get());
  platform::Clock::setFixed(static_cast<double>(kNow));
  std::promise<void> saved;
  dataManager_->saveContext(
      [&] {
        MOHighlight never(dataManager_->backgroundContext()->insertNewObject("MOHighlight"));
        never.setId(23);
        never.setLastWatching(0);
      },
      [&] { saved.set_value(); });
  saved.get_future().wait();
  settleStore();

  storage_->cleanDB();
  settleStore();

  EXPECT_EQ(storedVotes(), (std::set<std::string>{"2-fullTime=2", "3-fullTime=X"}));
  EXPECT_EQ(cachedVotes(), storedVotes());
  EXPECT_EQ(storedHighlightIDs(), (IDSet{22, 23}));
  EXPECT_FALSE(storage_->isHighlightWatched(21));
  EXPECT_TRUE(storage_->isHighlightWatched(22));
  EXPECT_TRUE(storage_->isHighlightWatched(23));
}

TEST_F(StorageManagerLifecycleTest, CleanDBLeavesTheTvChannelCacheEmptyUntilTheMainQueueRefillsIt) {
  const auto answer = [](std::int64_t channel, std::int64_t start) {
    return model::TVChannelSuggestion{.channelId = channel, .eventId = channel,
                                      .startTimestamp = start, .approve = true};
  };
  ASSERT_TRUE(storage_->saveTvChannelSuggestion(answer(1, kNow)).get());
  ASSERT_TRUE(storage_->saveTvChannelSuggestion(answer(2, kNow - 604801)).get());
  auto& tv = dynamic_cast<DBCacheTvChannels&>(cache("DBCacheTvChannels"));

  // Hold the main queue: the refill cleanDB queues there cannot run yet.
  const testing::QueueGate gate;
  holdMainQueue(gate);
  storage_->cleanDB();
  EXPECT_FALSE(tv.objects().has_value());
  EXPECT_EQ(storedTvSuggestions().size(), 1u);
  gate.release();
  settleStore();

  ASSERT_TRUE(tv.objects().has_value());
  EXPECT_EQ(tvSuggestions(), storedTvSuggestions());
}

TEST_F(StorageManagerLifecycleTest, TheTvChannelRefillOfAFacadeGoneMeanwhileDoesNothing) {
  const testing::QueueGate gate;
  holdMainQueue(gate);
  storage_->cleanDB();
  storage_.reset();
  gate.release();
  platform::DispatchQueue::main()->waitUntilDrained();
  storage_ = StorageManager::forHome(home_.path(), dataManager_);
  EXPECT_TRUE(storage_->getTvChannelSuggestions().empty());
}

}  // namespace
}  // namespace kestrel
