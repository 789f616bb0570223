// kestrel: inspect and maintain a KestrelDatabase home from the command line.
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/Version.h>

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

int main(int argc, char** argv) {
  using namespace kestrel::platform;
  CLI::App app{"kestrel: the KestrelDatabase command-line tool"};
  app.set_version_flag("--version", std::string("kestrel ") + kestrel::kVersion);
  std::optional<std::string> home;
  app.add_option("--home", home, "Application home folder");
  CLI11_PARSE(app, argc, argv);
  if (home) AppHome::setRoot(*home);
  print("kestrel %s\nhome: %s\n", kestrel::kVersion, AppHome::root().c_str());
  return 0;
}
