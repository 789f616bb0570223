#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  auto table = NewEntityTable::initWithTable(DBTableFantasyCompetition::kTableName);
  table->addColumn(DBTableFantasyCompetition::kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  return table;
}

}  // namespace

std::string DBTableFantasyCompetition::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableFantasyCompetition::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// ---- Row operations ---------------------------------------------------------

void DBTableFantasyCompetition::saveCompetition(std::int64_t id,
                                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                                const BoolCompletion& completion) {
  insertOrReplaceRow(tableColumns(), ColumnValueMap{{kId, id}}, queue, completion);
}

std::future<bool> DBTableFantasyCompetition::saveCompetition(
    std::int64_t id, const std::shared_ptr<FMDatabaseQueue>& queue) {
  return futureOf<bool>(
      [&](const BoolCompletion& completion) { saveCompetition(id, queue, completion); }, false);
}

void DBTableFantasyCompetition::deleteCompetition(std::int64_t id,
                                                  const std::shared_ptr<FMDatabaseQueue>& queue,
                                                  const BoolCompletion& completion) {
  deleteRows(tableColumns(), ConditionList{kId, "=", id}, queue, completion);
}

std::future<bool> DBTableFantasyCompetition::deleteCompetition(
    std::int64_t id, const std::shared_ptr<FMDatabaseQueue>& queue) {
  return futureOf<bool>(
      [&](const BoolCompletion& completion) { deleteCompetition(id, queue, completion); }, false);
}

void DBTableFantasyCompetition::getCompetitionIds(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                  const IDSetCompletion& completion) {
  readIDs(NewSQLBuilder::selectAllFromTable(kTableName, std::nullopt).value_or(""), kId, queue,
          completion);
}

std::future<ReadResult<IDSet>> DBTableFantasyCompetition::getCompetitionIds(
    const std::shared_ptr<FMDatabaseQueue>& queue) {
  return futureOf<ReadResult<IDSet>>(
      [&](const IDSetCompletion& completion) { getCompetitionIds(queue, completion); },
      ReadResult<IDSet>{});
}

}  // namespace kestrel
