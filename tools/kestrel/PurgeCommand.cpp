#include "Commands.h"
#include "DatabaseAccess.h"
#include "HomeCopy.h"
#include "Output.h"
#include "PurgeLock.h"
#include "StorePurges.h"
#include "TablePurges.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

#include <algorithm>
#include <optional>
#include <string>

namespace kestrel::tool {
namespace {

bool succeeded(const std::vector<TablePurge>& tables) {
  return std::all_of(tables.begin(), tables.end(),
                     [](const TablePurge& table) { return table.ok; });
}

void printReport(const CommonOptions& options, const std::vector<TablePurge>& tables,
                 const StorePurge& store, const std::filesystem::path& storeFile) {
  const bool tablesOk = succeeded(tables);
  const bool ok = tablesOk && store.ok;
  if (options.json) {
    platform::Json report = {{"ok", ok}};
    for (const TablePurge& table : tables) report[table.name] = table.json();
    report["storeVotes"] = store.votesJson();
    report["highlights"] = store.highlightsJson();
    if (store.error) report["storeError"] = *store.error;
    platform::print("%s\n", jsonText(report).c_str());
    return;
  }
  for (const TablePurge& table : tables) table.print();
  store.print();
  // A store that could not be used is named here; statements and saves
  // that failed were logged as they failed.
  if (store.error) platform::log("kestrel: %s: %s", storeFile.c_str(), store.error->c_str());
  if (!tablesOk || (!store.ok && !store.error)) {
    platform::log("kestrel: some purge statements failed (see the log above)");
  }
}

}  // namespace

int runPurge(const CommonOptions& options) {
  const std::optional<std::filesystem::path> path = existingDatabaseFile(options);
  if (!path) return kExitFailure;
  const std::filesystem::path home = platform::AppHome::root();
  PurgeLock lock;
  std::string error;
  if (options.dryRun ? !lock.acquireShared(*path, options.wait, error)
                     : !lock.acquire(*path, options.wait, error)) {
    return reportFailure(options, *path, error);
  }

  // A dry run purges a copy of the home: the same start path, statements
  // and store purges, so the same report, and the home is only read.
  HomeCopy copy;
  if (options.dryRun) {
    if (fileState(*path) == FileState::notRegularFile) {
      return reportFailure(options, *path, "not a regular file");
    }
    if (!copy.copy(home, options.wait, error)) return reportFailure(options, *path, error);
  }
  const std::filesystem::path workHome = options.dryRun ? copy.root() : home;

  auto helper = openExistingDatabase(options, workHome, *path);
  if (!helper) return kExitFailure;
  const std::optional<std::vector<TablePurge>> tables = purgeTables(helper->getDBQueue(), error);
  if (!tables) return reportFailure(options, *path, error);
  const std::filesystem::path storeFile = DataManager::storePath(home);
  const std::optional<StorePurge> unusable = unusableStore(storeFile);
  const StorePurge store = unusable ? *unusable : purgeStore(workHome, options.dryRun);

  printReport(options, *tables, store, storeFile);
  if (options.dryRun && !options.json) {
    platform::log("kestrel: dry run: nothing was changed");
  }
  return store.ok && succeeded(*tables) ? kExitSuccess : kExitFailure;
}

}  // namespace kestrel::tool
