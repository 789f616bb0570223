#include "Commands.h"
#include "DemoReport.h"
#include "MatchDay.h"
#include "Output.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

#include <cmath>
#include <filesystem>
#include <system_error>

namespace kestrel::tool {
namespace {

// Why the file at `path` keeps the demo off this home, if it does: the
// demo's made-up day must never mix with data someone keeps there. A file
// of no bytes holds nothing (an interrupted first start leaves one).
std::optional<std::string> whyNotFresh(const std::filesystem::path& path, const char* what) {
  std::string why;
  switch (fileState(path, &why)) {
    case FileState::missing:
      return std::nullopt;
    case FileState::notRegularFile:
      return std::string("not a regular file");
    case FileState::unreadable:
      return "cannot be read: " + why;
    case FileState::regularFile:
      break;
  }
  std::error_code error;
  const auto size = std::filesystem::file_size(path, error);
  if (error) return "cannot be read: " + error.message();
  if (size == 0) return std::nullopt;
  return std::string("the home already holds ") + what +
         "; the demo needs a fresh home (remove it, or pass another --home)";
}

}  // namespace

int runDemo(const CommonOptions& options) {
  const std::filesystem::path home = platform::AppHome::root();
  const std::filesystem::path database = home / "Documents" / FMDBHelper::kDatabaseFileName;
  const std::filesystem::path storeFile = DataManager::storePath(home);
  if (auto why = whyNotFresh(database, "a database")) return reportFailure(options, database, *why);
  if (auto why = whyNotFresh(storeFile, "an object store")) {
    return reportFailure(options, storeFile, *why);
  }
  // A folder that cannot be made is reported here, rather than as the
  // facade's stop when it cannot open the database.
  for (const auto& folder : {database.parent_path(), storeFile.parent_path()}) {
    std::error_code error;
    std::filesystem::create_directories(folder, error);
    if (error)
      return reportFailure(options, database,
                           "cannot create " + folder.string() + ": " + error.message());
  }

  // The day starts at --now, else now, in whole seconds.
  const double startTime = options.now ? *options.now : platform::Clock::systemNow();
  const auto start = static_cast<std::int64_t>(std::floor(startTime));

  // As the application starts: the object store, the facade, the migration.
  auto dataManager = DataManager::forHome(home);
  if (auto error = dataManager->loadStore()) {
    return reportFailure(options, storeFile, describe(*error));
  }
  platform::Json report;
  try {
    auto storage = StorageManager::forHome(home, dataManager);
    storage->migrateFavoriteNotificationEvents().get();
    MatchDay day(storage, start);
    report = day.play();
    day.settle();
  } catch (const DemoStepFailed& failure) {
    return reportFailure(options, database, failure.what());
  }
  report["home"] = home.string();
  report["database"] = database.string();
  report["objectStore"] = storeFile.string();
  platform::printText(options.json ? jsonText(report) + "\n" : demoReportText(report));
  return kExitSuccess;
}

}  // namespace kestrel::tool
