// Keeps a queue busy until the test lets it go: block() gives the queue a
// block that reports it is running and then waits for release(). The block
// shares its state with the gate instead of borrowing the test's locals, so
// it may finish after the test's frame (or the gate) is gone; a gate that is
// destroyed releases its block, so no queue stays held past a failed test.
#pragma once

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

namespace kestrel::testing {

class QueueGate {
 public:
  QueueGate();
  ~QueueGate();
  QueueGate(const QueueGate&) = delete;
  QueueGate& operator=(const QueueGate&) = delete;

  /// The block to queue; it holds its queue from the moment it runs until release().
  std::function<void()> block() const;
  /// Returns once the block runs (its queue is then held).
  void waitUntilHeld() const;
  /// Lets the block return; later calls do nothing.
  void release() const;

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    bool held = false;
    bool released = false;
  };
  std::shared_ptr<State> state_;
};

}  // namespace kestrel::testing
