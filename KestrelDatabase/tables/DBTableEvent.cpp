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

// ---- Row operations ---------------------------------------------------------

namespace {

using model::Event;

// Ages and horizons of the retention and favourite statements, in seconds.
constexpr int kSevenDays = 604800;
constexpr int kFiftySixDays = 4838400;

// Status type codes the statements name.
constexpr unsigned long kFinished = 1;
constexpr unsigned long kInProgress = 2;
constexpr unsigned long kNotStarted = 3;
constexpr unsigned long kPostponed = 4;
constexpr unsigned long kCanceled = 5;
constexpr unsigned long kInterrupted = 6;
constexpr unsigned long kPause = 8;
constexpr unsigned long kSuspended = 9;
constexpr unsigned long kDelayed = 10;

const char* const kTeamTable = DBTableTeam::kTableName;
const char* const kLeagueTable = DBTableTournament::kTableName;
const char* const kOwnerID = DBTableTeam::kId;

// One clause of the refresh selection: a status, an optional window on the
// time to the start (before) or since the start (after), both bounds strict,
// and the age of the row's data above which it is due.
struct RefreshClause {
  enum class Window { None, BeforeStart, AfterStart };
  unsigned long status;
  Window window;
  int lower;  // 0 with `upper` 0: no window
  int upper;  // 0: no upper bound
  int maxAge;
};

using W = RefreshClause::Window;
constexpr RefreshClause kNotStartedClauses[] = {
    {kNotStarted, W::BeforeStart, 259200, 0, 43200},
    {kNotStarted, W::BeforeStart, 86400, 259200, 43200},
    {kNotStarted, W::BeforeStart, 3600, 86400, 3600},
    {kNotStarted, W::BeforeStart, 900, 3600, 180},
    {kNotStarted, W::BeforeStart, 0, 900, 14},
    {kNotStarted, W::AfterStart, 0, 900, 14},
    {kNotStarted, W::AfterStart, 900, 3600, 180},
    {kNotStarted, W::AfterStart, 3600, 0, 900},
};
constexpr RefreshClause kOtherClauses[] = {
    {kFinished, W::AfterStart, 0, 86400, 3600}, {kFinished, W::AfterStart, 86400, 0, 86400},
    {kSuspended, W::None, 0, 0, 180},           {kPause, W::None, 0, 0, 180},
    {kInterrupted, W::None, 0, 0, 180},         {kDelayed, W::None, 0, 0, 180},
    {kInProgress, W::None, 0, 0, 14},           {kPostponed, W::None, 0, 0, 43200},
};

std::string refreshClause(const RefreshClause& clause, double now) {
  const char* start = DBTableEvent::kStartDate;
  const char* lastUpdate = DBTableEvent::kLastUpdate;
  std::string text =
      platform::formatString("( (%s = %lu) AND ", DBTableEvent::kStatusType, clause.status);
  if (clause.window == W::BeforeStart) {
    text += platform::formatString("((%s - %f) > %d) AND ", start, now, clause.lower);
    if (clause.upper != 0) {
      text += platform::formatString("((%s - %f) < %d) AND ", start, now, clause.upper);
    }
  } else if (clause.window == W::AfterStart) {
    text += platform::formatString("((%f - %s) > %d) AND ", now, start, clause.lower);
    if (clause.upper != 0) {
      text += platform::formatString("((%f - %s) < %d) AND ", now, start, clause.upper);
    }
  }
  text += platform::formatString("(ABS(%f - %s) > %d) )", now, lastUpdate, clause.maxAge);
  return text;
}

template <std::size_t N>
std::string refreshClauses(const RefreshClause (&clauses)[N], double now) {
  std::string text;
  for (std::size_t i = 0; i < N; ++i) {
    if (i > 0) text += " OR  ";
    text += refreshClause(clauses[i], now);
  }
  return text;
}

// "(STATUS_TYPE = 1 OR ((STATUS_TYPE = 4 OR ... ) AND START_DATE < now))" without the outer
// parentheses: the finished rows at `now`.
std::string finishedCondition(double now) {
  const char* status = DBTableEvent::kStatusType;
  return platform::formatString("%s = %lu OR ((%s = %lu OR %s = %lu OR %s = %lu) AND %s < %f)",
                                status, kFinished, status, kPostponed, status, kCanceled, status,
                                kInterrupted, DBTableEvent::kStartDate, now);
}

// "SELECT * FROM MyTeamTable WHERE ID = HOME_TEAM_ID OR ..." over the six team columns of the
// retention statements, in their order.
std::string teamOwnerQuery() {
  return platform::formatString(
      "SELECT * FROM %s WHERE %s = %s OR %s = %s OR %s = %s OR %s = %s OR %s = %s OR %s = %s",
      kTeamTable, kOwnerID, DBTableEvent::kHomeTeamId, kOwnerID, DBTableEvent::kAwayTeamId,
      kOwnerID, DBTableEvent::kHomeSubteam1ColId, kOwnerID, DBTableEvent::kHomeSubteam2ColId,
      kOwnerID, DBTableEvent::kAwaySubteam1ColId, kOwnerID, DBTableEvent::kAwaySubteam2ColId);
}

std::string leagueOwnerQuery() {
  return platform::formatString("SELECT * FROM %s WHERE %s = %s", kLeagueTable, kOwnerID,
                                DBTableEvent::kTournamentUniqueId);
}

// The migration's owner tests: "<keyword> (SELECT * FROM MyLeagueTable ...)"
// and the same over MyTeamTable and the six team columns, one condition per
// line, every column qualified with its table.
std::string migrationLeagueOwner(const char* keyword) {
  return platform::formatString("%s (SELECT * FROM %s\n        WHERE %s.%s = %s.%s)", keyword,
                                kLeagueTable, kLeagueTable, kOwnerID, DBTableEvent::kTableName,
                                DBTableEvent::kTournamentUniqueId);
}

std::string migrationTeamOwner(const char* keyword) {
  const char* const columns[] = {
      DBTableEvent::kHomeTeamId,        DBTableEvent::kAwayTeamId,
      DBTableEvent::kHomeSubteam1ColId, DBTableEvent::kAwaySubteam1ColId,
      DBTableEvent::kHomeSubteam2ColId, DBTableEvent::kAwaySubteam2ColId};
  std::string text =
      platform::formatString("%s (SELECT * FROM %s\n        WHERE ", keyword, kTeamTable);
  for (std::size_t i = 0; i < std::size(columns); ++i) {
    if (i > 0) text += " OR\n              ";
    text += platform::formatString("%s.%s = %s.%s", kTeamTable, kOwnerID, DBTableEvent::kTableName,
                                   columns[i]);
  }
  return text + ")";
}

ConditionList whereID(std::int64_t eventID) {
  return ConditionList{DBTableEvent::kId, "=", eventID};
}

// Reads `column` of every row of `sql` as a 32-bit integer; the column is
// looked up once per result set.
void collectIntColumn(const char* column, const std::string& sql,
                      const std::shared_ptr<FMDatabaseQueue>& queue,
                      const IDSetCompletion& completion) {
  if (!queue || !completion) return;
  queue->inDatabase([&](FMDatabase* db) {
    IDSet ids;
    if (const auto resultSet = db ? db->executeQuery(sql) : nullptr) {
      int index = -1;
      bool first = true;
      while (resultSet->next()) {
        if (first) {
          index = resultSet->columnIndexForName(column);
          first = false;
        }
        ids.insert(resultSet->intForColumnIndex(index));
      }
    }
    completion(std::move(ids));
  });
}

// Maps every row of `sql`, handing each event to `add`.
template <class Add>
void mapEvents(FMDatabase& db, const std::string& sql, Add add) {
  const auto resultSet = db.executeQuery(sql);
  if (!resultSet) return;
  std::optional<DBTableEvent::RowLayout> layout;
  while (resultSet->next()) {
    if (!layout) layout = DBTableEvent::rowLayoutForResultSet(*resultSet);
    add(DBTableEvent::mapEventFromResultSet(*resultSet, *layout));
  }
}

}  // namespace

// ---- Writes ----

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

// ---- Reads ----

void DBTableEvent::getEvent(std::int64_t eventID, const std::shared_ptr<FMDatabaseQueue>& queue,
                            const EventCompletion& completion) {
  if (!queue || !completion) return;
  const auto sql = NewSQLBuilder::selectAllFromTable(kTableName, whereID(eventID));
  queue->inDatabase([&](FMDatabase* db) {
    std::optional<Event> event;
    if (const auto resultSet = db && sql ? db->executeQuery(*sql) : nullptr) {
      // A row without columns would give an empty result dictionary.
      if (resultSet->next() && resultSet->columnCount() > 0) {
        event = mapEventFromResultSet(*resultSet, rowLayoutForResultSet(*resultSet));
      }
    }
    if (db && db->hasOpenResultSets()) db->closeOpenResultSets();
    completion(std::move(event));
  });
}

void DBTableEvent::getAllFavoriteEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const EventListCompletion& completion) {
  if (!queue || !completion) return;
  const std::string sql = allFavoriteEventsQuery(platform::Clock::now());
  queue->inDatabase([&](FMDatabase* db) {
    std::vector<Event> events;
    if (db) mapEvents(*db, sql, [&](Event event) { events.push_back(std::move(event)); });
    completion(std::move(events));
  });
}

void DBTableEvent::getAllFavoriteEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const IDSetCompletion& completion) {
  getIDs(allFavoriteEventIDsQuery(), queue, completion);
}

void DBTableEvent::getAllEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                  const IDSetCompletion& completion) {
  getIDs(allEventIDsQuery(), queue, completion);
}

void DBTableEvent::getFavoriteEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const IDSetCompletion& completion) {
  getIDs(favoriteEventIDsQuery(), queue, completion);
}

void DBTableEvent::getMutedEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                    const IDSetCompletion& completion) {
  getIDs(mutedEventIDsQuery(), queue, completion);
}

void DBTableEvent::getEventIDsToRefresh(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const IDSetCompletion& completion) {
  if (!queue || !completion) return;
  getIDs(eventIDsToRefreshQuery(platform::Clock::now()), queue, completion);
}

void DBTableEvent::getFinishedEventsCount(const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const CountCompletion& completion) {
  if (!queue || !completion) return;
  const std::string sql = finishedEventsCountQuery(platform::Clock::now());
  queue->inDatabase([&](FMDatabase* db) { completion(db ? db->intForQuery(sql) : 0); });
}

void DBTableEvent::getIDs(const std::string& sql, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const IDSetCompletion& completion) {
  collectIntColumn(kId, sql, queue, completion);
}

void DBTableEvent::getIntColumn(const std::string& column, const std::string& sql,
                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                const IDSetCompletion& completion) {
  collectIntColumn(column.c_str(), sql, queue, completion);
}

void DBTableEvent::getAllEventsWithQuery(const std::string& sql,
                                         const std::shared_ptr<FMDatabaseQueue>& queue,
                                         const EventSetCompletion& completion) {
  if (!queue || !completion) return;
  queue->inDatabase([&](FMDatabase* db) {
    std::unordered_set<Event> events;
    if (db) mapEvents(*db, sql, [&](Event event) { events.insert(std::move(event)); });
    completion(std::move(events));
  });
}

// ---- Pruning ----

void DBTableEvent::deleteFinishedEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const BoolCompletion& completion) {
  if (!queue) return;
  queue->inTransaction([&](FMDatabase* db, bool*) {
    const bool deleted =
        db && db->executeUpdate(finishedEventsDeleteStatement(platform::Clock::now()));
    const bool hidden =
        db && db->executeUpdate(hideFinishedEventsStatement(platform::Clock::now()));
    if (completion) completion(deleted && hidden);
  });
}

void DBTableEvent::deleteOldEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion) {
  if (!queue) return;
  deleteRows(oldEventsDeleteStatement(platform::Clock::now()), queue, completion);
}

// ---- Favourite migration ----

std::future<void> DBTableEvent::migrateFavoriteNotificationEvents(
    const std::shared_ptr<FMDatabaseQueue>& queue) {
  if (!queue) {
    std::promise<void> done;
    done.set_value();
    return done.get_future();
  }
  return std::async(std::launch::async,
                    [queue] { migrateFavoriteNotificationEvents(queue, BoolCompletion{}); });
}

void DBTableEvent::migrateFavoriteNotificationEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                     const BoolCompletion& completion) {
  if (!queue) return;
  int succeeded = 0;
  for (const auto& statement : migrationStatements()) {
    updateRows(statement, queue, [&](bool success) { succeeded += success ? 1 : 0; });
  }
  if (completion) completion(succeeded == 2);
}

// ---- Statement texts ----

std::string DBTableEvent::allFavoriteEventsQuery(double now) {
  return platform::formatString(
      "SELECT * FROM %s WHERE (%s = 0 OR %s IS NULL) AND (%f - %s) <= %d ORDER BY %s ASC",
      kTableName, kIsHidden, kIsHidden, now, kStartDate, kSevenDays, kStartDate);
}

std::string DBTableEvent::allFavoriteEventIDsQuery() {
  return platform::formatString("SELECT %s FROM %s WHERE %s = 0 OR %s IS NULL ORDER BY %s ASC", kId,
                                kTableName, kIsHidden, kIsHidden, kStartDate);
}

std::string DBTableEvent::allEventIDsQuery() {
  return NewSQLBuilder::selectColumnsFromTable(kTableName, {kId}, std::nullopt).value_or("");
}

std::string DBTableEvent::favoriteEventIDsQuery() {
  return platform::formatString("SELECT %s FROM %s WHERE (%s = 0 OR %s IS NULL) AND %s IS NOT NULL",
                                kId, kTableName, kIsHidden, kIsHidden, kIsMuted);
}

std::string DBTableEvent::mutedEventIDsQuery() {
  return platform::formatString("SELECT %s FROM %s WHERE %s = 1;", kId, kTableName, kIsMuted);
}

std::string DBTableEvent::finishedEventsCountQuery(double now) {
  return platform::formatString("SELECT COUNT(*) FROM %s WHERE (%s = 0 OR %s IS NULL) AND (%s)",
                                kTableName, kIsHidden, kIsHidden, finishedCondition(now).c_str());
}

std::string DBTableEvent::eventIDsToRefreshQuery(double now) {
  // Two halves: the not-started windows, then every other status.
  const std::string first = platform::formatString("SELECT %s FROM %s WHERE %s >= %d AND (", kId,
                                                   kTableName, kStartDate, kSevenDays) +
                            refreshClauses(kNotStartedClauses, now) + " OR  ";
  const std::string second = refreshClauses(kOtherClauses, now) + ");";
  return platform::formatString("%s%s", first.c_str(), second.c_str());
}

std::optional<std::string> DBTableEvent::deleteEventsStatement(const IDSet& eventIDs) {
  if (eventIDs.empty()) return std::nullopt;
  std::string list;
  for (const auto id : eventIDs) {
    if (!list.empty()) list += ", ";
    list += std::to_string(id);
  }
  return platform::formatString("DELETE FROM %s WHERE %s IN (%s)", kTableName, kId, list.c_str());
}

std::string DBTableEvent::finishedEventsDeleteStatement(double now) {
  return platform::formatString("DELETE FROM %s WHERE (%s) AND NOT EXISTS (%s) AND NOT EXISTS (%s)",
                                kTableName, finishedCondition(now).c_str(),
                                leagueOwnerQuery().c_str(), teamOwnerQuery().c_str());
}

std::string DBTableEvent::hideFinishedEventsStatement(double now) {
  return platform::formatString("UPDATE %s SET %s = 1 WHERE %s", kTableName, kIsHidden,
                                finishedCondition(now).c_str());
}

std::string DBTableEvent::oldEventsDeleteStatement(double now) {
  return platform::formatString(
      "DELETE FROM %s WHERE (%f - %s) > %d OR ((%s - %f) > %d AND (EXISTS (%s) OR EXISTS (%s))) OR "
      "%s IS NULL",
      kTableName, now, kStartDate, kSevenDays, kStartDate, now, kFiftySixDays,
      leagueOwnerQuery().c_str(), teamOwnerQuery().c_str(), kStartDate);
}

std::array<std::string, 2> DBTableEvent::migrationStatements() {
  // Unmuted favourites that a followed team or league covers become
  // entity-owned; entity-owned rows without a followed owner become unmuted
  // favourites. Muted rows match neither.
  return {
      platform::formatString("UPDATE %s\nSET %s = NULL\nWHERE %s IS NOT NULL\n  AND %s <> 1\n"
                             "  AND (%s\n       OR %s)",
                             kTableName, kIsMuted, kIsMuted, kIsMuted,
                             migrationLeagueOwner("EXISTS").c_str(),
                             migrationTeamOwner("EXISTS").c_str()),
      platform::formatString("UPDATE %s\nSET %s = 0\nWHERE %s IS NULL\n  AND %s\n  AND %s",
                             kTableName, kIsMuted, kIsMuted,
                             migrationLeagueOwner("NOT EXISTS").c_str(),
                             migrationTeamOwner("NOT EXISTS").c_str()),
  };
}

}  // namespace kestrel
