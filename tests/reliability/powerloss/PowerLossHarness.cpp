#include "reliability/powerloss/PowerLossHarness.h"

#include <stdlib.h>

#include <KestrelPlatform/Log.h>

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <memory>
#include <mutex>
#include <numeric>
#include <optional>
#include <random>
#include <vector>

#include "reliability/support/FacadeSnapshot.h"
#include "reliability/workload/HomeDump.h"
#include "reliability/workload/OpenedHome.h"
#include "reliability/workload/Workload.h"
#include "vfs/FaultVfs.h"

namespace kestrel::reliability {
namespace {

namespace fs = std::filesystem;

std::string withSeparators(std::uint64_t value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(static_cast<std::size_t>(at), ",");
  return digits;
}

void copyHome(const fs::path& from, const fs::path& to) {
  fs::remove_all(to);
  fs::copy(from, to, fs::copy_options::recursive);
}

const char* writesName(UnsyncedWrites writes) {
  switch (writes) {
    case UnsyncedWrites::lost:
      return "lost";
    case UnsyncedWrites::kept:
      return "kept";
    default:
      return "torn";
  }
}

// What survives cut `nth` of segment `first`: drawn from the seed alone.
PowerCut cutFor(std::uint64_t seed, std::uint64_t first, std::uint64_t nth) {
  std::seed_seq sequence{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                         static_cast<std::uint32_t>(first), static_cast<std::uint32_t>(nth), 0x706f77u};
  std::mt19937_64 random(sequence);
  static constexpr UnsyncedWrites kChoices[] = {UnsyncedWrites::lost, UnsyncedWrites::kept, UnsyncedWrites::torn};
  PowerCut cut;
  cut.writes = kChoices[random() % 3];
  cut.directoryChanges = kChoices[random() % 3];
  cut.sectorSize = random() % 2 == 0 ? 512 : 4096;
  cut.seed = random();
  return cut;
}

std::string cutText(const PowerCut& cut) {
  return std::string("unsynced writes ") + writesName(cut.writes) + ", directory changes " +
         writesName(cut.directoryChanges) + ", " + std::to_string(cut.sectorSize) + "-byte sectors";
}

// The layer's log lines of the current cut, for a fault's report; every
// start logs its upgrade statements, so they are kept only until the next cut.
class RecentLog {
 public:
  RecentLog() {
    previous_ = platform::setLogSink([this](std::string_view line) {
      const std::lock_guard<std::mutex> lock(mutex_);
      if (lines_.size() < kLimit) lines_.emplace_back(line);
    });
  }
  ~RecentLog() { platform::setLogSink(previous_); }
  RecentLog(const RecentLog&) = delete;
  RecentLog& operator=(const RecentLog&) = delete;

  void clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    lines_.clear();
  }
  void writeTo(const fs::path& file) {
    const std::lock_guard<std::mutex> lock(mutex_);
    std::ofstream out(file);
    for (const std::string& line : lines_) out << line << '\n';
  }

 private:
  static constexpr std::size_t kLimit = 5000;
  std::mutex mutex_;
  std::vector<std::string> lines_;
  platform::LogSink previous_;
};

// What a cut run saw: the operations that resolved before the cut (with
// their answers) and whether one was in flight when it came.
struct CutRun {
  std::uint64_t resolved = 0;
  bool inFlight = false;
  std::vector<std::string> wrongAnswers;
};

}  // namespace

std::string PowerLossHarness::Totals::summary() const {
  std::string line = "power loss: " + withSeparators(cuts) + " cuts, " + std::to_string(lost) +
                     " lost acknowledged, " + std::to_string(damaged) + " damaged";
  if (halfWritten > 0) line += ", " + std::to_string(halfWritten) + " half-written";
  if (cacheMismatches > 0) line += ", " + std::to_string(cacheMismatches) + " cache mismatches";
  if (hung > 0) line += ", " + std::to_string(hung) + " hung";
  return line;
}

PowerLossHarness::PowerLossHarness(Options options, std::function<void(const std::string&)> report)
    : options_(std::move(options)), report_(std::move(report)) {}

PowerLossHarness::Totals PowerLossHarness::run() {
  Totals totals;
  const Options& o = options_;
  std::error_code ignored;
  fs::path work = o.workDir;
  bool madeWork = false;
  if (work.empty()) {
    const fs::path parent = fs::is_directory("/dev/shm", ignored) ? fs::path("/dev/shm") : fs::temp_directory_path();
    std::string pattern = (parent / "kestrel-powerloss-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
      report_("cannot make a working folder in " + parent.string());
      totals.setupFailed = true;
      return totals;
    }
    work = pattern;
    madeWork = true;
  }
  fs::create_directories(work, ignored);
  const fs::path reference = work / "reference";
  const fs::path cutHome = work / "cut";
  const fs::path segments = work / "segments";
  fs::create_directories(reference, ignored);
  fs::create_directories(segments, ignored);
  report_("power loss: seed " + std::to_string(o.seed) + ", " + std::to_string(o.operations) +
          " operations in segments of " + std::to_string(o.segment) + ", " +
          (o.sample == 0 ? std::string("every I/O call") : std::to_string(o.sample) + " cuts per segment") +
          ", homes in " + work.string());

  RecentLog log;
  const Workload workload(o.seed);
  Workload::fixClock();
  const auto hang = [&](const std::string& where) {
    ++totals.hung;
    report_("FAULT hung: " + where + " did not resolve within " + std::to_string(o.hangBound.count()) +
            " ms (seed " + std::to_string(o.seed) + "); homes left in " + work.string());
    report_(totals.summary());
    std::_Exit(2);  // the stuck operation holds the facade: nothing more can run
  };
  const auto runOperation = [&](StorageManager& facade, std::uint64_t index) {
    std::future<bool> result = workload.operation(index).start(facade);
    const auto ok = Workload::await(result, o.hangBound);
    if (!ok) hang("operation " + std::to_string(index) + " (" + workload.operation(index).description + ")");
    return *ok;
  };

  // ---- The reference: no cut; a copy at each segment's start, the dump and
  // the answers from memory after every operation.
  FaultVfs::reset();
  std::vector<HomeDump> dumps(o.operations + 1);
  std::vector<FacadeSnapshot> answers(o.operations + 1);
  std::vector<bool> results(o.operations);
  {
    OpenedHome home(reference);
    if (home.loadError()) {
      report_("the reference home's store does not load: " + home.loadError()->fullDescription());
      totals.setupFailed = true;
      return totals;
    }
    for (std::uint64_t k = 0;; ++k) {
      answers[k] = FacadeSnapshot::of(home.facade(), home.store());  // settles the store first
      dumps[k] = HomeDump::of(reference);
      if (k % o.segment == 0 && k < o.operations) copyHome(reference, segments / std::to_string(k));
      if (k == o.operations) break;
      results[k] = runOperation(home.facade(), k);
    }
  }

  for (std::uint64_t first = 0; first < o.operations; first += o.segment) {
    if (o.onlySegment && *o.onlySegment != first) continue;
    const std::uint64_t end = std::min(first + o.segment, o.operations);
    const fs::path start = segments / std::to_string(first);

    // The segment's I/O calls, counted without a cut.
    copyHome(start, cutHome);
    std::uint64_t calls = 0;
    {
      OpenedHome home(cutHome);
      settle(home.store());
      FaultVfs::setFileFilter(cutHome.string());
      FaultVfs::resetCounts();
      for (std::uint64_t i = first; i < end; ++i) runOperation(home.facade(), i);
      settle(home.store());
      calls = FaultVfs::counts().total();
      FaultVfs::setFileFilter("");
    }
    std::vector<std::uint64_t> points(calls);
    std::iota(points.begin(), points.end(), 1);
    if (o.sample != 0 && points.size() > o.sample) {
      std::seed_seq sequence{static_cast<std::uint32_t>(o.seed), static_cast<std::uint32_t>(first), 0x736d70u};
      std::mt19937_64 random(sequence);
      std::shuffle(points.begin(), points.end(), random);
      points.resize(o.sample);
      std::sort(points.begin(), points.end());
    }

    if (o.onlyCut) points = {*o.onlyCut};
    std::uint64_t segmentFaults = 0;
    for (const std::uint64_t nth : points) {
      const PowerCut cut = cutFor(o.seed, first, nth);
      log.clear();
      copyHome(start, cutHome);
      FaultVfs::install(true);
      FaultVfs::reset();
      CutRun run;
      {
        OpenedHome home(cutHome);
        settle(home.store());
        FaultVfs::setFileFilter(cutHome.string());
        FaultVfs::startRecording();
        FaultVfs::armPowerCut(nth, cut);
        for (std::uint64_t i = first; i < end; ++i) {
          const bool ok = runOperation(home.facade(), i);
          const bool off = FaultVfs::powerIsOff();
          if (!ok && off) {
            run.inFlight = true;  // its failure may be the cut's
            break;
          }
          // Resolved true (so synced before the cut), or failed with the power on.
          if (ok != results[i]) {
            run.wrongAnswers.push_back("operation " + std::to_string(i) + " (" + workload.operation(i).description +
                                       ") answered " + (ok ? "ok" : "failed") + ", the reference " +
                                       (results[i] ? "ok" : "failed"));
          }
          ++run.resolved;
          if (off) break;
        }
        if (!FaultVfs::powerIsOff()) {
          settle(home.store());
          if (!FaultVfs::powerIsOff()) FaultVfs::cutPower(cut);  // after the last operation
        }
      }
      FaultVfs::reset();
      FaultVfs::uninstall();  // the next start reads the files with the real I/O
      ++totals.cuts;
      totals.acknowledged += run.resolved;
      totals.inFlightAtCut += run.inFlight;

      std::vector<std::string> faults;
      std::uint64_t lost = run.wrongAnswers.size(), damaged = 0, halfWritten = 0, mismatches = 0;
      for (const std::string& line : run.wrongAnswers) faults.push_back(line);
      for (const auto& [name, file] : {std::pair{"kestrel.db", databaseFile(cutHome)},
                                       std::pair{"object store", storeFile(cutHome)}}) {
        const std::string integrity = HomeDump::integrityCheck(file);
        if (integrity != "ok") {
          ++damaged;
          faults.push_back(std::string(name) + " integrity: " + integrity);
        }
      }
      if (damaged == 0) {
        OpenedHome checker(cutHome);
        const std::uint64_t before = first + run.resolved;
        if (checker.loadError()) {
          ++damaged;
          faults.push_back("the object store does not load: " + checker.loadError()->fullDescription());
        } else {
          const HomeDump found = HomeDump::of(cutHome);
          std::optional<std::uint64_t> matched;
          if (found.error) {
            ++damaged;
            faults.push_back("the home cannot be read: " + *found.error);
          } else if (found == dumps[before]) {
            matched = before;
          } else if (run.inFlight && found == dumps[before + 1]) {
            matched = before + 1;
            ++totals.inFlightApplied;
          } else {
            const HomeDump* after = run.inFlight ? &dumps[before + 1] : nullptr;
            const auto missing = found.missingFrom(dumps[before], after);
            (missing.empty() ? halfWritten : lost) += 1;
            faults.push_back(std::string(missing.empty() ? "half-written" : "lost acknowledged") +
                             ": the files equal the reference neither before the operation in flight nor after it");
            for (const std::string& line : found.differences(dumps[before])) faults.push_back("  vs before: " + line);
            if (after) {
              for (const std::string& line : found.differences(*after)) faults.push_back("  vs after: " + line);
            }
          }
          if (matched && faults.empty()) {
            for (const std::string& line : memoryDisagreements(checker.facade(), checker.store(), cutHome)) {
              ++mismatches;
              faults.push_back("memory vs files: " + line);
            }
            const FacadeSnapshot now = FacadeSnapshot::of(checker.facade(), checker.store());
            for (const std::string& line : now.differences(answers[*matched])) {
              ++mismatches;
              faults.push_back("new facade vs the reference's: " + line);
            }
          }
        }
      }
      totals.lost += lost;
      totals.damaged += damaged;
      totals.halfWritten += halfWritten;
      totals.cacheMismatches += mismatches;
      if (!faults.empty()) {
        ++segmentFaults;
        report_("FAULT at I/O call " + std::to_string(nth) + " of the segment from operation " + std::to_string(first) +
                " (seed " + std::to_string(o.seed) + ", " + cutText(cut) + "): " + std::to_string(run.resolved) +
                " resolved before the cut" +
                (run.inFlight ? ", operation " + std::to_string(first + run.resolved) + " (" +
                                    workload.operation(first + run.resolved).description + ") in flight"
                              : std::string(", none in flight")));
        for (const std::string& line : faults) report_("  " + line);
        const fs::path kept = work / ("fault-" + std::to_string(first) + "-" + std::to_string(nth));
        copyHome(cutHome, kept);
        log.writeTo(kept / "library.log");
        report_("  the home (and the layer's log of this cut, library.log) is kept in " + kept.string() + "; to run this cut alone: --seed " +
                std::to_string(o.seed) + " --operations " + std::to_string(o.operations) + " --segment " +
                std::to_string(o.segment) + " --only-segment " + std::to_string(first) + " --only-cut " +
                std::to_string(nth));
      }
    }
    if (o.verbose) {
      report_("segment from operation " + std::to_string(first) + ": " + std::to_string(calls) + " I/O calls, " +
              std::to_string(points.size()) + " cuts, " + std::to_string(segmentFaults) + " with faults");
    }
    FaultVfs::install(true);
  }

  if (totals.faultless() && madeWork) fs::remove_all(work, ignored);
  return totals;
}

}  // namespace kestrel::reliability
