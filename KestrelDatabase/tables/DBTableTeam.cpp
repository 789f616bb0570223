#include <KestrelDatabase/tables/DBTableTeam.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;
using model::Team;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTableTeam;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(T::kSortOrder, kInteger);
  table->addColumn(T::kTeamName, kText);
  table->addColumn(T::kTeamFieldTranslations, kText);
  table->addColumn(T::kSportId, kInteger);
  table->addColumn(T::kSportName, kText);
  table->addColumn(T::kSportSlug, kText);
  table->addColumn(T::kSportRows, kInteger);
  table->addColumn(T::kUserCount, kIntegerAlt);
  table->addColumn(T::kGender, kText);
  table->addColumn(T::kIsDisabled, kInteger);
  table->addColumn(T::kNotificationsEnabled, kInteger);
  table->addColumn(T::kType, kInteger);
  return table;
}

}  // namespace

std::string DBTableTeam::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableTeam::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

std::vector<std::string> DBTableTeam::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 1;", kTableName,
                             kNotificationsEnabled),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 0;", kTableName, kType),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTeamFieldTranslations),
  };
}

// ---- Row operations ---------------------------------------------------------

void DBTableTeam::deleteTeamWithID(std::int64_t teamID,
                                   const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion) {
  deleteWithOwnedEvents(tableColumns(), teamID, ownedEventsQuery(teamID), queue, completion);
}

void DBTableTeam::getTeams(const std::shared_ptr<FMDatabaseQueue>& queue,
                           const TeamSetCompletion& completion) {
  readRows(NewSQLBuilder::selectAllFromTable(kTableName, std::nullopt).value_or(""), queue,
           &mapTeamFromResultSet, completion);
}

void DBTableTeam::setNotificationsEnabled(bool enabled, const IDSet& teamIDs,
                                          const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const BoolCompletion& completion) {
  setNotificationsFlag(tableColumns(), enabled, teamIDs, queue, completion);
}

void DBTableTeam::getNotificationTeamIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                         const IDSetCompletion& completion) {
  readNotificationIDs(tableColumns(), queue, completion);
}

void DBTableTeam::getTeamIDsForSport(const std::string& slug,
                                     const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const IDSetCompletion& completion) {
  readIDsForSport(tableColumns(), slug, queue, completion);
}

std::future<bool> DBTableTeam::saveTeam(const Team& team, bool enableNotifications,
                                        const std::shared_ptr<FMDatabaseQueue>& queue) {
  return futureOf<bool>(
      [&](const BoolCompletion& done) { saveTeam(team, enableNotifications, queue, done); }, false);
}

void DBTableTeam::saveTeam(const Team& team, bool enableNotifications,
                           const std::shared_ptr<FMDatabaseQueue>& queue,
                           const BoolCompletion& completion) {
  if (!queue) return;
  // A new team goes after every team stored; an update leaves SORT_ORDER alone.
  static constexpr InsertedExpression kNextSortOrder{
      kSortOrder, "(SELECT IFNULL(MAX(SORT_ORDER), -1) + 1 FROM MyTeamTable)"};
  runChecked(checkedUpsert(tableColumns(), mapAllPropertiesToColumns(team, enableNotifications),
                           {kNextSortOrder}),
             queue, completion);
}

std::future<bool> DBTableTeam::setTeamNotificationsEnabled(
    bool enabled, const IDSet& teamIDs, const std::shared_ptr<FMDatabaseQueue>& queue) {
  return setNotificationsEnabledLines(tableColumns(), enabled, teamIDs, queue);
}

void DBTableTeam::setTeamNotificationsEnabled(bool enabled, const IDSet& teamIDs,
                                              const std::shared_ptr<FMDatabaseQueue>& queue,
                                              const BoolCompletion& completion) {
  setNotificationsEnabledLines(tableColumns(), enabled, teamIDs, queue, completion);
}

std::future<ReadResult<IDSet>> DBTableTeam::getNotificationEnabledTeamIds(
    const std::shared_ptr<FMDatabaseQueue>& queue) {
  return readNotificationEnabledIDs(tableColumns(), queue);
}

void DBTableTeam::getNotificationEnabledTeamIds(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                const IDSetCompletion& completion) {
  readNotificationEnabledIDs(tableColumns(), queue, completion);
}

// ---- Statement texts and row mapping ------------------------------------------

std::string DBTableTeam::ownedEventsQuery(std::int64_t teamID) {
  const char* events = DBTableEvent::kTableName;
  const std::string team = std::to_string(teamID);
  return platform::formatString(
      "SELECT %s.%s FROM %s WHERE NOT EXISTS (SELECT * FROM %s WHERE %s = %s) AND (%s) AND "
      "NOT EXISTS (SELECT * FROM %s WHERE %s <> %s AND (%s))",
      events, DBTableEvent::kId, events, DBTableTournament::kTableName, DBTableTournament::kId,
      DBTableEvent::kTournamentUniqueId, eventTeamColumnsEqual(team, true).c_str(), kTableName, kId,
      team.c_str(), eventTeamColumnsEqual(kId, false).c_str());
}

std::string DBTableTeam::notificationEnabledTeamIdsQuery() {
  return notificationEnabledIDsLines(tableColumns());
}

ColumnValueMap DBTableTeam::mapAllPropertiesToColumns(const Team& team, bool enableNotifications) {
  const auto& sport = team.sport;
  return {
      {kId, team.ID},
      {kTeamName, team.name},
      {kTeamFieldTranslations, convertFieldTranslationsToString(team.fieldTranslations)},
      {kSportId, sport ? Value(sport->ID) : Value::null()},
      {kSportName, sport ? Value(sport->name) : Value::null()},
      {kSportSlug, sport ? Value(sport->slug) : Value::null()},
      {kSportRows, 0},
      {kUserCount, team.userCount},
      {kGender, team.gender},
      {kIsDisabled, team.disabled},
      {kNotificationsEnabled, enableNotifications},
      {kType, team.type},
  };
}

Team DBTableTeam::mapTeamFromResultSet(const FMResultSet& row) {
  Team team;
  team.ID = row.getIntegerForColumnName(kId).value_or(0);
  team.name = row.stringForColumn(kTeamName);
  team.fieldTranslations =
      convertStringToFieldTranslations(row.stringForColumn(kTeamFieldTranslations));
  team.sport = mapSportFromResultSet(row);
  team.userCount = row.getIntegerForColumnName(kUserCount);
  team.gender = row.stringForColumn(kGender);
  team.disabled = row.boolForColumn(kIsDisabled);
  team.type = row.longLongIntForColumn(kType);
  return team;
}

}  // namespace kestrel
