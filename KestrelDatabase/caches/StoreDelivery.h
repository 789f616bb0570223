// Where the object store's answer to a cache's request waits for the cache.
//
// The caches fed from the object store do not wait for it: they send their
// request and return, and the store answers later on its own thread. That
// thread must not take the cache's lock (the lock's holder may be busy for
// a while, and the store's queue must not stall behind it), yet writing the
// container without the lock would race with the cache's readers. So the
// answer is delivered here, under a small lock of its own that is never held
// while waiting for anything, and the cache takes it at the start of its
// next operation, under its own lock. To every caller the container appears
// as soon as the store has answered: each operation takes a delivered
// answer before it looks at the container. The facade changes these caches
// in the completions of the store's writes, which come in the order the
// store applied them, on the same queue as the reads; so an answer is
// always taken before the change of any write the store applied after the
// read, and never overwrites it.
//
// Thread-safety: deliver() from any thread; take() and discard() under the
// cache's lock. The pending flag is read first, so an operation with nothing
// delivered pays one atomic load.
// Ownership: shared between the cache and its requests in flight, so an
// answer arriving after the cache is gone lands here harmlessly.
#pragma once

#include <atomic>
#include <mutex>
#include <optional>
#include <utility>

namespace kestrel {

template <class Container>
class StoreDelivery {
 public:
  /// Hands over the store's answer; a later answer replaces one not yet taken.
  void deliver(Container container) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(container);
    pending_.store(true, std::memory_order_release);
  }

  /// The answer delivered since the last take() or discard(), if any.
  std::optional<Container> take() {
    if (!pending_.load(std::memory_order_acquire)) return std::nullopt;
    const std::lock_guard lock(mutex_);
    pending_.store(false, std::memory_order_relaxed);
    return std::exchange(answer_, std::nullopt);
  }

  /// Drops an answer not yet taken (the cache was invalidated after it came).
  void discard() { (void)take(); }

 private:
  std::mutex mutex_;
  std::optional<Container> answer_;
  std::atomic<bool> pending_{false};
};

}  // namespace kestrel
