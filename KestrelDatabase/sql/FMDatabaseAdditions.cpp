// Single values of a query and schema queries of the connection.
#include <KestrelDatabase/sql/FMDatabase.h>

#include <KestrelDatabase/sql/ColumnNameMap.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {
namespace {

// Steps a single-value query once; closes the result set on every path.
template <class Read>
auto firstRow(std::shared_ptr<FMResultSet> resultSet, Read read)
    -> decltype(read(static_cast<FMResultSet&>(*resultSet))) {
  using Result = decltype(read(static_cast<FMResultSet&>(*resultSet)));
  if (!resultSet) return Result{};
  Result result{};
  if (resultSet->next()) result = read(*resultSet);
  resultSet->close();
  return result;
}

}  // namespace

int FMDatabase::intForFirstRow(std::shared_ptr<FMResultSet> resultSet) {
  return firstRow(std::move(resultSet), [](FMResultSet& rs) { return rs.intForColumnIndex(0); });
}

std::int64_t FMDatabase::longForFirstRow(std::shared_ptr<FMResultSet> resultSet) {
  return firstRow(std::move(resultSet),
                  [](FMResultSet& rs) { return std::int64_t{rs.longLongIntForColumnIndex(0)}; });
}

bool FMDatabase::boolForFirstRow(std::shared_ptr<FMResultSet> resultSet) {
  return firstRow(std::move(resultSet), [](FMResultSet& rs) { return rs.boolForColumnIndex(0); });
}

double FMDatabase::doubleForFirstRow(std::shared_ptr<FMResultSet> resultSet) {
  return firstRow(std::move(resultSet), [](FMResultSet& rs) { return rs.doubleForColumnIndex(0); });
}

std::optional<std::string> FMDatabase::stringForFirstRow(std::shared_ptr<FMResultSet> resultSet) {
  return firstRow(std::move(resultSet), [](FMResultSet& rs) { return rs.stringForColumnIndex(0); });
}

std::optional<std::vector<std::uint8_t>> FMDatabase::dataForFirstRow(
    std::shared_ptr<FMResultSet> resultSet) {
  return firstRow(std::move(resultSet), [](FMResultSet& rs) { return rs.dataForColumnIndex(0); });
}

std::optional<Value::Date> FMDatabase::dateForFirstRow(std::shared_ptr<FMResultSet> resultSet) {
  return firstRow(std::move(resultSet), [](FMResultSet& rs) { return rs.dateForColumnIndex(0); });
}

// ---- Schema ----

bool FMDatabase::tableExists(std::string_view tableName) {
  auto resultSet =
      executeQuery("select [sql] from sqlite_master where [type] = 'table' and lower(name) = ?",
                   ColumnNameMap::lowercased(tableName));
  if (!resultSet) return false;
  const bool found = resultSet->next();
  resultSet->close();
  return found;
}

std::shared_ptr<FMResultSet> FMDatabase::getSchema() {
  return executeQuery(
      "SELECT type, name, tbl_name, rootpage, sql FROM (SELECT * FROM sqlite_master UNION ALL "
      "SELECT * FROM sqlite_temp_master) WHERE type != 'meta' AND name NOT LIKE 'sqlite_%' ORDER "
      "BY tbl_name, type DESC, name");
}

std::shared_ptr<FMResultSet> FMDatabase::getTableSchema(std::string_view tableName) {
  return executeQuery("pragma table_info('" + std::string(tableName) + "')");
}

bool FMDatabase::columnExists(std::string_view columnName, std::string_view tableName) {
  const std::string column = ColumnNameMap::lowercased(columnName);
  auto resultSet = getTableSchema(ColumnNameMap::lowercased(tableName));
  if (!resultSet) return false;
  bool found = false;
  while (!found && resultSet->next()) {
    const auto name = resultSet->stringForColumn("name");
    found = name && ColumnNameMap::lowercased(*name) == column;
  }
  resultSet->close();
  return found;
}

bool FMDatabase::columnExistsWithColumnName(std::string_view tableName,
                                            std::string_view columnName) {
  return columnExists(columnName, tableName);
}

std::uint32_t FMDatabase::applicationID() {
  return static_cast<std::uint32_t>(intForQuery("pragma application_id"));
}

void FMDatabase::setApplicationID(std::uint32_t applicationID) {
  executeUpdate(
      platform::formatString("pragma application_id=%d", static_cast<int>(applicationID)));
}

std::uint32_t FMDatabase::userVersion() {
  return static_cast<std::uint32_t>(intForQuery("pragma user_version"));
}

void FMDatabase::setUserVersion(std::uint32_t version) {
  executeUpdate(platform::formatString("pragma user_version = %d", static_cast<int>(version)));
}

bool FMDatabase::validateSQL(std::string_view sql, FMError* error) {
  if (!databaseExists()) return false;
  sqlite3_stmt* handle = nullptr;
  const int rc =
      sqlite3_prepare_v2(db_.get(), sql.data(), static_cast<int>(sql.size()), &handle, nullptr);
  FMStatement owner(handle, std::string());  // finalises
  if (rc != SQLITE_OK) {
    if (error != nullptr) *error = lastError();
    return false;
  }
  return true;
}

}  // namespace kestrel
