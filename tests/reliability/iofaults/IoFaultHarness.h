// IoFaultHarness runs every facade operation once per I/O fault point: on
// a copy of a prepared home, the Nth call of one kind (xOpen, xRead,
// xWrite, ...) fails, once or from then on, with the error a failing disk
// gives (FaultVfs). For each run it checks what the layer promises:
//   - hung: the answer (future or handler) did not arrive within the bound;
//   - lost: after a success, the files differ from what the operation
//     leaves without a fault; after a failure, something the operation does
//     not touch differs from what the preparation stored;
//   - damaged: PRAGMA integrity_check of either file is not "ok";
//   - disagreeing: the caches differ from what the files hold once the
//     fault is lifted, a read answered something else than its failure
//     value or its fault-free answer, or a handler ran more than once;
//   - unrecovered: the next ordinary table and object-store writes fail
//     (after reInit, which is allowed to be needed once).
// Each finding prints a line with what reproduces it and keeps the home.
//
// Thread-safety: one harness per process (the VFS is process-wide).
// Ownership: owns its working folder; homes of findings are left there.
#pragma once

#include "iofaults/FacadeOperation.h"
#include "vfs/FaultVfs.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::reliability {

class IoFaultHarness {
 public:
  struct Options {
    std::uint64_t seed = 1;
    /// Fault points run per operation, drawn by the seed; 0: every one.
    std::size_t sample = 0;
    /// Only operations whose name contains this.
    std::string only;
    /// Where homes are made (and findings left).
    std::filesystem::path workDir;
    /// How long an answer may take before it counts as a hang.
    std::chrono::seconds hangBound{30};
  };

  struct Totals {
    std::size_t operations = 0;
    std::size_t points = 0;
    std::size_t hung = 0;
    std::size_t lost = 0;
    std::size_t damaged = 0;
    std::size_t disagreeing = 0;
    std::size_t unrecovered = 0;
    std::size_t findings() const { return hung + lost + damaged + disagreeing + unrecovered; }
  };

  /// `report` receives every line the harness prints.
  IoFaultHarness(Options options, std::function<void(const std::string&)> report);

  /// Runs the sweep; the totals. REQUIRES: FaultVfs installed as default.
  Totals run();
  /// "I/O faults: 80 operations × 2,912 fault points, 0 hung, ...".
  static std::string summary(const Totals& totals);

 private:
  using Answers = std::map<std::string, std::string>;
  struct Reference {
    IoCounts counts;
    Answer answer;
    Answers after;
  };
  struct Point {
    Fault fault;
    bool handlerForm = false;
  };

  bool prepareTemplate();
  Reference reference(const FacadeOperation& op);
  std::vector<Point> points(const FacadeOperation& op, const IoCounts& counts);
  void runPoint(const FacadeOperation& op, const Reference& reference, const Point& point);
  /// What the files of home_ hold: a fresh facade's answers from memory and
  /// its reads of what no cache shows.
  std::optional<Answers> storedAnswers(Answers* cacheAnswers);
  std::vector<std::string> integrityProblems() const;
  void finding(std::size_t& counter, const std::string& what, const FacadeOperation& op,
               const Point& point, const std::vector<std::string>& details);

  Options options_;
  std::function<void(const std::string&)> report_;
  std::filesystem::path template_;
  std::filesystem::path home_;
  Answers before_;
  Totals totals_;
  std::size_t keptHomes_ = 0;
  std::size_t partialFailures_ = 0;
};

}  // namespace kestrel::reliability
