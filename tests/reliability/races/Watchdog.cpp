#include "reliability/races/Watchdog.h"

#include <utility>

namespace kestrel::reliability {

Watchdog::Watchdog(int threads, std::chrono::milliseconds limit, HangHandler onHang)
    : limit_(limit), onHang_(std::move(onHang)), slots_(static_cast<std::size_t>(threads)) {
  watcher_ = std::thread([this] { watch(); });
}

Watchdog::~Watchdog() {
  {
    const std::lock_guard lock(mutex_);
    stopping_ = true;
  }
  stop_.notify_all();
  watcher_.join();
}

void Watchdog::begin(int thread, std::string operation) {
  const std::lock_guard lock(mutex_);
  Slot& slot = slots_.at(static_cast<std::size_t>(thread));
  slot.operation = std::move(operation);
  slot.since = Clock::now();
}

void Watchdog::end(int thread) {
  const std::lock_guard lock(mutex_);
  slots_.at(static_cast<std::size_t>(thread)).operation.reset();
}

void Watchdog::watch() {
  std::unique_lock lock(mutex_);
  while (!stopping_) {
    // A timed look, not a synchronisation: nothing waits for the watcher.
    stop_.wait_for(lock, std::chrono::milliseconds(500), [this] { return stopping_; });
    if (stopping_ || reported_) continue;
    const auto now = Clock::now();
    for (std::size_t t = 0; t < slots_.size(); ++t) {
      const Slot& slot = slots_[t];
      if (!slot.operation) continue;
      const auto running = std::chrono::duration_cast<std::chrono::milliseconds>(now - slot.since);
      if (running <= limit_) continue;
      reported_ = true;
      const std::string operation = *slot.operation;
      lock.unlock();
      onHang_(static_cast<int>(t), operation, running);
      lock.lock();
      break;
    }
  }
}

}  // namespace kestrel::reliability
