// The event table's retention (finished and old rows), the one-time
// favourite migration, and the texts of every formatted event statement.
#include <KestrelDatabase/tables/DBTableEvent.h>

#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelDatabase/tables/StatusTimeConditions.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

#include <utility>

namespace kestrel {

namespace {

using model::Event;

// Ages and horizons of the retention and favourite statements, in seconds.
constexpr int kSevenDays = 604800;
constexpr int kFiftySixDays = 4838400;

// Status type codes the refresh selection names.
constexpr unsigned long kFinished = 1;
constexpr unsigned long kInProgress = 2;
constexpr unsigned long kNotStarted = 3;
constexpr unsigned long kPostponed = 4;
constexpr unsigned long kInterrupted = 6;
constexpr unsigned long kPause = 8;
constexpr unsigned long kSuspended = 9;
constexpr unsigned long kDelayed = 10;

const char* const kTeamTable = DBTableTeam::kTableName;
const char* const kLeagueTable = DBTableTournament::kTableName;
const char* const kOwnerID = DBTableTeam::kId;

constexpr StatusTimeConditions::Columns kConditionColumns{
    DBTableEvent::kStatusType, DBTableEvent::kStartDate, DBTableEvent::kLastUpdate};

using RefreshClause = StatusTimeConditions::RefreshClause;
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

// The finished rows at `now`, without outer parentheses.
std::string finishedCondition(double now) {
  return StatusTimeConditions::finished(kConditionColumns, now);
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

}  // namespace

// ---- Pruning ----

void DBTableEvent::deleteFinishedEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const BoolCompletion& completion) {
  runWrite(
      queue,
      [](FMDatabase& db) {
        const bool deleted =
            db.executeUpdate(finishedEventsDeleteStatement(platform::Clock::now()));
        const bool hidden = db.executeUpdate(hideFinishedEventsStatement(platform::Clock::now()));
        return deleted && hidden;
      },
      completion);
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
  // One transaction: a migration that fails halfway leaves no half-moved
  // favourites behind, and can simply run again.
  runWrite(
      queue,
      [](FMDatabase& db) {
        for (const auto& statement : migrationStatements()) {
          if (!db.executeUpdate(statement)) return false;
        }
        return true;
      },
      completion);
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
  const std::string first =
      platform::formatString("SELECT %s FROM %s WHERE %s >= %d AND (", kId, kTableName, kStartDate,
                             kSevenDays) +
      StatusTimeConditions::refreshClauses(kNotStartedClauses, kConditionColumns, now) + " OR  ";
  const std::string second =
      StatusTimeConditions::refreshClauses(kOtherClauses, kConditionColumns, now) + ");";
  return platform::formatString("%s%s", first.c_str(), second.c_str());
}

std::optional<std::string> DBTableEvent::deleteEventsStatement(const IDSet& eventIDs) {
  if (eventIDs.empty()) return std::nullopt;
  const auto statement = checkedStatement(
      tableColumns(),
      SplicedStatement("DELETE FROM %@ WHERE %@ IN (%@)",
                       {SplicedStatement::name(kTableName), SplicedStatement::name(kId),
                        SplicedStatement::numbers(kId, eventIDs)}));
  if (!statement) return std::nullopt;
  return statement->text();
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
