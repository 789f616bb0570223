// Writes that take a row out of a cache before touching the table, with a
// fill of that cache on another thread landing between the removal and
// the write: the fill reads the row as it still is, so the removal must be
// made again once the write has succeeded. The other thread's work runs at
// the writer's first clock reading after the removal (the row mapping and
// the favourite window read the clock before the statement is queued),
// which makes the interleaving certain instead of lucky.
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <thread>

#include "storage/StorageFixture.h"

namespace kestrel {
namespace {

using testing::kHang;

class StorageManagerRacesTest : public testing::StorageTest {
 protected:
  struct Hook {
    std::thread::id writer;
    std::function<void()> interfere;
    std::atomic<bool> fired{false};
  };

  /// The next time this thread reads the clock, `interfere` runs on
  /// another thread, and the reading waits for it.
  void interfereAtNextClockReading(std::function<void()> interfere) {
    auto hook = std::make_shared<Hook>();
    hook->writer = std::this_thread::get_id();
    hook->interfere = std::move(interfere);
    hook_ = hook;
    platform::Clock::setSource([hook] {
      if (std::this_thread::get_id() == hook->writer && !hook->fired.exchange(true)) {
        auto other = std::async(std::launch::async, hook->interfere);
        EXPECT_EQ(other.wait_for(kHang), std::future_status::ready) << "the other thread hung";
      }
      return static_cast<double>(kNow);
    });
  }
  bool interfered() const { return hook_ && hook_->fired.load(); }

  void TearDown() override {
    platform::Clock::setFixed(static_cast<double>(kNow));
    StorageTest::TearDown();
  }

  std::shared_ptr<Hook> hook_;
};

TEST_F(StorageManagerRacesTest, AnEventStoredUnmutedLeavesTheMutedCacheThoughAFillReadItMutedMeanwhile) {
  ASSERT_TRUE(storage_->insertEvent(event(1), true).get());
  ASSERT_TRUE(storage_->insertEvent(event(2), true).get());
  // Another screen mutes event 2, which reads both event caches again while
  // event 1 is still muted in the table.
  interfereAtNextClockReading([this] { EXPECT_TRUE(storage_->muteEvent(event(2)).get()); });
  ASSERT_TRUE(storage_->insertEvent(event(1), false).get());
  ASSERT_TRUE(interfered());
  EXPECT_FALSE(storage_->isMutedEvent(1));
  EXPECT_TRUE(storage_->isFavoriteEvent(1));
  EXPECT_EQ(storage_->getMutedEventIDs(), storedMutedEventIDs());
}

TEST_F(StorageManagerRacesTest, AStageStoredUnmutedLeavesTheMutedCacheThoughAFillReadItMutedMeanwhile) {
  ASSERT_TRUE(storage_->insertMutedStage(stage(1)).get());
  ASSERT_TRUE(storage_->insertStage(stage(2)).get());
  interfereAtNextClockReading([this] { EXPECT_TRUE(storage_->muteStage(stage(2)).get()); });
  ASSERT_TRUE(storage_->insertStage(stage(1)).get());
  ASSERT_TRUE(interfered());
  EXPECT_FALSE(storage_->isMutedStage(1));
  EXPECT_TRUE(storage_->isMutedStage(2));
  EXPECT_TRUE(storage_->isFavoriteStage(1));
  EXPECT_EQ(storedMutedStageIDs(), (IDSet{2}));
}

}  // namespace
}  // namespace kestrel
