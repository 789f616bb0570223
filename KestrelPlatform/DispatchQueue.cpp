#include <KestrelPlatform/DispatchQueue.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <unordered_map>

namespace kestrel::platform {

struct DispatchQueue::State {
  struct SyncTicket {
    bool granted = false;
  };
  struct Item {
    Block block;                   // an async block, or
    SyncTicket* ticket = nullptr;  // a waiting sync caller
  };

  explicit State(std::string l) : label(std::move(l)) {}

  const std::string label;
  std::mutex mutex;
  std::condition_variable changed;
  std::deque<Item> items;
  bool busy = false;
  bool stopping = false;
  std::thread worker;

  std::mutex specificMutex;
  std::unordered_map<const void*, void*> specifics;

  void startWorkerLocked(const std::shared_ptr<State>& self);
  static void workerLoop(std::shared_ptr<State> self);
};

namespace dispatch_detail {

// The innermost block the current thread is running (tInnermost, declared in
// the header), each scope linking to the one it is nested in. A plain
// pointer, so it stays valid while static objects are destroyed at exit (a
// thread_local container would be gone by then, yet a static's destructor
// may still run a block on a queue).
class CurrentQueueScope {
 public:
  explicit CurrentQueueScope(DispatchQueue::State* state) : state_(state), outer_(tInnermost) {
    tInnermost = this;
  }
  ~CurrentQueueScope() { tInnermost = outer_; }
  CurrentQueueScope(const CurrentQueueScope&) = delete;
  CurrentQueueScope& operator=(const CurrentQueueScope&) = delete;

  DispatchQueue::State* state() const { return state_; }
  const CurrentQueueScope* outer() const { return outer_; }

 private:
  DispatchQueue::State* state_;
  const CurrentQueueScope* outer_;
};

}  // namespace dispatch_detail

using dispatch_detail::CurrentQueueScope;
using dispatch_detail::tInnermost;

void DispatchQueue::State::startWorkerLocked(const std::shared_ptr<State>& self) {
  if (!worker.joinable()) worker = std::thread(&State::workerLoop, self);
}

void DispatchQueue::State::workerLoop(std::shared_ptr<State> self) {
  State& s = *self;
  std::unique_lock lock(s.mutex);
  for (;;) {
    s.changed.wait(
        lock, [&] { return (!s.busy && !s.items.empty()) || (s.stopping && s.items.empty()); });
    if (s.items.empty()) break;  // stopping, nothing left to run
    Item item = std::move(s.items.front());
    s.items.pop_front();
    s.busy = true;
    if (item.ticket != nullptr) {
      // Hand the queue to the waiting sync caller; it clears busy when done.
      item.ticket->granted = true;
      s.changed.notify_all();
      continue;
    }
    lock.unlock();
    {
      CurrentQueueScope scope(&s);
      item.block();
      item.block = nullptr;  // captured state dies outside the lock, on this thread
    }
    lock.lock();
    s.busy = false;
    s.changed.notify_all();
  }
}

std::shared_ptr<DispatchQueue> DispatchQueue::create(std::string label) {
  return std::make_shared<DispatchQueue>(std::move(label));
}

const std::shared_ptr<DispatchQueue>& DispatchQueue::main() {
  static const std::shared_ptr<DispatchQueue> queue = create("com.kestrel.main-queue");
  return queue;
}

DispatchQueue::DispatchQueue(std::string label)
    : state_(std::make_shared<State>(std::move(label))) {}

DispatchQueue::~DispatchQueue() {
  const bool insideOwnBlock = isCurrent();
  std::thread worker;
  {
    std::lock_guard lock(state_->mutex);
    state_->stopping = true;
    worker = std::move(state_->worker);
    state_->changed.notify_all();
  }
  if (!worker.joinable()) return;
  // Dropped from inside one of its own blocks: the worker cannot join itself,
  // and behind a sync block it waits for that block to end, so joining would
  // never return. It finishes the remaining blocks and ends on its own.
  if (insideOwnBlock || worker.get_id() == std::this_thread::get_id()) {
    worker.detach();
  } else {
    worker.join();
  }
}

const std::string& DispatchQueue::label() const {
  return state_->label;
}

void DispatchQueue::sync(FunctionRef<void()> block) {
  // The block may drop the queue's last owner; the state must outlive it.
  const std::shared_ptr<State> keepAlive = state_;
  State& s = *keepAlive;
  {
    std::unique_lock lock(s.mutex);
    if (s.busy || !s.items.empty()) {
      State::SyncTicket ticket;
      s.items.push_back(State::Item{nullptr, &ticket});
      s.startWorkerLocked(keepAlive);
      s.changed.notify_all();
      s.changed.wait(lock, [&] { return ticket.granted; });
    } else {
      s.busy = true;
    }
  }
  // Hands the queue on even if the block throws, so later callers never
  // wait for ever on a queue nobody holds.
  struct Release {
    State& s;
    ~Release() {
      std::lock_guard lock(s.mutex);
      s.busy = false;
      s.changed.notify_all();
    }
  } release{s};
  CurrentQueueScope scope(&s);
  block();
}

void DispatchQueue::async(Block block) {
  State& s = *state_;
  std::lock_guard lock(s.mutex);
  s.items.push_back(State::Item{std::move(block), nullptr});
  s.startWorkerLocked(state_);
  s.changed.notify_all();
}

void DispatchQueue::setSpecific(const void* key, void* value) {
  std::lock_guard lock(state_->specificMutex);
  if (value == nullptr) {
    state_->specifics.erase(key);
  } else {
    state_->specifics[key] = value;
  }
}

void* DispatchQueue::getSpecific(const void* key) {
  if (tInnermost == nullptr) return nullptr;
  State& s = *tInnermost->state();
  std::lock_guard lock(s.specificMutex);
  const auto it = s.specifics.find(key);
  return it == s.specifics.end() ? nullptr : it->second;
}

void DispatchQueue::waitUntilDrained() {
  State& s = *state_;
  std::unique_lock lock(s.mutex);
  s.changed.wait(lock, [&] { return !s.busy && s.items.empty(); });
}

bool DispatchQueue::isCurrent() const {
  for (const CurrentQueueScope* scope = tInnermost; scope != nullptr; scope = scope->outer()) {
    if (scope->state() == state_.get()) return true;
  }
  return false;
}

}  // namespace kestrel::platform
