#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include <utility>

namespace kestrel {

void DBTableAbstract::readInDatabase(const std::shared_ptr<FMDatabaseQueue>& queue,
                                     platform::FunctionRef<void(FMDatabase* db)> block) {
  if (!queue) return;
  queue->inDatabase(block);
}

bool DBTableAbstract::forEachRow(FMDatabase& db, const std::string& sql, RowVisitor visit) {
  return forEachRow(db, sql, {}, visit);
}

bool DBTableAbstract::forEachRow(FMDatabase& db, const std::string& sql,
                                 const std::vector<Value>& arguments, RowVisitor visit) {
  const auto resultSet = db.executeQuery(sql, arguments);
  if (!resultSet) return false;  // logged by the connection
  FMError error;
  while (resultSet->nextWithError(&error)) visit(*resultSet);
  // The loop ends at the last row, or at a step that failed (logged by the
  // result set): then the rows visited are not the whole answer.
  return error.code == 0;
}

void DBTableAbstract::readIDs(const std::string& sql, std::string_view column,
                              const std::shared_ptr<FMDatabaseQueue>& queue,
                              const IDSetCompletion& completion) {
  readIDs(sql, {}, column, queue, completion);
}

void DBTableAbstract::readIDs(const std::string& sql, const std::vector<Value>& arguments,
                              std::string_view column,
                              const std::shared_ptr<FMDatabaseQueue>& queue,
                              const IDSetCompletion& completion) {
  if (!queue || !completion) return;
  readInDatabase(queue, [&](FMDatabase* db) {
    IDSet ids;
    int index = -1;
    bool first = true;
    const bool read = db != nullptr && forEachRow(*db, sql, arguments, [&](const FMResultSet& row) {
                        // Looked up after the first step, once per result set.
                        if (first) {
                          index = row.columnIndexForName(column);
                          first = false;
                        }
                        ids.insert(row.longLongIntForColumnIndex(index));
                      });
    completion(read ? ReadResult<IDSet>(std::move(ids)) : std::nullopt);
  });
}

void DBTableAbstract::readCount(const std::string& sql,
                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                const CountCompletion& completion) {
  if (!queue || !completion) return;
  readInDatabase(queue, [&](FMDatabase* db) {
    std::optional<int> count;
    const bool read = db != nullptr && forEachRow(*db, sql, [&](const FMResultSet& row) {
                        if (!count) count = row.intForColumnIndex(0);
                      });
    completion(read ? ReadResult<int>(count.value_or(0)) : std::nullopt);
  });
}

bool DBTableAbstract::deleteSelectedRows(FMDatabase& db, const std::string& selection,
                                         const TableColumns& table, std::string_view key) {
  // The keys are read to the end before the first delete, so that no delete
  // runs under the open selection.
  std::vector<std::int64_t> keys;
  bool success = forEachRow(db, selection, [&](const FMResultSet& row) {
    keys.push_back(row.longLongIntForColumnIndex(0));
  });
  for (const std::int64_t value : keys) {
    const auto statement = checkedDelete(table, ConditionList{std::string(key), "=", value});
    success = statement && db.executeUpdate(statement->text()) && success;
  }
  return success;
}

}  // namespace kestrel
