#include "Commands.h"
#include "Output.h"
#include "SchemaReport.h"

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

namespace kestrel::tool {

int runInspect(const CommonOptions& options) {
  using platform::print;
  auto helper = FMDBHelper::forHome(platform::AppHome::root(), options.wait);
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

  if (options.json) {
    platform::Json report = {{"database", helper->databasePath().string()},
                             {"sqliteVersion", sqliteVersion},
                             {"tables", platform::Json::array()}};
    for (const TableReport& table : tables) {
      report["tables"].push_back(
          {{"name", table.name}, {"rows", table.rows}, {"columns", table.columns.size()}});
    }
    print("%s\n", jsonText(report).c_str());
    return 0;
  }
  print("database: %s\n", helper->databasePath().c_str());
  print("sqlite:   %s\n", sqliteVersion.c_str());
  print("%-32s %8s %8s\n", "table", "rows", "columns");
  for (const TableReport& table : tables) {
    print("%-32s %8lld %8zu\n", table.name.c_str(), static_cast<long long>(table.rows),
          table.columns.size());
  }
  return 0;
}

}  // namespace kestrel::tool
