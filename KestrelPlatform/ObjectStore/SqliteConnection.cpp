#include <KestrelPlatform/ObjectStore/SqliteConnection.h>

#include <sqlite3.h>

#include <limits>

namespace kestrel::platform {
namespace {

// Prepared statements kept per connection; the cache starts afresh beyond it.
constexpr std::size_t kStatementCacheCapacity = 128;
// How long a statement waits for another connection's lock (milliseconds).
constexpr int kBusyTimeoutMs = 5000;

}  // namespace

void SqliteConnection::StatementDeleter::operator()(sqlite3_stmt* statement) const noexcept {
  sqlite3_finalize(statement);
}

std::unique_ptr<SqliteConnection> SqliteConnection::open(const std::filesystem::path& path,
                                                         bool readOnly,
                                                         std::optional<StoreError>& error) {
  sqlite3* db = nullptr;
  const int flags = (readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE) |
                    SQLITE_OPEN_NOMUTEX;
  const int rc = sqlite3_open_v2(path.c_str(), &db, flags, nullptr);
  if (rc != SQLITE_OK) {
    error = StoreError{StoreErrorCode::storeOpenFailed,
                       "The persistent store could not be opened.",
                       {{"path", path.string()},
                        {"sqliteCode", std::to_string(rc)},
                        {"sqliteMessage", db != nullptr ? sqlite3_errmsg(db) : sqlite3_errstr(rc)}}};
    sqlite3_close_v2(db);
    return nullptr;
  }
  sqlite3_extended_result_codes(db, 1);
  sqlite3_busy_timeout(db, kBusyTimeoutMs);
  return std::unique_ptr<SqliteConnection>(new SqliteConnection(path, db));
}

SqliteConnection::SqliteConnection(std::filesystem::path path, sqlite3* db)
    : path_(std::move(path)), db_(db) {}

SqliteConnection::~SqliteConnection() { close(); }

void SqliteConnection::close() {
  statements_.clear();
  if (db_ != nullptr) {
    sqlite3_close_v2(db_);
    db_ = nullptr;
  }
}

StoreError SqliteConnection::lastError(const std::string& what, const std::string& sql) const {
  StoreError error{StoreErrorCode::sqliteFailed, what, {{"path", path_.string()}}};
  if (db_ == nullptr) {
    error.userInfo["sqliteMessage"] = "the store is closed";
  } else {
    error.userInfo["sqliteCode"] = std::to_string(sqlite3_extended_errcode(db_));
    error.userInfo["sqliteMessage"] = sqlite3_errmsg(db_);
  }
  if (!sql.empty()) error.userInfo["sql"] = sql;
  return error;
}

std::optional<StoreError> SqliteConnection::execute(const std::string& sql) {
  if (db_ == nullptr) return lastError("The store is closed.", sql);
  if (sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) {
    return lastError("A statement of the store failed.", sql);
  }
  return std::nullopt;
}

std::optional<StoreError> SqliteConnection::run(const std::string& sql,
                                                const std::vector<ObjectValue>& parameters) {
  std::optional<StoreError> error;
  sqlite3_stmt* prepared = statement(sql, error);
  if (prepared == nullptr) return error;
  if ((error = bind(prepared, parameters, sql))) {
    sqlite3_clear_bindings(prepared);  // a cached statement keeps no large copy
    return error;
  }
  int rc = SQLITE_ROW;
  while (rc == SQLITE_ROW) rc = sqlite3_step(prepared);
  if (rc != SQLITE_DONE) {
    error = lastError("A statement of the store failed.", sql);
    sqlite3_reset(prepared);
    return error;
  }
  sqlite3_reset(prepared);
  return std::nullopt;
}

sqlite3_stmt* SqliteConnection::statement(const std::string& sql, std::optional<StoreError>& error) {
  if (db_ == nullptr) {
    error = lastError("The store is closed.", sql);
    return nullptr;
  }
  if (const auto it = statements_.find(sql); it != statements_.end()) {
    sqlite3_reset(it->second.get());
    sqlite3_clear_bindings(it->second.get());
    return it->second.get();
  }
  sqlite3_stmt* prepared = nullptr;
  // SQLite takes the length as an int; a longer text is no statement it takes.
  if (sql.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    error = StoreError{StoreErrorCode::sqliteFailed,
                       "A statement of the store could not be prepared.",
                       {{"path", path_.string()},
                        {"sqliteCode", std::to_string(SQLITE_TOOBIG)},
                        {"sqliteMessage", sqlite3_errstr(SQLITE_TOOBIG)}}};
    return nullptr;
  }
  if (sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &prepared, nullptr) !=
      SQLITE_OK) {
    error = lastError("A statement of the store could not be prepared.", sql);
    sqlite3_finalize(prepared);
    return nullptr;
  }
  if (statements_.size() >= kStatementCacheCapacity) statements_.clear();
  statements_.emplace(sql, StatementHandle(prepared));
  return prepared;
}

int SqliteConnection::bindValue(sqlite3_stmt* statement, int index, const ObjectValue& value) {
  switch (value.kind()) {
    case ObjectValue::Kind::null:
      return sqlite3_bind_null(statement, index);
    case ObjectValue::Kind::integer:
      return sqlite3_bind_int64(statement, index, *value.integer());
    case ObjectValue::Kind::real:
      return sqlite3_bind_double(statement, index, *value.real());
    case ObjectValue::Kind::boolean:
      return sqlite3_bind_int64(statement, index, *value.boolean() ? 1 : 0);
    case ObjectValue::Kind::text:
      // The 64-bit lengths take any size: beyond SQLite's limit the bind
      // fails with SQLITE_TOOBIG instead of reading a cut or negative length.
      return sqlite3_bind_text64(statement, index, value.text()->data(),
                                 static_cast<sqlite3_uint64>(value.text()->size()),
                                 SQLITE_TRANSIENT, SQLITE_UTF8);
    case ObjectValue::Kind::data:
      // A zero-length blob is bound as such, never as NULL.
      if (value.data()->empty()) return sqlite3_bind_zeroblob(statement, index, 0);
      return sqlite3_bind_blob64(statement, index, value.data()->data(),
                                 static_cast<sqlite3_uint64>(value.data()->size()),
                                 SQLITE_TRANSIENT);
  }
  return SQLITE_MISUSE;
}

std::optional<StoreError> SqliteConnection::bind(sqlite3_stmt* statement,
                                                 const std::vector<ObjectValue>& parameters,
                                                 const std::string& sql) {
  for (std::size_t i = 0; i < parameters.size(); ++i) {
    // More values than parameters: SQLite answers SQLITE_RANGE for the first.
    if (bindValue(statement, static_cast<int>(i + 1), parameters[i]) != SQLITE_OK) {
      StoreError error = lastError("A value could not be bound to a statement of the store.", sql);
      error.userInfo["parameter"] = std::to_string(i + 1);
      return error;
    }
  }
  return std::nullopt;
}

ObjectValue SqliteConnection::column(sqlite3_stmt* statement, int index, AttributeType type) {
  if (sqlite3_column_type(statement, index) == SQLITE_NULL) return ObjectValue::null();
  switch (type) {
    case AttributeType::integer64:
      return ObjectValue(static_cast<std::int64_t>(sqlite3_column_int64(statement, index)));
    case AttributeType::boolean:
      return ObjectValue(sqlite3_column_int64(statement, index) != 0);
    case AttributeType::string: {
      // Every byte, by SQLite's count (a NUL inside does not end the text).
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
      if (text == nullptr) return ObjectValue::null();  // out of memory
      return ObjectValue(std::string(text, static_cast<std::size_t>(sqlite3_column_bytes(statement, index))));
    }
    case AttributeType::binary: {
      const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement, index));
      const auto size = static_cast<std::size_t>(sqlite3_column_bytes(statement, index));
      return ObjectValue(bytes == nullptr ? Bytes() : Bytes(bytes, bytes + size));
    }
  }
  return ObjectValue::null();
}

std::vector<std::string> SqliteConnection::integrityCheck(std::optional<StoreError>& error) {
  std::vector<std::string> lines;
  static const std::string kSql = "PRAGMA integrity_check";
  sqlite3_stmt* prepared = statement(kSql, error);
  if (prepared == nullptr) return lines;
  int rc;
  while ((rc = sqlite3_step(prepared)) == SQLITE_ROW) {
    const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(prepared, 0));
    lines.emplace_back(text != nullptr ? text : "");
  }
  if (rc != SQLITE_DONE) error = lastError("The integrity check failed.", kSql);
  sqlite3_reset(prepared);
  return lines;
}

}  // namespace kestrel::platform
