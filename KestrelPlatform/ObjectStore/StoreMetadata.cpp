#include <KestrelPlatform/ObjectStore/StoreMetadata.h>

#include <KestrelPlatform/ObjectStore/SqliteConnection.h>
#include <KestrelPlatform/ObjectStore/StoreSchema.h>

#include <sqlite3.h>

namespace kestrel::platform {

std::optional<StoreError> StoreMetadata::read(SqliteConnection& connection, StoreMetadata& out) {
  out = StoreMetadata();
  std::optional<StoreError> error;
  static const std::string kTables =
      "SELECT name FROM sqlite_master WHERE type = 'table' AND name NOT LIKE 'sqlite\\_%' "
      "ESCAPE '\\' ORDER BY name";
  sqlite3_stmt* tables = connection.statement(kTables, error);
  if (tables == nullptr) return error;
  int rc;
  while ((rc = sqlite3_step(tables)) == SQLITE_ROW) {
    const auto* name = reinterpret_cast<const char*>(sqlite3_column_text(tables, 0));
    const std::string table = name != nullptr ? name : "";
    if (table == storeschema::kMetadataTable) {
      out.present = true;
    } else {
      out.tables.push_back(table);
    }
  }
  if (rc != SQLITE_DONE) error = connection.lastError("The store could not be read.", kTables);
  sqlite3_reset(tables);
  if (error || !out.present) return error;

  static const std::string kValues = "SELECT \"key\", \"value\" FROM " +
                                     storeschema::quoteName(storeschema::kMetadataTable);
  sqlite3_stmt* values = connection.statement(kValues, error);
  if (values == nullptr) return error;
  while ((rc = sqlite3_step(values)) == SQLITE_ROW) {
    const auto* key = reinterpret_cast<const char*>(sqlite3_column_text(values, 0));
    const auto* value = reinterpret_cast<const char*>(sqlite3_column_text(values, 1));
    const std::string k = key != nullptr ? key : "";
    const std::string v = value != nullptr ? value : "";
    if (k == storeschema::kModelKey) out.model = v;
    if (k == storeschema::kVersionKey) out.version = v;
    if (k == storeschema::kVersionHashKey) out.versionHash = v;
  }
  if (rc != SQLITE_DONE) error = connection.lastError("The store could not be read.", kValues);
  sqlite3_reset(values);
  return error;
}

std::optional<StoreError> StoreMetadata::write(SqliteConnection& connection,
                                               const std::string& model,
                                               const ModelVersion& version) {
  const std::string table = storeschema::quoteName(storeschema::kMetadataTable);
  if (auto error = connection.execute("CREATE TABLE IF NOT EXISTS " + table +
                                      " (\"key\" TEXT PRIMARY KEY, \"value\" TEXT)")) {
    return error;
  }
  const std::string sql = "INSERT OR REPLACE INTO " + table + " (\"key\", \"value\") VALUES (?, ?)";
  const std::pair<const char*, std::string> entries[] = {
      {storeschema::kModelKey, model},
      {storeschema::kVersionKey, version.name()},
      {storeschema::kVersionHashKey, version.versionHash()}};
  for (const auto& [key, value] : entries) {
    if (auto error = connection.run(sql, {ObjectValue(key), ObjectValue(value)})) return error;
  }
  return std::nullopt;
}

}  // namespace kestrel::platform
