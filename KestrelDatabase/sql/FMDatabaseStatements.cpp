// Preparing, caching, binding and running statements.
#include <KestrelDatabase/sql/FMDatabase.h>

#include <KestrelPlatform/Log.h>

#include <cstring>
#include <limits>

namespace kestrel {
namespace {

// Sets a flag for the lifetime of a statement run (re-entry detection).
class ExecutingScope {
 public:
  explicit ExecutingScope(bool& flag) : flag_(flag) { flag_ = true; }
  ~ExecutingScope() { flag_ = false; }
  ExecutingScope(const ExecutingScope&) = delete;
  ExecutingScope& operator=(const ExecutingScope&) = delete;

 private:
  bool& flag_;
};

constexpr const char* kBindCountMessage =
    "Error: the bind count is not correct for the # of variables (executeQuery)";

}  // namespace

// ---- Argument forms ----

bool FMDatabase::executeUpdate(std::string_view sql, const std::vector<Value>& arguments) {
  return executeUpdateImpl(sql, arguments, nullptr, nullptr);
}

bool FMDatabase::executeUpdate(std::string_view sql, const std::vector<Value>& values,
                               FMError* error) {
  return executeUpdateImpl(sql, values, nullptr, error);
}

bool FMDatabase::executeUpdate(std::string_view sql, const ParameterDictionary& arguments) {
  return executeUpdateImpl(sql, {}, &arguments, nullptr);
}

bool FMDatabase::executeUpdate(std::string_view sql,
                               const std::map<std::string, Value>& arguments) {
  const ParameterDictionary dictionary(arguments.begin(), arguments.end());
  return executeUpdateImpl(sql, {}, &dictionary, nullptr);
}

std::shared_ptr<FMResultSet> FMDatabase::executeQuery(std::string_view sql,
                                                      const std::vector<Value>& arguments) {
  return executeQueryImpl(sql, arguments, nullptr, nullptr);
}

std::shared_ptr<FMResultSet> FMDatabase::executeQuery(std::string_view sql,
                                                      const std::vector<Value>& values,
                                                      FMError* error) {
  return executeQueryImpl(sql, values, nullptr, error);
}

std::shared_ptr<FMResultSet> FMDatabase::executeQuery(std::string_view sql,
                                                      const ParameterDictionary& arguments) {
  return executeQueryImpl(sql, {}, &arguments, nullptr);
}

std::shared_ptr<FMResultSet> FMDatabase::executeQuery(
    std::string_view sql, const std::map<std::string, Value>& arguments) {
  const ParameterDictionary dictionary(arguments.begin(), arguments.end());
  return executeQueryImpl(sql, {}, &dictionary, nullptr);
}

std::string FMDatabase::sqlFromFormat(std::string_view format, std::vector<Value>& arguments) {
  std::string sql;
  sql.reserve(format.size());
  std::vector<Value> bound;
  std::size_t next = 0;
  for (std::size_t i = 0; i < format.size(); ++i) {
    const char c = format[i];
    if (c != '%' || i + 1 == format.size()) {
      sql.push_back(c);
      continue;
    }
    if (format[i + 1] == '%') {
      sql.push_back('%');
      ++i;
      continue;
    }
    // Skip length modifiers (h hh l ll q z t j L), then take the conversion.
    std::size_t j = i + 1;
    while (j < format.size() && std::strchr("hlqztjL", format[j]) != nullptr) ++j;
    if (j == format.size() || std::strchr("@dDiuUoxXfFeEgGaAcCsSp", format[j]) == nullptr) {
      sql.append(format.substr(i, j - i));  // not a conversion: keep the text
      i = j - 1;
      continue;
    }
    sql.push_back('?');
    if (next < arguments.size()) {
      Value value = std::move(arguments[next++]);
      if (format[j] == 'c' || format[j] == 'C') {
        // A character binds as the one-character text.
        if (const std::int64_t* code = value.integer()) {
          value = Value(std::string(1, static_cast<char>(*code)));
        }
      }
      bound.push_back(std::move(value));
    }
    i = j;
  }
  arguments = std::move(bound);
  return sql;
}

// ---- Running ----

bool FMDatabase::mayExecute(std::string_view sql, FMError* error) {
  if (!databaseExists()) return false;
  if (isExecutingStatement_) {
    warnInUse();
    return false;
  }
  if (!applyPendingSyncLevel()) {
    const char* message = sqlite3_errmsg(db_.get());
    if (error != nullptr) *error = FMError{FMError::kDomain, lastErrorCode(), message};
    reportError(lastErrorCode(), message, sql, false);
    return false;
  }
  if (traceExecution_) {
    platform::log("%s executeQuery: %.*s", description().c_str(), static_cast<int>(sql.size()),
                  sql.data());
  }
  return true;
}

std::shared_ptr<FMResultSet> FMDatabase::executeQueryImpl(std::string_view sql,
                                                          std::span<const Value> array,
                                                          const ParameterDictionary* dictionary,
                                                          FMError* error) {
  if (!mayExecute(sql, error)) return nullptr;
  ExecutingScope executing(isExecutingStatement_);

  std::shared_ptr<FMStatement> statement = obtainStatement(sql, error);
  if (!statement) return nullptr;
  if (!bindArguments(statement, array, dictionary, error)) return nullptr;

  statement->setUseCount(statement->useCount() + 1);
  statement->setInUse(true);
  auto resultSet = FMResultSet::resultSetWithStatement(std::move(statement), this, true);
  openResultSets_.push_back(resultSet.get());
  return resultSet;
}

bool FMDatabase::executeUpdateImpl(std::string_view sql, std::span<const Value> array,
                                   const ParameterDictionary* dictionary, FMError* error) {
  if (!mayExecute(sql, error)) return false;
  ExecutingScope executing(isExecutingStatement_);

  std::shared_ptr<FMStatement> statement = obtainStatement(sql, error);
  if (!statement) return false;
  if (!bindArguments(statement, array, dictionary, error)) return false;

  statement->setUseCount(statement->useCount() + 1);
  const int rc = sqlite3_step(statement->statement());
  const bool done = rc == SQLITE_DONE;
  if (!done) {
    // A statement that returns rows is a failure here too.
    const char* message = rc == SQLITE_ROW ? "another row available" : sqlite3_errmsg(db_.get());
    if (error != nullptr) *error = FMError{FMError::kDomain, rc, message};
    reportError(rc, message, sql, false);
  }
  giveBack(statement);
  return done;
}

std::shared_ptr<FMStatement> FMDatabase::obtainStatement(std::string_view sql, FMError* error) {
  if (shouldCacheStatements_) {
    if (const auto it = cachedStatements_.find(sql); it != cachedStatements_.end()) {
      for (const auto& cached : it->second) {
        if (!cached->inUse() && cached->statement() != nullptr) {
          cached->reset();
          return cached;
        }
      }
    }
  }

  // SQLite takes the text's length as an int: a longer text would be read
  // up to some NUL instead. Nothing that long is a statement SQLite takes.
  if (sql.size() > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
    const char* message = sqlite3_errstr(SQLITE_TOOBIG);
    if (error != nullptr) *error = FMError{FMError::kDomain, SQLITE_TOOBIG, message};
    reportError(SQLITE_TOOBIG, message, sql, true);
    return nullptr;
  }
  sqlite3_stmt* handle = nullptr;
  const int rc =
      sqlite3_prepare_v2(db_.get(), sql.data(), static_cast<int>(sql.size()), &handle, nullptr);
  auto statement = std::make_shared<FMStatement>(handle, std::string(sql));
  if (rc != SQLITE_OK || handle == nullptr) {
    const int code = rc != SQLITE_OK ? rc : SQLITE_MISUSE;
    const char* message = rc != SQLITE_OK ? sqlite3_errmsg(db_.get()) : "not an SQL statement";
    if (error != nullptr) *error = FMError{FMError::kDomain, code, message};
    reportError(code, message, sql, true);
    return nullptr;  // finalises the handle
  }
  if (shouldCacheStatements_) {
    auto it = cachedStatements_.find(sql);
    if (it == cachedStatements_.end()) it = cachedStatements_.try_emplace(std::string(sql)).first;
    it->second.push_back(statement);
  }
  return statement;
}

void FMDatabase::giveBack(const std::shared_ptr<FMStatement>& statement) {
  // A cached statement stays prepared for its next use; an uncached one is
  // finalised when the last reference goes.
  statement->reset();
}

namespace {

// Every byte of the text, NUL and invalid UTF-8 included; a text beyond
// SQLite's length limit fails with SQLITE_TOOBIG (never bound as NULL).
int bindText(sqlite3_stmt* statement, int index, std::string_view text) {
  return sqlite3_bind_text64(statement, index, text.data(),
                             static_cast<sqlite3_uint64>(text.size()), SQLITE_TRANSIENT,
                             SQLITE_UTF8);
}

}  // namespace

int FMDatabase::bindObject(const Value& value, int index, sqlite3_stmt* statement) {
  switch (value.type()) {
    case Value::Type::Null:
      return sqlite3_bind_null(statement, index);
    case Value::Type::Integer:
      return sqlite3_bind_int64(statement, index, *value.integer());
    case Value::Type::Double:
      return sqlite3_bind_double(statement, index, *value.real());
    case Value::Type::Text:
      return bindText(statement, index, *value.text());
    case Value::Type::Blob: {
      // SQLite binds NULL for a null pointer; an empty blob must stay a blob.
      // The 64-bit form takes any length: beyond SQLite's limit it fails with
      // SQLITE_TOOBIG instead of binding a cut or negative length.
      static const std::uint8_t kEmpty = 0;
      const Value::Blob& blob = *value.blob();
      return sqlite3_bind_blob64(statement, index, blob.empty() ? &kEmpty : blob.data(),
                                 static_cast<sqlite3_uint64>(blob.size()), SQLITE_TRANSIENT);
    }
    case Value::Type::Date: {
      if (dateFormat_) {
        return bindText(statement, index, dateFormat_->stringFromDate(*value.date()));
      }
      return sqlite3_bind_double(statement, index, value.toDouble());
    }
  }
  return SQLITE_MISUSE;
}

bool FMDatabase::bindArguments(const std::shared_ptr<FMStatement>& statement,
                               std::span<const Value> array, const ParameterDictionary* dictionary,
                               FMError* error) {
  sqlite3_stmt* handle = statement->statement();
  const int parameterCount = sqlite3_bind_parameter_count(handle);
  int bound = 0;
  int rc = SQLITE_OK;

  if (dictionary != nullptr) {
    std::string parameterName;
    for (const auto& [key, value] : *dictionary) {
      // Built by push_back: assign(":") trips a false -Wrestrict in GCC 12 -O2.
      parameterName.clear();
      parameterName.push_back(':');
      parameterName.append(key);
      const int index = sqlite3_bind_parameter_index(handle, parameterName.c_str());
      if (index <= 0) {
        platform::log("Could not find index for %s", key.c_str());
        continue;
      }
      rc = bindObject(value, index, handle);
      if (rc != SQLITE_OK) break;
      ++bound;
    }
  } else {
    // Arguments beyond the parameter count are not used.
    while (bound < parameterCount && static_cast<std::size_t>(bound) < array.size()) {
      rc = bindObject(array[static_cast<std::size_t>(bound)], bound + 1, handle);
      if (rc != SQLITE_OK) break;
      ++bound;
    }
  }

  if (rc != SQLITE_OK) {
    const char* message = sqlite3_errmsg(db_.get());
    platform::log("Error: unable to bind (%d, %s", rc, message);
    if (error != nullptr) *error = FMError{FMError::kDomain, rc, message};
    giveBack(statement);
    return false;
  }
  if (bound != parameterCount) {
    if (logsErrors_) platform::log("%s", kBindCountMessage);
    if (error != nullptr)
      *error = errorWithMessage("The bind count is not correct for the # of variables");
    giveBack(statement);
    return false;
  }
  return true;
}

bool FMDatabase::executeStatements(std::string_view sql) {
  return executeStatements(sql, ExecuteStatementsCallback());
}

namespace {

int executeStatementsRow(void* context, int columns, char** values, char** names) {
  const auto& block = *static_cast<const FMDatabase::ExecuteStatementsCallback*>(context);
  std::map<std::string, Value> row;
  for (int i = 0; i < columns; ++i) {
    row[names[i]] = values[i] != nullptr ? Value(values[i]) : Value::null();
  }
  return block(row);
}

}  // namespace

bool FMDatabase::executeStatements(std::string_view sql, const ExecuteStatementsCallback& block) {
  if (!databaseExists()) return false;
  if (!applyPendingSyncLevel()) {
    reportError(lastErrorCode(), sqlite3_errmsg(db_.get()), sql, false);
    return false;
  }
  const std::string text(sql);
  char* errorMessage = nullptr;
  const int rc = sqlite3_exec(db_.get(), text.c_str(), block ? &executeStatementsRow : nullptr,
                              const_cast<ExecuteStatementsCallback*>(&block), &errorMessage);
  if (errorMessage != nullptr && logsErrors_) {
    platform::log("Error inserting batch: %s", errorMessage);
  }
  sqlite3_free(errorMessage);
  return rc == SQLITE_OK;
}

}  // namespace kestrel
