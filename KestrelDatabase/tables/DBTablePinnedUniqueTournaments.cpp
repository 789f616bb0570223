#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;
using model::UniqueTournament;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTablePinnedUniqueTournaments;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kId, kPrimaryKey, kInteger, /*autoIncrement=*/true);
  table->addColumn(T::kName, kText);
  table->addColumn(T::kCategoryId, kInteger);
  table->addColumn(T::kCategoryName, kText);
  table->addColumn(T::kCategoryFlag, kText);
  table->addColumn(T::kCategoryPriority, kInteger);
  table->addColumn(T::kSportId, kInteger);
  table->addColumn(T::kSportSlug, kText);
  table->addColumn(T::kCreatedAtTimestamp, kInteger);
  return table;
}

}  // namespace

std::string DBTablePinnedUniqueTournaments::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

std::vector<std::string> DBTablePinnedUniqueTournaments::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 0;", kTableName,
                             kCreatedAtTimestamp),
  };
}

std::vector<std::string> DBTablePinnedUniqueTournaments::createIndexes() {
  return {
      platform::formatString("CREATE INDEX IF NOT EXISTS %s ON %s (%s)", kIndexName, kTableName,
                             kId),
  };
}

const TableColumns& DBTablePinnedUniqueTournaments::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// ---- Writes -------------------------------------------------------------------

void DBTablePinnedUniqueTournaments::saveUniqueTournament(
    const UniqueTournament& uniqueTournament, const std::shared_ptr<FMDatabaseQueue>& queue,
    const BoolCompletion& completion) {
  if (!queue) return;
  const auto& category = uniqueTournament.category;
  const auto sport = category ? category->sport : std::nullopt;
  const ColumnValueMap columns{
      {kId, uniqueTournament.ID},
      {kName, uniqueTournament.name},
      {kCategoryId, category ? Value(category->ID) : Value::null()},
      {kCategoryName, category ? Value(category->name) : Value::null()},
      {kCategoryFlag, category ? Value(category->flag) : Value::null()},
      {kCategoryPriority, category ? category->priority : 0},
      {kSportId, sport ? Value(sport->ID) : Value::null()},
      {kSportSlug, sport ? Value(sport->slug) : Value::null()},
      {kCreatedAtTimestamp, platform::Clock::now()},
  };
  insertOrReplaceRow(tableColumns(), columns, queue, completion);
}

void DBTablePinnedUniqueTournaments::deleteUniqueTournamentWithID(
    std::int64_t uniqueTournamentID, const std::shared_ptr<FMDatabaseQueue>& queue,
    const BoolCompletion& completion) {
  deleteRows(tableColumns(), ConditionList{kId, "=", uniqueTournamentID}, queue, completion);
}

void DBTablePinnedUniqueTournaments::deleteAllUniqueTournaments(
    const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion) {
  deleteRows(platform::formatString("DELETE FROM %s;", kTableName), queue, completion);
}

// ---- Reads --------------------------------------------------------------------

void DBTablePinnedUniqueTournaments::getAllUniqueTournamentIDs(
    const std::shared_ptr<FMDatabaseQueue>& queue, const IDSetCompletion& completion) {
  readIDs(platform::formatString("SELECT %s FROM %s", kId, kTableName), kId, queue, completion);
}

void DBTablePinnedUniqueTournaments::getAllUniqueTournaments(
    const std::shared_ptr<FMDatabaseQueue>& queue,
    const UniqueTournamentListCompletion& completion) {
  readRows(
      platform::formatString("SELECT * FROM %s ORDER BY %s ASC", kTableName, kCreatedAtTimestamp),
      queue, &mapUniqueTournamentFromResultSet, completion);
}

UniqueTournament DBTablePinnedUniqueTournaments::mapUniqueTournamentFromResultSet(
    const FMResultSet& resultSet) {
  model::Sport sport;
  sport.ID = resultSet.getIntegerForColumnName(kSportId).value_or(0);
  sport.slug = resultSet.stringForColumn(kSportSlug);

  model::CategoryModel category;
  category.ID = resultSet.getIntegerForColumnName(kCategoryId).value_or(0);
  category.name = resultSet.stringForColumn(kCategoryName);
  category.flag = resultSet.stringForColumn(kCategoryFlag);
  category.priority = resultSet.getIntegerForColumnName(kCategoryPriority).value_or(0);
  category.sport = std::move(sport);

  UniqueTournament tournament;
  tournament.ID = resultSet.getIntegerForColumnName(kId).value_or(0);
  tournament.name = resultSet.stringForColumn(kName);
  tournament.category = std::move(category);
  return tournament;
}

}  // namespace kestrel
