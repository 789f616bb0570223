// Creation, open and close, busy handling, errors, dates, custom functions
// and keys of the connection. Statements are in FMDatabaseStatements.cpp,
// transactions in FMDatabaseTransactions.cpp, single-value and schema queries
// in FMDatabaseAdditions.cpp.
#include <KestrelDatabase/sql/FMDatabase.h>

#include <KestrelPlatform/Fatal.h>
#include <KestrelPlatform/Log.h>

#include <algorithm>
#include <charconv>
#include <random>

namespace kestrel {
namespace {

constexpr const char* kUserVersion = "2.7.12";

// Parses "major.minor[.patch]" into major << 12 | minor << 8 | patch.
std::optional<std::uint32_t> versionNumber(std::string_view text) {
  std::uint32_t fields[3] = {0, 0, 0};
  const std::uint32_t limits[3] = {255, 15, 255};
  int count = 0;
  const char* p = text.data();
  const char* end = text.data() + text.size();
  while (p < end) {
    if (count == 3) return std::nullopt;
    const auto [next, ec] = std::from_chars(p, end, fields[count]);
    if (ec != std::errc() || next == p || fields[count] > limits[count]) return std::nullopt;
    ++count;
    p = next;
    if (p < end) {
      if (*p != '.') return std::nullopt;
      ++p;
      if (p == end) return std::nullopt;
    }
  }
  if (count < 2) return std::nullopt;
  return fields[0] << 12 | fields[1] << 8 | fields[2];
}

}  // namespace

void FMDatabase::HandleCloser::operator()(sqlite3* db) const noexcept {
  sqlite3_close_v2(db);
}

// ---- Creation ----

std::shared_ptr<FMDatabase> FMDatabase::databaseWithPath(std::optional<std::string> path) {
  if (!isSQLiteThreadSafe()) {
    platform::fatal("The FMDatabase class requires SQLite to be built with thread safety");
  }
  return std::make_shared<FMDatabase>(Passkey{}, std::move(path));
}

std::shared_ptr<FMDatabase> FMDatabase::databaseWithURL(const std::filesystem::path& url) {
  return databaseWithPath(url.string());
}

FMDatabase::FMDatabase(Passkey, std::optional<std::string> path) : databasePath_(std::move(path)) {}

FMDatabase::~FMDatabase() {
  close();
}

std::string FMDatabase::FMDBUserVersion() {
  return kUserVersion;
}

std::uint32_t FMDatabase::FMDBVersion() {
  static const std::uint32_t version = [] {
    const auto number = versionNumber(kUserVersion);
    if (!number) platform::log("FMDBVersion is invalid: Please use FMDBUserVersion instead.");
    return number.value_or(0);
  }();
  return version;
}

bool FMDatabase::isSQLiteThreadSafe() {
  return sqlite3_threadsafe() != 0;
}

std::string FMDatabase::sqliteLibVersion() {
  return sqlite3_libversion();
}

std::string FMDatabase::description() const {
  return platform::formatString("<FMDatabase: %p>", static_cast<const void*>(this));
}

std::string FMDatabase::pathForLog() const {
  return databasePath_ ? *databasePath_ : std::string("(null)");
}

void FMDatabase::setShouldCacheStatements(bool value) {
  shouldCacheStatements_ = value;
  if (!value) clearCachedStatements();
}

// ---- Open and close ----

bool FMDatabase::open() {
  return openWithFlags(kDefaultOpenFlags);
}

bool FMDatabase::openWithFlags(int flags, const std::optional<std::string>& vfsName) {
  if (isOpen_) return true;
  if (db_) close();  // a stale handle

  const std::string sqlitePath = databasePath_ ? *databasePath_ : std::string(":memory:");
  sqlite3* handle = nullptr;
  const int rc =
      sqlite3_open_v2(sqlitePath.c_str(), &handle, flags, vfsName ? vfsName->c_str() : nullptr);
  std::unique_ptr<sqlite3, HandleCloser> owner(handle);
  if (rc != SQLITE_OK) {
    platform::log("error opening!: %d", rc);
    return false;
  }
  // The SQL builder writes values as double-quoted words.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DDL, 1, nullptr);
  db_ = std::move(owner);
  // Tried once without waiting; a connection that could not set it yet (a
  // lock held by another process, a file that cannot be read now) sets it
  // before its first statement.
  syncLevelPending_ = (flags & SQLITE_OPEN_READWRITE) != 0;
  applyPendingSyncLevel();
  if (maxBusyRetryTimeInterval_ > 0.0) setMaxBusyRetryTimeInterval(maxBusyRetryTimeInterval_);
  isOpen_ = true;
  return true;
}

bool FMDatabase::applyPendingSyncLevel() {
  if (!syncLevelPending_) return true;
  // A commit also syncs the directory once the rollback journal is deleted:
  // until then a power cut could bring the journal back, and the next open
  // would roll the reported commit back. Setting the level reads the schema.
  if (sqlite3_exec(db_.get(), "PRAGMA synchronous = EXTRA", nullptr, nullptr, nullptr) !=
      SQLITE_OK) {
    return false;
  }
  syncLevelPending_ = false;
  return true;
}

bool FMDatabase::close() {
  clearCachedStatements();
  closeOpenResultSets();
  if (!db_) {
    isOpen_ = false;
    return true;
  }
  sqlite3* handle = db_.release();
  bool retry = false;
  bool triedFinalizing = false;
  do {
    retry = false;
    const int rc = sqlite3_close(handle);
    if (rc == SQLITE_BUSY || rc == SQLITE_LOCKED) {
      if (!triedFinalizing) {
        triedFinalizing = true;
        while (sqlite3_stmt* leaked = sqlite3_next_stmt(handle, nullptr)) {
          platform::log("Closing leaked statement");
          sqlite3_finalize(leaked);
        }
        retry = true;
      } else {
        // Still busy (a backup or blob handle): leave it to SQLite to close
        // once the last user is gone.
        sqlite3_close_v2(handle);
      }
    } else if (rc != SQLITE_OK) {
      platform::log("error closing!: %d", rc);
    }
  } while (retry);
  isOpen_ = false;
  isInTransaction_ = false;
  return true;
}

bool FMDatabase::goodConnection() {
  if (!isOpen_) return false;
  auto resultSet = executeQuery("select name from sqlite_master where type='table'");
  if (!resultSet) return false;
  resultSet->close();
  return true;
}

bool FMDatabase::databaseExists() {
  if (isOpen_) return true;
  platform::log("The FMDatabase %s is not open.", description().c_str());
  if (crashOnErrors_) {
    platform::fatal("The FMDatabase %s is not open.", description().c_str());
  }
  return false;
}

void FMDatabase::warnInUse() {
  platform::log("The FMDatabase %s is currently in use.", description().c_str());
  if (crashOnErrors_) {
    platform::fatal("The FMDatabase %s is currently in use.", description().c_str());
  }
}

void FMDatabase::clearCachedStatements() {
  // A statement an open result set still runs stays alive with it and is
  // finalised when that result set closes; the others are finalised here.
  cachedStatements_.clear();
}

void FMDatabase::closeOpenResultSets() {
  // Each close() removes the result set from the list.
  while (!openResultSets_.empty()) openResultSets_.back()->close();
}

void FMDatabase::resultSetDidClose(FMResultSet* resultSet) {
  const auto it = std::find(openResultSets_.rbegin(), openResultSets_.rend(), resultSet);
  if (it != openResultSets_.rend()) openResultSets_.erase(std::next(it).base());
}

// ---- Busy handling ----

int FMDatabase::busyHandler(void* context, int count) {
  auto* self = static_cast<FMDatabase*>(context);
  const auto now = std::chrono::steady_clock::now();
  if (count == 0) {
    self->startBusyRetryTime_ = now;
    return 1;
  }
  const std::chrono::duration<double> elapsed = now - self->startBusyRetryTime_;
  if (elapsed.count() >= self->maxBusyRetryTimeInterval_) return 0;

  thread_local std::minstd_rand random{std::random_device{}()};
  const int requested = std::uniform_int_distribution<int>(50, 99)(random);
  const int actual = sqlite3_sleep(requested);
  if (actual != requested) {
    platform::log(
        "WARNING: Requested sleep of %i milliseconds, but SQLite returned %i. Maybe SQLite "
        "wasn't built with HAVE_USLEEP=1?",
        requested, actual);
  }
  return 1;
}

void FMDatabase::setMaxBusyRetryTimeInterval(double seconds) {
  maxBusyRetryTimeInterval_ = seconds;
  if (!db_) return;
  if (seconds > 0.0) {
    sqlite3_busy_handler(db_.get(), &FMDatabase::busyHandler, this);
  } else {
    sqlite3_busy_handler(db_.get(), nullptr, nullptr);
  }
}

int FMDatabase::busyRetryTimeout() {
  platform::log("FMDB: busyRetryTimeout no longer works, please use maxBusyRetryTimeInterval");
  return -1;
}

void FMDatabase::setBusyRetryTimeout(int /*timeout*/) {
  platform::log("FMDB: setBusyRetryTimeout does nothing, please use setMaxBusyRetryTimeInterval:");
}

// ---- Errors ----

int FMDatabase::lastErrorCode() const {
  return sqlite3_errcode(db_.get());
}

int FMDatabase::lastExtendedErrorCode() const {
  return sqlite3_extended_errcode(db_.get());
}

std::string FMDatabase::lastErrorMessage() const {
  return sqlite3_errmsg(db_.get());
}

bool FMDatabase::hadError() const {
  const int code = lastErrorCode();
  return code != SQLITE_OK && code != SQLITE_ROW && code != SQLITE_DONE;
}

FMError FMDatabase::lastError() const {
  return errorWithMessage(lastErrorMessage());
}

FMError FMDatabase::errorWithMessage(std::string message) const {
  return FMError{FMError::kDomain, lastErrorCode(), std::move(message)};
}

std::int64_t FMDatabase::lastInsertRowId() const {
  return db_ ? sqlite3_last_insert_rowid(db_.get()) : 0;
}

int FMDatabase::changes() const {
  return db_ ? sqlite3_changes(db_.get()) : 0;
}

void FMDatabase::interrupt() {
  if (db_) sqlite3_interrupt(db_.get());
}

void FMDatabase::reportError(int code, const char* message, std::string_view sql, bool mayStop) {
  if (logsErrors_) {
    platform::log("DB Error: %d \"%s\"", code, message);
    // A huge statement (a long text written into it) is logged by its start.
    constexpr std::size_t kLongestLoggedQuery = 64 * 1024;
    if (sql.size() <= kLongestLoggedQuery) {
      platform::log("DB Query: %.*s", static_cast<int>(sql.size()), sql.data());
    } else {
      platform::log("DB Query: %.*s... (%zu bytes)", static_cast<int>(kLongestLoggedQuery),
                    sql.data(), sql.size());
    }
    platform::log("DB Path: %s", pathForLog().c_str());
  }
  if (mayStop && crashOnErrors_) {
    platform::fatal("DB Error: %d \"%s\"", code, message);
  }
}

// ---- Dates ----

platform::DateFormatter FMDatabase::storeableDateFormat(std::string format) {
  return platform::DateFormatter(std::move(format));
}

void FMDatabase::setDateFormat(std::optional<platform::DateFormatter> format) {
  dateFormat_ = std::move(format);
}

std::optional<Value::Date> FMDatabase::dateFromString(std::string_view text) const {
  return dateFormat_ ? dateFormat_->dateFromString(text) : std::nullopt;
}

std::optional<std::string> FMDatabase::stringFromDate(Value::Date date) const {
  if (!dateFormat_) return std::nullopt;
  return dateFormat_->stringFromDate(date);
}

// ---- Custom functions ----

namespace {

void callFunctionBlock(sqlite3_context* context, int argc, sqlite3_value** argv) {
  auto* block = static_cast<FMDatabase::SQLFunctionBlock*>(sqlite3_user_data(context));
  FMSQLFunctionContext functionContext(context, argc, argv);
  if (block != nullptr && *block) {
    (*block)(functionContext);
  } else {
    functionContext.resultNull();
  }
}

void destroyFunctionBlock(void* block) {
  delete static_cast<FMDatabase::SQLFunctionBlock*>(block);
}

}  // namespace

void FMDatabase::makeFunctionNamed(const std::string& name, int arguments, SQLFunctionBlock block) {
  if (!databaseExists()) return;
  // SQLite owns the copy from here and deletes it through destroyFunctionBlock,
  // also when registration fails.
  auto* owned = new SQLFunctionBlock(std::move(block));
  sqlite3_create_function_v2(db_.get(), name.c_str(), arguments, SQLITE_UTF8, owned,
                             &callFunctionBlock, nullptr, nullptr, &destroyFunctionBlock);
}

// ---- Keys ----

bool FMDatabase::setKey(std::string_view /*key*/) {
  return false;
}
bool FMDatabase::setKey(std::span<const std::uint8_t> /*keyData*/) {
  return false;
}
bool FMDatabase::rekey(std::string_view /*key*/) {
  return false;
}
bool FMDatabase::rekey(std::span<const std::uint8_t> /*keyData*/) {
  return false;
}

}  // namespace kestrel
