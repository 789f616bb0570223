// LockContention runs a seeded mix of facade writes (every kind, both
// stores) while another process, now and then, holds a SHARED, RESERVED or
// EXCLUSIVE lock on kestrel.db or on the object store's file for longer
// than the busy waits, starting and ending at moments that do not line up
// with the operations.
//
// What it checks:
//   - every future resolves within the bound: an operation waits for a
//     lock in at most kWaitingStatements statements (a failed unfollow: its
//     read of the events it takes, the fills of the caches it touches, its
//     transaction, the caches it reads again), each for at most its busy
//     wait (FMDatabase's busy handler: maxBusyRetryTimeInterval, then one
//     last sleep of under 100 ms; the store: its busyTimeout). One that
//     takes longer than that plus kMargin is "late";
//   - writes that report success are in the files afterwards, writes that
//     report failure are not ("lost", from the writer's own IDs);
//   - once the holder lets go, the caches agree with the files
//     (memoryDisagreements; otherwise "disagreeing") and the next ordinary
//     write to each store succeeds (otherwise "lost").
// Both busy waits are shortened (busyWait) so that a hold costs little.
//
// Thread-safety: run from one thread.
// Ownership: plain values; the home is the caller's.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kestrel::reliability {

struct LockOptions {
  std::filesystem::path home;
  /// kestrel_lock_holder.
  std::filesystem::path holderProgram;
  std::uint64_t seed = 1;
  int holds = 12;
  /// The busy wait of the facade's connection and of the object store.
  std::chrono::milliseconds busyWait{200};
  std::chrono::seconds hangAfter{60};
};

struct LockReport {
  std::uint64_t holds = 0;
  std::uint64_t operations = 0;
  std::uint64_t late = 0;
  std::uint64_t lost = 0;
  std::uint64_t disagreeing = 0;
  std::uint64_t acknowledged = 0;
  std::uint64_t refused = 0;  // writes that reported failure (expected under a hold)
  std::chrono::milliseconds slowest{0};
  std::string slowestOperation;
  std::chrono::milliseconds bound{0};
  std::vector<std::string> faults;

  bool clean() const { return late == 0 && lost == 0 && disagreeing == 0; }
  /// "lock contention: N holds, M ops, 0 late, 0 lost, 0 disagreeing"
  std::string summary() const;
};

/// An operation waits for a lock in at most this many statements.
inline constexpr int kWaitingStatements = 12;
/// What a loaded machine may add to the bound.
inline constexpr std::chrono::milliseconds kMargin{2000};

/// Runs the harness on `options.home` (an empty folder).
LockReport runLockContention(const LockOptions& options);

}  // namespace kestrel::reliability
