// kestrel_crashloop: the crash loop's driver and the writer it kills.
//
//   kestrel_crashloop drive [--seed N|random] [--kills N] [--work DIR] [--shadow DIR]
//                           [--latest-kill MS] [--verbose] [--keep]
//                           [--inject-lost-from I] [--inject-damage-at-kill K]
//   kestrel_crashloop writer --home DIR --seed N --from I --log FILE [--count N]
//
// `drive` prints its seed first and its summary line last, and exits 1
// when any fault was found (0 otherwise, 2 on a usage error or when the
// loop could not run). The two
// --inject options break the home on purpose, to show that the loop
// reports what it is there to find.
#include <cstdint>
#include <cstdio>
#include <string>

#include <unistd.h>

#include "reliability/crashloop/CrashDriver.h"
#include "reliability/crashloop/CrashWriter.h"
#include "reliability/support/CommandLine.h"

namespace {

int usage() {
  std::fprintf(stderr,
               "usage: kestrel_crashloop drive [--seed N|random] [--kills N] [--work DIR] [--shadow DIR]\n"
               "                               [--latest-kill MS] [--verbose] [--keep]\n"
               "       kestrel_crashloop writer --home DIR --seed N --from I --log FILE [--count N]\n");
  return 2;
}

/// Stores the number `text` holds in `value`; false for any other text.
bool number(const std::string& text, std::uint64_t& value) {
  const auto parsed = kestrel::reliability::parseNumber(text);
  if (parsed) value = *parsed;
  return parsed.has_value();
}

}  // namespace

int main(int argc, char** argv) {
  using kestrel::reliability::CrashDriver;
  using kestrel::reliability::CrashWriter;
  if (argc < 2) return usage();
  const std::string mode = argv[1];
  if (mode == "writer") {
    CrashWriter::Options options;
    for (int i = 2; i < argc; ++i) {
      const std::string flag = argv[i];
      if (i + 1 >= argc) return usage();
      const char* value = argv[++i];
      if (flag == "--home") {
        options.home = value;
      } else if (flag == "--log") {
        options.sideLog = value;
      } else if (flag == "--seed") {
        if (!number(value, options.seed)) return usage();
      } else if (flag == "--from") {
        if (!number(value, options.from)) return usage();
      } else if (flag == "--count") {
        if (!number(value, options.count)) return usage();
      } else if (flag == "--acknowledge-unrun-from") {
        std::uint64_t from = 0;
        if (!number(value, from)) return usage();
        options.acknowledgeUnrunFrom = from;
      } else {
        return usage();
      }
    }
    if (options.home.empty() || options.sideLog.empty()) return usage();
    return CrashWriter::run(options);
  }
  if (mode != "drive") return usage();
  CrashDriver::Options options;
  options.self = "/proc/self/exe";
  char resolved[4096];
  if (const ssize_t n = ::readlink("/proc/self/exe", resolved, sizeof resolved - 1); n > 0) {
    options.self = std::string(resolved, static_cast<std::size_t>(n));
  }
  for (int i = 2; i < argc; ++i) {
    const std::string flag = argv[i];
    if (flag == "--verbose") {
      options.verbose = true;
      continue;
    }
    if (flag == "--keep") {
      options.keep = true;
      continue;
    }
    if (i + 1 >= argc) return usage();
    const std::string value = argv[++i];
    std::uint64_t n = 0;
    if (flag == "--seed") {
      const auto seed = kestrel::reliability::parseSeed(value);
      if (!seed) return usage();
      options.seed = *seed;
    } else if (flag == "--kills") {
      if (!number(value, n) || n == 0 || n > 1000000) return usage();
      options.kills = static_cast<int>(n);
    } else if (flag == "--latest-kill") {
      if (!number(value, n) || n < 200) return usage();
      options.latestKill = std::chrono::milliseconds(n);
    } else if (flag == "--inject-lost-from") {
      if (!number(value, n)) return usage();
      options.injectLostFrom = n;
    } else if (flag == "--inject-damage-at-kill") {
      if (!number(value, n) || n > 1000000) return usage();
      options.injectDamageAtKill = static_cast<int>(n);
    } else if (flag == "--work") {
      options.workDir = value;
    } else if (flag == "--shadow") {
      options.shadowDir = value;
    } else {
      return usage();
    }
  }
  const CrashDriver::Totals totals = CrashDriver(options).run();
  std::printf("%s\n", totals.summary().c_str());
  if (totals.setupFailed) return 2;
  return totals.faultless() ? 0 : 1;
}
