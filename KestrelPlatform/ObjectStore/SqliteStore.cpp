#include <KestrelPlatform/ObjectStore/SqliteStore.h>

#include <KestrelPlatform/ObjectStore/SqliteConnection.h>
#include <KestrelPlatform/ObjectStore/StoreMetadata.h>
#include <KestrelPlatform/ObjectStore/StoreMigrator.h>
#include <KestrelPlatform/ObjectStore/StoreSchema.h>

#include <sqlite3.h>

#include <system_error>

namespace kestrel::platform {
namespace {

using namespace storeschema;

std::atomic<std::uint64_t> gNextStoreIdentifier{1};

StoreError incompatible(const std::string& reason, const std::filesystem::path& location) {
  return StoreError{StoreErrorCode::incompatibleVersion,
                    "The persistent store is not compatible with the model.",
                    {{"reason", reason}, {"path", location.string()}}};
}

}  // namespace

std::shared_ptr<SqliteStore> SqliteStore::open(const std::filesystem::path& location,
                                               std::shared_ptr<const ObjectModel> model,
                                               const StoreDescription& description,
                                               const MigrationPolicies& policies,
                                               std::optional<StoreError>& error) {
  if (description.type != StoreDescription::kSQLiteType) {
    error = StoreError{StoreErrorCode::storeOpenFailed, "Unknown persistent store type.",
                       {{"type", description.type}}};
    return nullptr;
  }
  auto connection = SqliteConnection::open(location, false, error);
  if (!connection) return nullptr;
  if ((error = connection->execute("PRAGMA busy_timeout = " +
                                   std::to_string(description.busyTimeout.count())))) {
    return nullptr;
  }
  std::shared_ptr<SqliteStore> store(
      new SqliteStore(location, std::move(connection), model->currentVersion()));
  error = store->load(*model, description, policies);
  if (error) return nullptr;
  return store;
}

SqliteStore::SqliteStore(std::filesystem::path location,
                         std::unique_ptr<SqliteConnection> connection,
                         std::shared_ptr<const ModelVersion> version)
    : identifier_(gNextStoreIdentifier++),
      location_(std::move(location)),
      version_(std::move(version)),
      connection_(std::move(connection)) {
  const auto& entities = version_->entities();
  nextKeys_ = std::make_unique<std::atomic<std::int64_t>[]>(entities.size());
  for (const auto& entity : entities) {
    selectSql_.push_back(selectAll(*entity));
    insertSql_.push_back(insert(*entity));
    updateSql_.push_back(entity->attributes().empty() ? std::string() : update(*entity));
    deleteSql_.push_back(deleteRow(*entity));
  }
}

SqliteStore::~SqliteStore() = default;

std::optional<StoreError> SqliteStore::load(const ObjectModel& model,
                                            const StoreDescription& description,
                                            const MigrationPolicies& policies) {
  SqliteConnection& connection = *connection_;
  if (auto error = connection.execute("PRAGMA journal_mode=DELETE; PRAGMA synchronous=EXTRA")) {
    return error;
  }
  if (auto error = connection.execute("BEGIN IMMEDIATE")) return error;
  const auto fail = [&](StoreError error) -> std::optional<StoreError> {
    connection.execute("ROLLBACK");
    return error;
  };
  StoreMetadata metadata;
  if (auto error = StoreMetadata::read(connection, metadata)) return fail(*error);
  if (!metadata.present) {
    if (!metadata.tables.empty()) {
      return fail(StoreError{StoreErrorCode::storeOpenFailed, "The file is not an object store.",
                             {{"path", location_.string()}, {"table", metadata.tables.front()}}});
    }
    for (const auto& entity : version_->entities()) {
      if (auto error = connection.execute(createTable(*entity))) return fail(*error);
      for (const std::string& index : createIndexes(*entity)) {
        if (auto error = connection.execute(index)) return fail(*error);
      }
    }
    if (auto error = StoreMetadata::write(connection, model.name(), *version_)) return fail(*error);
  } else {
    if (metadata.model != model.name()) {
      return fail(incompatible("the store was written by the model \"" + metadata.model + "\"", location_));
    }
    const auto index = model.versionIndex(metadata.version);
    if (!index) {
      return fail(incompatible("unknown model version \"" + metadata.version + "\"", location_));
    }
    if (model.versions()[*index]->versionHash() != metadata.versionHash) {
      return fail(incompatible("the layout of version \"" + metadata.version + "\" has changed", location_));
    }
    if (*index > model.currentIndex()) {
      return fail(incompatible("the store is newer than the model (\"" + metadata.version + "\")", location_));
    }
    if (*index < model.currentIndex()) {
      if (!description.shouldMigrateStoreAutomatically) {
        return fail(StoreError{StoreErrorCode::migrationRequired,
                               "The persistent store needs a migration, and automatic migration is off.",
                               {{"path", location_.string()},
                                {"storeVersion", metadata.version},
                                {"modelVersion", version_->name()}}});
      }
      if (auto error = StoreMigrator::migrate(connection, model, *index, model.currentIndex(),
                                              description.shouldInferMappingModelAutomatically,
                                              policies)) {
        return fail(*error);
      }
    }
  }
  if (auto error = connection.execute("COMMIT")) return fail(*error);
  return readKeys();
}

std::optional<StoreError> SqliteStore::readKeys() {
  for (const auto& entity : version_->entities()) {
    const std::string sql = "SELECT MAX(" + quoteName(kPrimaryKey) + ") FROM " + quoteName(entity->name());
    std::optional<StoreError> error;
    sqlite3_stmt* statement = connection_->statement(sql, error);
    if (statement == nullptr) return error;
    std::int64_t largest = 0;
    if (sqlite3_step(statement) == SQLITE_ROW) largest = sqlite3_column_int64(statement, 0);
    sqlite3_reset(statement);
    nextKeys_[entity->index()] = largest + 1;
  }
  return std::nullopt;
}

std::optional<StoreError> SqliteStore::destroyFiles(const std::filesystem::path& location) {
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
    std::filesystem::path file = location;
    file += suffix;
    std::error_code ec;
    std::filesystem::remove(file, ec);
    if (ec && ec != std::errc::no_such_file_or_directory) {
      return StoreError{StoreErrorCode::sqliteFailed, "The store file could not be removed.",
                        {{"path", file.string()}, {"reason", ec.message()}}};
    }
  }
  return std::nullopt;
}

std::int64_t SqliteStore::allocatePrimaryKey(const EntityDescription& entity) {
  return nextKeys_[entity.index()]++;
}

StoreError SqliteStore::removedError() const {
  return StoreError{StoreErrorCode::storeRemoved, "The persistent store has been removed.",
                    {{"path", location_.string()}}};
}

std::optional<StoreError> SqliteStore::fetch(const Query& query, ValueRows& rows) {
  rows = ValueRows(query.columns ? query.columns->size() : query.entity->attributes().size());
  return fetch(query, [&](std::int64_t key, std::span<ObjectValue> values) {
    rows.appendKey(key);
    for (ObjectValue& value : values) rows.appendValue(std::move(value));
  });
}

std::optional<StoreError> SqliteStore::fetch(const Query& query, RowVisitor visit) {
  const EntityDescription& entity = *query.entity;
  const auto& attributes = entity.attributes();
  std::string sql;
  if (query.columns == nullptr) {
    sql = selectSql_[entity.index()];
  } else {
    sql = "SELECT " + quoteName(kPrimaryKey);
    for (std::size_t column : *query.columns) sql += ", " + quoteName(attributes[column].name);
    sql += " FROM " + quoteName(entity.name());
  }
  std::vector<ObjectValue> parameters;
  if (query.predicate != nullptr) {
    sql += " WHERE ";
    query.predicate->appendSql(entity, sql, parameters);
  }
  sql += " ORDER BY ";
  for (const auto& [attribute, ascending] : query.sort) {
    sql += quoteName(attributes[attribute].name) + (ascending ? " ASC, " : " DESC, ");
  }
  sql += quoteName(kPrimaryKey);
  if (query.limit > 0) sql += " LIMIT " + std::to_string(query.limit);

  std::lock_guard lock(mutex_);
  if (!connection_) return removedError();
  std::optional<StoreError> error;
  sqlite3_stmt* statement = connection_->statement(sql, error);
  if (statement == nullptr) return error;
  // A predicate value SQLite cannot take fails the fetch; bound as NULL it
  // would fetch other records.
  if ((error = connection_->bind(statement, parameters, sql))) {
    sqlite3_clear_bindings(statement);
    return error;
  }
  std::vector<ObjectValue> row(query.columns ? query.columns->size() : attributes.size());
  int rc;
  while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
    for (std::size_t i = 0; i < row.size(); ++i) {
      const std::size_t attribute = query.columns ? (*query.columns)[i] : i;
      row[i] = SqliteConnection::column(statement, static_cast<int>(i + 1), attributes[attribute].type);
    }
    visit(sqlite3_column_int64(statement, 0), row);
  }
  if (rc != SQLITE_DONE) error = connection_->lastError("A fetch from the store failed.", sql);
  sqlite3_reset(statement);
  return error;
}

std::optional<StoreError> SqliteStore::save(const StoreChanges& changes) {
  std::lock_guard lock(mutex_);
  if (!connection_) return removedError();
  SqliteConnection& connection = *connection_;
  if (auto error = connection.execute("BEGIN IMMEDIATE")) return error;
  const auto write = [&]() -> std::optional<StoreError> {
    std::vector<ObjectValue> parameters;
    for (const auto& insert : changes.inserted) {
      parameters.assign(1, ObjectValue(insert.primaryKey));
      parameters.insert(parameters.end(), insert.values.begin(), insert.values.end());
      if (auto error = connection.run(insertSql_[insert.entity->index()], parameters)) return error;
    }
    for (const auto& update : changes.updated) {
      const std::string& sql = updateSql_[update.entity->index()];
      if (sql.empty()) continue;
      parameters.assign(update.values.begin(), update.values.end());
      parameters.emplace_back(update.primaryKey);
      if (auto error = connection.run(sql, parameters)) return error;
    }
    for (const auto& removal : changes.deleted) {
      parameters.assign(1, ObjectValue(removal.primaryKey));
      if (auto error = connection.run(deleteSql_[removal.entity->index()], parameters)) return error;
    }
    return connection.execute("COMMIT");
  };
  if (auto error = write()) {
    connection.execute("ROLLBACK");
    return error;
  }
  return std::nullopt;
}

void SqliteStore::close() {
  std::lock_guard lock(mutex_);
  connection_.reset();
}

}  // namespace kestrel::platform
