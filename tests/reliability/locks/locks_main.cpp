// The lock-contention harness as a program, for `make reliability`:
//
//   kestrel_locks [--seed N|random] [--holds 12] [--busy-ms 200] [--home DIR]
//
// Prints the seed first and the summary line last; exits 0 when nothing
// was late, lost or disagreeing, 1 otherwise (the home is then kept for
// inspection), 2 on a usage error, 3 when the watchdog saw a hang.
#include <cstdint>
#include <cstdio>
#include <optional>
#include <filesystem>
#include <string>
#include <system_error>

#include "reliability/locks/LockContention.h"
#include "reliability/support/CommandLine.h"

#ifndef KESTREL_LOCK_HOLDER
#error "KESTREL_LOCK_HOLDER names the kestrel_lock_holder program"
#endif

namespace {

int usage(const std::string& why) {
  std::fprintf(stderr,
               "kestrel_locks: %s\nusage: kestrel_locks [--seed N|random] [--holds N] "
               "[--busy-ms N] [--home DIR]\n",
               why.c_str());
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  kestrel::reliability::LockOptions options;
  options.holderProgram = KESTREL_LOCK_HOLDER;
  bool ownHome = true;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (i + 1 >= argc) return usage("missing value for " + option);
    const char* value = argv[++i];
    using kestrel::reliability::parseNumber;
    std::optional<std::uint64_t> n;
    if (option == "--seed") {
      const auto seed = kestrel::reliability::parseSeed(value);
      if (!seed) return usage("--seed takes a number or \"random\"");
      options.seed = *seed;
    } else if (option == "--holds" && (n = parseNumber(value, 1, 100'000))) {
      options.holds = static_cast<int>(*n);
    } else if (option == "--busy-ms" && (n = parseNumber(value, 10, 10'000))) {
      options.busyWait = std::chrono::milliseconds(*n);
    } else if (option == "--home") {
      options.home = value;
      ownHome = false;
    } else {
      return usage("bad option " + option + " " + value);
    }
  }
  if (const auto problem = kestrel::reliability::prepareHome(options.home, ownHome, "kestrel-locks-")) {
    return usage(*problem);
  }
  std::printf("lock contention: seed %llu, %d holds, busy waits %lld ms, home %s\n",
              static_cast<unsigned long long>(options.seed), options.holds,
              static_cast<long long>(options.busyWait.count()), options.home.c_str());
  std::fflush(stdout);

  const auto report = kestrel::reliability::runLockContention(options);
  for (const std::string& line : report.faults) std::printf("  %s\n", line.c_str());
  std::printf("lock contention: bound %lld ms per operation, slowest %lld ms (%s); %llu writes "
              "acknowledged, %llu refused\n",
              static_cast<long long>(report.bound.count()),
              static_cast<long long>(report.slowest.count()), report.slowestOperation.c_str(),
              static_cast<unsigned long long>(report.acknowledged),
              static_cast<unsigned long long>(report.refused));
  if (report.clean()) {
    if (ownHome) {
      std::error_code ignored;
      std::filesystem::remove_all(options.home, ignored);
    }
  } else {
    std::printf("lock contention: the home is kept for inspection: %s (rerun with --seed %llu)\n",
                options.home.c_str(), static_cast<unsigned long long>(options.seed));
  }
  std::printf("%s\n", report.summary().c_str());
  return report.clean() ? 0 : 1;
}
