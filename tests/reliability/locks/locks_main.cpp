// The lock-contention harness as a program, for `make reliability`:
//
//   kestrel_locks [--seed N|random] [--holds 12] [--busy-ms 200] [--home DIR]
//
// Prints the seed first and the summary line last; exits 0 when nothing
// was late, lost or disagreeing, 1 otherwise (the home is then kept for
// inspection), 2 on a usage error, 3 when the watchdog saw a hang.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

#include "reliability/locks/LockContention.h"

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

bool number(const char* text, long long low, long long high, long long& out) {
  char* end = nullptr;
  errno = 0;
  const long long value = std::strtoll(text, &end, 10);
  if (errno != 0 || end == text || *end != '\0' || value < low || value > high) return false;
  out = value;
  return true;
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
    long long n = 0;
    if (option == "--seed") {
      if (std::string(value) == "random") {
        options.seed = std::random_device{}();
      } else if (number(value, 0, INT64_MAX, n)) {
        options.seed = static_cast<std::uint64_t>(n);
      } else {
        return usage("--seed takes a number or \"random\"");
      }
    } else if (option == "--holds" && number(value, 1, 100'000, n)) {
      options.holds = static_cast<int>(n);
    } else if (option == "--busy-ms" && number(value, 10, 10'000, n)) {
      options.busyWait = std::chrono::milliseconds(n);
    } else if (option == "--home") {
      options.home = value;
      ownHome = false;
    } else {
      return usage("bad option " + option + " " + value);
    }
  }
  if (ownHome) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "kestrel-locks-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) return usage("cannot make a temporary home");
    options.home = pattern;
  } else {
    std::error_code error;
    std::filesystem::create_directories(options.home, error);
    if (error || !std::filesystem::is_empty(options.home, error)) {
      return usage("--home must be an empty (or new) folder");
    }
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
