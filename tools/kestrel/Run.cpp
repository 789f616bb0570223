// kestrel: inspect and maintain a KestrelDatabase home from the command line.
//
//   kestrel [--home DIR]                      version and resolved home
//   kestrel --version                         the version only
//   kestrel inspect [--home DIR] [--json]     create/upgrade the database and
//                                             load (migrate) the object store,
//                                             then report both
//   kestrel check   [--home DIR] [--json]     integrity and schema check of the
//                                             database, integrity and version
//                                             of the object store (read-only)
//   kestrel purge   [--home DIR] [--json] [--now SECONDS] [--dry-run]
//                                             retention of every table and of
//                                             the store's votes and highlights
//   kestrel refresh-due [--home DIR] [--json] [--now SECONDS]
//                                             event and stage IDs due
//   kestrel demo    [--home DIR] [--json] [--now SECONDS]
//                                             one match day played through
//                                             the facade on a fresh home
//   every command also takes [--wait SECONDS] (default 10): how long to wait
//   for another process's lock on the database
//
// Options may stand anywhere after the command name. --home falls back to
// $KESTREL_HOME, then the platform's default home. Only inspect and demo
// create a database or an object store (demo only on a home that holds
// neither); check, purge and refresh-due need
// "Documents/kestrel.db" to exist. Nothing but a regular file is ever opened
// as the database or the store. purge --dry-run purges a copy of both files
// under the temporary directory and prints the report a purge would print;
// the home is only read.
//
// Reports go to standard output, errors to standard error. With --json every
// outcome of a command, an error included, is one JSON object on standard
// output; an error object has "database" and "error" members. check's object
// always has "status": healthy, damaged, not-a-database, busy,
// needs-recovery, unreadable or no-database (the database's), and for a
// database it could read "objectStore" with the store's own "status".
//
// Exit status:
//   0  success; check: the database is healthy and the object store is
//      healthy, needs a migration or is not there yet (also --help and
//      --version)
//   1  check: damaged, not a database, unreadable (permissions, not a
//      regular file) or no database file, or an object store that is
//      damaged, incompatible, not a database or unreadable; any other
//      command: no database file, the start path failed (locked, not a
//      database, not a regular file), the object store could not be used, or
//      an operation failed; demo: the home already holds a database or an
//      object store, or a step of the day was refused
//   2  usage error: unknown command or option, bad option value (--now not
//      a number of seconds between -9000000000000000000 and
//      9000000000000000000, the clock's range; for demo, whose day ends
//      eight days after --now, 691200 s less at the top; --wait not a finite
//      number of seconds >= 0, empty --home)
//   3  check: busy (another process holds the lock) or needs recovery (a hot
//      journal that only a read-write open rolls back), of the database or
//      of the store of a healthy database; try again
#include "Commands.h"
#include "MatchDay.h"
#include "Run.h"

#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/Version.h>

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>
#include <exception>
#include <functional>
#include <optional>
#include <string>

namespace {

using kestrel::tool::CommonOptions;

constexpr int kUsageError = 2;

struct Command {
  CLI::App* app;
  std::function<int(const CommonOptions&)> run;
};

const CLI::Validator kNotEmpty(
    [](std::string& text) { return text.empty() ? std::string("must not be empty") : ""; }, "");

// A decimal number that is finite (no nan, no inf), from `minimum` to
// `maximum`.
CLI::Validator finiteNumber(std::string what, double minimum, double maximum) {
  return CLI::Validator(
      [what, minimum, maximum](std::string& text) {
        double value = 0;
        const char* end = text.data() + text.size();
        const auto [last, error] = std::from_chars(text.data(), end, value);
        if (error != std::errc() || last != end || !std::isfinite(value) || value < minimum ||
            value > maximum) {
          return "must be " + what + ", not \"" + text + "\"";
        }
        return std::string();
      },
      "");
}

// --now: a time the clock can hand out (platform::Clock::isRepresentable).
// The demo moves the clock on from it, so its day must end inside the range.
CLI::Validator nowSeconds(double latest) {
  return finiteNumber(
      kestrel::platform::formatString("a finite number of seconds since 1970 from %.0f to %.0f",
                                      kestrel::platform::Clock::kEarliest, latest),
      kestrel::platform::Clock::kEarliest, latest);
}

const CLI::Validator kNowSeconds = nowSeconds(kestrel::platform::Clock::kLatest);
const CLI::Validator kDemoNowSeconds =
    nowSeconds(kestrel::platform::Clock::kLatest -
               static_cast<double>(kestrel::tool::MatchDay::kWeekLaterAfter));
const CLI::Validator kWaitSeconds =
    finiteNumber("a finite number of seconds, 0 or more", 0.0, HUGE_VAL);

}  // namespace

namespace kestrel::tool {

int run(int argc, char** argv) {
  CLI::App app{"kestrel: the KestrelDatabase command-line tool"};
  app.set_version_flag("--version", std::string("kestrel ") + kVersion);
  app.require_subcommand(0, 1);

  std::optional<std::string> home;
  CommonOptions options;
  app.add_option("--home", home, "Application home folder")
      ->envname("KESTREL_HOME")
      ->type_name("DIR")
      ->check(kNotEmpty);

  std::vector<Command> commands;
  auto addCommand = [&](const char* name, const char* help, const CLI::Validator* withNow,
                        std::function<int(const CommonOptions&)> run) -> CLI::App* {
    CLI::App* sub = app.add_subcommand(name, help);
    sub->add_option("--home", home, "Application home folder")->type_name("DIR")->check(kNotEmpty);
    sub->add_flag("--json", options.json, "Print the report as JSON");
    sub->add_option("--wait", options.wait,
                    "Seconds to wait for another process's lock on the database (default 10)")
        ->type_name("SECONDS")
        ->check(kWaitSeconds);
    if (withNow) {
      sub->add_option("--now", options.now, "Fix the clock (seconds since 1970)")
          ->type_name("SECONDS")
          ->check(*withNow);
    }
    commands.push_back({sub, std::move(run)});
    return sub;
  };
  addCommand("inspect", "Create or upgrade the database, then report its tables", nullptr,
             tool::runInspect);
  addCommand("check", "Check integrity and compare the schema with the current one", nullptr,
             tool::runCheck);
  addCommand("purge",
             "Delete what has grown old in every table and in the object store; hide finished "
             "events a followed entity owns, and finished stages",
             &kNowSeconds, tool::runPurge)
      ->add_flag("--dry-run", options.dryRun,
                 "Report what a purge would delete and hide, changing nothing");
  addCommand("refresh-due", "List the events and stages whose data is due for a refresh",
             &kNowSeconds, tool::runRefreshDue);
  addCommand("demo",
             "Play one match day through the storage facade on a fresh home: what the screens "
             "show, then a week later what the cleaning removed and why",
             &kDemoNowSeconds, tool::runDemo);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // Help and version are "errors" with status 0; everything else is usage.
    const int status = app.exit(error);
    return status == 0 ? 0 : kUsageError;
  }

  try {
    if (home) platform::AppHome::setRoot(*home);
    // The validator has kept --now inside the clock's range.
    if (options.now && !platform::Clock::setFixed(*options.now)) return kUsageError;
    for (const Command& command : commands) {
      if (command.app->parsed()) return command.run(options);
    }
    platform::print("kestrel %s\nhome: %s\n", kVersion, platform::AppHome::root().c_str());
    return 0;
  } catch (const std::exception& error) {
    platform::log("kestrel: %s", error.what());
    return 1;
  }
}

}  // namespace kestrel::tool
