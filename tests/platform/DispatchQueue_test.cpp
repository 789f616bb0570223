#include <KestrelPlatform/DispatchQueue.h>

#include <gtest/gtest.h>

#include <stdexcept>

#include <atomic>
#include <chrono>
#include <future>
#include <mutex>
#include <thread>
#include <vector>

namespace kestrel::platform {
namespace {

// Holds a queue's worker inside a block until opened, so that later blocks
// pile up behind it.
class Gate {
 public:
  void open() { promise_.set_value(); }
  void wait() { future_.wait(); }

 private:
  std::promise<void> promise_;
  std::shared_future<void> future_ = promise_.get_future().share();
};

class DispatchQueueTest : public ::testing::Test {
 protected:
  std::shared_ptr<DispatchQueue> queue_ = DispatchQueue::create("com.kestrel.test-queue");
};

TEST_F(DispatchQueueTest, SyncOnIdleQueueRunsOnCallerThread) {
  std::thread::id ranOn;
  bool wasCurrent = false;
  queue_->sync([&] {
    ranOn = std::this_thread::get_id();
    wasCurrent = queue_->isCurrent();
  });
  EXPECT_EQ(ranOn, std::this_thread::get_id());
  EXPECT_TRUE(wasCurrent);
  EXPECT_FALSE(queue_->isCurrent());
  EXPECT_EQ(queue_->label(), "com.kestrel.test-queue");
}

TEST_F(DispatchQueueTest, AsyncBlockRunsOnTheWorkerThread) {
  std::promise<std::pair<std::thread::id, bool>> ran;
  queue_->async([&] { ran.set_value({std::this_thread::get_id(), queue_->isCurrent()}); });
  const auto [thread, wasCurrent] = ran.get_future().get();
  EXPECT_NE(thread, std::this_thread::get_id());
  EXPECT_TRUE(wasCurrent);
}

TEST_F(DispatchQueueTest, AsyncBlocksQueuedBeforeASyncRunBeforeIt) {
  Gate gate;
  std::mutex mutex;
  std::vector<std::string> order;
  auto record = [&](std::string what) {
    std::lock_guard lock(mutex);
    order.push_back(std::move(what));
  };
  queue_->async([&] {
    gate.wait();
    record("async 1");
  });
  queue_->async([&] { record("async 2"); });
  queue_->async([&] { record("async 3"); });

  // The gate opens once the sync block has run (a faulty queue runs it at
  // once) or after a grace period; the order is checked either way.
  std::promise<void> syncRan;
  std::thread opener([&] {
    syncRan.get_future().wait_for(std::chrono::milliseconds(100));
    gate.open();
  });
  std::thread::id syncThread;
  queue_->sync([&] {
    syncThread = std::this_thread::get_id();
    record("sync");
    syncRan.set_value();
  });
  opener.join();

  EXPECT_EQ(syncThread, std::this_thread::get_id()) << "a waiting sync runs on its caller";
  EXPECT_EQ(order, (std::vector<std::string>{"async 1", "async 2", "async 3", "sync"}));
}

TEST_F(DispatchQueueTest, BlocksRunOneAtATimeUnderManyThreads) {
  constexpr int kThreads = 8;
  constexpr int kSyncsPerThread = 1000;
  constexpr int kAsyncsPerThread = 100;
  long counter = 0;  // deliberately not atomic: the queue must serialise
  std::atomic<bool> inside{false};
  std::atomic<int> overlaps{0};
  auto increment = [&] {
    if (inside.exchange(true)) overlaps.fetch_add(1);
    ++counter;
    inside.store(false);
  };

  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < kSyncsPerThread; ++i) {
        queue_->sync(increment);
        if (i % (kSyncsPerThread / kAsyncsPerThread) == 0) queue_->async(increment);
      }
    });
  }
  for (auto& thread : threads) thread.join();
  queue_->waitUntilDrained();

  EXPECT_EQ(overlaps.load(), 0);
  EXPECT_EQ(counter, kThreads * (kSyncsPerThread + kAsyncsPerThread));
}

TEST_F(DispatchQueueTest, SpecificValueBelongsToTheInnermostQueue) {
  static const int kKey = 0;
  int valueA = 1;
  int valueB = 2;
  auto other = DispatchQueue::create("com.kestrel.test-queue-b");
  auto plain = DispatchQueue::create("com.kestrel.test-queue-plain");
  queue_->setSpecific(&kKey, &valueA);
  other->setSpecific(&kKey, &valueB);

  std::vector<void*> seen;
  EXPECT_EQ(DispatchQueue::getSpecific(&kKey), nullptr);
  queue_->sync([&] {
    seen.push_back(DispatchQueue::getSpecific(&kKey));
    other->sync([&] {
      seen.push_back(DispatchQueue::getSpecific(&kKey));
      plain->sync([&] { seen.push_back(DispatchQueue::getSpecific(&kKey)); });
      seen.push_back(DispatchQueue::getSpecific(&kKey));
    });
    seen.push_back(DispatchQueue::getSpecific(&kKey));
  });
  EXPECT_EQ(DispatchQueue::getSpecific(&kKey), nullptr);
  EXPECT_EQ(seen, (std::vector<void*>{&valueA, &valueB, nullptr, &valueB, &valueA}));

  // The worker answers for its queue too; a removed value is gone.
  std::promise<void*> fromWorker;
  queue_->async([&] { fromWorker.set_value(DispatchQueue::getSpecific(&kKey)); });
  EXPECT_EQ(fromWorker.get_future().get(), &valueA);
  queue_->waitUntilDrained();
  queue_->setSpecific(&kKey, nullptr);
  void* afterRemoval = &valueB;
  queue_->sync([&] { afterRemoval = DispatchQueue::getSpecific(&kKey); });
  EXPECT_EQ(afterRemoval, nullptr);
}

TEST_F(DispatchQueueTest, IsCurrentHoldsAtAnyNestingDepth) {
  auto other = DispatchQueue::create("com.kestrel.test-queue-b");
  bool outerSeenFromInner = false;
  bool innerSeenFromOuter = true;
  queue_->sync([&] {
    innerSeenFromOuter = other->isCurrent();
    other->sync([&] { outerSeenFromInner = queue_->isCurrent(); });
  });
  EXPECT_TRUE(outerSeenFromInner);
  EXPECT_FALSE(innerSeenFromOuter);
}

TEST_F(DispatchQueueTest, WaitUntilDrainedCoversBlocksQueuedMeanwhile) {
  std::vector<int> ran;  // touched only by the worker until drained
  queue_->async([&] {
    ran.push_back(1);
    queue_->async([&] {
      ran.push_back(2);
      queue_->async([&] { ran.push_back(3); });
    });
  });
  queue_->waitUntilDrained();
  EXPECT_EQ(ran, (std::vector<int>{1, 2, 3}));
}

TEST_F(DispatchQueueTest, DroppingTheQueueRunsBlocksAlreadyQueued) {
  Gate gate;
  std::atomic<int> ran{0};
  queue_->async([&] {
    gate.wait();
    ++ran;
  });
  for (int i = 0; i < 5; ++i) queue_->async([&] { ++ran; });
  gate.open();
  queue_.reset();
  EXPECT_EQ(ran.load(), 6);
}

TEST_F(DispatchQueueTest, LastOwnerDroppedInsideItsOwnAsyncBlock) {
  Gate gate;
  // Shared with the worker, which outlives this test once detached.
  auto laterBlockRan = std::make_shared<std::promise<void>>();
  queue_->async([this, &gate] {
    gate.wait();
    queue_.reset();
  });
  // Queued before the drop, so the worker still owes it.
  queue_->async([laterBlockRan] { laterBlockRan->set_value(); });
  gate.open();
  EXPECT_EQ(laterBlockRan->get_future().wait_for(std::chrono::seconds(30)),
            std::future_status::ready);
}

TEST_F(DispatchQueueTest, LastOwnerDroppedInsideItsOwnSyncBlock) {
  bool ran = false;
  queue_->sync([&] {
    queue_.reset();
    ran = true;
  });
  EXPECT_TRUE(ran);

  // Also when the worker exists and the sync had to wait its turn.
  queue_ = DispatchQueue::create("com.kestrel.test-queue-2");
  queue_->async([] {});
  ran = false;
  queue_->sync([&] {
    queue_.reset();
    ran = true;
  });
  EXPECT_TRUE(ran);
}

TEST_F(DispatchQueueTest, LastOwnerDroppedInsideASyncBlockWithAsyncsPending) {
  // Run on a helper thread so that a hang shows as a failure, not a stuck run.
  auto laterBlockRan = std::make_shared<std::promise<void>>();
  auto syncReturned = std::make_shared<std::promise<void>>();
  std::thread([queue = std::move(queue_), laterBlockRan, syncReturned]() mutable {
    queue->sync([&] {
      queue->async([laterBlockRan] { laterBlockRan->set_value(); });
      queue.reset();
    });
    syncReturned->set_value();
  }).detach();
  ASSERT_EQ(syncReturned->get_future().wait_for(std::chrono::seconds(30)),
            std::future_status::ready);
  EXPECT_EQ(laterBlockRan->get_future().wait_for(std::chrono::seconds(30)),
            std::future_status::ready);
}

TEST(MainDispatchQueueTest, AsyncBlocksRunInOrderOnItsOwnThread) {
  const auto& main = DispatchQueue::main();
  ASSERT_EQ(main.get(), DispatchQueue::main().get());
  std::vector<int> order;  // touched only by the main queue until drained
  std::vector<std::thread::id> threads;
  for (int i = 0; i < 20; ++i) {
    main->async([&order, &threads, i] {
      order.push_back(i);
      threads.push_back(std::this_thread::get_id());
    });
  }
  main->waitUntilDrained();
  ASSERT_EQ(order.size(), 20u);
  for (int i = 0; i < 20; ++i) EXPECT_EQ(order[i], i);
  for (const auto& thread : threads) EXPECT_NE(thread, std::this_thread::get_id());
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
