// The race stress as a program, for `make reliability`:
//
//   kestrel_races [--seed N|random] [--threads 8] [--ops 2000] [--home DIR]
//                 [--hang-seconds 60]
//
// Prints the seed first and the summary line last; exits 0 when nothing
// hung, was lost or disagreed, 1 otherwise (the home is then kept for
// inspection), 2 on a usage error, 3 when the watchdog saw a hang.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

#include "reliability/races/RaceStress.h"

namespace {

int usage(const char* why) {
  std::fprintf(stderr,
               "kestrel_races: %s\nusage: kestrel_races [--seed N|random] [--threads N] [--ops N] "
               "[--home DIR] [--hang-seconds N]\n",
               why);
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
  kestrel::reliability::RaceOptions options;
  bool ownHome = true;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (i + 1 >= argc) return usage(("missing value for " + option).c_str());
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
    } else if (option == "--threads" && number(value, 1, 64, n)) {
      options.threads = static_cast<int>(n);
    } else if (option == "--ops" && number(value, 1, 1'000'000, n)) {
      options.operationsPerThread = static_cast<int>(n);
    } else if (option == "--hang-seconds" && number(value, 1, 3600, n)) {
      options.hangAfter = std::chrono::seconds(n);
    } else if (option == "--home") {
      options.home = value;
      ownHome = false;
    } else {
      return usage(("bad option " + option + " " + value).c_str());
    }
  }
  if (ownHome) {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "kestrel-races-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) return usage("cannot make a temporary home");
    options.home = pattern;
  } else {
    std::error_code error;
    std::filesystem::create_directories(options.home, error);
    if (!std::filesystem::is_empty(options.home, error) || error) {
      return usage("--home must be an empty (or new) folder");
    }
  }
  std::printf("races: seed %llu, %d threads x %d ops, home %s\n",
              static_cast<unsigned long long>(options.seed), options.threads,
              options.operationsPerThread, options.home.c_str());
  std::fflush(stdout);

  const auto report = kestrel::reliability::runRaceStress(options);
  for (const std::string& line : report.faults) std::printf("  %s\n", line.c_str());
  if (report.clean()) {
    if (ownHome) {
      std::error_code ignored;
      std::filesystem::remove_all(options.home, ignored);
    }
  } else {
    std::printf("races: the home is kept for inspection: %s (rerun with --seed %llu)\n",
                options.home.c_str(), static_cast<unsigned long long>(options.seed));
  }
  std::printf("%s\n", report.summary(options).c_str());
  return report.clean() ? 0 : 1;
}
