// The facade's cases. Cold start: a StorageManager made on a home holding
// 1k (and 10k) favourite events and stages, a tenth of each muted, and 200
// followed teams, players and leagues, half with notifications on; it
// returns with every cache fed from a table filled. Against it, raw sqlite3
// opening the file and reading the same rows by column index into the same
// values (IDs for the event sets, stages with their group map, teams,
// players and leagues, the notification IDs). Then the membership question
// isFavoriteEvent() against a locked set (the questions of the cache case),
// and a favourite insert through the facade against the table's own insert
// on the event-table case's rows.
//
// The object store of each home is loaded once and shared by every facade
// made there; its three caches' requests are answered with the timer paused.
#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <KestrelPlatform/Fatal.h>

#include "BenchDatabase.h"
#include "BenchEvents.h"
#include "BenchHome.h"
#include "MembershipQuestions.h"
#include "RawStage.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace kestrel::bench {
namespace {

constexpr double kNow = 1'800'000'000.0;
constexpr int kFollowed = 200;

model::FieldTranslations translationsOf(const std::string& name) {
  model::FieldTranslations t;
  t.nameTranslation = {{"de", name + " (de)"}, {"fr", name + " (fr)"}};
  return t;
}

model::Team followedTeam(std::int64_t id) {
  model::Team team{.ID = id, .name = "Team " + std::to_string(id)};
  team.fieldTranslations = translationsOf(*team.name);
  team.sport = model::Sport::sportWithSlug("football");
  team.userCount = 1000 + id;
  team.gender = "M";
  return team;
}

model::Player followedPlayer(std::int64_t id) {
  model::Player player{.ID = id};
  player.name = "Player " + std::to_string(id);
  player.fieldTranslations = translationsOf(*player.name);
  player.team = model::Team{.ID = id % 50, .name = "Club " + std::to_string(id % 50)};
  player.sport = model::Sport::sportWithSlug("football");
  player.userCount = 500 + id;
  return player;
}

model::Tournament followedLeague(std::int64_t uniqueID) {
  model::Tournament league{.ID = 10'000 + uniqueID};
  league.uniqueId = uniqueID;
  league.uniqueName = "League " + std::to_string(uniqueID);
  league.name = *league.uniqueName + ", Regular season";
  league.fieldTranslations = translationsOf(*league.name);
  league.uniqueFieldTranslations = translationsOf(*league.uniqueName);
  league.category = model::CategoryModel{.ID = 7, .name = "Europe", .flag = "europe"};
  league.category->sport = model::Sport::sportWithSlug("football");
  league.category->fieldTranslations = translationsOf("Europe");
  league.userCount = 300 + uniqueID;
  return league;
}

// One home per row count: `rows` favourite events (the even IDs from 2 on)
// and stages, every tenth muted, and the followed entities.
class FacadeHome {
 public:
  static FacadeHome& forRows(int rows) {
    static std::map<int, std::unique_ptr<FacadeHome>> homes;
    auto& home = homes[rows];
    if (!home) home.reset(new FacadeHome(rows));
    return *home;
  }

  int rows() const { return rows_; }
  std::filesystem::path path() const {
    return std::filesystem::path(home_.databasePath()).parent_path().parent_path();
  }
  std::string databasePath() const { return home_.databasePath(); }
  const std::shared_ptr<DataManager>& dataManager() const { return dataManager_; }

  /// A facade on the home; the store-fed caches' requests are answered
  /// before it returns.
  std::shared_ptr<StorageManager> facade() const {
    auto facade = StorageManager::forHome(path(), dataManager_);
    settle();
    return facade;
  }
  void settle() const {
    dataManager_->backgroundContext()->performAndWait([] {});
    platform::DispatchQueue::main()->waitUntilDrained();
  }

 private:
  explicit FacadeHome(int rows) : rows_(rows), home_("kestrel-facade-bench") {
    platform::Clock::setFixed(kNow);
    std::vector<std::string> fill;
    const auto insert = [&fill](const char* table, ColumnValueMap columns) {
      fill.push_back(*NewSQLBuilder::insertOrReplaceInTable(table, columns));
    };
    for (int i = 1; i <= rows; ++i) {
      const model::Event event{.ID = 2 * i, .startTimestamp = static_cast<std::int64_t>(kNow) + i,
                               .status = model::EventStatus(3)};
      ColumnValueMap columns = DBTableEvent::mapAllPropertiesToColumns(event);
      columns.emplace_back(DBTableEvent::kIsMuted, i % 10 == 0);
      insert(DBTableEvent::kTableName, std::move(columns));
      columns = DBTableStage::mapAllPropertiesToColumns(makeStage(i, kNow));
      columns.emplace_back(DBTableStage::kIsMuted, i % 10 == 0);
      insert(DBTableStage::kTableName, std::move(columns));
    }
    for (int id = 1; id <= kFollowed; ++id) {
      const bool on = id % 2 == 0;
      insert(DBTableTeam::kTableName, DBTableTeam::mapAllPropertiesToColumns(followedTeam(id), on));
      insert(DBTablePlayer::kTableName,
             DBTablePlayer::mapAllPropertiesToColumns(followedPlayer(id), on));
      insert(DBTableTournament::kTableName,
             DBTableTournament::mapAllPropertiesToColumns(followedLeague(id), on));
    }
    home_.run(fill);
    dataManager_ = DataManager::forHome(path());
    if (dataManager_->loadStore()) platform::fatal("the benchmark's object store did not load");
  }

  int rows_;
  BenchHome home_;
  std::shared_ptr<DataManager> dataManager_;
};

FacadeHome& homeFor(const benchmark::State& state) {
  return FacadeHome::forRows(static_cast<int>(state.range(0)));
}

// ---- Raw reads by column index ----

std::optional<model::Sport> sport(sqlite3_stmt* s, int id, int name, int slug) {
  const auto sportSlug = text(s, slug);
  if (!sportSlug) return std::nullopt;
  model::Sport sport = model::Sport::sportWithSlug(*sportSlug);
  if (id >= 0) sport.ID = sqlite3_column_int64(s, id);
  if (name >= 0) sport.name = text(s, name);
  return sport;
}

/// Runs `query` and calls `row` with each result row.
template <class Row>
void eachRow(sqlite3* db, const std::string& query, Row row) {
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db, query.c_str(), static_cast<int>(query.size()), &statement, nullptr);
  while (sqlite3_step(statement) == SQLITE_ROW) row(statement);
  sqlite3_finalize(statement);
}

std::unordered_set<std::int64_t> ids(sqlite3* db, const std::string& query) {
  std::unordered_set<std::int64_t> out;
  eachRow(db, query, [&](sqlite3_stmt* s) { out.insert(sqlite3_column_int64(s, 0)); });
  return out;
}

/// The stages of `query` with their group map, as the stage caches hold them.
std::size_t stages(sqlite3* db, const std::string& query) {
  std::vector<model::Stage> objects;
  std::unordered_map<std::int64_t, std::int64_t> heads;
  eachRow(db, query, [&](sqlite3_stmt* s) {
    model::Stage stage = rawStage(s);
    heads[stage.ID] = stage.stageEvent ? stage.stageEvent->ID : stage.ID;
    objects.push_back(std::move(stage));
  });
  benchmark::DoNotOptimize(heads.size());
  return objects.size();
}

std::string notificationIDsQuery(const char* table) {
  return std::string("SELECT ID FROM ") + table + " WHERE NOTIFICATIONS_ENABLED = \"1\"";
}

/// What every cache fed from a table reads; returns the number of rows.
std::size_t readFollowedRows(sqlite3* db) {
  std::size_t read = ids(db, DBTableEvent::favoriteEventIDsQuery()).size();
  read += stages(db, DBTableStage::allFavoriteStagesQuery(kNow));
  read += stages(db, DBTableStage::mutedStagesQuery());
  read += ids(db, DBTableEvent::mutedEventIDsQuery()).size();

  std::vector<model::Team> teams;
  eachRow(db,
          "SELECT ID, TEAM_NAME, TEAM_FIELD_TRANSLATIONS, SPORT_ID, SPORT_NAME, SPORT_SLUG, "
          "USER_COUNT, GENDER, IS_DISABLED, TYPE FROM MyTeamTable",
          [&](sqlite3_stmt* s) {
            model::Team team{.ID = sqlite3_column_int64(s, 0), .name = text(s, 1)};
            team.fieldTranslations = DBTableAbstract::convertStringToFieldTranslations(text(s, 2));
            team.sport = sport(s, 3, 4, 5);
            team.userCount = integer(s, 6);
            team.gender = text(s, 7);
            team.disabled = sqlite3_column_int(s, 8) != 0;
            team.type = sqlite3_column_int64(s, 9);
            teams.push_back(std::move(team));
          });
  read += teams.size() + ids(db, notificationIDsQuery(DBTableTeam::kTableName)).size();

  std::vector<model::Player> players;
  eachRow(db,
          "SELECT ID, PLAYER_NAME, PLAYER_FIELD_TRANSLATIONS, PLAYER_TEAM_ID, "
          "PLAYER_TEAM_NAME_ID, SPORT_SLUG, USER_COUNT FROM MyPlayerTable",
          [&](sqlite3_stmt* s) {
            model::Player player{.ID = sqlite3_column_int64(s, 0)};
            player.name = text(s, 1);
            player.fieldTranslations =
                DBTableAbstract::convertStringToFieldTranslations(text(s, 2));
            const auto teamID = integer(s, 3);
            auto teamName = text(s, 4);
            if (teamID || teamName) {
              player.team = model::Team{.ID = teamID.value_or(0), .name = std::move(teamName)};
            }
            player.sport = sport(s, -1, -1, 5);
            player.userCount = integer(s, 6);
            players.push_back(std::move(player));
          });
  read += players.size() + ids(db, notificationIDsQuery(DBTablePlayer::kTableName)).size();

  std::vector<model::Tournament> leagues;
  eachRow(db,
          "SELECT ID, TOURNAMENT_UNIQUE_NAME, TOURNAMENT_ID, TOURNAMENT_NAME, "
          "TOURNAMENT_FIELD_TRANSLATIONS, TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS, SPORT_SLUG, "
          "SPORT_ID, SPORT_NAME, CATEGORY_ID, CATEGORY_NAME, "
          "TOURNAMENT_CATEGORY_FIELD_TRANSLATIONS, CATEGORY_FLAG, USER_COUNT FROM MyLeagueTable",
          [&](sqlite3_stmt* s) {
            model::Tournament league{.ID = sqlite3_column_int64(s, 2)};
            league.uniqueId = integer(s, 0);
            league.uniqueName = text(s, 1);
            league.name = text(s, 3);
            league.fieldTranslations =
                DBTableAbstract::convertStringToFieldTranslations(text(s, 4));
            league.uniqueFieldTranslations =
                DBTableAbstract::convertStringToFieldTranslations(text(s, 5));
            model::CategoryModel category{.ID = sqlite3_column_int64(s, 9), .name = text(s, 10)};
            category.sport = sport(s, 7, 8, 6);
            category.fieldTranslations =
                DBTableAbstract::convertStringToFieldTranslations(text(s, 11));
            category.flag = text(s, 12);
            league.category = std::move(category);
            league.userCount = integer(s, 13);
            leagues.push_back(std::move(league));
          });
  read += leagues.size() + ids(db, notificationIDsQuery(DBTableTournament::kTableName)).size();

  for (const char* table : {DBTablePinnedUniqueTournaments::kTableName,
                            DBTableTvChannels::kTableName, DBTableFantasyCompetition::kTableName}) {
    eachRow(db, std::string("SELECT * FROM ") + table, [&](sqlite3_stmt*) { ++read; });
  }
  return read;
}

std::size_t expectedRows(int rows) {
  // Favourite and muted event IDs, favourite and muted stages, the three
  // followed tables and the halves with notifications on.
  return static_cast<std::size_t>(rows + rows / 10 + rows + rows / 10) + 3 * (kFollowed + kFollowed / 2);
}

void BM_Raw_ReadFollowedRows(benchmark::State& state) {
  FacadeHome& home = homeFor(state);
  std::size_t read = 0;
  for (auto _ : state) {
    sqlite3* db = nullptr;
    sqlite3_open_v2(home.databasePath().c_str(), &db,
                    SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX, nullptr);
    read = readFollowedRows(db);
    sqlite3_close_v2(db);
  }
  if (read != expectedRows(home.rows())) state.SkipWithError("the raw read missed rows");
}

void BM_StorageManager_ColdStart(benchmark::State& state) {
  FacadeHome& home = homeFor(state);
  std::size_t favourites = 0;
  for (auto _ : state) {
    auto facade = StorageManager::forHome(home.path(), home.dataManager());
    state.PauseTiming();
    favourites = facade->getFavoriteEventIDs().size() + facade->getFavoriteStages().size();
    facade.reset();
    home.settle();
    state.ResumeTiming();
  }
  if (favourites != static_cast<std::size_t>(2 * home.rows())) {
    state.SkipWithError("the caches missed rows");
  }
}

// ---- isFavoriteEvent ----

void BM_StorageManager_IsFavoriteEvent(benchmark::State& state) {
  FacadeHome& home = homeFor(state);
  const auto facade = home.facade();
  const std::vector<std::int64_t> asked = membershipQuestions(state.range(0));
  std::size_t next = 0;
  std::int64_t hits = 0;
  for (auto _ : state) {
    hits += facade->isFavoriteEvent(asked[next++ & 4095]) ? 1 : 0;
  }
  benchmark::DoNotOptimize(hits);
}

// ---- A favourite insert ----

// The event-table case's home: `rows` full events, rewritten in turn.
class InsertHome {
 public:
  static InsertHome& forRows(int rows) {
    static std::map<int, std::unique_ptr<InsertHome>> homes;
    auto& home = homes[rows];
    if (!home) home.reset(new InsertHome(rows));
    return *home;
  }
  StorageManager& facade() const { return *facade_; }
  const model::Event& event(std::int64_t iteration) const {
    return events_[static_cast<std::size_t>(iteration % static_cast<std::int64_t>(events_.size()))];
  }

 private:
  explicit InsertHome(int rows) : home_("kestrel-facade-insert-bench") {
    platform::Clock::setFixed(kNow);
    std::vector<std::string> fill;
    for (int id = 1; id <= rows; ++id) {
      events_.push_back(makeEvent(id, kNow));
      ColumnValueMap columns = DBTableEvent::mapAllPropertiesToColumns(events_.back());
      columns.emplace_back(DBTableEvent::kIsMuted, false);
      fill.push_back(*NewSQLBuilder::insertOrReplaceInTable(DBTableEvent::kTableName, columns));
    }
    home_.run(fill);
    const auto path = std::filesystem::path(home_.databasePath()).parent_path().parent_path();
    dataManager_ = DataManager::forHome(path);
    if (dataManager_->loadStore()) platform::fatal("the benchmark's object store did not load");
    facade_ = StorageManager::forHome(path, dataManager_);
  }

  BenchHome home_;
  std::vector<model::Event> events_;
  std::shared_ptr<DataManager> dataManager_;
  std::shared_ptr<StorageManager> facade_;
};

void BM_StorageManager_InsertEvent(benchmark::State& state) {
  InsertHome& home = InsertHome::forRows(static_cast<int>(state.range(0)));
  bool ok = true;
  std::int64_t iteration = 0;
  for (auto _ : state) {
    home.facade().insertEvent(home.event(iteration++), false, [&](bool success) { ok &= success; });
  }
  if (!ok) state.SkipWithError("an insert failed");
}

}  // namespace

BENCHMARK(BM_Raw_ReadFollowedRows)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_StorageManager_ColdStart)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_StorageManager_IsFavoriteEvent)->Arg(1000)->Arg(10000);
BENCHMARK(BM_StorageManager_InsertEvent)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

}  // namespace kestrel::bench
