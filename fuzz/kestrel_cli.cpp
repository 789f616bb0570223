// Fuzz target: kestrel command lines, run in-process through the tool's
// run() on a home this target owns.
//
// Input: lines. The first picks the home: "db" a home that holds a database
// and an object store (made once by `inspect`, copied afresh for every
// input), anything else an empty home. The other lines are the arguments.
//
// Kept out, so that a run stays inside the target's temporary folder and
// takes milliseconds: `--home` (with its value) is dropped, the home is
// always the target's; inputs that name `demo` (a whole match day, seconds
// per run, on a fresh home only) are skipped. The environment points the
// default home, the user's home and the temporary directory into the
// target's folder too.
//
// Promises checked:
//   - the tool returns one of its exit statuses (0, 1, 2, 3) and never
//     crashes, for any arguments;
//   - with --json, a command's outcome (an error included) is one JSON
//     object on standard output;
//   - nothing is left in the temporary directory (a dry run removes its
//     copy) and nothing appears in the target's folder beside the homes.
#include "FuzzSupport.h"

#include "Run.h"

#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Json.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iostream>
#include <set>
#include <sstream>

namespace fs = std::filesystem;
using namespace kestrel;

namespace {

struct Folder {
  fs::path root;
  fs::path home;
  fs::path templateHome;
  fs::path temporary;
  fs::path output;
  fs::path errors;

  Folder() {
    std::string pattern = (fs::temp_directory_path() / "kestrel-fuzz-cli-XXXXXX").string();
    fuzz::check(mkdtemp(pattern.data()) != nullptr, "the target's folder is made");
    root = pattern;
    home = root / "home";
    templateHome = root / "template";
    temporary = root / "tmp";
    output = root / "stdout.txt";
    errors = root / "stderr.txt";
    fs::create_directories(temporary);
    fs::create_directories(root / "user");
    setenv("TMPDIR", temporary.c_str(), 1);
    setenv("HOME", (root / "user").c_str(), 1);
    setenv("XDG_DATA_HOME", (root / "user").c_str(), 1);
    unsetenv("KESTREL_HOME");
    fuzz::LogLines quiet;
    fuzz::check(runTool({"inspect"}, templateHome).first == 0, "inspect makes the template home");
  }
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(root, ignored);
  }

  // Runs the tool on `on`; its exit status and what it printed. What it
  // writes to standard error (usage messages) goes to a file, unread.
  std::pair<int, std::string> runTool(std::vector<std::string> arguments, const fs::path& on) {
    std::vector<char*> argv{const_cast<char*>("kestrel")};
    for (auto& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    platform::AppHome::setRoot(on);
    std::fflush(stdout);
    std::fflush(stderr);
    const int savedOut = dup(STDOUT_FILENO);
    const int savedErr = dup(STDERR_FILENO);
    std::FILE* file = std::fopen(output.c_str(), "w");
    std::FILE* errorFile = std::fopen(errors.c_str(), "w");
    dup2(fileno(file), STDOUT_FILENO);
    dup2(fileno(errorFile), STDERR_FILENO);
    const int status = tool::run(static_cast<int>(argv.size() - 1), argv.data());
    std::cout.flush();
    std::cerr.flush();
    std::fflush(stdout);
    std::fflush(stderr);
    dup2(savedOut, STDOUT_FILENO);
    dup2(savedErr, STDERR_FILENO);
    close(savedOut);
    close(savedErr);
    std::fclose(file);
    std::fclose(errorFile);
    platform::Clock::reset();
    platform::AppHome::setRoot(std::nullopt);
    std::ifstream in(output);
    std::stringstream printed;
    printed << in.rdbuf();
    return {status, printed.str()};
  }
};

bool isJsonObject(std::string_view text) {
  const auto value = platform::parseJson(text);
  return value && value->is_object();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Folder folder;
  std::vector<std::string> lines;
  std::string_view rest(reinterpret_cast<const char*>(data), size);
  while (!rest.empty() || lines.empty()) {
    const std::size_t end = rest.find('\n');
    lines.emplace_back(rest.substr(0, end));
    rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);
  }
  const bool withDatabase = lines.front() == "db";
  std::vector<std::string> arguments;
  bool json = false;
  bool help = false;
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const std::string& argument = lines[i];
    if (argument.find("demo") != std::string::npos) return 0;
    if (argument == "--home") {
      ++i;
      continue;
    }
    if (argument.rfind("--home", 0) == 0) continue;
    json = json || argument == "--json";
    // Help wins over everything else, also inside a cluster of short flags
    // ("-hx"), and is printed as text.
    const bool shortFlags = argument.size() > 1 && argument[0] == '-' && argument[1] != '-';
    help = help || (shortFlags && argument.find('h') != std::string::npos) ||
           argument == "--help" || argument == "--version";
    arguments.push_back(argument);
  }
  if (arguments.size() > 16) return 0;

  std::error_code ignored;
  fs::remove_all(folder.home, ignored);
  if (withDatabase) {
    fs::copy(folder.templateHome, folder.home, fs::copy_options::recursive);
  } else {
    fs::create_directories(folder.home);
  }

  fuzz::LogLines log;
  const auto [status, printed] = folder.runTool(arguments, folder.home);
  std::string shownArguments;
  for (const auto& argument : arguments) shownArguments += fuzz::shown(argument) + " ";
  fuzz::check(status >= 0 && status <= 3, "the tool returns one of its exit statuses", shownArguments);
  if (json && !help && status != 2) {
    fuzz::check(isJsonObject(printed), "with --json the outcome is one JSON object",
                shownArguments + "printed: " + fuzz::shown(printed));
  }
  fuzz::check(fs::is_empty(folder.temporary), "nothing is left in the temporary directory",
              shownArguments);
  for (const auto& entry : fs::directory_iterator(folder.root)) {
    const auto name = entry.path().filename().string();
    fuzz::check(name == "home" || name == "template" || name == "tmp" || name == "user" ||
                    name == "stdout.txt" || name == "stderr.txt",
                "nothing is written beside the homes", name + " after " + shownArguments);
  }
  return 0;
}
