#include "reliability/races/RaceStress.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>
#include <KestrelModel/Sport.h>
#include <KestrelPlatform/Clock.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <thread>
#include <utility>

#include "reliability/races/FacadeWorker.h"
#include "reliability/races/Watchdog.h"
#include "reliability/support/FacadeSnapshot.h"
#include "reliability/support/GroupedNumber.h"

namespace kestrel::reliability {

std::string RaceReport::summary(const RaceOptions& options) const {
  return "races: " + std::to_string(options.threads) + " threads × " +
         groupedNumber(static_cast<std::uint64_t>(options.operationsPerThread)) + " ops, " +
         groupedNumber(acknowledged) + " acknowledged, " + groupedNumber(hung) + " hung, " +
         groupedNumber(lost) + " lost, " + groupedNumber(cacheMismatches) + " cache mismatches";
}

RaceReport runRaceStress(const RaceOptions& options) {
  installTickingClock();
  Findings findings;
  RaceReport report;
  const auto store = DataManager::forHome(options.home);
  if (const auto error = store->loadStore()) {
    report.lost = 1;
    report.faults.push_back("the object store does not load: " + error->description);
    return report;
  }
  {
    const auto storage = StorageManager::forHome(options.home, store);
    std::vector<std::unique_ptr<FacadeWorker>> workers;
    {
      Watchdog watchdog(options.threads, options.hangAfter,
                        [&options](int thread, const std::string& operation,
                                   std::chrono::milliseconds running) {
                          std::fprintf(stderr,
                                       "races: HUNG: thread %d, %s, running for %lld ms (seed %llu, "
                                       "home %s)\n",
                                       thread, operation.c_str(),
                                       static_cast<long long>(running.count()),
                                       static_cast<unsigned long long>(options.seed),
                                       options.home.c_str());
                          std::fflush(stderr);
                          std::_Exit(3);
                        });
      for (int t = 0; t < options.threads; ++t) {
        WorkerConfig config;
        config.seed = options.seed;
        config.operations = options.operationsPerThread;
        config.hangAfter = options.hangAfter;
        workers.push_back(std::make_unique<FacadeWorker>(*storage, *store, watchdog, findings,
                                                         std::move(config), t));
      }
      std::vector<std::thread> threads;
      for (auto& worker : workers) threads.emplace_back([&worker] { worker->run(); });
      for (auto& thread : threads) thread.join();
      for (auto& worker : workers) {
        worker->finish();
        worker->waitForOthers();
      }
    }
    settle(*store);
    for (const std::string& line : memoryDisagreements(*storage, *store, options.home)) {
      findings.fault(findings.mismatches, "seed " + std::to_string(options.seed) +
                                              ", at the end: memory disagrees with the files: " +
                                              line);
    }
    const auto freshStore = DataManager::forHome(options.home);
    if (freshStore->loadStore()) {
      findings.fault(findings.lost, "the object store does not load afresh at the end");
    } else {
      const auto fresh = StorageManager::forHome(options.home, freshStore);
      settle(*freshStore);
      for (auto& worker : workers) worker->verify(*fresh, *freshStore);
      settle(*freshStore);
    }
    settle(*store);
  }
  platform::Clock::reset();
  report.acknowledged = findings.acknowledged.load();
  report.hung = findings.hung.load();
  report.lost = findings.lost.load();
  report.cacheMismatches = findings.mismatches.load();
  report.faults = findings.lines();
  return report;
}

}  // namespace kestrel::reliability
