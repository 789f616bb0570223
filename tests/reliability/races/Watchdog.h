// Watchdog watches what each worker thread is doing and reports a hang:
// which thread, which operation, for how long. A worker says when an
// operation begins and ends; a watcher thread looks every half second, and
// an operation running longer than the limit is handed to onHang, once.
//
// Thread-safety: begin()/end() may be called from the workers at any time
// (each worker its own slot); onHang runs on the watcher thread.
// Ownership: owns the watcher thread, which stops when the watchdog is
// destroyed.
#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace kestrel::reliability {

class Watchdog {
 public:
  using Clock = std::chrono::steady_clock;
  /// thread, operation, how long it has run.
  using HangHandler = std::function<void(int thread, const std::string& operation,
                                         std::chrono::milliseconds running)>;

  Watchdog(int threads, std::chrono::milliseconds limit, HangHandler onHang);
  ~Watchdog();
  Watchdog(const Watchdog&) = delete;
  Watchdog& operator=(const Watchdog&) = delete;

  void begin(int thread, std::string operation);
  void end(int thread);

 private:
  struct Slot {
    std::optional<std::string> operation;
    Clock::time_point since{};
  };
  void watch();

  const std::chrono::milliseconds limit_;
  const HangHandler onHang_;
  std::mutex mutex_;
  std::condition_variable stop_;
  bool stopping_ = false;
  bool reported_ = false;
  std::vector<Slot> slots_;
  std::thread watcher_;
};

}  // namespace kestrel::reliability
