// PowerLossHarness cuts the power under the seeded workload. The fault VFS
// (FaultVfs) records, per file, what was written since its last sync; at
// the Nth I/O call it "loses power": the unsynced writes are thrown away
// whole, kept, or kept sector by sector at random (as a disk may), files
// created or deleted since their directory was synced may vanish or come
// back, and the process's I/O stops. Both stores sit on it.
//
// The workload is cut into segments of a few operations. A reference run
// (no cut) keeps a copy of the home at the start of each segment, the
// canonical dump of the home after every operation and what its facade
// answered from memory. For each segment the harness counts the I/O calls
// its operations make from the segment's copy, then, for every call (or a
// seeded sample of them), starts again from the copy and cuts the power at
// that call. After each cut the files are reopened with the real I/O, and:
//   - damaged: PRAGMA integrity_check of either file is not "ok", or the
//     store does not load;
//   - lost acknowledged: a write whose future resolved true before the cut
//     (or an answer that differs from the reference's) is not in the files:
//     they must equal the reference after the acknowledged operations, or
//     after those and the one in flight, whole; rows both allow are missing;
//   - half-written: the files equal neither, and nothing both allow is
//     missing;
//   - cache mismatches: a new facade's memory differs from its files, or
//     from what the reference facade answered in the same state;
//   - hung: an operation's future did not resolve within the bound, cut
//     or not.
// The cut happens after the home is opened: power lost while the start
// path creates the tables is not swept here (the crash loop kills there).
//
// Thread-safety: one harness per process (the VFS is process-wide); run()
// once.
// Ownership: owns its working folder; homes of faults are left there.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::reliability {

class PowerLossHarness {
 public:
  struct Options {
    std::uint64_t seed = 1;
    /// Operations of the workload, from operation 0.
    std::uint64_t operations = 300;
    /// Operations per segment.
    std::uint64_t segment = 10;
    /// Cut points per segment, drawn by the seed; 0: every I/O call.
    std::size_t sample = 0;
    /// Where the homes go; empty: a new folder in /dev/shm (the VFS makes
    /// durability, the disk need not), else in the temporary folder.
    std::filesystem::path workDir;
    std::chrono::milliseconds hangBound{30000};
    /// To look at one fault again: only the segment starting at this
    /// operation, and only this cut point of it.
    std::optional<std::uint64_t> onlySegment;
    std::optional<std::uint64_t> onlyCut;
    /// Print one line per segment.
    bool verbose = false;
  };

  struct Totals {
    std::uint64_t cuts = 0;
    std::uint64_t acknowledged = 0;
    std::uint64_t inFlightAtCut = 0;
    std::uint64_t inFlightApplied = 0;
    std::uint64_t lost = 0;
    std::uint64_t damaged = 0;
    std::uint64_t halfWritten = 0;
    std::uint64_t cacheMismatches = 0;
    std::uint64_t hung = 0;

    /// The harness could not run (no working folder, the reference home
    /// did not open): no verdict.
    bool setupFailed = false;

    bool faultless() const {
      return !setupFailed && lost == 0 && damaged == 0 && halfWritten == 0 && cacheMismatches == 0 &&
             hung == 0;
    }
    /// "power loss: 1,840 cuts, 0 lost acknowledged, 0 damaged" (and the
    /// other counts, when not 0).
    std::string summary() const;
  };

  /// `report` receives every line the harness prints.
  PowerLossHarness(Options options, std::function<void(const std::string&)> report);
  /// REQUIRES: FaultVfs is installed as the default VFS.
  Totals run();

 private:
  Options options_;
  std::function<void(const std::string&)> report_;
};

}  // namespace kestrel::reliability
