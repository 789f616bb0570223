// kestrel_reliability_powerloss: the power-loss harness.
//
//   kestrel_reliability_powerloss [--seed N|random] [--operations N] [--segment N]
//                                 [--sample N] [--work DIR] [--verbose]
//                                 [--only-segment FIRST --only-cut N]
//   kestrel_reliability_powerloss --list [--seed N] [--operations N]
//
// --sample 0 (the default) cuts at every I/O call. Prints its seed first
// and its summary line last; exits 1 when a fault was found, 2 on a usage
// error, a hang, or when it could not run. --list prints the workload's operations instead.
#include <cstdint>
#include <cstdio>
#include <string>

#include "reliability/powerloss/PowerLossHarness.h"
#include "reliability/support/CommandLine.h"
#include "reliability/workload/Workload.h"
#include "vfs/FaultVfs.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: kestrel_reliability_powerloss [--seed N|random] [--operations N] [--segment N]\n"
               "                                     [--sample N] [--work DIR] [--verbose]\n"
               "                                     [--only-segment FIRST --only-cut N]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  using kestrel::reliability::PowerLossHarness;
  PowerLossHarness::Options options;
  bool list = false;
  for (int i = 1; i < argc; ++i) {
    const std::string flag = argv[i];
    if (flag == "--verbose") {
      options.verbose = true;
      continue;
    }
    if (flag == "--list") {
      list = true;
      continue;
    }
    if (i + 1 >= argc) return usage();
    const std::string value = argv[++i];
    if (flag == "--work") {
      options.workDir = value;
      continue;
    }
    if (flag == "--seed") {
      const auto seed = kestrel::reliability::parseSeed(value);
      if (!seed) return usage();
      options.seed = *seed;
      continue;
    }
    const auto number = kestrel::reliability::parseNumber(value);
    if (!number) return usage();
    const std::uint64_t n = *number;
    if (flag == "--operations" && n > 0) {
      options.operations = n;
    } else if (flag == "--segment" && n > 0) {
      options.segment = n;
    } else if (flag == "--sample") {
      options.sample = n;
    } else if (flag == "--only-segment") {
      options.onlySegment = n;
    } else if (flag == "--only-cut" && n > 0) {
      options.onlyCut = n;
    } else {
      return usage();
    }
  }
  if (list) {
    const kestrel::reliability::Workload workload(options.seed);
    for (std::uint64_t i = 0; i < options.operations; ++i) {
      std::printf("%llu %s\n", static_cast<unsigned long long>(i), workload.operation(i).description.c_str());
    }
    return 0;
  }
  kestrel::reliability::FaultVfs::install(true);
  PowerLossHarness harness(options, [](const std::string& line) {
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  });
  const PowerLossHarness::Totals totals = harness.run();
  std::printf("%s\n", totals.summary().c_str());
  if (totals.setupFailed) return 2;
  return totals.faultless() ? 0 : 1;
}
