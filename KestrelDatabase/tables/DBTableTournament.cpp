#include <KestrelDatabase/tables/DBTableTournament.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;
using model::Tournament;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTableTournament;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(T::kTournamentUniqueName, kText);
  table->addColumn(T::kTournamentId, kInteger);
  table->addColumn(T::kTournamentName, kText);
  table->addColumn(T::kTournamentFieldTranslations, kText);
  table->addColumn(T::kTournamentUniqueFieldTranslations, kText);
  table->addColumn(T::kSportSlug, kText);
  table->addColumn(T::kSportId, kInteger);
  table->addColumn(T::kSportName, kText);
  table->addColumn(T::kCategoryId, kInteger);
  table->addColumn(T::kCategoryName, kText);
  table->addColumn(T::kTournamentCategoryFieldTranslations, kText);
  table->addColumn(T::kCategoryFlag, kText);
  table->addColumn(T::kUserCount, kIntegerAlt);
  table->addColumn(T::kNotificationsEnabled, kInteger);
  return table;
}

}  // namespace

std::string DBTableTournament::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableTournament::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

std::vector<std::string> DBTableTournament::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 1;", kTableName,
                             kNotificationsEnabled),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTournamentFieldTranslations),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTournamentUniqueFieldTranslations),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTournamentCategoryFieldTranslations),
  };
}

// ---- Row operations ---------------------------------------------------------

void DBTableTournament::deleteTournamentWithID(std::int64_t uniqueTournamentID,
                                               const std::shared_ptr<FMDatabaseQueue>& queue,
                                               const BoolCompletion& completion) {
  deleteWithOwnedEvents(tableColumns(), uniqueTournamentID, ownedEventsQuery(uniqueTournamentID),
                        queue, completion);
}

void DBTableTournament::getTournaments(const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const TournamentSetCompletion& completion) {
  readRows(NewSQLBuilder::selectAllFromTable(kTableName, std::nullopt).value_or(""), queue,
           &mapTournamentFromResultSet, completion);
}

void DBTableTournament::setNotificationsEnabled(bool enabled, const IDSet& uniqueTournamentIDs,
                                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                                const BoolCompletion& completion) {
  setNotificationsFlag(tableColumns(), enabled, uniqueTournamentIDs, queue, completion);
}

void DBTableTournament::getNotificationTournamentIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                     const IDSetCompletion& completion) {
  readNotificationIDs(tableColumns(), queue, completion);
}

void DBTableTournament::getTournamentIDsForSport(const std::string& slug,
                                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                                 const IDSetCompletion& completion) {
  readIDsForSport(tableColumns(), slug, queue, completion);
}

std::future<bool> DBTableTournament::saveTournament(const Tournament& tournament,
                                                    bool enableNotifications,
                                                    const std::shared_ptr<FMDatabaseQueue>& queue) {
  return futureOf<bool>(
      [&](const BoolCompletion& done) {
        saveTournament(tournament, enableNotifications, queue, done);
      },
      false);
}

void DBTableTournament::saveTournament(const Tournament& tournament, bool enableNotifications,
                                       const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const BoolCompletion& completion) {
  if (!queue) return;
  if (!tournament.uniqueId) {
    platform::log("ERROR: tournament %lld not saved to %s: it has no unique tournament ID",
                  static_cast<long long>(tournament.ID), kTableName);
    if (completion) completion(false);
    return;
  }
  runChecked(
      checkedUpsert(tableColumns(), mapAllPropertiesToColumns(tournament, enableNotifications)),
      queue, completion);
}

std::future<bool> DBTableTournament::setTournamentNotificationsEnabled(
    bool enabled, const IDSet& uniqueTournamentIDs, const std::shared_ptr<FMDatabaseQueue>& queue) {
  return setNotificationsEnabledLines(tableColumns(), enabled, uniqueTournamentIDs, queue);
}

void DBTableTournament::setTournamentNotificationsEnabled(
    bool enabled, const IDSet& uniqueTournamentIDs, const std::shared_ptr<FMDatabaseQueue>& queue,
    const BoolCompletion& completion) {
  setNotificationsEnabledLines(tableColumns(), enabled, uniqueTournamentIDs, queue, completion);
}

std::future<ReadResult<IDSet>> DBTableTournament::getNotificationEnabledTournamentUniqueIds(
    const std::shared_ptr<FMDatabaseQueue>& queue) {
  return readNotificationEnabledIDs(tableColumns(), queue);
}

void DBTableTournament::getNotificationEnabledTournamentUniqueIds(
    const std::shared_ptr<FMDatabaseQueue>& queue, const IDSetCompletion& completion) {
  readNotificationEnabledIDs(tableColumns(), queue, completion);
}

// ---- Statement texts and row mapping ------------------------------------------

std::string DBTableTournament::ownedEventsQuery(std::int64_t uniqueTournamentID) {
  const char* events = DBTableEvent::kTableName;
  return platform::formatString(
      "SELECT %s.%s FROM %s WHERE (%s = %lld AND NOT EXISTS (SELECT * FROM %s WHERE %s))", events,
      DBTableEvent::kId, events, DBTableEvent::kTournamentUniqueId,
      static_cast<long long>(uniqueTournamentID), DBTableTeam::kTableName,
      eventTeamColumnsEqual(DBTableTeam::kId, false).c_str());
}

std::string DBTableTournament::notificationEnabledTournamentUniqueIdsQuery() {
  return notificationEnabledIDsLines(tableColumns());
}

ColumnValueMap DBTableTournament::mapAllPropertiesToColumns(const Tournament& tournament,
                                                            bool enableNotifications) {
  const auto& category = tournament.category;
  const auto sport = category ? category->sport : std::nullopt;
  const auto ofCategory = [&](auto read) { return category ? Value(read(*category)) : Value(); };
  const auto ofSport = [&](auto read) { return sport ? Value(read(*sport)) : Value(); };
  return {
      {kId, tournament.uniqueId},
      {kTournamentUniqueName, tournament.uniqueName},
      {kTournamentId, tournament.ID},
      {kTournamentName, tournament.name},
      {kTournamentFieldTranslations,
       convertFieldTranslationsToString(tournament.fieldTranslations)},
      {kTournamentUniqueFieldTranslations,
       convertFieldTranslationsToString(tournament.uniqueFieldTranslations)},
      {kSportSlug, ofSport([](const auto& s) { return s.slug; })},
      {kSportId, ofSport([](const auto& s) { return s.ID; })},
      {kSportName, ofSport([](const auto& s) { return s.name; })},
      {kCategoryId, ofCategory([](const auto& c) { return c.ID; })},
      {kCategoryName, ofCategory([](const auto& c) { return c.name; })},
      {kTournamentCategoryFieldTranslations, ofCategory([](const auto& c) {
         return convertFieldTranslationsToString(c.fieldTranslations);
       })},
      {kCategoryFlag, ofCategory([](const auto& c) { return c.flag; })},
      {kUserCount, tournament.userCount},
      {kNotificationsEnabled, enableNotifications},
  };
}

Tournament DBTableTournament::mapTournamentFromResultSet(const FMResultSet& row) {
  Tournament tournament;
  tournament.uniqueId = row.getIntegerForColumnName(kId);
  tournament.uniqueName = row.stringForColumn(kTournamentUniqueName);
  tournament.ID = row.getIntegerForColumnName(kTournamentId).value_or(0);
  tournament.name = row.stringForColumn(kTournamentName);
  tournament.fieldTranslations =
      convertStringToFieldTranslations(row.stringForColumn(kTournamentFieldTranslations));
  tournament.uniqueFieldTranslations =
      convertStringToFieldTranslations(row.stringForColumn(kTournamentUniqueFieldTranslations));
  tournament.category = mapCategoryFromResultSet(row);
  tournament.userCount = row.getIntegerForColumnName(kUserCount);
  return tournament;
}

std::optional<model::CategoryModel> DBTableTournament::mapCategoryFromResultSet(
    const FMResultSet& row) {
  model::CategoryModel category;
  const auto id = row.getIntegerForColumnName(kCategoryId);
  category.ID = id.value_or(0);
  category.name = row.stringForColumn(kCategoryName);
  category.flag = row.stringForColumn(kCategoryFlag);
  category.fieldTranslations =
      convertStringToFieldTranslations(row.stringForColumn(kTournamentCategoryFieldTranslations));
  category.sport = mapSportFromResultSet(row);
  if (!id && !category.name && !category.flag && !category.fieldTranslations && !category.sport) {
    return std::nullopt;
  }
  return category;
}

}  // namespace kestrel
