// Unfollowing a team: DBTableTeam::deleteTeamWithID against the same
// cascade by hand on raw sqlite3 (the same selection text, the same delete
// texts one by one, the same exclusive transaction), on 1k and 10k events of
// 100 teams of which 50 are followed, with 20 leagues of which 5 are followed.
//
// Each iteration unfollows the next followed team; the rows it removed are
// put back from copies of the two tables with the timer paused, so every
// iteration starts from the same database. Each case restores through its
// own connection, so that neither finds its page cache spoilt by the other.
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelPlatform/Clock.h>

#include "BenchDatabase.h"
#include "BenchHome.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kestrel::bench {
namespace {

constexpr int kTeams = 100;
constexpr int kFollowedTeams = 50;
constexpr int kLeagues = 20;
constexpr int kFollowedLeagues = 5;

// One home per event count, with the copies the iterations restore from.
class TeamHome {
 public:
  static TeamHome& forEvents(int events) {
    static std::map<int, std::unique_ptr<TeamHome>> homes;
    auto& home = homes[events];
    if (!home) home.reset(new TeamHome(events));
    return *home;
  }

  const std::shared_ptr<FMDatabaseQueue>& queue() const { return home_.queue(); }
  std::string databasePath() const { return home_.databasePath(); }

  /// The followed team the i-th iteration unfollows.
  static std::int64_t teamFor(std::int64_t iteration) { return 1 + iteration % kFollowedTeams; }

  /// Puts back the team's row and its events.
  static std::string restoreSql(std::int64_t team) {
    const std::string id = std::to_string(team);
    return "INSERT OR IGNORE INTO MyTeamTable SELECT * FROM bench_team_copy WHERE ID = " + id +
           "; INSERT OR IGNORE INTO EventTable_ SELECT * FROM bench_event_copy WHERE "
           "HOME_TEAM_ID = " +
           id + " OR AWAY_TEAM_ID = " + id + ";";
  }

 private:
  explicit TeamHome(int events) : home_("kestrel-team-bench") {
    std::vector<std::string> fill;
    for (int team = 1; team <= kFollowedTeams; ++team) {
      fill.push_back(
          "INSERT INTO MyTeamTable (ID, SORT_ORDER, TEAM_NAME, SPORT_SLUG, "
          "NOTIFICATIONS_ENABLED) VALUES (" +
          std::to_string(team) + ", " + std::to_string(team) + ", 'Team " + std::to_string(team) +
          "', 'football', 1)");
    }
    for (int league = 1; league <= kFollowedLeagues; ++league) {
      fill.push_back("INSERT INTO MyLeagueTable (ID, TOURNAMENT_NAME) VALUES (" +
                     std::to_string(500 + league) + ", 'League')");
    }
    for (int id = 1; id <= events; ++id) {
      const int home = 1 + id % kTeams;
      const int away = 1 + (id * 7 + 3) % kTeams;
      const int league = 501 + id % kLeagues;
      fill.push_back(
          "INSERT INTO EventTable_ (ID, START_DATE, STATUS_TYPE, HOME_TEAM_ID, HOME_TEAM_NAME, "
          "AWAY_TEAM_ID, AWAY_TEAM_NAME, TOURNAMENT_UNIQUE_ID, TOURNAMENT_NAME, WEBURL, "
          "IS_MUTED) VALUES (" +
          std::to_string(id) + ", 1800000000, 3, " + std::to_string(home) + ", 'Home team " +
          std::to_string(home) + "', " + std::to_string(away) + ", 'Away team " +
          std::to_string(away) + "', " + std::to_string(league) + ", 'League " +
          std::to_string(league) + "', 'https://example.invalid/event/" + std::to_string(id) +
          "', " + (id % 3 == 0 ? "0" : "NULL") + ")");
    }
    fill.push_back("CREATE TABLE bench_team_copy AS SELECT * FROM MyTeamTable");
    fill.push_back("CREATE TABLE bench_event_copy AS SELECT * FROM EventTable_");
    home_.run(fill);
  }

  BenchHome home_;
};

TeamHome& homeFor(const benchmark::State& state) {
  return TeamHome::forEvents(static_cast<int>(state.range(0)));
}

bool rawExec(sqlite3* db, const std::string& sql) {
  return sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

bool rawStep(sqlite3* db, const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, sql.c_str(), static_cast<int>(sql.size()), &statement, nullptr);
  const bool done = sqlite3_step(statement) == SQLITE_DONE;
  sqlite3_finalize(statement);
  return done;
}

// The delete the builder writes for one key.
std::string deleteText(const char* table, std::int64_t id) {
  std::string text = "DELETE FROM ";
  text.append(table).append(" WHERE \"ID\" = \"").append(std::to_string(id)).append("\";");
  return text;
}

void BM_Raw_DeleteTeamCascade(benchmark::State& state) {
  TeamHome& home = homeFor(state);
  const auto db = BenchDatabase::openRaw(home.databasePath());
  bool ok = true;
  std::int64_t iteration = 0;
  for (auto _ : state) {
    const std::int64_t team = TeamHome::teamFor(iteration++);
    ok &= rawExec(db.get(), "begin exclusive transaction");
    const std::string selection = DBTableTeam::ownedEventsQuery(team);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db.get(), selection.c_str(), static_cast<int>(selection.size()), &statement,
                       nullptr);
    std::vector<std::int64_t> owned;
    while (sqlite3_step(statement) == SQLITE_ROW)
      owned.push_back(sqlite3_column_int64(statement, 0));
    sqlite3_finalize(statement);
    for (const std::int64_t id : owned) ok &= rawStep(db.get(), deleteText("EventTable_", id));
    ok &= rawStep(db.get(), deleteText("MyTeamTable", team));
    ok &= rawExec(db.get(), "commit transaction");

    state.PauseTiming();
    ok &= rawExec(db.get(), TeamHome::restoreSql(team));
    state.ResumeTiming();
  }
  if (!ok) state.SkipWithError("a statement of the cascade failed");
}

void BM_DBTableTeam_DeleteTeamWithID(benchmark::State& state) {
  TeamHome& home = homeFor(state);
  bool ok = true;
  std::int64_t iteration = 0;
  for (auto _ : state) {
    const std::int64_t team = TeamHome::teamFor(iteration++);
    DBTableTeam::deleteTeamWithID(team, home.queue(), [&](bool success) { ok &= success; });

    state.PauseTiming();
    home.queue()->inDatabase(
        [&](FMDatabase* db) { ok &= db->executeStatements(TeamHome::restoreSql(team)); });
    state.ResumeTiming();
  }
  if (!ok) state.SkipWithError("a statement of the cascade failed");
}

}  // namespace

BENCHMARK(BM_Raw_DeleteTeamCascade)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_DBTableTeam_DeleteTeamWithID)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);

}  // namespace kestrel::bench
