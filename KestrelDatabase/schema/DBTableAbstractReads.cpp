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
  const auto resultSet = db.executeQuery(sql);
  if (!resultSet) return false;
  while (resultSet->next()) visit(*resultSet);
  return true;
}

void DBTableAbstract::readIDs(const std::string& sql, std::string_view column, IDWidth width,
                              const std::shared_ptr<FMDatabaseQueue>& queue,
                              const IDSetCompletion& completion) {
  if (!queue || !completion) return;
  readInDatabase(queue, [&](FMDatabase* db) {
    IDSet ids;
    if (db) {
      int index = -1;
      bool first = true;
      forEachRow(*db, sql, [&](const FMResultSet& row) {
        // Looked up after the first step, once per result set.
        if (first) {
          index = row.columnIndexForName(column);
          first = false;
        }
        ids.insert(width == IDWidth::k32Bit ? row.intForColumnIndex(index)
                                            : row.longLongIntForColumnIndex(index));
      });
    }
    completion(std::move(ids));
  });
}

}  // namespace kestrel
