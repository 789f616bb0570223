// The facade's object-store operations under real faults: another
// connection holding the store's lock past the busy wait, another
// connection writing, a store file that cannot be written. Every operation
// resolves, once, with its failure; nothing that was acknowledged is lost
// (a fresh DataManager reads it from disk); and once the fault is gone the
// vote, highlight and unique-stage caches are what the store holds.
#include <KestrelPlatform/DispatchQueue.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "storage/StorageFixture.h"
#include "support/ReadOnlyFile.h"
#include "support/StoreLock.h"

namespace kestrel {
namespace {

using model::NMEventVoteType;
using model::NMEventVoteValue;
using namespace std::chrono_literals;
using testing::kHang;
using testing::StoreLock;

class StorageManagerStoreFaultTest : public testing::StorageTest {
 protected:
  void SetUp() override {
    StorageTest::SetUp();
    // The same home, with a store that gives up on another connection's
    // lock after 20 ms.
    storage_.reset();
    dataManager_ = shortWait();
    ASSERT_FALSE(dataManager_->loadStore());
    storage_ = StorageManager::forHome(home_.path(), dataManager_);
    settleStore();
  }

  std::shared_ptr<DataManager> shortWait() const {
    return DataManager::create({home_.path(), DataManager::kFrameworkBundleIdentifier, true, 20ms});
  }

  /// Acknowledged, so that every write of everyWrite() has something to
  /// change: vote 1 "1" (neither flag set), highlight 2, unique stage 3, a
  /// recent search and a read news item.
  void storeSome() {
    ASSERT_TRUE(storage_->save(NMEventVoteValue(0), NMEventVoteType(0), 1, kNow + 100, false).get());
    ASSERT_TRUE(storage_->edit(NMEventVoteValue(0), NMEventVoteType(0), 1, false).get());
    ASSERT_TRUE(storage_->markHighlightWatched(2, "https://clip", 1).get());
    ASSERT_TRUE(storage_->followUniqueStage(3).get());
    ASSERT_TRUE(storage_->saveRecentSearch(1, "team", {1}).get());
    ASSERT_TRUE(storage_->markNewsItemAsRead("n").get());
    expectStoreCachesAgree("stored");
  }

  /// What a fresh DataManager reads from the home's store file.
  std::set<std::string> onDisk() const {
    auto fresh = DataManager::forHome(home_.path());
    std::set<std::string> found;
    const auto votes = fresh->getVotesForCache().get();
    const auto highlights = fresh->getHighlightsForCacheWithCompletion().get();
    const auto stages = fresh->getUniqueStagesForCacheWithCompletion().get();
    EXPECT_TRUE(votes && highlights && stages) << "the store could not be read";
    for (const auto& [key, value] : votes.value_or(DataManager::VoteDictionary{})) found.insert(key + "=" + value);
    for (const std::int64_t id : highlights.value_or(DataManager::IDSet{})) found.insert("highlight " + std::to_string(id));
    for (const std::int64_t id : stages.value_or(DataManager::IDSet{})) found.insert("stage " + std::to_string(id));
    return found;
  }

  /// Every object-store write of the facade, half in each form, not awaited;
  /// their results in order, once all have resolved.
  std::vector<bool> everyWrite() {
    StorageManager& s = *storage_;
    const auto type = NMEventVoteType(0);
    const std::vector<std::function<void(StorageManager::BoolHandler)>> handlers = {
        [&](auto h) { s.save(NMEventVoteValue(1), type, 1, kNow + 100, true, h); },
        [&](auto h) { s.save(NMEventVoteValue(2), type, 5, kNow + 100, true, h); },
        [&](auto h) { s.edit(NMEventVoteValue(2), type, 1, true, h); },
        [&](auto h) { s.markAsAdded(1, type, h); },
        [&](auto h) { s.markAsEdited(1, type, h); },
        [&](auto h) { s.markHighlightWatched(6, std::nullopt, 1, h); },
        [&](auto h) { s.followUniqueStage(4, h); },
        [&](auto h) { s.unfollowUniqueStage(3, h); },
        [&](auto h) { s.saveScoreSuggestion("s", 7, {}, h); },
        [&](auto h) { s.saveRecentSearch(8, "team", {}, h); },
        [&](auto h) { s.savePlayerValueVote(9, true, 1, h); },
        [&](auto h) { s.markNewsItemAsRead("m", h); },
        [&](auto h) { s.deleteVotes(h); },
        [&](auto h) { s.deleteUniqueStages(h); },
    };
    const std::vector<std::function<std::future<bool>()>> futures = {
        [&] { return s.save(NMEventVoteValue(2), type, 1, kNow + 100, true); },
        [&] { return s.edit(NMEventVoteValue(1), type, 1, false); },
        [&] { return s.markAsAdded(1, type); },
        [&] { return s.markHighlightWatched(2, std::nullopt, 1); },
        [&] { return s.followUniqueStage(10); },
        [&] { return s.unfollowUniqueStage(3); },
        [&] { return s.deleteRecentSearches(); },
        [&] { return s.deleteVotes(); },
        [&] { return s.deleteUniqueStages(); },
    };
    std::vector<std::future<bool>> pending;
    auto calls = std::make_shared<std::atomic<int>>(0);
    for (const auto& start : handlers) {
      auto done = std::make_shared<std::promise<bool>>();
      pending.push_back(done->get_future());
      start([done, calls](bool ok) {
        ++*calls;
        done->set_value(ok);
      });
    }
    for (const auto& start : futures) pending.push_back(start());
    std::vector<bool> results;
    for (auto& result : pending) {
      EXPECT_EQ(result.wait_for(kHang), std::future_status::ready) << "a write never resolved";
      results.push_back(result.get());
    }
    EXPECT_EQ(calls->load(), static_cast<int>(handlers.size()));
    return results;
  }
  static constexpr std::size_t kWrites = 23;

  /// Every object-store read of the facade, in both forms: whether each
  /// one read the store (rather than failing).
  std::vector<bool> everyRead() {
    StorageManager& s = *storage_;
    std::vector<bool> read = {resolved(s.getUnsuccessfulVotes()).has_value(),
                              resolved(s.fetchHighlight(2)).has_value(),
                              resolved(s.getScoreSuggestion(7)).has_value(),
                              resolved(s.getRecentSearches()).has_value(),
                              resolved(s.getPlayerValueVote(9)).has_value(),
                              resolved(s.isNewsItemRead("n")).has_value()};
    std::promise<bool> handled;
    s.isNewsItemRead("n", [&](ReadResult<bool> flag) { handled.set_value(flag.has_value()); });
    read.push_back(resolved(handled.get_future()));
    std::promise<bool> votes;
    s.getUnsuccessfulVotes([&](auto unsent) { votes.set_value(unsent.has_value()); });
    read.push_back(resolved(votes.get_future()));
    return read;
  }

  template <class T>
  static T resolved(std::future<T> future) {
    EXPECT_EQ(future.wait_for(kHang), std::future_status::ready) << "a read never resolved";
    return future.get();
  }
};

TEST_F(StorageManagerStoreFaultTest, WhileTheStoreIsLockedEverythingFailsAndTheCachesRecoverAsTheStoreIs) {
  storeSome();
  const std::set<std::string> before = onDisk();
  {
    StoreLock lock(dataManager_->storeFile(), StoreLock::Kind::exclusive);
    ASSERT_TRUE(lock.held());
    EXPECT_EQ(everyWrite(), std::vector<bool>(kWrites, false));
    EXPECT_EQ(everyRead(), std::vector<bool>(8, false));
    // Memory claims nothing the store does not hold.
    EXPECT_FALSE(storage_->getVote(5, NMEventVoteType(0)));
    EXPECT_FALSE(storage_->isFollowedUniqueStage(4));
    EXPECT_FALSE(storage_->isHighlightWatched(6));
  }
  EXPECT_EQ(onDisk(), before);
  expectStoreCachesAgree("after the lock");
  EXPECT_EQ(storage_->getVote(1, NMEventVoteType(0)), NMEventVoteValue(0));
  EXPECT_TRUE(storage_->isFollowedUniqueStage(3));
  EXPECT_EQ(everyRead(), std::vector<bool>(8, true));

  // The store works again.
  EXPECT_TRUE(storage_->followUniqueStage(4).get());
  expectStoreCachesAgree("written again");
  EXPECT_TRUE(onDisk().contains("stage 4"));
}

TEST_F(StorageManagerStoreFaultTest, WhileAnotherConnectionWritesEveryWriteFailsAndTheCachesStayAsTheStore) {
  storeSome();
  const std::set<std::string> before = onDisk();
  {
    StoreLock lock(dataManager_->storeFile(), StoreLock::Kind::writer);
    ASSERT_TRUE(lock.held());
    EXPECT_EQ(everyWrite(), std::vector<bool>(kWrites, false));
    // The store can be read meanwhile: the caches re-read after the failed
    // writes already show it as it is.
    expectStoreCachesAgree("during the lock");
    EXPECT_EQ(storage_->getVote(1, NMEventVoteType(0)), NMEventVoteValue(0));
    EXPECT_EQ(everyRead(), std::vector<bool>(8, true));
  }
  EXPECT_EQ(onDisk(), before);
  expectStoreCachesAgree("after the lock");
}

TEST_F(StorageManagerStoreFaultTest, WithAStoreFileThatCannotBeWrittenEveryWriteFailsAndTheCachesStayAsTheStore) {
  storeSome();
  const std::set<std::string> before = onDisk();
  storage_.reset();
  dataManager_.reset();
  testing::ReadOnlyFile readOnly(DataManager::storePath(home_.path()));
  if (!readOnly.available()) GTEST_SKIP() << "this process can write any file here";
  dataManager_ = shortWait();
  ASSERT_FALSE(dataManager_->loadStore());
  storage_ = StorageManager::forHome(home_.path(), dataManager_);
  expectStoreCachesAgree("loaded read-only");
  EXPECT_EQ(everyWrite(), std::vector<bool>(kWrites, false));
  expectStoreCachesAgree("after the refused writes");
  EXPECT_EQ(storage_->getVote(1, NMEventVoteType(0)), NMEventVoteValue(0));
  readOnly.restore();
  EXPECT_EQ(onDisk(), before);
}

}  // namespace
}  // namespace kestrel
