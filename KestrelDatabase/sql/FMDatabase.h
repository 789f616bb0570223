// One connection to one SQLite database file: statement preparation and
// caching, argument binding, error reporting, transactions and savepoints,
// busy handling, custom SQL functions, and the single-value and schema
// queries (the latter in FMDatabaseAdditions.cpp).
//
// Arguments bind by position ("?") from the variadic or array forms, by name
// (":key") from the dictionary forms; each argument converts to a Value as
// Value.h describes. A date binds as text through the connection's date
// formatter when one is installed, otherwise as seconds since 1970. A text
// or blob binds with every byte (NUL and invalid UTF-8 included); a value
// SQLite cannot take (beyond its length limit, a parameter it does not have)
// makes the statement fail, logged as "Error: unable to bind (<code>,
// <message>", never a NULL in its place.
//
// Failures are returned as false, nullptr or an absent value, with log lines:
// a statement that fails to prepare logs three lines ("DB Error: <code>
// "<message>"", "DB Query: <sql>", "DB Path: <path>") when logsErrors is set
// (the default); a statement text beyond 64 KiB is logged by its first
// 64 KiB and its length. crashOnErrors turns preparation errors, "not open" and "in
// use" into a stop of the process. Nothing throws.
//
// Every open switches on double-quoted string literals for DML and DDL, so
// the SQL the builder writes (values as double-quoted words) works on SQLite
// builds that disable them by default, and sets synchronous=EXTRA (SQLite's
// default is FULL): a commit then also syncs the directory after deleting
// the rollback journal, so that a commit reported as done survives a power
// cut that follows it at once. Setting it reads the schema, so an open
// connection knows the tables the file had when it was opened.
//
// Thread-safety: none. One thread at a time; the system only uses a
// connection inside FMDatabaseQueue blocks. interrupt() may be called from
// any thread.
// Ownership: shared (std::shared_ptr, created by databaseWithPath). Owns the
// sqlite3 handle and the statement cache; knows its open result sets without
// owning them and closes them when it closes. Destruction closes.
#pragma once

#include <KestrelDatabase/sql/FMError.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/sql/FMSQLFunctionContext.h>
#include <KestrelDatabase/sql/FMStatement.h>
#include <KestrelDatabase/sql/Value.h>
#include <KestrelPlatform/DateFormatter.h>
#include <KestrelPlatform/FunctionRef.h>

#include <sqlite3.h>

#include <array>
#include <chrono>
#include <concepts>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kestrel {

/// A C++ argument the connection can bind: anything that converts to Value.
template <class T>
concept SQLArgument = std::is_convertible_v<T, Value>;

/// Modes of checkpoint(), as sqlite3_wal_checkpoint_v2 takes them.
enum class FMDBCheckpointMode {
  Passive = SQLITE_CHECKPOINT_PASSIVE,
  Full = SQLITE_CHECKPOINT_FULL,
  Restart = SQLITE_CHECKPOINT_RESTART,
  Truncate = SQLITE_CHECKPOINT_TRUNCATE,
};

class FMDatabase : public std::enable_shared_from_this<FMDatabase> {
  struct Passkey {};

 public:
  /// Named parameters: each key binds to the parameter ":" + key.
  using ParameterDictionary = std::vector<std::pair<std::string, Value>>;
  /// Called by executeStatements() for each result row (column -> text or
  /// the null marker); a non-zero return stops the run.
  using ExecuteStatementsCallback = std::function<int(const std::map<std::string, Value>& row)>;
  /// The implementation of a custom SQL function.
  using SQLFunctionBlock = std::function<void(FMSQLFunctionContext& context)>;

  /// SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE.
  static constexpr int kDefaultOpenFlags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;

  /// A closed connection for `path`: absent opens an in-memory database
  /// (":memory:"), empty a temporary one (""). Stops the process when SQLite
  /// was built without thread safety.
  static std::shared_ptr<FMDatabase> databaseWithPath(std::optional<std::string> path);
  /// The same for a file URL (its path).
  static std::shared_ptr<FMDatabase> databaseWithURL(const std::filesystem::path& url);

  FMDatabase(Passkey, std::optional<std::string> path);
  ~FMDatabase();
  FMDatabase(const FMDatabase&) = delete;
  FMDatabase& operator=(const FMDatabase&) = delete;

  // ---- Versions and the library ----

  /// "2.7.12".
  static std::string FMDBUserVersion();
  /// FMDBUserVersion() as a number, computed once: major << 12 | minor << 8
  /// | patch, each field in binary (major up to 255, minor up to 15, patch up
  /// to 255), so "2.7.12" is 0x270C and versions compare as numbers. A
  /// version that does not fit logs "FMDBVersion is invalid: Please use
  /// FMDBUserVersion instead." and gives 0.
  static std::uint32_t FMDBVersion();
  static bool isSQLiteThreadSafe();
  static std::string sqliteLibVersion();

  // ---- State ----

  const std::optional<std::string>& databasePath() const { return databasePath_; }
  /// The handle while open, else nullptr.
  sqlite3* sqliteHandle() const { return db_.get(); }
  /// "<FMDatabase: 0x...>", as log lines name the connection.
  std::string description() const;

  bool isOpen() const { return isOpen_; }
  bool isInTransaction() const { return isInTransaction_; }
  bool shouldCacheStatements() const { return shouldCacheStatements_; }
  /// Turning caching off clears the cache.
  void setShouldCacheStatements(bool value);
  bool crashOnErrors() const { return crashOnErrors_; }
  void setCrashOnErrors(bool value) { crashOnErrors_ = value; }
  bool logsErrors() const { return logsErrors_; }
  void setLogsErrors(bool value) { logsErrors_ = value; }
  bool traceExecution() const { return traceExecution_; }
  void setTraceExecution(bool value) { traceExecution_ = value; }
  /// Whether a pool has handed this connection out.
  bool checkedOut() const { return checkedOut_; }
  void setCheckedOut(bool value) { checkedOut_ = value; }

  /// Seconds to keep retrying a busy database (default 2.0); 0 or less
  /// removes the busy handler.
  double maxBusyRetryTimeInterval() const { return maxBusyRetryTimeInterval_; }
  void setMaxBusyRetryTimeInterval(double seconds);
  /// Obsolete; logs that maxBusyRetryTimeInterval replaces it.
  int busyRetryTimeout();
  void setBusyRetryTimeout(int timeout);

  // ---- Open and close ----

  /// A read-write connection writes with synchronous = EXTRA. Setting it
  /// reads the schema: when the open cannot (another process's lock, a file
  /// that cannot be read now), each statement sets it first, waiting like any
  /// statement, and fails with its error while it cannot, so that nothing is
  /// ever committed at a weaker level.
  bool open();
  bool openWithFlags(int flags, const std::optional<std::string>& vfsName = std::nullopt);
  /// Closes the result sets and the statement cache, then the handle. Always
  /// true.
  bool close();
  /// False when closed; otherwise whether a trivial query can be prepared.
  bool goodConnection();
  /// False (with a log line) while closed.
  bool databaseExists();
  /// Logs that the connection is in use.
  void warnInUse();
  void clearCachedStatements();
  bool hasOpenResultSets() const { return !openResultSets_.empty(); }
  void closeOpenResultSets();
  /// Called by a result set that closes.
  void resultSetDidClose(FMResultSet* resultSet);

  // ---- Updates: true exactly when the statement steps to SQLITE_DONE ----

  template <class... Args>
  requires(SQLArgument<Args>&&...) bool executeUpdate(std::string_view sql, Args&&... args) {
    const std::array<Value, sizeof...(Args)> values{Value(std::forward<Args>(args))...};
    return executeUpdateImpl(sql, values, nullptr, nullptr);
  }
  /// Fills `error` (when given) on failure.
  template <class... Args>
  requires(SQLArgument<Args>&&...) bool executeUpdate(std::string_view sql, FMError* error,
                                                      Args&&... args) {
    const std::array<Value, sizeof...(Args)> values{Value(std::forward<Args>(args))...};
    return executeUpdateImpl(sql, values, nullptr, error);
  }
  bool executeUpdate(std::string_view sql, const std::vector<Value>& arguments);
  bool executeUpdate(std::string_view sql, const std::vector<Value>& values, FMError* error);
  bool executeUpdate(std::string_view sql, const ParameterDictionary& arguments);
  bool executeUpdate(std::string_view sql, const std::map<std::string, Value>& arguments);
  /// printf-like: every conversion (%@ %d %s %ld %lld %u %f %c ...) becomes a
  /// bound "?" taking the next argument; "%%" is a percent sign.
  template <class... Args>
  requires(SQLArgument<Args>&&...) bool executeUpdateWithFormat(std::string_view format,
                                                                Args&&... args) {
    std::vector<Value> values{Value(std::forward<Args>(args))...};
    const std::string sql = sqlFromFormat(format, values);
    return executeUpdateImpl(sql, values, nullptr, nullptr);
  }

  // ---- Queries: a result set before its first row, or nullptr ----

  template <class... Args>
  requires(SQLArgument<Args>&&...) std::shared_ptr<FMResultSet> executeQuery(std::string_view sql,
                                                                             Args&&... args) {
    const std::array<Value, sizeof...(Args)> values{Value(std::forward<Args>(args))...};
    return executeQueryImpl(sql, values, nullptr, nullptr);
  }
  std::shared_ptr<FMResultSet> executeQuery(std::string_view sql,
                                            const std::vector<Value>& arguments);
  std::shared_ptr<FMResultSet> executeQuery(std::string_view sql, const std::vector<Value>& values,
                                            FMError* error);
  std::shared_ptr<FMResultSet> executeQuery(std::string_view sql,
                                            const ParameterDictionary& arguments);
  std::shared_ptr<FMResultSet> executeQuery(std::string_view sql,
                                            const std::map<std::string, Value>& arguments);
  template <class... Args>
  requires(SQLArgument<Args>&&...) std::shared_ptr<FMResultSet> executeQueryWithFormat(
      std::string_view format, Args&&... args) {
    std::vector<Value> values{Value(std::forward<Args>(args))...};
    const std::string sql = sqlFromFormat(format, values);
    return executeQueryImpl(sql, values, nullptr, nullptr);
  }

  /// Runs every statement of `sql` (sqlite3_exec). True on SQLITE_OK.
  bool executeStatements(std::string_view sql);
  bool executeStatements(std::string_view sql, const ExecuteStatementsCallback& block);

  /// The SQL text of a printf-like format: each conversion becomes "?" and
  /// the matching argument of `arguments` is kept for binding ("%c" binds
  /// its character as text); "%%" becomes "%".
  static std::string sqlFromFormat(std::string_view format, std::vector<Value>& arguments);

  // ---- Errors and the last statement ----

  int lastErrorCode() const;
  int lastExtendedErrorCode() const;
  std::string lastErrorMessage() const;
  /// The last code is neither SQLITE_OK, SQLITE_ROW nor SQLITE_DONE.
  bool hadError() const;
  FMError lastError() const;
  FMError errorWithMessage(std::string message) const;
  std::int64_t lastInsertRowId() const;
  int changes() const;
  /// sqlite3_interrupt; callable from any thread.
  void interrupt();

  // ---- Transactions and savepoints ----

  /// "begin exclusive transaction".
  bool beginTransaction();
  bool beginDeferredTransaction();
  bool beginImmediateTransaction();
  bool beginExclusiveTransaction();
  bool commit();
  bool rollback();

  /// The name is quoted with every single quote doubled.
  bool startSavePointWithName(std::string_view name, FMError* error = nullptr);
  bool releaseSavePointWithName(std::string_view name, FMError* error = nullptr);
  bool rollbackToSavePointWithName(std::string_view name, FMError* error = nullptr);
  /// Runs the block inside a savepoint "dbSavePoint<n>"; rolls back to it
  /// when the block sets *rollback; releases it in any case. Returns the
  /// error of a failed savepoint statement.
  std::optional<FMError> inSavePoint(platform::FunctionRef<void(bool* rollback)> block);

  enum class TransactionKind { Exclusive, Deferred, Immediate };
  /// Begins a transaction of the kind, runs the block with a rollback flag
  /// (initially false), then rolls back when it was set and commits
  /// otherwise. The block runs even when the transaction could not begin.
  /// A COMMIT that fails is rolled back, so no transaction is left open on
  /// the connection. Returns whether the transaction committed. The one
  /// sequence behind the queue's and the pool's transaction forms.
  bool runInTransaction(TransactionKind kind, platform::FunctionRef<void(bool* rollback)> block);
  /// The write path of the table layer: begins an exclusive transaction,
  /// runs `work`, and commits what it did whatever `work` reports (a
  /// statement that failed changed nothing; those that succeeded stay).
  /// True only when the transaction began, `work` returned true and the
  /// COMMIT succeeded, so true means on disk. `work` does not run when the
  /// transaction cannot begin (the file is locked, it is not a database). A
  /// COMMIT that fails (a full disk, an I/O error) is rolled back, and a
  /// transaction that SQLite ended itself on an error is not committed: no
  /// transaction is left open on the connection, whatever happened.
  bool runWriteTransaction(platform::FunctionRef<bool()> work);
  /// Whether SQLite has a transaction open on the connection now (which the
  /// isInTransaction() flag does not see when SQLite ended one on an error).
  bool hasOpenTransaction() const;
  /// Runs the block inside the savepoint `name`: rolled back to when the
  /// block sets *rollback, released in any case. The block does not run when
  /// the savepoint cannot be started. Returns the first failure.
  std::optional<FMError> runInSavePoint(std::string_view name,
                                        platform::FunctionRef<void(bool* rollback)> block);

  /// sqlite3_wal_checkpoint_v2 of `name` (all attached databases when absent).
  bool checkpoint(FMDBCheckpointMode mode, FMError* error = nullptr);
  bool checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                  FMError* error = nullptr);
  bool checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                  int* logFrameCount, int* checkpointCount, FMError* error = nullptr);

  // ---- Dates ----

  /// A formatter with `format` in GMT and locale en_US.
  static platform::DateFormatter storeableDateFormat(std::string format);
  bool hasDateFormatter() const { return dateFormat_.has_value(); }
  /// Installs (or with std::nullopt removes) the formatter dates bind with.
  void setDateFormat(std::optional<platform::DateFormatter> format);
  const platform::DateFormatter* dateFormatter() const {
    return dateFormat_ ? &*dateFormat_ : nullptr;
  }
  /// Absent without a formatter or when the text does not parse.
  std::optional<Value::Date> dateFromString(std::string_view text) const;
  std::optional<std::string> stringFromDate(Value::Date date) const;

  // ---- Custom SQL functions and keys ----

  /// Registers the SQL function `name` taking `arguments` arguments (-1: any
  /// number) implemented by `block`.
  void makeFunctionNamed(const std::string& name, int arguments, SQLFunctionBlock block);

  /// Encryption keys need an encrypting SQLite build; this one has none, so
  /// these always answer false.
  bool setKey(std::string_view key);
  bool setKey(std::span<const std::uint8_t> keyData);
  bool rekey(std::string_view key);
  bool rekey(std::span<const std::uint8_t> keyData);

  // ---- Single values of a query (FMDatabaseAdditions.cpp) ----
  // Each runs the query, reads column 0 of the first row and closes the
  // result set; without a row: 0, false or absent.

  template <class... Args>
  int intForQuery(std::string_view sql, Args&&... args) {
    return intForFirstRow(executeQuery(sql, std::forward<Args>(args)...));
  }
  template <class... Args>
  std::int64_t longForQuery(std::string_view sql, Args&&... args) {
    return longForFirstRow(executeQuery(sql, std::forward<Args>(args)...));
  }
  template <class... Args>
  bool boolForQuery(std::string_view sql, Args&&... args) {
    return boolForFirstRow(executeQuery(sql, std::forward<Args>(args)...));
  }
  template <class... Args>
  double doubleForQuery(std::string_view sql, Args&&... args) {
    return doubleForFirstRow(executeQuery(sql, std::forward<Args>(args)...));
  }
  template <class... Args>
  std::optional<std::string> stringForQuery(std::string_view sql, Args&&... args) {
    return stringForFirstRow(executeQuery(sql, std::forward<Args>(args)...));
  }
  template <class... Args>
  std::optional<std::vector<std::uint8_t>> dataForQuery(std::string_view sql, Args&&... args) {
    return dataForFirstRow(executeQuery(sql, std::forward<Args>(args)...));
  }
  template <class... Args>
  std::optional<Value::Date> dateForQuery(std::string_view sql, Args&&... args) {
    return dateForFirstRow(executeQuery(sql, std::forward<Args>(args)...));
  }

  // ---- Schema (FMDatabaseAdditions.cpp) ----

  /// Whether a table of that name exists, without regard to case.
  bool tableExists(std::string_view tableName);
  /// type, name, tbl_name, rootpage, sql of every schema object.
  std::shared_ptr<FMResultSet> getSchema();
  /// "pragma table_info('<tableName>')".
  std::shared_ptr<FMResultSet> getTableSchema(std::string_view tableName);
  /// Whether the table has the column; both names without regard to case.
  bool columnExists(std::string_view columnName, std::string_view tableName);
  /// The same with the table first (a distinct name, as both take two texts).
  bool columnExistsWithColumnName(std::string_view tableName, std::string_view columnName);
  std::uint32_t applicationID();
  void setApplicationID(std::uint32_t applicationID);
  std::uint32_t userVersion();
  void setUserVersion(std::uint32_t version);
  /// Whether `sql` prepares; fills `error` when it does not.
  bool validateSQL(std::string_view sql, FMError* error = nullptr);

 private:
  struct HandleCloser {
    void operator()(sqlite3* db) const noexcept;
  };
  struct StringHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const noexcept {
      return std::hash<std::string_view>{}(text);
    }
  };
  using StatementCache = std::unordered_map<std::string, std::vector<std::shared_ptr<FMStatement>>,
                                            StringHash, std::equal_to<>>;

  /// Commits the open transaction, or rolls it back when COMMIT fails; true
  /// only when it committed. False without an open transaction.
  bool commitOrRollBack();

  std::shared_ptr<FMResultSet> executeQueryImpl(std::string_view sql, std::span<const Value> array,
                                                const ParameterDictionary* dictionary,
                                                FMError* error);
  bool executeUpdateImpl(std::string_view sql, std::span<const Value> array,
                         const ParameterDictionary* dictionary, FMError* error);
  /// The common start of both: open, not re-entered, traced.
  bool mayExecute(std::string_view sql, FMError* error);
  /// A cached statement not in use, or a freshly prepared one (cached when
  /// caching is on); nullptr after logging a preparation failure.
  std::shared_ptr<FMStatement> obtainStatement(std::string_view sql, FMError* error);
  /// Binds the arguments; false (logged, statement given back) on failure.
  bool bindArguments(const std::shared_ptr<FMStatement>& statement, std::span<const Value> array,
                     const ParameterDictionary* dictionary, FMError* error);
  int bindObject(const Value& value, int index, sqlite3_stmt* statement);
  /// Done with a statement outside a result set: rewinds a cached one.
  void giveBack(const std::shared_ptr<FMStatement>& statement);
  /// The one place that logs a failed statement (and stops the process when
  /// `mayStop` and crashOnErrors are set).
  void reportError(int code, const char* message, std::string_view sql, bool mayStop);
  /// Sets the sync level of a read-write connection unless done already;
  /// false when SQLite refused (its error is the connection's last error).
  bool applyPendingSyncLevel();
  static int busyHandler(void* context, int count);
  std::string pathForLog() const;

  static int intForFirstRow(std::shared_ptr<FMResultSet> resultSet);
  static std::int64_t longForFirstRow(std::shared_ptr<FMResultSet> resultSet);
  static bool boolForFirstRow(std::shared_ptr<FMResultSet> resultSet);
  static double doubleForFirstRow(std::shared_ptr<FMResultSet> resultSet);
  static std::optional<std::string> stringForFirstRow(std::shared_ptr<FMResultSet> resultSet);
  static std::optional<std::vector<std::uint8_t>> dataForFirstRow(
      std::shared_ptr<FMResultSet> resultSet);
  static std::optional<Value::Date> dateForFirstRow(std::shared_ptr<FMResultSet> resultSet);

  std::unique_ptr<sqlite3, HandleCloser> db_;
  std::optional<std::string> databasePath_;
  StatementCache cachedStatements_;
  std::vector<FMResultSet*> openResultSets_;  // not owned; each leaves on close
  bool shouldCacheStatements_ = false;
  bool crashOnErrors_ = false;
  bool logsErrors_ = true;
  bool isOpen_ = false;
  bool isInTransaction_ = false;
  bool traceExecution_ = false;
  bool checkedOut_ = false;
  bool isExecutingStatement_ = false;
  double maxBusyRetryTimeInterval_ = 2.0;
  bool syncLevelPending_ = false;
  std::chrono::steady_clock::time_point startBusyRetryTime_{};
  std::optional<platform::DateFormatter> dateFormat_;
};

}  // namespace kestrel
