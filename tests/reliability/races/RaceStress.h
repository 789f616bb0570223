// RaceStress runs many threads against one facade and its object store at
// once, as the application's screens and services would, and then checks
// that nothing was lost and that memory agrees with the files.
//
// Each thread runs a seeded mix of facade operations (future and handler
// forms) and direct DataManager calls on two kinds of IDs:
//   - its own IDs, which no other thread touches: their final state follows
//     from the writes the thread saw acknowledged, so every table answer
//     from memory is checked right after the write, and the files are
//     checked against it at the end ("lost": an acknowledged write missing,
//     or an acknowledged removal still there);
//   - a pool of shared IDs that every thread writes and reads, including
//     values the prunings and the cleaning remove.
// Thread 0 also calls reInit(), cleanDB() and the prunings now and then.
// Operations that empty a whole kind of record (all votes, all pins) are
// left out, since they would make the own IDs' state unknowable.
//
// A watchdog reports a hang (which thread, which operation, for how long)
// and ends the process instead of waiting for ever. At the end every
// future must resolve, and every cache must equal a fresh read of its
// store (memoryDisagreements).
//
// The main queue is served by its own thread (DispatchQueue::main()), as
// the application's run loop would serve it; no worker waits on an
// object-store future from it.
//
// Thread-safety: run() is called from one thread; it starts the workers.
// Ownership: plain values; the home is the caller's.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

namespace kestrel::reliability {

struct RaceOptions {
  std::filesystem::path home;
  std::uint64_t seed = 1;
  int threads = 8;
  int operationsPerThread = 2000;
  /// An operation (or a final wait) that takes longer counts as hung.
  std::chrono::seconds hangAfter{60};
};

struct RaceReport {
  std::uint64_t acknowledged = 0;
  std::uint64_t hung = 0;
  std::uint64_t lost = 0;
  std::uint64_t cacheMismatches = 0;
  /// What went wrong, one line each (at most a few hundred).
  std::vector<std::string> faults;

  bool clean() const { return hung == 0 && lost == 0 && cacheMismatches == 0; }
  /// "races: 8 threads × 2,000 ops, N acknowledged, 0 hung, 0 lost, 0 cache mismatches"
  std::string summary(const RaceOptions& options) const;
};

/// Runs the stress on `options.home` (an empty folder). A hang ends the
/// process with exit status 3 after printing what hung and the seed.
RaceReport runRaceStress(const RaceOptions& options);

}  // namespace kestrel::reliability
