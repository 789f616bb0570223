#include <KestrelDatabase/tables/DBTableEvent.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

#include <utility>

namespace kestrel {

namespace {

std::string integerColumn(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", DBTableEvent::kTableName,
                                column);
}

// One statement of the upgrade list has always been written without its
// closing semicolon; SQLite accepts it either way.
std::string integerColumnWithoutSemicolon(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER", DBTableEvent::kTableName,
                                column);
}

std::string smallintColumn(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s SMALLINT;", DBTableEvent::kTableName,
                                column);
}

std::string textColumn(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", DBTableEvent::kTableName,
                                column);
}

std::string index(const char* name, const char* column) {
  return platform::formatString("CREATE INDEX IF NOT EXISTS %s ON %s (%s)", name,
                                DBTableEvent::kTableName, column);
}

}  // namespace

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  auto table = NewEntityTable::initWithTable(DBTableEvent::kTableName);
  const auto& columns = DBTableEvent::kColumns;
  // The event's server ID is the key, never a generated row id.
  table->addColumn(columns[0].name, NewEntityColumn::kColumnTypePrimaryKey, columns[0].dataType,
                   /*autoIncrement=*/false);
  for (std::size_t i = 1; i < columns.size(); ++i) {
    table->addColumn(columns[i].name, columns[i].dataType);
  }
  return table;
}

}  // namespace

std::string DBTableEvent::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableEvent::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// Run on every start; on an up-to-date table each statement fails and changes
// nothing. AM_FOOTBALL_CURRENT_TEAM_HALF has never been in this list, so a
// database older than the American-football columns does not gain it.
std::vector<std::string> DBTableEvent::updateTableQueries() {
  return {
      smallintColumn(kTournamentDisplayInverseHomeAwayTeams),
      textColumn(kTournamentGroundType),
      integerColumnWithoutSemicolon(kTournamentTennisPoints),
      integerColumn(kFinalRound),
      textColumn(kHomeTeamShortName),
      textColumn(kAwayTeamShortName),
      textColumn(kHomeTeamFlag),
      textColumn(kAwayTeamFlag),
      textColumn(kHomeTeamNameCode),
      textColumn(kAwayTeamNameCode),
      integerColumn(kAmFootballYardsToFirstDown),
      integerColumn(kAmFootballCurrentDown),
      integerColumn(kAmFootballCurrentYardline),
      integerColumn(kAmFootballIsGoalPossession),
      integerColumn(kAmFootballCurrentPossession),
      integerColumn(kAwayPenalties),
      integerColumn(kAwayPeriod1),
      integerColumn(kAwayPeriod2),
      integerColumn(kAwayPeriod3),
      integerColumn(kAwayPeriod4),
      integerColumn(kAwayPeriod5),
      integerColumn(kAwayPeriod6),
      integerColumn(kAwayPeriod7),
      integerColumn(kHomePenalties),
      integerColumn(kHomePeriod1),
      integerColumn(kHomePeriod2),
      integerColumn(kHomePeriod3),
      integerColumn(kHomePeriod4),
      integerColumn(kHomePeriod5),
      integerColumn(kHomePeriod6),
      integerColumn(kHomePeriod7),
      integerColumn(kCrowdsourcingEnabled),
      integerColumn(kCrowdsourcingDataDisplayEnabled),
      integerColumn(kStreamContentId),
      textColumn(kStreamContentGeoRestrictions),
      integerColumn(kBestOfSets),
      textColumn(kHomeTeamFieldTranslations),
      textColumn(kAwayTeamFieldTranslations),
      textColumn(kHomeSubteam1ColFieldTranslations),
      textColumn(kHomeSubteam2ColFieldTranslations),
      textColumn(kAwaySubteam1ColFieldTranslations),
      textColumn(kAwaySubteam2ColFieldTranslations),
      textColumn(kTournamentFieldTranslations),
      textColumn(kTournamentUniqueFieldTranslations),
      textColumn(kCategoryFieldTranslations),
      integerColumn(kVarInProgressHome),
      integerColumn(kVarInProgressAway),
  };
}

std::vector<std::string> DBTableEvent::createIndexes() {
  return {
      index(kHomeTeamIndex, kHomeTeamId),
      index(kAwayTeamIndex, kAwayTeamId),
  };
}

// ---- Writes -------------------------------------------------------------------

namespace {

using model::Event;

ConditionList whereID(std::int64_t eventID) {
  return ConditionList{DBTableEvent::kId, "=", eventID};
}

}  // namespace

void DBTableEvent::insertEntityOwnedEvent(const Event& event,
                                          const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const BoolCompletion& completion) {
  if (!queue) return;
  // "INSERT OR IGNORE" succeeds without a row when the ID exists; only an
  // inserted row counts as success.
  insertRow(tableColumns(), mapAllPropertiesToColumns(event), queue, completion);
}

void DBTableEvent::insertEvent(const Event& event, bool isMuted,
                               const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  if (!queue) return;
  ColumnValueMap columns = mapAllPropertiesToColumns(event);
  columns.emplace_back(kIsMuted, isMuted);
  insertOrReplaceRow(tableColumns(), columns, queue, completion);
}

void DBTableEvent::updateEvent(const Event& event, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  if (!queue) return;
  updateRows(tableColumns(), mapAllPropertiesToColumns(event), whereID(event.ID), queue,
             completion);
}

void DBTableEvent::muteEvent(const Event& event, const std::shared_ptr<FMDatabaseQueue>& queue,
                             const BoolCompletion& completion) {
  updateRows(tableColumns(), ColumnValueMap{{kIsMuted, true}}, whereID(event.ID), queue,
             completion);
}

void DBTableEvent::unmuteEvent(std::int64_t eventID, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  updateRows(tableColumns(), ColumnValueMap{{kIsMuted, false}}, whereID(eventID), queue,
             completion);
}

void DBTableEvent::deleteEvent(std::int64_t eventID, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  deleteRows(tableColumns(), whereID(eventID), queue, completion);
}

void DBTableEvent::deleteEvents(const IDSet& eventIDs,
                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                const BoolCompletion& completion) {
  // Nothing to delete is a failure reported at once, before the queue is
  // even looked at.
  const auto sql = deleteEventsStatement(eventIDs);
  if (!sql) {
    if (completion) completion(false);
    return;
  }
  if (!queue) return;
  deleteRows(*sql, queue, completion);
}


}  // namespace kestrel
