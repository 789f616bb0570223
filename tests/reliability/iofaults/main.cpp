// kestrel_reliability_iofaults: every facade operation under every I/O
// fault point (or a seeded sample of them), then one summary line.
//
//   kestrel_reliability_iofaults [--seed N] [--sample K] [--only NAME]
//                                [--work DIR] [--verbose]
//
// --sample K runs K fault points per operation (the quick form); without it
// every point runs (the full form). The library's own log and printed
// lines are silenced unless --verbose. Exits 1 when anything was found, 2
// on a hang.
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdint>
#include <cstring>
#include <optional>
#include <string>

#include "iofaults/IoFaultHarness.h"
#include "reliability/support/CommandLine.h"
#include "vfs/FaultVfs.h"

using kestrel::reliability::FaultVfs;
using kestrel::reliability::IoFaultHarness;

int main(int argc, char** argv) {
  IoFaultHarness::Options options;
  bool verbose = false;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    std::optional<std::uint64_t> number;
    if (arg == "--seed" && hasValue && (number = kestrel::reliability::parseSeed(argv[i + 1]))) {
      options.seed = *number;
      ++i;
    } else if (arg == "--sample" && hasValue &&
               (number = kestrel::reliability::parseNumber(argv[i + 1]))) {
      options.sample = *number;
      ++i;
    } else if (arg == "--only" && hasValue) {
      options.only = argv[++i];
    } else if (arg == "--work" && hasValue) {
      options.workDir = argv[++i];
    } else if (arg == "--verbose") {
      verbose = true;
    } else {
      std::fprintf(stderr, "usage: %s [--seed N|random] [--sample K] [--only NAME] [--work DIR] [--verbose]\n",
                   argv[0]);
      return 64;
    }
  }
  if (options.workDir.empty()) {
    options.workDir = std::filesystem::temp_directory_path() /
                      ("kestrel-iofaults-" + std::to_string(options.seed) + "-" +
                       std::to_string(::getpid()));
  }
  std::filesystem::create_directories(options.workDir);

  // The harness reports on the original standard output; the library's
  // printed lines ("CoreData error -> ...") go nowhere unless asked for.
  const int reportFd = ::dup(STDOUT_FILENO);
  FILE* report = ::fdopen(reportFd, "w");
  if (!verbose) {
    const int devNull = ::open("/dev/null", O_WRONLY);
    ::dup2(devNull, STDOUT_FILENO);
    ::close(devNull);
    kestrel::platform::setLogSink([](std::string_view) {});
  }
  const auto say = [report](const std::string& line) {
    std::fprintf(report, "%s\n", line.c_str());
    std::fflush(report);
  };

  say("iofaults: seed " + std::to_string(options.seed) +
      (options.sample ? ", " + std::to_string(options.sample) + " fault points per operation"
                      : ", every fault point") +
      ", working in " + options.workDir.string());
  kestrel::platform::Clock::setFixed(static_cast<double>(kestrel::reliability::kNow));
  FaultVfs::install(true);
  FaultVfs::reset();

  IoFaultHarness harness(options, say);
  const IoFaultHarness::Totals totals = harness.run();
  if (totals.findings() == 0) std::filesystem::remove_all(options.workDir);
  say(IoFaultHarness::summary(totals));
  std::fflush(stdout);
  return totals.findings() == 0 ? 0 : 1;
}
