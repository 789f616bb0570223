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
#include <optional>
#include <filesystem>
#include <string>
#include <system_error>

#include "reliability/races/RaceStress.h"
#include "reliability/support/CommandLine.h"

namespace {

int usage(const char* why) {
  std::fprintf(stderr,
               "kestrel_races: %s\nusage: kestrel_races [--seed N|random] [--threads N] [--ops N] "
               "[--home DIR] [--hang-seconds N]\n",
               why);
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  kestrel::reliability::RaceOptions options;
  bool ownHome = true;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (i + 1 >= argc) return usage(("missing value for " + option).c_str());
    const char* value = argv[++i];
    using kestrel::reliability::parseNumber;
    std::optional<std::uint64_t> n;
    if (option == "--seed") {
      const auto seed = kestrel::reliability::parseSeed(value);
      if (!seed) return usage("--seed takes a number or \"random\"");
      options.seed = *seed;
    } else if (option == "--threads" && (n = parseNumber(value, 1, 64))) {
      options.threads = static_cast<int>(*n);
    } else if (option == "--ops" && (n = parseNumber(value, 1, 1'000'000))) {
      options.operationsPerThread = static_cast<int>(*n);
    } else if (option == "--hang-seconds" && (n = parseNumber(value, 1, 3600))) {
      options.hangAfter = std::chrono::seconds(*n);
    } else if (option == "--home") {
      options.home = value;
      ownHome = false;
    } else {
      return usage(("bad option " + option + " " + value).c_str());
    }
  }
  if (const auto problem = kestrel::reliability::prepareHome(options.home, ownHome, "kestrel-races-")) {
    return usage(problem->c_str());
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
