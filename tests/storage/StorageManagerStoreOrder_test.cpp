// The caches fed from the object store take every change in the order the
// store applied it: operations issued together and not awaited (a double
// tap), issued before a cache's first answer or while it is being read
// again, and issued from several threads at once all leave the vote,
// highlight and unique-stage caches equal to the store.
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <future>
#include <latch>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "storage/StorageFixture.h"
#include "support/QueueGate.h"

namespace kestrel {
namespace {

using model::NMEventVoteType;
using model::NMEventVoteValue;
using testing::kHang;

class StorageManagerStoreOrderTest : public testing::StorageTest {
 protected:
  /// Runs `issue` while the store's queue is held, so that nothing it
  /// issues runs before all of it has been issued.
  void whileStoreHeld(const std::function<void()>& issue) {
    const testing::QueueGate gate;
    dataManager_->backgroundContext()->perform(gate.block());
    gate.waitUntilHeld();
    issue();
    gate.release();
  }

  template <class T>
  static T resolved(std::future<T>& future) {
    EXPECT_EQ(future.wait_for(kHang), std::future_status::ready) << "a future never resolved";
    return future.get();
  }
};

TEST_F(StorageManagerStoreOrderTest, AFollowAndAnUnfollowIssuedTogetherEndAsTheLastOfThem) {
  std::future<bool> follow;
  std::future<bool> unfollow;
  whileStoreHeld([&] {
    follow = storage_->followUniqueStage(7);
    unfollow = storage_->unfollowUniqueStage(7);
  });
  EXPECT_TRUE(resolved(follow));
  EXPECT_TRUE(resolved(unfollow));
  EXPECT_FALSE(storage_->isFollowedUniqueStage(7));
  expectStoreCachesAgree("follow, unfollow");
  EXPECT_EQ(storedUniqueStageIDs(), IDSet{});

  ASSERT_TRUE(storage_->followUniqueStage(8).get());
  whileStoreHeld([&] {
    unfollow = storage_->unfollowUniqueStage(8);
    follow = storage_->followUniqueStage(8);
  });
  EXPECT_TRUE(resolved(unfollow));
  EXPECT_TRUE(resolved(follow));
  EXPECT_TRUE(storage_->isFollowedUniqueStage(8));
  expectStoreCachesAgree("unfollow, follow");
  EXPECT_EQ(storedUniqueStageIDs(), IDSet{8});
}

TEST_F(StorageManagerStoreOrderTest, ChangesIssuedBeforeTheCachesAnswerAreNotUndoneByIt) {
  ASSERT_TRUE(storage_->followUniqueStage(3).get());
  ASSERT_TRUE(storage_->save(NMEventVoteValue(0), NMEventVoteType(0), 1, kNow, true).get());
  ASSERT_TRUE(storage_->markHighlightWatched(2, std::nullopt, kNow).get());
  std::vector<std::future<bool>> writes;
  whileStoreHeld([&] {
    // Every cache is emptied and asks the store again, behind the gate; the
    // changes below are queued behind those reads.
    storage_->reInit();
    writes.push_back(storage_->unfollowUniqueStage(3));
    writes.push_back(storage_->followUniqueStage(4));
    writes.push_back(storage_->save(NMEventVoteValue(2), NMEventVoteType(0), 1, kNow, true));
    writes.push_back(storage_->markHighlightWatched(5, std::nullopt, kNow));
  });
  for (auto& write : writes) EXPECT_TRUE(resolved(write));
  EXPECT_EQ(storage_->getFollowedUniqueStageIDs(), IDSet{4});
  EXPECT_EQ(storage_->getVote(1, NMEventVoteType(0)), NMEventVoteValue(2));
  EXPECT_TRUE(storage_->isHighlightWatched(5));
  expectStoreCachesAgree("after the refill");
}

TEST_F(StorageManagerStoreOrderTest, AVoteSavedAndEditedTwiceWithoutWaitingShowsTheLastEdit) {
  const auto type = NMEventVoteType(1);
  std::vector<std::future<bool>> writes;
  whileStoreHeld([&] {
    writes.push_back(storage_->save(NMEventVoteValue(3), type, 5, kNow + 100, false));
    writes.push_back(storage_->edit(NMEventVoteValue(4), type, 5, false));
    writes.push_back(storage_->edit(NMEventVoteValue(3), type, 5, true));
    // Two threads at once on another vote: the store applies one after the other.
    std::thread other([&] { (void)storage_->save(NMEventVoteValue(0), type, 6, kNow, true); });
    storage_->save(NMEventVoteValue(1), type, 6, kNow, true, [](bool) {});
    other.join();
  });
  for (auto& write : writes) EXPECT_TRUE(resolved(write));
  settleStore();
  EXPECT_EQ(storage_->getVote(5, type), NMEventVoteValue(3));
  expectStoreCachesAgree("save, edit, edit");
  EXPECT_TRUE(storedVotes().contains("5-bothTeamsToScore=yes"));
}

// One thread's share of a seeded run: store operations on a few IDs, none
// awaited, in both forms. With `wholesale`, it also deletes all votes or
// unique stages, and thread 0 reinitialises and cleans (each of which has
// the caches read again); without, the caches stay filled throughout, so
// nothing but the order of the updates keeps them right.
class StoreWalker {
 public:
  StoreWalker(StorageManager& storage, std::int64_t now, std::uint64_t seed, int thread, bool wholesale)
      : storage_(storage),
        now_(now),
        random_(seed * 31 + static_cast<std::uint64_t>(thread)),
        thread_(thread),
        wholesale_(wholesale) {}

  void step() {
    StorageManager& s = storage_;
    const std::int64_t id = pick(1, 4);
    const auto type = static_cast<NMEventVoteType>(pick(0, 1));
    const auto value = static_cast<NMEventVoteValue>(pick(0, 2));
    // Some votes are on events older than 90 days, for cleanDB to purge.
    const std::int64_t start = chance(20) ? now_ - 91 * 86400 : now_;
    const bool flag = chance(50);
    switch (nextOperation()) {
      case Operation::save:
        both([&](auto... h) { return s.save(value, type, id, start, flag, h...); });
        break;
      case Operation::edit:
        both([&](auto... h) { return s.edit(value, type, id, flag, h...); });
        break;
      case Operation::mark:
        both([&](auto... h) {
          return flag ? s.markAsAdded(id, type, h...) : s.markAsEdited(id, type, h...);
        });
        break;
      case Operation::deleteVotes:
        both([&](auto... h) { return s.deleteVotes(h...); });
        break;
      case Operation::follow:
        both([&](auto... h) { return s.followUniqueStage(id, h...); });
        break;
      case Operation::unfollow:
        both([&](auto... h) { return s.unfollowUniqueStage(id, h...); });
        break;
      case Operation::deleteStages:
        both([&](auto... h) { return s.deleteUniqueStages(h...); });
        break;
      case Operation::watch:
        both([&](auto... h) { return s.markHighlightWatched(id, std::nullopt, 1, h...); });
        break;
      case Operation::reInit:
        s.reInit();
        break;
      case Operation::clean:
        s.cleanDB();
        break;
    }
  }

  /// The futures of every operation issued (handler forms included).
  std::vector<std::future<bool>>& pending() { return pending_; }

 private:
  std::int64_t pick(std::int64_t low, std::int64_t high) {
    return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
  }
  bool chance(int percent) { return pick(1, 100) <= percent; }

  enum class Operation { save, edit, mark, deleteVotes, follow, unfollow, deleteStages, watch, reInit, clean };

  // Weighted; the wholesale ones only with `wholesale_`, reInit and clean
  // only on thread 0.
  Operation nextOperation() {
    const bool all = wholesale_;
    const bool first = wholesale_ && thread_ == 0;
    const std::vector<std::pair<Operation, int>> weights = {
        {Operation::save, 25},       {Operation::edit, 15},         {Operation::mark, 5},
        {Operation::deleteVotes, all ? 2 : 0}, {Operation::follow, 20}, {Operation::unfollow, 17},
        {Operation::deleteStages, all ? 2 : 0}, {Operation::watch, 10}, {Operation::reInit, first ? 2 : 0},
        {Operation::clean, first ? 2 : 0}};
    int total = 0;
    for (const auto& [operation, weight] : weights) total += weight;
    int roll = static_cast<int>(pick(0, total - 1));
    for (const auto& [operation, weight] : weights) {
      if (roll < weight) return operation;
      roll -= weight;
    }
    return Operation::save;
  }

  // Issues the operation in its future form, `call()`, or its handler
  // form, `call(handler)`.
  template <class Call>
  void both(Call call) {
    if (chance(50)) {
      pending_.push_back(call());
      return;
    }
    auto done = std::make_shared<std::promise<bool>>();
    pending_.push_back(done->get_future());
    call(StorageManager::BoolHandler([done](bool ok) { done->set_value(ok); }));
  }

  StorageManager& storage_;
  const std::int64_t now_;
  std::mt19937_64 random_;
  int thread_;
  bool wholesale_;
  std::vector<std::future<bool>> pending_;
};

TEST_F(StorageManagerStoreOrderTest, UnawaitedOperationsFromFourThreadsLeaveTheStoreFedCachesAsTheStore) {
  constexpr int kThreads = 4;
  constexpr int kSteps = 25;
  constexpr int kHeldSteps = 10;  // issued by each thread before the store may run any
  for (std::uint64_t seed = 1; seed <= 6; ++seed) {
    const bool wholesale = seed % 2 == 0;
    std::vector<StoreWalker> walkers;
    for (int t = 0; t < kThreads; ++t) walkers.emplace_back(*storage_, kNow, seed, t, wholesale);
    {
      // The first steps of every thread queue up behind the gate: with the
      // caches filled, or (with wholesale changes) emptied, so that all of
      // those steps come before the caches' answers.
      const testing::QueueGate gate;
      if (wholesale) storage_->reInit();
      dataManager_->backgroundContext()->perform(gate.block());
      gate.waitUntilHeld();
      std::latch held(kThreads);
      std::vector<std::thread> threads;
      for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
          for (int step = 0; step < kSteps; ++step) {
            if (step == kHeldSteps) held.count_down();
            walkers[t].step();
          }
        });
      }
      held.wait();
      gate.release();
      for (auto& thread : threads) thread.join();
    }
    for (StoreWalker& walker : walkers) {
      for (auto& result : walker.pending()) {
        ASSERT_EQ(result.wait_for(kHang), std::future_status::ready) << "seed " << seed;
      }
    }
    expectStoreCachesAgree("seed " + std::to_string(seed));
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace kestrel
