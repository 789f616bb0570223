#include <KestrelDatabase/sql/FMResultSet.h>

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/NumberText.h>

#include <sqlite3.h>

namespace kestrel {

std::shared_ptr<FMResultSet> FMResultSet::resultSetWithStatement(
    std::shared_ptr<FMStatement> statement, FMDatabase* parentDB, bool shouldAutoClose) {
  return std::make_shared<FMResultSet>(Passkey{}, std::move(statement), parentDB, shouldAutoClose);
}

FMResultSet::FMResultSet(Passkey, std::shared_ptr<FMStatement> statement, FMDatabase* parentDB,
                         bool shouldAutoClose)
    : parentDB_(parentDB),
      handle_(statement ? statement->statement() : nullptr),
      statement_(std::move(statement)),
      query_(statement_ ? statement_->query() : std::string()),
      columnCount_(handle_ ? sqlite3_column_count(handle_) : 0),
      shouldAutoClose_(shouldAutoClose) {}

FMResultSet::~FMResultSet() {
  close();
}

void FMResultSet::close() {
  if (statement_) {
    statement_->reset();
    statement_.reset();
  }
  handle_ = nullptr;
  columnCount_ = 0;
  if (parentDB_ != nullptr) {
    FMDatabase* parent = parentDB_;
    parentDB_ = nullptr;
    parent->resultSetDidClose(this);
  }
}

bool FMResultSet::next() {
  return nextWithError(nullptr);
}

bool FMResultSet::nextWithError(FMError* error) {
  if (handle_ == nullptr) return false;
  const int rc = sqlite3_step(handle_);
  if (rc == SQLITE_ROW) [[likely]] {
    if (!stepped_) {
      // The first step may have re-prepared the statement (schema change):
      // the columns, and with them the name map, can differ.
      stepped_ = true;
      statement_->checkColumnMap();
      columnCount_ = sqlite3_column_count(handle_);
    }
    return true;
  }
  if (rc != SQLITE_DONE) {
    sqlite3* db = sqlite3_db_handle(handle_);
    const char* message = sqlite3_errmsg(db);
    if (rc == SQLITE_BUSY || rc == SQLITE_LOCKED) {
      const std::string path =
          (parentDB_ && parentDB_->databasePath()) ? *parentDB_->databasePath() : "(null)";
      platform::log("%s:%d Database busy (%s)", __func__, __LINE__, path.c_str());
      platform::log("Database busy");
    } else if (rc == SQLITE_MISUSE || rc == SQLITE_ERROR) {
      platform::log("Error calling sqlite3_step (%d: %s) rs", rc, message);
    } else {
      platform::log("Unknown error calling sqlite3_step (%d: %s) rs", rc, message);
    }
    if (error != nullptr) *error = FMError{FMError::kDomain, rc, message};
  }
  if (shouldAutoClose_) close();
  return false;
}

bool FMResultSet::hasAnotherRow() const {
  return parentDB_ != nullptr && parentDB_->lastErrorCode() == SQLITE_ROW;
}

int FMResultSet::columnCount() const {
  return columnCount_;
}

std::optional<std::string> FMResultSet::columnNameForIndex(int columnIdx) const {
  if (!inRange(columnIdx)) return std::nullopt;
  const char* name = sqlite3_column_name(handle_, columnIdx);
  if (name == nullptr) return std::nullopt;
  return std::string(name);
}

void FMResultSet::warnUnknownColumn(std::string_view columnName) {
  platform::log("Warning: I could not find the column named '%s'.",
                ColumnNameMap::lowercased(columnName).c_str());
}

// ---- Numbers: 0 for NULL and for an index out of range ----

int FMResultSet::intForColumnIndex(int columnIdx) const {
  return inRange(columnIdx) ? sqlite3_column_int(handle_, columnIdx) : 0;
}

int FMResultSet::intForColumn(std::string_view columnName) const {
  return intForColumnIndex(columnIndexForName(columnName));
}

long FMResultSet::longForColumnIndex(int columnIdx) const {
  return inRange(columnIdx) ? static_cast<long>(sqlite3_column_int64(handle_, columnIdx)) : 0;
}

long FMResultSet::longForColumn(std::string_view columnName) const {
  return longForColumnIndex(columnIndexForName(columnName));
}

long long FMResultSet::longLongIntForColumnIndex(int columnIdx) const {
  return inRange(columnIdx) ? static_cast<long long>(sqlite3_column_int64(handle_, columnIdx)) : 0;
}

long long FMResultSet::longLongIntForColumn(std::string_view columnName) const {
  return longLongIntForColumnIndex(columnIndexForName(columnName));
}

unsigned long long FMResultSet::unsignedLongLongIntForColumnIndex(int columnIdx) const {
  return static_cast<unsigned long long>(longLongIntForColumnIndex(columnIdx));
}

unsigned long long FMResultSet::unsignedLongLongIntForColumn(std::string_view columnName) const {
  return unsignedLongLongIntForColumnIndex(columnIndexForName(columnName));
}

double FMResultSet::doubleForColumnIndex(int columnIdx) const {
  return inRange(columnIdx) ? sqlite3_column_double(handle_, columnIdx) : 0.0;
}

double FMResultSet::doubleForColumn(std::string_view columnName) const {
  return doubleForColumnIndex(columnIndexForName(columnName));
}

bool FMResultSet::boolForColumnIndex(int columnIdx) const {
  return intForColumnIndex(columnIdx) != 0;
}

bool FMResultSet::boolForColumn(std::string_view columnName) const {
  return boolForColumnIndex(columnIndexForName(columnName));
}

// ---- Text, bytes and dates ----

std::optional<std::string_view> FMResultSet::textNoCopyForColumnIndex(int columnIdx) const {
  if (!inRange(columnIdx)) return std::nullopt;
  // The length is SQLite's byte count, taken after the text: a NUL inside
  // does not end it, and the database's UTF-8 is handed out unconverted, so
  // invalid UTF-8 comes back as it was stored.
  const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(handle_, columnIdx));
  if (text == nullptr) {
    // NULL, or (asked only then, off the hot path) a value SQLite could not
    // hand out as text: out of memory.
    if (sqlite3_column_type(handle_, columnIdx) != SQLITE_NULL) {
      platform::log("Error: column %d could not be read as text (%s)", columnIdx,
                    sqlite3_errmsg(sqlite3_db_handle(handle_)));
    }
    return std::nullopt;
  }
  return std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(handle_, columnIdx)));
}

std::optional<std::string_view> FMResultSet::textNoCopyForColumn(
    std::string_view columnName) const {
  return textNoCopyForColumnIndex(columnIndexForName(columnName));
}

std::optional<std::string> FMResultSet::stringForColumnIndex(int columnIdx) const {
  const auto text = textNoCopyForColumnIndex(columnIdx);
  if (!text) return std::nullopt;
  return std::string(*text);
}

std::optional<std::string> FMResultSet::stringForColumn(std::string_view columnName) const {
  return stringForColumnIndex(columnIndexForName(columnName));
}

std::optional<std::span<const std::uint8_t>> FMResultSet::dataNoCopyForColumnIndex(
    int columnIdx) const {
  if (!inRange(columnIdx) || sqlite3_column_type(handle_, columnIdx) == SQLITE_NULL) {
    return std::nullopt;
  }
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(handle_, columnIdx));
  if (bytes == nullptr) return std::nullopt;  // a zero-length blob has no bytes
  return std::span<const std::uint8_t>(
      bytes, static_cast<std::size_t>(sqlite3_column_bytes(handle_, columnIdx)));
}

std::optional<std::span<const std::uint8_t>> FMResultSet::dataNoCopyForColumn(
    std::string_view columnName) const {
  return dataNoCopyForColumnIndex(columnIndexForName(columnName));
}

std::optional<std::vector<std::uint8_t>> FMResultSet::dataForColumnIndex(int columnIdx) const {
  const auto bytes = dataNoCopyForColumnIndex(columnIdx);
  if (!bytes) return std::nullopt;
  return std::vector<std::uint8_t>(bytes->begin(), bytes->end());
}

std::optional<std::vector<std::uint8_t>> FMResultSet::dataForColumn(
    std::string_view columnName) const {
  return dataForColumnIndex(columnIndexForName(columnName));
}

std::optional<Value::Date> FMResultSet::dateForColumnIndex(int columnIdx) const {
  if (!inRange(columnIdx) || sqlite3_column_type(handle_, columnIdx) == SQLITE_NULL) {
    return std::nullopt;
  }
  if (parentDB_ != nullptr && parentDB_->hasDateFormatter()) {
    const auto text = stringForColumnIndex(columnIdx);
    return text ? parentDB_->dateFromString(*text) : std::nullopt;
  }
  // Computed as a double, then saturated: seconds beyond what the clock holds
  // (some 292 years either side of 1970) must not overflow the conversion.
  const std::chrono::duration<double, Value::Date::period> ticks =
      std::chrono::duration<double>(sqlite3_column_double(handle_, columnIdx));
  return Value::Date(Value::Date::duration(platform::saturatedInteger(ticks.count())));
}

std::optional<Value::Date> FMResultSet::dateForColumn(std::string_view columnName) const {
  return dateForColumnIndex(columnIndexForName(columnName));
}

// ---- Values by SQLite type ----

std::optional<Value> FMResultSet::objectForColumnIndex(int columnIdx) const {
  if (!inRange(columnIdx)) return std::nullopt;
  switch (sqlite3_column_type(handle_, columnIdx)) {
    case SQLITE_INTEGER:
      return Value(static_cast<std::int64_t>(sqlite3_column_int64(handle_, columnIdx)));
    case SQLITE_FLOAT:
      return Value(sqlite3_column_double(handle_, columnIdx));
    case SQLITE_BLOB: {
      auto bytes = dataForColumnIndex(columnIdx);
      return bytes ? Value(std::move(*bytes)) : Value::null();
    }
    default: {
      auto text = stringForColumnIndex(columnIdx);
      return text ? Value(std::move(*text)) : Value::null();
    }
  }
}

std::optional<Value> FMResultSet::objectForColumn(std::string_view columnName) const {
  return objectForColumnIndex(columnIndexForName(columnName));
}

bool FMResultSet::columnIndexIsNull(int columnIdx) const {
  // Out of range reads as NULL, as SQLite's own accessors do.
  return !inRange(columnIdx) || sqlite3_column_type(handle_, columnIdx) == SQLITE_NULL;
}

bool FMResultSet::columnIsNull(std::string_view columnName) const {
  return columnIndexIsNull(columnIndexForName(columnName));
}

std::map<std::string, Value> FMResultSet::resultDictionary() const {
  std::map<std::string, Value> row;
  for (int i = 0; i < columnCount_; ++i) {
    const char* name = sqlite3_column_name(handle_, i);
    if (name != nullptr) row[name] = *objectForColumnIndex(i);
  }
  return row;
}

std::optional<std::int64_t> FMResultSet::getIntegerForColumnIndex(int columnIdx) const {
  if (columnIndexIsNull(columnIdx)) return std::nullopt;
  return sqlite3_column_int64(handle_, columnIdx);
}

std::optional<std::int64_t> FMResultSet::getIntegerForColumnName(
    std::string_view columnName) const {
  return getIntegerForColumnIndex(columnIndexForName(columnName));
}

}  // namespace kestrel
