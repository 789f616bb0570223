// kestrel: inspect and maintain a KestrelDatabase home from the command line.
//
//   kestrel [--version] [--home DIR]          version and resolved home
//   kestrel inspect [--home DIR] [--json]     create/upgrade, then report
//   kestrel check   [--home DIR] [--json]     integrity and schema check
//   kestrel purge   [--home DIR] [--json] [--now SECONDS]        retention
//   kestrel refresh-due [--home DIR] [--json] [--now SECONDS]    due IDs
//
// Options may stand anywhere after the command name.
#include "Commands.h"

#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/Version.h>

#include <CLI/CLI.hpp>

#include <functional>
#include <optional>
#include <string>

namespace {

using kestrel::tool::CommonOptions;

struct Command {
  CLI::App* app;
  std::function<int(const CommonOptions&)> run;
};

}  // namespace

int main(int argc, char** argv) {
  using namespace kestrel;
  CLI::App app{"kestrel: the KestrelDatabase command-line tool"};
  app.set_version_flag("--version", std::string("kestrel ") + kVersion);
  app.require_subcommand(0, 1);

  std::optional<std::string> home;
  CommonOptions options;
  app.add_option("--home", home, "Application home folder")->envname("KESTREL_HOME");

  std::vector<Command> commands;
  auto addCommand = [&](const char* name, const char* help, bool withNow,
                        std::function<int(const CommonOptions&)> run) {
    CLI::App* sub = app.add_subcommand(name, help);
    sub->add_option("--home", home, "Application home folder");
    sub->add_flag("--json", options.json, "Print the report as JSON");
    if (withNow) sub->add_option("--now", options.now, "Fix the clock (seconds since 1970)");
    commands.push_back({sub, std::move(run)});
  };
  addCommand("inspect", "Create or upgrade the database, then report its tables", false,
             tool::runInspect);
  addCommand("check", "Check integrity and compare the schema with the current one", false,
             tool::runCheck);
  addCommand("purge", "Delete finished and old events, hide finished ones a followed entity owns",
             true, tool::runPurge);
  addCommand("refresh-due", "List the events whose data is due for a refresh", true,
             tool::runRefreshDue);

  CLI11_PARSE(app, argc, argv);
  if (home) platform::AppHome::setRoot(*home);
  if (options.now) platform::Clock::setFixed(*options.now);

  for (const Command& command : commands) {
    if (command.app->parsed()) return command.run(options);
  }
  platform::print("kestrel %s\nhome: %s\n", kVersion, platform::AppHome::root().c_str());
  return 0;
}
