#include <KestrelPlatform/ObjectStore/StoreInspector.h>

#include <KestrelPlatform/ObjectStore/SqliteConnection.h>
#include <KestrelPlatform/ObjectStore/StoreMetadata.h>
#include <KestrelPlatform/ObjectStore/StoreSchema.h>

#include <sqlite3.h>

#include <system_error>

namespace kestrel::platform {

StoreInspection StoreInspector::inspect(const std::filesystem::path& location,
                                        const ObjectModel& model) {
  StoreInspection result;
  result.location = location;
  std::error_code ec;
  result.exists = std::filesystem::is_regular_file(location, ec);
  if (!result.exists) return result;

  auto connection = SqliteConnection::open(location, true, result.error);
  if (!connection) return result;
  result.integrity = connection->integrityCheck(result.error);
  if (result.error) {
    const auto code = result.error->userInfo.find("sqliteCode");
    if (code != result.error->userInfo.end() && code->second == std::to_string(SQLITE_READONLY_ROLLBACK)) {
      result.needsRecovery = true;
      result.error = StoreError{StoreErrorCode::storeOpenFailed,
                                "The store holds a save that was cut short; the next load recovers it.",
                                {{"path", location.string()}}};
    }
    return result;
  }

  StoreMetadata metadata;
  if ((result.error = StoreMetadata::read(*connection, metadata))) return result;
  std::vector<std::string> tables = metadata.tables;
  if (metadata.present) {
    result.modelVersion = metadata.version;
    const auto index = model.versionIndex(metadata.version);
    if (metadata.model == model.name() && index &&
        model.versions()[*index]->versionHash() == metadata.versionHash) {
      result.knownVersion = true;
      result.currentVersion = *index == model.currentIndex();
      tables.clear();
      for (const auto& entity : model.versions()[*index]->entities()) tables.push_back(entity->name());
    }
  } else if (!metadata.tables.empty()) {
    result.error = StoreError{StoreErrorCode::storeOpenFailed, "The file is not an object store.",
                              {{"path", location.string()}}};
  }
  for (const std::string& table : tables) {
    const std::string sql = "SELECT COUNT(*) FROM " + storeschema::quoteName(table);
    std::optional<StoreError> error;
    sqlite3_stmt* statement = connection->statement(sql, error);
    if (statement == nullptr || sqlite3_step(statement) != SQLITE_ROW) {
      if (!result.error) result.error = error ? *error : connection->lastError("A count failed.", sql);
      continue;
    }
    result.recordCounts.emplace_back(table, sqlite3_column_int64(statement, 0));
    sqlite3_reset(statement);
  }
  return result;
}

}  // namespace kestrel::platform
