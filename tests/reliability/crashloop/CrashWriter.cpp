#include "reliability/crashloop/CrashWriter.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelPlatform/Log.h>

#include <unistd.h>

#include <cstdio>
#include <string>

#include "reliability/crashloop/SideLog.h"
#include "reliability/workload/Workload.h"

namespace kestrel::reliability {

int CrashWriter::run(Options options) {
  Workload::fixClock();
  SideLog log(options.sideLog);
  if (!log.isOpen()) {
    std::fprintf(stderr, "writer: cannot open the side log %s\n", options.sideLog.c_str());
    return 2;
  }
  const auto store = DataManager::forHome(options.home);
  if (const auto error = store->loadStore()) {
    std::fprintf(stderr, "writer: the object store did not load: %s\n", error->fullDescription().c_str());
    return 3;
  }
  const auto facade = StorageManager::forHome(options.home, store);
  const Workload workload(options.seed);
  for (std::uint64_t i = options.from; i - options.from < options.count; ++i) {
    const WorkloadOperation op = workload.operation(i);
    if (!log.append("begin " + std::to_string(i))) return 2;
    if (options.acknowledgeUnrunFrom && i >= *options.acknowledgeUnrunFrom &&
        (op.description.starts_with("insertEvent ") || op.description.starts_with("insertStage ") ||
         op.description.starts_with("pinUniqueTournament "))) {
      // ... and then waits for the kill, so that no later write covers it.
      if (!log.append("done " + std::to_string(i) + " ok")) return 2;
      for (;;) ::pause();
    }
    std::future<bool> result = op.start(*facade);
    const auto ok = Workload::await(result, options.hangBound);
    if (!ok) {
      log.append("hang " + std::to_string(i));
      std::fprintf(stderr, "writer: operation %llu (%s) did not resolve\n",
                   static_cast<unsigned long long>(i), op.description.c_str());
      std::fflush(stderr);
      std::_Exit(4);  // the hung operation still holds the queues
    }
    if (!log.append("done " + std::to_string(i) + (*ok ? " ok" : " failed"))) return 2;
  }
  return 0;
}

}  // namespace kestrel::reliability
