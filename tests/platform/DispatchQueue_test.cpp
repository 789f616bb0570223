#include <KestrelPlatform/DispatchQueue.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <stdexcept>
#include <thread>
#include <vector>

namespace kestrel::platform {
namespace {

bool readySoon(const std::shared_ptr<std::promise<void>>& done) {
  return done->get_future().wait_for(std::chrono::seconds(30)) == std::future_status::ready;
}

class DispatchQueueTest : public ::testing::Test {
 protected:
  std::shared_ptr<DispatchQueue> queue_ = DispatchQueue::create("com.kestrel.test-queue");
};

TEST_F(DispatchQueueTest, SyncRunsOnItsCallerAfterTheAsyncsQueuedBeforeIt) {
  std::promise<std::thread::id> asyncThread;
  queue_->async([&] { asyncThread.set_value(std::this_thread::get_id()); });
  EXPECT_NE(asyncThread.get_future().get(), std::this_thread::get_id());

  // The first async waits a grace period for the sync block, which a faulty
  // queue runs at once, out of turn.
  std::promise<void> syncRan;
  std::atomic<int> next{0};
  int first = -1, second = -1, last = -1;
  queue_->async([&, syncDone = syncRan.get_future().share()] {
    syncDone.wait_for(std::chrono::milliseconds(100));
    first = next++;
  });
  queue_->async([&] { second = next++; });
  const auto caller = std::this_thread::get_id();
  queue_->sync([&] {
    EXPECT_EQ(std::this_thread::get_id(), caller);
    EXPECT_TRUE(queue_->isCurrent());
    last = next++;
    syncRan.set_value();
  });
  EXPECT_FALSE(queue_->isCurrent());
  EXPECT_EQ((std::vector<int>{first, second, last}), (std::vector<int>{0, 1, 2}));
}

TEST_F(DispatchQueueTest, BlocksRunOneAtATimeUnderManyThreads) {
  long counter = 0;  // deliberately not atomic: the queue must serialise
  std::atomic<bool> inside{false};
  std::atomic<int> overlaps{0};
  auto increment = [&] {
    if (inside.exchange(true)) overlaps.fetch_add(1);
    ++counter;
    inside.store(false);
  };
  std::vector<std::thread> threads;
  for (int t = 0; t < 8; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 1000; ++i) {
        queue_->sync(increment);
        if (i % 10 == 0) queue_->async(increment);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  queue_->waitUntilDrained();
  EXPECT_EQ(overlaps.load(), 0);
  EXPECT_EQ(counter, 8 * (1000 + 100));
}

TEST_F(DispatchQueueTest, SpecificValueAndIsCurrentFollowNestedQueues) {
  static const int kKey = 0;
  int valueA = 1, valueB = 2;
  auto other = DispatchQueue::create("com.kestrel.test-queue-b");
  queue_->setSpecific(&kKey, &valueA);
  other->setSpecific(&kKey, &valueB);

  std::vector<void*> seen;
  queue_->sync([&] {
    seen.push_back(DispatchQueue::getSpecific(&kKey));
    EXPECT_TRUE(DispatchQueue::isInsideAnyBlock());
    other->sync([&] {
      EXPECT_TRUE(queue_->isCurrent());
      seen.push_back(DispatchQueue::getSpecific(&kKey));
    });
    seen.push_back(DispatchQueue::getSpecific(&kKey));
  });
  EXPECT_EQ(DispatchQueue::getSpecific(&kKey), nullptr);
  EXPECT_FALSE(DispatchQueue::isInsideAnyBlock());
  EXPECT_EQ(seen, (std::vector<void*>{&valueA, &valueB, &valueA}));

  std::promise<void*> fromWorker;  // the worker answers for its queue too
  queue_->async([&] { fromWorker.set_value(DispatchQueue::getSpecific(&kKey)); });
  EXPECT_EQ(fromWorker.get_future().get(), &valueA);
}

TEST_F(DispatchQueueTest, DroppingTheQueueRunsBlocksAlreadyQueued) {
  std::promise<void> gate;
  std::atomic<int> ran{0};
  queue_->async([&, gateOpen = gate.get_future().share()] {
    gateOpen.wait();
    ++ran;
  });
  for (int i = 0; i < 5; ++i) queue_->async([&] { ++ran; });
  gate.set_value();
  queue_.reset();
  EXPECT_EQ(ran.load(), 6);
}

TEST_F(DispatchQueueTest, LastOwnerDroppedInsideItsOwnBlock) {
  for (bool withWorker : {false, true}) {
    queue_ = DispatchQueue::create("com.kestrel.test-queue-2");
    if (withWorker) queue_->async([] {});  // the sync may have to wait its turn
    bool ran = false;
    queue_->sync([&] {
      queue_.reset();
      ran = true;
    });
    EXPECT_TRUE(ran) << withWorker;
  }

  // From a sync block with an async queued inside it, on a helper thread so
  // that a hang shows as a failure, not a stuck run.
  auto laterBlockRan = std::make_shared<std::promise<void>>();
  auto syncReturned = std::make_shared<std::promise<void>>();
  std::thread([queue = DispatchQueue::create("com.kestrel.test-queue-3"), laterBlockRan,
               syncReturned]() mutable {
    queue->sync([&] {
      queue->async([laterBlockRan] { laterBlockRan->set_value(); });
      queue.reset();
    });
    syncReturned->set_value();
  }).detach();
  ASSERT_TRUE(readySoon(syncReturned));
  EXPECT_TRUE(readySoon(laterBlockRan));
}

TEST(MainDispatchQueueTest, DrainsBlocksInOrderOnItsOwnThreadIncludingThoseQueuedMeanwhile) {
  const auto& main = DispatchQueue::main();
  const auto caller = std::this_thread::get_id();
  std::vector<int> order;  // touched only by the main queue until drained
  bool ranOnCaller = false;
  for (int i = 0; i < 5; ++i) {
    main->async([&, i] {
      order.push_back(i);
      ranOnCaller |= std::this_thread::get_id() == caller;
      if (i == 4) main->async([&] { order.push_back(5); });
    });
  }
  main->waitUntilDrained();
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2, 3, 4, 5}));
  EXPECT_FALSE(ranOnCaller);
}

TEST(DispatchQueueExceptionTest, ABlockThatThrowsDoesNotLeaveTheQueueHeld) {
  auto queue = DispatchQueue::create("throws");
  EXPECT_THROW(queue->sync([] { throw std::runtime_error("from a caller's block"); }),
               std::runtime_error);
  EXPECT_FALSE(queue->isCurrent());
  int ran = 0;
  queue->async([&] { ++ran; });
  queue->sync([&] { ++ran; });
  EXPECT_EQ(ran, 2);
}

// Statics are destroyed after the main thread's thread-locals; a static whose
// destructor still runs a block (a database helper closing its queue) must
// find the queue machinery intact.
TEST(DispatchQueueExitTest, StaticDestructorCanStillRunBlocksAtExit) {
  struct SyncsAtExit {
    std::shared_ptr<DispatchQueue> queue = DispatchQueue::create("exit");
    ~SyncsAtExit() {
      static const int key = 0;
      queue->setSpecific(&key, queue.get());
      void* seen = nullptr;
      queue->sync([&] { seen = DispatchQueue::getSpecific(&key); });
      if (seen != queue.get() || DispatchQueue::getSpecific(&key) != nullptr) std::abort();
    }
  };
  EXPECT_EXIT(
      {
        static SyncsAtExit atExit;
        atExit.queue->sync([] {});
        std::exit(0);
      },
      ::testing::ExitedWithCode(0), "");
}

}  // namespace
}  // namespace kestrel::platform
