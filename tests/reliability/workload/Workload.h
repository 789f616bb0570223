// Workload is a deterministic, seeded sequence of facade operations for the
// reliability harnesses: operation i depends only on (seed, i), never on
// what the stores hold, so any stretch of it can be replayed on another
// home and must leave the same files. It covers every entity the facade
// writes: favourite events and stages with mute, unmute, update, delete
// and the prunings; follows and unfollows of teams, players and leagues
// (with the events their cascades delete) and their notifications; pins;
// fantasy competitions; chat upvotes and reports; TV channel answers and
// channel countries; votes with edits and marks; highlights; unique
// stages; score suggestions, recent searches, player-value votes and news
// items; a few reads and an occasional reInit(). IDs come from small pools,
// so operations meet the same rows, and some lie across the 64-bit range;
// a few texts hold quotes and non-ASCII letters. Each operation runs in its
// future form or its handler form, as the seed decides.
//
// Time: every value is made relative to kNow, and each operation fixes the
// clock when it starts, at timeOf(index): kNow plus a few microseconds per
// operation. So a replay is exact, a time the layer stores with its
// fraction (the pin order) still tells the operations apart, and every
// whole-second time the layer derives (retention bounds, the favourite
// stage window, watched highlights) is the same for all of them, so that a
// cache filled at one operation and a fresh one filled at a later one
// decide alike.
//
// Thread-safety: a Workload is immutable; operation() may be called from
// any thread. Starting an operation follows the facade's rules (not from
// the main queue, not from a handler).
// Ownership: plain values; a started operation holds nothing of the caller.
#pragma once

#include <KestrelDatabase/storage/StorageManager.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <optional>
#include <string>

namespace kestrel::reliability {

/// One operation of the workload.
struct WorkloadOperation {
  std::uint64_t index = 0;
  /// What it does, e.g. "insertEvent 7 muted [handler]".
  std::string description;
  /// Reads change no file; their result tells whether the read succeeded.
  bool isRead = false;
  /// Starts the operation; the future resolves with a write's success, or
  /// with whether a read succeeded. It becomes ready on every path.
  std::function<std::future<bool>(StorageManager& facade)> start;
};

class Workload {
 public:
  /// The fixed time every value is made relative to.
  static constexpr std::int64_t kNow = 1'700'000'000;

  explicit Workload(std::uint64_t seed) : seed_(seed) {}
  std::uint64_t seed() const { return seed_; }

  /// Operation `index` of this seed's sequence.
  WorkloadOperation operation(std::uint64_t index) const;

  /// The clock while operation `index` runs: strictly between kNow and
  /// kNow + 0.5 s, increasing with the index (up to 400,000 operations;
  /// then it starts again).
  static double timeOf(std::uint64_t index);
  /// Fixes the process's clock at timeOf(0), before any operation ran.
  static void fixClock();

  /// Waits for a started operation at most `bound`: its result, or nothing
  /// when it did not resolve in time (a hang).
  static std::optional<bool> await(std::future<bool>& result, std::chrono::milliseconds bound);

 private:
  std::uint64_t seed_;
};

}  // namespace kestrel::reliability
