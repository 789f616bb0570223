#include "reliability/crashloop/CrashDriver.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelPlatform/Log.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

#include "reliability/crashloop/SideLog.h"
#include "reliability/support/FacadeSnapshot.h"
#include "reliability/workload/HomeDump.h"
#include "reliability/workload/OpenedHome.h"
#include "reliability/workload/Workload.h"

extern char** environ;

namespace kestrel::reliability {
namespace {

constexpr std::chrono::milliseconds kHangBound{60000};
constexpr std::chrono::milliseconds kEarlyKills{150};

std::string withSeparators(std::uint64_t value) {
  std::string digits = std::to_string(value);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(static_cast<std::size_t>(at), ",");
  return digits;
}

std::filesystem::path newFolder(const std::filesystem::path& parent, const char* prefix) {
  std::string pattern = (parent / (std::string(prefix) + "XXXXXX")).string();
  if (::mkdtemp(pattern.data()) == nullptr) return {};
  return pattern;
}

// Starts the writer; its standard output and error go to `output`.
pid_t startWriter(const CrashDriver::Options& options, const std::filesystem::path& home,
                  const std::filesystem::path& sideLog, std::uint64_t from, const std::filesystem::path& output,
                  bool first) {
  std::vector<std::string> arguments = {options.self.string(), "writer", "--home", home.string(),
                                        "--seed", std::to_string(options.seed), "--from", std::to_string(from),
                                        "--log", sideLog.string()};
  if (first && options.injectLostFrom) {
    arguments.push_back("--acknowledge-unrun-from");
    arguments.push_back(std::to_string(*options.injectLostFrom));
  }
  std::vector<char*> argv;
  for (const std::string& argument : arguments) argv.push_back(const_cast<char*>(argument.c_str()));
  argv.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_adddup2(&actions, 1, 2);
  pid_t pid = -1;
  if (::posix_spawn(&pid, options.self.c_str(), &actions, nullptr, argv.data(), environ) != 0) pid = -1;
  posix_spawn_file_actions_destroy(&actions);
  return pid;
}

// Runs one operation of the workload on a facade and waits for it.
std::optional<bool> runOperation(const Workload& workload, StorageManager& facade, std::uint64_t index) {
  const WorkloadOperation op = workload.operation(index);
  std::future<bool> result = op.start(facade);
  return Workload::await(result, kHangBound);
}

// Log lines of the facades the driver opens go to a file, not the console.
class LogFile {
 public:
  explicit LogFile(const std::filesystem::path& path) : out_(path, std::ios::app) {
    previous_ = platform::setLogSink([this](std::string_view line) {
      const std::lock_guard<std::mutex> lock(mutex_);
      out_ << line << '\n';
    });
  }
  ~LogFile() { platform::setLogSink(previous_); }
  LogFile(const LogFile&) = delete;
  LogFile& operator=(const LogFile&) = delete;

 private:
  std::mutex mutex_;
  std::ofstream out_;
  platform::LogSink previous_;
};

}  // namespace

std::string CrashDriver::Totals::summary() const {
  std::string line = "crash loop: " + withSeparators(static_cast<std::uint64_t>(kills)) + " kills, " +
                     withSeparators(acknowledged) + " acknowledged ops, " + std::to_string(lost) + " lost, " +
                     std::to_string(damaged) + " damaged, " + std::to_string(halfWritten) + " half-written, " +
                     std::to_string(cacheMismatches) + " cache mismatches";
  if (hung > 0) line += ", " + std::to_string(hung) + " hung";
  return line;
}

CrashDriver::CrashDriver(Options options) : options_(std::move(options)) {}

CrashDriver::Totals CrashDriver::run() {
  Totals totals;
  const Options& o = options_;
  std::error_code ignored;
  // Folders the driver made are removed whole; in given ones, only what it put there.
  std::vector<std::filesystem::path> made;
  std::filesystem::path work = o.workDir;
  if (work.empty()) {
    work = newFolder(std::filesystem::temp_directory_path(), "kestrel-crashloop-");
    made.push_back(work);
  } else {
    std::filesystem::create_directories(work, ignored);
  }
  std::filesystem::path shadowRoot = o.shadowDir;
  if (shadowRoot.empty()) {
    shadowRoot = std::filesystem::is_directory("/dev/shm", ignored) ? newFolder("/dev/shm", "kestrel-shadow-")
                                                                    : newFolder(work, "shadow-");
    made.push_back(shadowRoot);
  }
  const std::filesystem::path home = work / "home";
  const std::filesystem::path shadowHome = shadowRoot / "home";
  const std::filesystem::path sideLog = work / "side.log";
  const std::filesystem::path writerOutput = work / "writer.log";
  std::filesystem::create_directories(home, ignored);
  std::filesystem::create_directories(shadowHome, ignored);
  std::printf("crash loop: seed %llu, %d kills, home %s, shadow %s\n", static_cast<unsigned long long>(o.seed),
              o.kills, home.c_str(), shadowHome.c_str());
  std::fflush(stdout);

  const LogFile logFile(work / "driver.log");
  Workload::fixClock();
  const Workload workload(o.seed);
  auto shadow = std::make_unique<OpenedHome>(shadowHome);
  if (shadow->loadError()) {
    std::printf("the shadow home's store does not load: %s\n", shadow->loadError()->fullDescription().c_str());
    totals.setupFailed = true;
    return totals;
  }

  std::mt19937_64 random(o.seed);
  const auto latest = std::max<std::int64_t>(o.latestKill.count(), kEarlyKills.count() + 1);
  std::uint64_t applied = 0;  // operations the home holds, and the shadow has run
  for (int round = 0; round < o.kills; ++round) {
    const bool early = random() % 3 == 0;
    const auto delay = std::chrono::milliseconds(
        early ? static_cast<std::int64_t>(random() % kEarlyKills.count())
              : kEarlyKills.count() + static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(latest - kEarlyKills.count())));
    std::filesystem::remove(sideLog, ignored);
    const std::uint64_t from = applied;
    const pid_t pid = startWriter(o, home, sideLog, from, writerOutput, round == 0);
    if (pid <= 0) {
      std::printf("cannot start the writer %s\n", o.self.c_str());
      totals.setupFailed = true;
      break;
    }
    // A moment drawn from the seed, not a synchronisation: the kill may land anywhere.
    std::this_thread::sleep_for(delay);
    ::kill(pid, SIGKILL);
    int status = 0;
    ::waitpid(pid, &status, 0);
    ++totals.kills;

    std::vector<std::string> faults;
    int lost = 0, damaged = 0, halfWritten = 0, mismatches = 0, hung = 0;
    const bool killed = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    const SideLog::Reading reading = SideLog::read(sideLog, from);
    if (!killed) {
      ++totals.writerEndedAlone;
      const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      if (code == 4 || reading.hung) {
        ++hung;
        faults.push_back("the writer's operation " + std::to_string(reading.hung.value_or(0)) + " (" +
                         workload.operation(reading.hung.value_or(0)).description + ") did not resolve");
      } else if (code != 0) {
        ++damaged;
        faults.push_back("the writer ended with status " + std::to_string(code) + " (see " + writerOutput.string() + ")");
      }
    }
    for (const std::string& line : reading.disorder) {
      ++damaged;
      faults.push_back("side log line out of order: " + line);
    }
    if (reading.done.empty() && !reading.inFlight) ++totals.killsBeforeFirstOperation;
    if (reading.inFlight) ++totals.inFlightAtKill;
    if (o.injectDamageAtKill == round) {
      std::fstream file(databaseFile(home), std::ios::in | std::ios::out | std::ios::binary);
      file.seekp(4096);  // the second page, whole: the first table's root
      file << std::string(4096, '\xA5');
    }
    totals.acknowledged += reading.done.size();

    // The shadow runs what was acknowledged, and must have answered the same.
    for (const auto& [index, ok] : reading.done) {
      const auto replayed = runOperation(workload, shadow->facade(), index);
      ++applied;
      if (!replayed) {
        ++hung;
        faults.push_back("the shadow's operation " + std::to_string(index) + " did not resolve");
        break;
      }
      if (*replayed != ok) {
        ++lost;
        faults.push_back("operation " + std::to_string(index) + " (" + workload.operation(index).description +
                         ") was acknowledged " + (ok ? "ok" : "failed") + ", its replay " +
                         (*replayed ? "ok" : "failed"));
      }
    }

    // The next start: integrity, the files against the shadow, the caches.
    const std::string databaseIntegrity = HomeDump::integrityCheck(databaseFile(home));
    const std::string storeIntegrity = HomeDump::integrityCheck(storeFile(home));
    if (databaseIntegrity != "ok") faults.push_back("kestrel.db integrity: " + databaseIntegrity);
    if (storeIntegrity != "ok") faults.push_back("object store integrity: " + storeIntegrity);
    damaged += (databaseIntegrity != "ok") + (storeIntegrity != "ok");
    std::optional<std::uint64_t> inFlightApplied;
    if (damaged == 0 && hung == 0) {
      OpenedHome checker(home);
      if (checker.loadError()) {
        ++damaged;
        faults.push_back("the object store does not load: " + checker.loadError()->fullDescription());
      } else {
        const HomeDump found = HomeDump::of(home);
        const HomeDump expected = HomeDump::of(shadowHome);
        if (found.error) {
          ++damaged;
          faults.push_back("the home cannot be read: " + *found.error);
        } else if (found != expected) {
          std::optional<HomeDump> withInFlight;
          if (reading.inFlight) {
            const auto replayed = runOperation(workload, shadow->facade(), *reading.inFlight);
            ++applied;
            withInFlight = HomeDump::of(shadowHome);
            if (!replayed) ++hung;
          }
          if (withInFlight && found == *withInFlight) {
            inFlightApplied = reading.inFlight;
            ++totals.inFlightApplied;
          } else {
            const auto missing = found.missingFrom(expected, withInFlight ? &*withInFlight : nullptr);
            (missing.empty() ? halfWritten : lost) += 1;
            faults.push_back(std::string(missing.empty() ? "half-written" : "lost") +
                             ": the home equals neither the shadow before the operation in flight nor after it");
            for (const std::string& line : found.differences(expected)) faults.push_back("  vs before: " + line);
            if (withInFlight) {
              for (const std::string& line : found.differences(*withInFlight)) faults.push_back("  vs after: " + line);
            }
          }
        }
        if (faults.empty()) {
          for (const std::string& line : memoryDisagreements(checker.facade(), checker.store(), home)) {
            ++mismatches;
            faults.push_back("memory vs files: " + line);
          }
          const FacadeSnapshot answers = FacadeSnapshot::of(checker.facade(), checker.store());
          for (const std::string& line : answers.differences(FacadeSnapshot::of(shadow->facade(), shadow->store()))) {
            ++mismatches;
            faults.push_back("new facade vs the shadow's live facade: " + line);
          }
        }
      }
    }
    totals.lost += lost;
    totals.damaged += damaged;
    totals.halfWritten += halfWritten;
    totals.cacheMismatches += mismatches;
    totals.hung += hung;

    if (o.verbose) {
      std::printf("kill %d after %lld ms: %zu acknowledged, in flight %s, %s\n", round,
                  static_cast<long long>(delay.count()), reading.done.size(),
                  reading.inFlight ? (std::to_string(*reading.inFlight) + (inFlightApplied ? " (applied)" : "")).c_str()
                                   : "none",
                  faults.empty() ? "ok" : "FAULT");
      std::fflush(stdout);
    }
    if (!faults.empty()) {
      std::printf("FAULT at kill %d (seed %llu): killed %lld ms after the writer started at operation %llu; "
                  "%zu acknowledged; in flight: %s\n",
                  round, static_cast<unsigned long long>(o.seed), static_cast<long long>(delay.count()),
                  static_cast<unsigned long long>(from), reading.done.size(),
                  reading.inFlight ? (std::to_string(*reading.inFlight) + " " +
                                      workload.operation(*reading.inFlight).description)
                                         .c_str()
                                   : "none");
      for (const std::string& line : faults) std::printf("  %s\n", line.c_str());
      std::printf("  the home is left at %s, the shadow at %s (the writer's output: %s)\n", home.c_str(),
                  shadowHome.c_str(), writerOutput.c_str());
      std::printf("  to run the same loop again: %s drive --seed %llu --kills %d --verbose\n", o.self.c_str(),
                  static_cast<unsigned long long>(o.seed), round + 1);
      std::fflush(stdout);
      break;
    }
  }

  std::printf("kills before the first operation began: %d; with an operation in flight: %d (%d of them found "
              "applied); writers that ended by themselves: %d\n",
              totals.killsBeforeFirstOperation, totals.inFlightAtKill, totals.inFlightApplied,
              totals.writerEndedAlone);
  shadow.reset();
  if (totals.faultless() && !o.keep) {
    for (const auto& path : {home, shadowHome, sideLog, writerOutput, work / "driver.log"}) {
      std::filesystem::remove_all(path, ignored);
    }
    for (const auto& folder : made) std::filesystem::remove_all(folder, ignored);
  }
  return totals;
}

}  // namespace kestrel::reliability
