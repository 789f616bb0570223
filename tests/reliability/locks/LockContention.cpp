#include "reliability/locks/LockContention.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelPlatform/Clock.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <random>

#include "reliability/locks/LockHolder.h"
#include "reliability/races/FacadeWorker.h"
#include "reliability/races/Watchdog.h"
#include "reliability/support/FacadeSnapshot.h"
#include "reliability/support/GroupedNumber.h"

namespace kestrel::reliability {
namespace {

using Millis = std::chrono::milliseconds;

void shortenFacadeBusyWait(StorageManager& storage, Millis wait) {
  if (const auto queue = storage.dbQueue()) {
    queue->inDatabase([wait](FMDatabase* db) {
      if (db) db->setMaxBusyRetryTimeInterval(static_cast<double>(wait.count()) / 1000.0);
    });
  }
}

}  // namespace

std::string LockReport::summary() const {
  return "lock contention: " + groupedNumber(holds) + " holds, " + groupedNumber(operations) +
         " ops, " + groupedNumber(late) + " late, " + groupedNumber(lost) + " lost, " +
         groupedNumber(disagreeing) + " disagreeing";
}

LockReport runLockContention(const LockOptions& options) {
  installTickingClock();
  LockReport report;
  report.bound = kWaitingStatements * (options.busyWait + Millis(100)) + kMargin;
  Findings findings;
  DataManager::Configuration configuration;
  configuration.home = options.home;
  configuration.busyTimeout = options.busyWait;
  const auto store = DataManager::create(configuration);
  if (const auto error = store->loadStore()) {
    report.lost = 1;
    report.faults.push_back("the object store does not load: " + error->description);
    platform::Clock::reset();
    return report;
  }
  std::uint64_t disagreeing = 0;
  std::uint64_t probeFailures = 0;
  {
    const auto storage = StorageManager::forHome(options.home, store);
    shortenFacadeBusyWait(*storage, options.busyWait);
    const std::filesystem::path files[] = {storage->databaseHelper().databasePath(),
                                           DataManager::storePath(options.home)};
    const LockHolder::Kind kinds[] = {LockHolder::Kind::shared, LockHolder::Kind::reserved,
                                      LockHolder::Kind::exclusive};

    std::mt19937_64 random(options.seed * 7919 + 17);
    const auto pick = [&random](std::int64_t low, std::int64_t high) {
      return std::uniform_int_distribution<std::int64_t>(low, high)(random);
    };
    std::atomic<bool> holding{false};
    std::unique_ptr<LockHolder> hold;
    std::string holdName;
    int holdsDone = 0;
    int nextHoldAt = static_cast<int>(pick(0, 3));

    const auto afterRelease = [&](int step) {
      const std::string where = "seed " + std::to_string(options.seed) + ", step " +
                                std::to_string(step) + ", after " + holdName + ": ";
      for (const std::string& line : memoryDisagreements(*storage, *store, options.home)) {
        ++disagreeing;
        if (report.faults.size() < kMaxFaultLines) report.faults.push_back(where + line);
      }
      // The next ordinary write to each store succeeds.
      const ID probe = 900'000 + holdsDone;
      if (!storage->saveFantasyCompetition(probe).get()) {
        ++probeFailures;
        report.faults.push_back(where + "the next table write failed");
      }
      if (!storage->markNewsItemAsRead("probe-" + text(probe)).get()) {
        ++probeFailures;
        report.faults.push_back(where + "the next object-store write failed");
      }
    };

    WorkerConfig config;
    config.seed = options.seed;
    config.operations = options.holds * 400 + 100;
    config.hangAfter = options.hangAfter;
    config.lifecycle = false;
    config.ownPercent = 70;
    config.awaitStore = true;
    config.faultActive = &holding;
    config.timed = [&](const std::string& what, std::chrono::steady_clock::duration took) {
      ++report.operations;
      const auto millis = std::chrono::duration_cast<Millis>(took);
      if (millis > report.slowest) {
        report.slowest = millis;
        report.slowestOperation = what + (holding.load() ? " under " + holdName : "");
      }
      if (millis > report.bound) {
        ++report.late;
        if (report.faults.size() < kMaxFaultLines) {
          report.faults.push_back("seed " + std::to_string(options.seed) + ": " + what + " took " +
                                  std::to_string(millis.count()) + " ms" +
                                  (holding.load() ? " under " + holdName : ""));
        }
      }
    };
    config.beforeStep = [&](int step) {
      if (hold) {
        if (!hold->released()) return true;  // the work goes on under the hold
        hold.reset();
        holding = false;
        ++holdsDone;
        afterRelease(step);
        nextHoldAt = step + static_cast<int>(pick(0, 3));
      }
      if (holdsDone >= options.holds) return false;
      if (step < nextHoldAt) return true;
      // Every kind on each file in turn; how long, and when, the seed says.
      const LockHolder::Kind kind = kinds[holdsDone % 3];
      const std::filesystem::path& file = files[(holdsDone / 3) % 2];
      const Millis length(pick(2, 5) * options.busyWait.count());
      holdName = std::string("hold ") + std::to_string(holdsDone + 1) + " (" +
                 LockHolder::name(kind) + " on " + file.filename().string() + " for " +
                 std::to_string(length.count()) + " ms)";
      hold = std::make_unique<LockHolder>(options.holderProgram, file, kind, length);
      if (!hold->held()) {
        report.faults.push_back(holdName + ": the lock could not be taken: " +
                                hold->error().value_or("?"));
        ++report.lost;
        hold.reset();
        return false;
      }
      holding = true;
      ++report.holds;
      return true;
    };

    Watchdog watchdog(1, options.hangAfter,
                      [&options](int, const std::string& operation, Millis running) {
                        std::fprintf(stderr,
                                     "lock contention: HUNG: %s, running for %lld ms (seed %llu, "
                                     "home %s)\n",
                                     operation.c_str(), static_cast<long long>(running.count()),
                                     static_cast<unsigned long long>(options.seed),
                                     options.home.c_str());
                        std::fflush(stderr);
                        std::_Exit(3);
                      });
    FacadeWorker worker(*storage, *store, watchdog, findings, config, 0);
    worker.run();
    if (hold) {
      hold->waitReleased();
      hold.reset();
      holding = false;
      ++holdsDone;
      afterRelease(options.holds);
    }
    worker.finish();
    worker.waitForOthers();
    settle(*store);

    const auto freshStore = DataManager::forHome(options.home);
    if (freshStore->loadStore()) {
      ++report.lost;
      report.faults.push_back("the object store does not load afresh at the end");
    } else {
      const auto fresh = StorageManager::forHome(options.home, freshStore);
      settle(*freshStore);
      worker.verify(*fresh, *freshStore);
      settle(*freshStore);
    }
    settle(*store);
  }
  platform::Clock::reset();
  report.late += findings.hung.load();
  report.lost += findings.lost.load() + probeFailures;
  // A memory answer checked right after a write outside a hold that did
  // not match is a disagreement too.
  report.disagreeing = disagreeing + findings.mismatches.load();
  report.acknowledged = findings.acknowledged.load();
  report.refused = findings.refused.load();
  for (const std::string& line : findings.lines()) {
    if (report.faults.size() < kMaxFaultLines) report.faults.push_back(line);
  }
  return report;
}

}  // namespace kestrel::reliability
