#include "Commands.h"
#include "Output.h"
#include "SchemaReport.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

namespace kestrel::tool {
namespace {

// The object store after the start path has loaded it, or why it did not.
struct StoreReport {
  std::filesystem::path file;
  std::optional<std::string> error;
  std::optional<std::string> modelVersion;
  std::optional<std::string> migratedFrom;
  std::vector<std::pair<std::string, std::int64_t>> records;
};

// Loads the store as the application's start does (creating it, or
// migrating an older one), then reads it back without the manager.
StoreReport loadStore(const std::filesystem::path& home) {
  StoreReport report;
  report.file = DataManager::storePath(home);
  if ((report.error = whyNotUsable(report.file))) return report;
  const platform::StoreInspection before = DataManager::inspectStore(home);
  if (auto error = DataManager::forHome(home)->loadStore()) {
    report.error = describe(*error);
    return report;
  }
  platform::StoreInspection after = DataManager::inspectStore(home);
  if (after.error) {
    report.error = describe(*after.error);
    return report;
  }
  if (!after.integrityOk()) {
    // It loaded, but reading it back found damage: say so, with the first
    // findings (kestrel check lists them all).
    std::string findings;
    for (std::size_t i = 0; i < after.integrity.size() && i < 3; ++i) {
      findings += (i == 0 ? "" : "; ") + after.integrity[i];
    }
    report.error = "damaged: " + findings;
    return report;
  }
  if (before.needsMigration()) report.migratedFrom = before.modelVersion;
  report.modelVersion = after.modelVersion;
  report.records = std::move(after.recordCounts);
  return report;
}

platform::Json storeJson(const StoreReport& store) {
  platform::Json json = {{"file", store.file.string()}};
  if (store.error) {
    json["error"] = *store.error;
    return json;
  }
  json["modelVersion"] = store.modelVersion.value_or("");
  json["migratedFrom"] = store.migratedFrom ? platform::Json(*store.migratedFrom) : nullptr;
  json["entities"] = platform::Json::array();
  for (const auto& [entity, records] : store.records) {
    json["entities"].push_back({{"name", entity}, {"records", records}});
  }
  return json;
}

void printStore(const StoreReport& store) {
  using platform::print;
  print("object store: %s\n", store.file.c_str());
  if (store.error) {
    platform::log("kestrel: %s: %s", store.file.c_str(), store.error->c_str());
    return;
  }
  print("model:    %s", store.modelVersion.value_or("").c_str());
  if (store.migratedFrom) print(" (migrated from %s)", store.migratedFrom->c_str());
  print("\n%-32s %8s\n", "entity", "records");
  for (const auto& [entity, records] : store.records) {
    print("%-32s %8lld\n", entity.c_str(), static_cast<long long>(records));
  }
}

}  // namespace

int runInspect(const CommonOptions& options) {
  using platform::print;
  const std::filesystem::path home = platform::AppHome::root();
  auto helper = FMDBHelper::forHome(home, options.wait);
  auto queue = helper->getDBQueue();
  // A start that could not run its statements (locked, not a database, not a
  // regular file) has nothing true to report.
  if (const auto error = helper->startError(); error || !queue) {
    return reportFailure(options, helper->databasePath(), error.value_or("cannot be opened"));
  }
  std::vector<TableReport> tables = expectedSchema();
  std::string sqliteVersion;
  queue->inDatabase([&](FMDatabase* db) {
    if (!db) return;
    sqliteVersion = FMDatabase::sqliteLibVersion();
    for (TableReport& table : tables) {
      table.columns = columnsOf(*db, table.name);
      table.rows = db->longForQuery("SELECT COUNT(*) FROM " + table.name);
    }
  });
  const StoreReport store = loadStore(home);
  const int status = store.error ? kExitFailure : kExitSuccess;

  if (options.json) {
    platform::Json report = {{"database", helper->databasePath().string()},
                             {"sqliteVersion", sqliteVersion},
                             {"tables", platform::Json::array()},
                             {"objectStore", storeJson(store)}};
    for (const TableReport& table : tables) {
      report["tables"].push_back(
          {{"name", table.name}, {"rows", table.rows}, {"columns", table.columns.size()}});
    }
    print("%s\n", jsonText(report).c_str());
    return status;
  }
  print("database: %s\n", helper->databasePath().c_str());
  print("sqlite:   %s\n", sqliteVersion.c_str());
  print("%-32s %8s %8s\n", "table", "rows", "columns");
  for (const TableReport& table : tables) {
    print("%-32s %8lld %8zu\n", table.name.c_str(), static_cast<long long>(table.rows),
          table.columns.size());
  }
  printStore(store);
  return status;
}

}  // namespace kestrel::tool
