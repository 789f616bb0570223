#include "SchemaReport.h"

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMError.h>
#include <KestrelDatabase/sql/FMResultSet.h>

namespace kestrel::tool {

std::vector<std::string> columnsOf(FMDatabase& db, const std::string& table, bool* failed) {
  std::vector<std::string> columns;
  auto rs = db.getTableSchema(table);
  FMError error;
  while (rs && rs->nextWithError(&error)) {
    columns.push_back(rs->stringForColumn("name").value_or(""));
  }
  if (rs) rs->close();
  if (failed != nullptr && (!rs || error.code != 0)) *failed = true;
  return columns;
}

std::vector<TableReport> expectedSchema() {
  std::vector<TableReport> tables;
  auto db = FMDatabase::databaseWithPath(std::nullopt);  // in memory
  if (!db->open()) return tables;
  for (const TableHooks& hooks : FMDBHelper::tableClasses()) {
    db->executeUpdate(hooks.createTableQuery());
  }
  auto rs = db->executeQuery(
      "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite_%' ORDER BY "
      "rowid");
  std::vector<std::string> names;
  while (rs && rs->next()) names.push_back(rs->stringForColumn("name").value_or(""));
  if (rs) rs->close();
  for (const std::string& name : names) tables.push_back({name, columnsOf(*db, name), 0});
  db->close();
  return tables;
}

}  // namespace kestrel::tool
