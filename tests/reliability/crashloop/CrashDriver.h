// CrashDriver is the crash loop: it starts the writer (CrashWriter, this
// program started again) on one home, kills it with SIGKILL at a moment
// drawn from the seed (a third of them within the first 150 ms, where the
// start path creates tables and the store), and then, like the
// application's next start, opens everything anew and checks:
//   - PRAGMA integrity_check of both files (damaged otherwise, as is a
//     store that does not load);
//   - the home's dump equals that of a shadow home that ran the same
//     acknowledged operations, or those and the one in flight, whole;
//     acknowledged rows missing count as lost, anything else as half
//     written. The writer's results must be the shadow's too;
//   - a new facade's memory equals its files (memoryDisagreements), and
//     equals what the shadow facade, which ran every operation live,
//     answers from memory (cache mismatches otherwise).
// Then the next writer continues on the same home from the next operation,
// so the home carries everything across all kills. The shadow home is
// advanced incrementally, never replayed from the start.
//
// The kill moments are drawn from the seed, so a run is repeatable in what
// it does; where a kill lands depends on the machine. On a fault the driver
// prints the seed, the kill, the operation in flight and what differs,
// leaves both homes in place and stops.
//
// Thread-safety: run() once, from main().
// Ownership: the driver owns its homes (removed on success unless kept).
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace kestrel::reliability {

class CrashDriver {
 public:
  struct Options {
    std::uint64_t seed = 1;
    int kills = 100;
    /// Where the crash home, the side log and the writer's output go;
    /// empty: a new folder under the system's temporary folder.
    std::filesystem::path workDir;
    /// Where the shadow home goes; empty: /dev/shm when it exists (it
    /// needs no durability, only speed), else beside the crash home.
    std::filesystem::path shadowDir;
    /// The latest kill moment after the writer started.
    std::chrono::milliseconds latestKill{1000};
    /// Print one line per kill.
    bool verbose = false;
    /// Keep the homes after a run without faults.
    bool keep = false;
    /// The program to start as the writer (this program).
    std::filesystem::path self;
    /// For testing the harness itself. The first writer acknowledges an
    /// insert of an event or a stage, or a pin, at or after this operation
    /// without running it (a lost write the loop must report).
    std::optional<std::uint64_t> injectLostFrom;
    /// Before the check after this kill, a page of kestrel.db is
    /// overwritten with garbage (damage the loop must report).
    std::optional<int> injectDamageAtKill;
  };

  struct Totals {
    int kills = 0;
    int killsBeforeFirstOperation = 0;
    int writerEndedAlone = 0;
    std::uint64_t acknowledged = 0;
    int lost = 0;
    int damaged = 0;
    int halfWritten = 0;
    int cacheMismatches = 0;
    int hung = 0;
    int inFlightAtKill = 0;
    int inFlightApplied = 0;

    /// The loop could not run (the writer did not start, the shadow home
    /// did not open): no verdict.
    bool setupFailed = false;

    bool faultless() const {
      return !setupFailed && lost == 0 && damaged == 0 && halfWritten == 0 && cacheMismatches == 0 &&
             hung == 0;
    }
    /// "crash loop: 500 kills, 212,344 acknowledged ops, 0 lost, ..."
    std::string summary() const;
  };

  explicit CrashDriver(Options options);
  /// Runs the loop; the totals (faultless() tells the exit status).
  Totals run();

 private:
  Options options_;
};

}  // namespace kestrel::reliability
