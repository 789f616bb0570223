// A serial dispatch queue: blocks submitted to one queue run one at a time,
// in the order they were submitted.
//
// sync() runs its block before it returns. When the queue is idle the block
// runs directly on the caller's thread (no thread hop); otherwise the caller
// waits for its turn behind the blocks queued before it and then runs the
// block itself. async() queues a block for the queue's worker thread, which
// is started on first use.
//
// Queue-specific values answer for the queue whose block the current thread
// is running (the innermost one when a block syncs onto another queue), so
// code can ask "am I on this queue?".
//
// Thread-safety: every member may be called from any thread. Calling sync()
// on a queue from inside one of its own blocks deadlocks, as on any serial
// queue; callers that can detect it (the database queue) check first.
// Ownership: shared; the worker keeps only the queue's internal state alive,
// so the last owner may drop the queue even from inside one of its blocks.
#pragma once

#include <KestrelPlatform/FunctionRef.h>

#include <functional>
#include <memory>
#include <string>

namespace kestrel::platform {

namespace dispatch_detail {
class CurrentQueueScope;
// The innermost queue block the current thread is running, null outside
// every block; kept by DispatchQueue.cpp.
inline thread_local const CurrentQueueScope* tInnermost = nullptr;
}  // namespace dispatch_detail

class DispatchQueue {
 public:
  using Block = std::function<void()>;

  /// A new serial queue with the given label.
  static std::shared_ptr<DispatchQueue> create(std::string label);

  /// The process-wide main queue, served by its own thread.
  static const std::shared_ptr<DispatchQueue>& main();

  explicit DispatchQueue(std::string label);
  ~DispatchQueue();
  DispatchQueue(const DispatchQueue&) = delete;
  DispatchQueue& operator=(const DispatchQueue&) = delete;

  const std::string& label() const;

  /// Runs the block exclusively, after every block queued before it.
  void sync(FunctionRef<void()> block);

  /// Queues the block to run later on the queue's worker thread.
  void async(Block block);

  /// Associates a value with a key on this queue; nullptr removes it.
  void setSpecific(const void* key, void* value);

  /// The value for key on the queue whose block the current thread runs;
  /// nullptr outside any block or when that queue has no such key.
  static void* getSpecific(const void* key);

  /// Blocks until every block queued so far (and any queued meanwhile) has
  /// run and the queue is idle. Must not be called from the queue itself.
  void waitUntilDrained();

  /// True when the current thread is running a block of this queue (at any
  /// nesting depth).
  bool isCurrent() const;

  /// True when the current thread is running a block of any queue. A check
  /// that only one queue's blocks must fail asks this first: outside every
  /// block it costs one thread-local read.
  static bool isInsideAnyBlock() { return dispatch_detail::tInnermost != nullptr; }

  struct State;

 private:
  std::shared_ptr<State> state_;
};

}  // namespace kestrel::platform
