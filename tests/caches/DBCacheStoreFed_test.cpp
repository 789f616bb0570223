// The caches fed from the object store: they never wait for it, answer
// nothing until it has answered and its answer afterwards, and after
// invalidate() take only what the store answers from then on.
#include <KestrelDatabase/caches/DBCacheHighlights.h>
#include <KestrelDatabase/caches/DBCacheUniqueStage.h>
#include <KestrelDatabase/caches/DBCacheVote.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <vector>

#include "caches/CacheFixture.h"

namespace kestrel {
namespace {

using V = std::vector<std::int64_t>;

class DBCacheStoreFedTest : public testing::CacheTest {
 protected:
  void SetUp() override {
    CacheTest::SetUp();
    manager_ = DataManager::forHome(home_.path());
    ASSERT_FALSE(manager_->loadStore());
  }
  void TearDown() override {
    manager_.reset();
    platform::DispatchQueue::main()->waitUntilDrained();
    CacheTest::TearDown();
  }

  /// Holds the store's queue until release() (requests wait behind it).
  void holdStore() {
    manager_->backgroundContext()->perform([gate = gate_.get_future().share()] { gate.wait(); });
  }
  void release() { gate_.set_value(); }
  /// Returns once every request sent so far has been answered.
  void drainStore() {
    manager_->backgroundContext()->performAndWait([] {});
  }

  std::shared_ptr<DataManager> manager_;

 private:
  std::promise<void> gate_;
};

TEST_F(DBCacheStoreFedTest, AVoteIsAbsentUntilTheStoreAnswersThenItIsThere) {
  ASSERT_TRUE(manager_->saveVote(42, kNow, "fullTime", "1", true).get());
  holdStore();
  DBCacheVote votes(queue_, manager_);  // returns at once: the store is held
  EXPECT_EQ(votes.getObjectForKey("42-fullTime"), std::nullopt);
  EXPECT_FALSE(votes.getObjectDictionary());
  votes.cacheObject(std::string("2"), std::string("43-fullTime"));  // no dictionary yet: lost
  release();
  drainStore();
  EXPECT_EQ(votes.getObjectForKey("42-fullTime"), "1");
  EXPECT_EQ(votes.getObjectForKey("43-fullTime"), std::nullopt);
  EXPECT_EQ(votes.dataManager(), manager_);

  // Kept in step by the facade, and refilled after a wholesale change.
  votes.cacheObject(std::string("X"), std::string("44-halfTime"));
  EXPECT_EQ(votes.getObjectForKey("44-halfTime"), "X");
  ASSERT_TRUE(manager_->deleteVotes().get());
  votes.invalidate();
  votes.initCache();
  drainStore();
  EXPECT_EQ(votes.getObjectDictionary().size(), 0u);
  EXPECT_TRUE(votes.getObjectDictionary());
}

TEST_F(DBCacheStoreFedTest, HighlightAndUniqueStageIDsArriveWithoutWaiting) {
  ASSERT_TRUE(manager_->markHighlightWatched(5, "https://a", 10).get());
  ASSERT_TRUE(manager_->followUniqueStage(9).get());
  holdStore();
  DBCacheHighlights highlights(queue_, manager_);
  DBCacheUniqueStage uniqueStages(queue_, manager_);
  EXPECT_TRUE(highlights.getIDs().empty());
  EXPECT_FALSE(uniqueStages.containsID(9));
  release();
  drainStore();
  EXPECT_EQ(sorted(highlights.getIDs()), (V{5}));
  EXPECT_TRUE(uniqueStages.containsID(9));

  uniqueStages.cacheID(10);
  uniqueStages.invalidate();
  uniqueStages.initCache();
  drainStore();
  EXPECT_EQ(sorted(uniqueStages.getIDs()), (V{9}));  // 10 was only in memory
}

TEST_F(DBCacheStoreFedTest, AnAnswerThatCameBeforeInvalidateIsNotTaken) {
  ASSERT_TRUE(manager_->followUniqueStage(9).get());
  DBCacheUniqueStage uniqueStages(queue_, manager_);
  drainStore();  // answered, not yet looked at by the cache
  ASSERT_TRUE(manager_->followUniqueStage(10).get());
  uniqueStages.invalidate();
  // The answer from before is dropped; this operation asks again.
  EXPECT_TRUE(uniqueStages.getIDs().empty());
  drainStore();
  EXPECT_EQ(sorted(uniqueStages.getIDs()), (V{9, 10}));
}

}  // namespace
}  // namespace kestrel
