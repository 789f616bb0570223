// The object store's connection to one SQLite file: an RAII owner of the
// handle with a cache of prepared statements, parameter binding from
// ObjectValue and column reading into ObjectValue, and errors as StoreError
// values with SQLite's code and message.
//
// Binding keeps every byte of a text or data value (NUL and invalid UTF-8
// included). A value SQLite cannot take (beyond its length limit,
// SQLITE_TOOBIG; more values than the statement has parameters,
// SQLITE_RANGE) is an error of the statement, so a save that holds one
// fails as a whole; it never becomes a NULL in the value's place.
//
// Thread-safety: none; the owner (SqliteStore) serialises every use.
// Ownership: owns the handle and the cached statements; closing finalizes
// them all.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityDescription.h>
#include <KestrelPlatform/ObjectStore/ObjectValue.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

namespace kestrel::platform {

class SqliteConnection {
 public:
  /// Opens (and with `create`, creates) the file; `readOnly` opens it so
  /// that nothing can be written. nullptr and `error` set on failure.
  static std::unique_ptr<SqliteConnection> open(const std::filesystem::path& path, bool readOnly,
                                                std::optional<StoreError>& error);

  ~SqliteConnection();
  SqliteConnection(const SqliteConnection&) = delete;
  SqliteConnection& operator=(const SqliteConnection&) = delete;

  const std::filesystem::path& path() const { return path_; }

  /// Runs statements without parameters (several, separated by ';').
  std::optional<StoreError> execute(const std::string& sql);
  /// Runs one statement with parameters, stepping it to its end. A failed
  /// bind is the statement's error; nothing runs then.
  std::optional<StoreError> run(const std::string& sql, const std::vector<ObjectValue>& parameters);

  /// The prepared statement for `sql`, reset and with bindings cleared;
  /// prepared once and cached. nullptr and `error` set on failure.
  sqlite3_stmt* statement(const std::string& sql, std::optional<StoreError>& error);
  /// Binds parameters 1...n (booleans as 0/1); the error of the first one
  /// SQLite refuses (`sql` describes the statement in it).
  [[nodiscard]] std::optional<StoreError> bind(sqlite3_stmt* statement,
                                               const std::vector<ObjectValue>& parameters,
                                               const std::string& sql);
  /// Binds one parameter (1-based); SQLite's result code.
  [[nodiscard]] static int bindValue(sqlite3_stmt* statement, int index, const ObjectValue& value);
  /// Reads a column as the attribute type stores it (NULL as null).
  static ObjectValue column(sqlite3_stmt* statement, int index, AttributeType type);

  /// The error of the last failed call, described by `what` and the SQL.
  StoreError lastError(const std::string& what, const std::string& sql) const;

  /// Every line of PRAGMA integrity_check ("ok" alone when healthy).
  std::vector<std::string> integrityCheck(std::optional<StoreError>& error);

  /// Finalizes every statement and closes the handle; later calls fail.
  void close();
  bool isOpen() const { return db_ != nullptr; }

 private:
  SqliteConnection(std::filesystem::path path, sqlite3* db);

  struct StatementDeleter {
    void operator()(sqlite3_stmt* statement) const noexcept;
  };
  using StatementHandle = std::unique_ptr<sqlite3_stmt, StatementDeleter>;

  std::filesystem::path path_;
  sqlite3* db_;
  std::unordered_map<std::string, StatementHandle> statements_;
};

}  // namespace kestrel::platform
