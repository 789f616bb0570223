// CrashWriter is the process the crash loop kills: it opens the facade and
// the object store on a home as the application does, then runs the seeded
// workload from a given operation on, one operation at a time (it awaits
// each, so exactly one is in flight), and records each in its side log
// ("begin i" before it starts, "done i ok|failed" once its future
// resolved). It runs until it is killed, or until `count` operations are
// done.
//
// Thread-safety: run() is the whole process's work; call it once.
// Ownership: everything it opens lives inside run().
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>

namespace kestrel::reliability {

class CrashWriter {
 public:
  struct Options {
    std::filesystem::path home;
    std::filesystem::path sideLog;
    std::uint64_t seed = 1;
    std::uint64_t from = 0;
    /// How many operations to run before ending by itself.
    std::uint64_t count = UINT64_MAX;
    /// How long an operation may take before it counts as hung.
    std::chrono::milliseconds hangBound{60000};
    /// For testing the harness: the first insert of an event or a stage,
    /// or pin, at or after this operation is recorded as done ok without
    /// being run, as a write acknowledged and never stored would be; then
    /// the writer waits to be killed.
    std::optional<std::uint64_t> acknowledgeUnrunFrom;
  };

  /// Exit codes: 0 all operations done, 2 the side log could not be
  /// written, 3 the object store did not load, 4 an operation hung.
  static int run(Options options);
};

}  // namespace kestrel::reliability
