#include <KestrelDatabase/tables/DBTablePlayer.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;
using model::Player;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTablePlayer;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(T::kPlayerName, kText);
  table->addColumn(T::kPlayerFieldTranslations, kText);
  table->addColumn(T::kPlayerTeamId, kInteger);
  table->addColumn(T::kPlayerTeamNameId, kText);
  table->addColumn(T::kSportSlug, kText);
  table->addColumn(T::kUserCount, kIntegerAlt);
  table->addColumn(T::kNotificationsEnabled, kInteger);
  return table;
}

}  // namespace

std::string DBTablePlayer::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTablePlayer::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

std::vector<std::string> DBTablePlayer::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 1;", kTableName,
                             kNotificationsEnabled),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kPlayerFieldTranslations),
  };
}

// ---- Row operations ---------------------------------------------------------

void DBTablePlayer::deletePlayerWithID(std::int64_t playerID,
                                       const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const BoolCompletion& completion) {
  deleteRows(tableColumns(), ConditionList{kId, "=", playerID}, queue, completion);
}

void DBTablePlayer::deletePlayersWithIDs(const IDSet& playerIDs,
                                         const std::shared_ptr<FMDatabaseQueue>& queue,
                                         const BoolCompletion& completion) {
  deleteRows(tableColumns(),
             SplicedStatement("DELETE FROM %@ WHERE %@ IN (%@)",
                              {SplicedStatement::name(kTableName), SplicedStatement::name(kId),
                               SplicedStatement::numbers(kId, playerIDs)}),
             queue, completion);
}

void DBTablePlayer::getPlayers(const std::shared_ptr<FMDatabaseQueue>& queue,
                               const PlayerSetCompletion& completion) {
  readRows(NewSQLBuilder::selectAllFromTable(kTableName, std::nullopt).value_or(""), queue,
           &mapPlayerFromResultSet, completion);
}

void DBTablePlayer::setNotificationsEnabled(bool enabled, const IDSet& playerIDs,
                                            const std::shared_ptr<FMDatabaseQueue>& queue,
                                            const BoolCompletion& completion) {
  setNotificationsFlag(tableColumns(), enabled, playerIDs, queue, completion);
}

void DBTablePlayer::getNotificationPlayerIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                             const IDSetCompletion& completion) {
  readNotificationIDs(tableColumns(), queue, completion);
}

std::future<bool> DBTablePlayer::savePlayer(const Player& player, bool enableNotifications,
                                            const std::shared_ptr<FMDatabaseQueue>& queue) {
  return futureOf<bool>(
      [&](const BoolCompletion& done) { savePlayer(player, enableNotifications, queue, done); },
      false);
}

void DBTablePlayer::savePlayer(const Player& player, bool enableNotifications,
                               const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  if (!queue) return;
  runChecked(checkedUpsert(tableColumns(), mapAllPropertiesToColumns(player, enableNotifications)),
             queue, completion);
}

std::future<bool> DBTablePlayer::setPlayerNotificationsEnabled(
    bool enabled, const IDSet& playerIDs, const std::shared_ptr<FMDatabaseQueue>& queue) {
  return setNotificationsEnabledLines(tableColumns(), enabled, playerIDs, queue);
}

void DBTablePlayer::setPlayerNotificationsEnabled(bool enabled, const IDSet& playerIDs,
                                                  const std::shared_ptr<FMDatabaseQueue>& queue,
                                                  const BoolCompletion& completion) {
  setNotificationsEnabledLines(tableColumns(), enabled, playerIDs, queue, completion);
}

std::future<ReadResult<IDSet>> DBTablePlayer::getNotificationEnabledPlayerIds(
    const std::shared_ptr<FMDatabaseQueue>& queue) {
  return readNotificationEnabledIDs(tableColumns(), queue);
}

void DBTablePlayer::getNotificationEnabledPlayerIds(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                    const IDSetCompletion& completion) {
  readNotificationEnabledIDs(tableColumns(), queue, completion);
}

// ---- Row mapping -------------------------------------------------------------------

ColumnValueMap DBTablePlayer::mapAllPropertiesToColumns(const Player& player,
                                                        bool enableNotifications) {
  const auto& team = player.team;
  return {
      {kId, player.ID},
      {kPlayerName, player.name},
      {kPlayerFieldTranslations, convertFieldTranslationsToString(player.fieldTranslations)},
      {kPlayerTeamId, team ? Value(team->ID) : Value::null()},
      {kPlayerTeamNameId, team ? Value(team->name) : Value::null()},
      {kSportSlug, player.sport ? Value(player.sport->slug) : Value::null()},
      {kUserCount, player.userCount},
      {kNotificationsEnabled, enableNotifications},
  };
}

Player DBTablePlayer::mapPlayerFromResultSet(const FMResultSet& row) {
  Player player;
  player.ID = row.getIntegerForColumnName(kId).value_or(0);
  player.name = row.stringForColumn(kPlayerName);
  player.fieldTranslations =
      convertStringToFieldTranslations(row.stringForColumn(kPlayerFieldTranslations));
  const auto teamID = row.getIntegerForColumnName(kPlayerTeamId);
  auto teamName = row.stringForColumn(kPlayerTeamNameId);
  if (teamID || teamName) player.team = model::Team{.ID = teamID.value_or(0), .name = teamName};
  if (const auto slug = row.stringForColumn(kSportSlug)) {
    player.sport = model::Sport::sportWithSlug(*slug);
  }
  player.userCount = row.getIntegerForColumnName(kUserCount);
  return player;
}

}  // namespace kestrel
