// Event-table cases: a favourite insert through DBTableEvent against raw
// sqlite3 running the very statement text our builder produces, and reading
// every favourite into Event values through DBTableEvent against raw sqlite3
// reading the same 127 columns by index into the same structs. A last case
// reports what holding 10k mapped events costs in heap memory.
//
// Each row count gets its own application home under a temporary folder,
// set up once through the system's own start path and filled with fully
// populated favourite events; the clock is fixed so every case sees the same
// rows and writes the same text.
#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelModel/Model.h>
#include <KestrelPlatform/Clock.h>

#include "BenchDatabase.h"
#include "BenchEvents.h"
#include "BenchHome.h"

#include <benchmark/benchmark.h>
#include <malloc.h>
#include <sqlite3.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <string_view>

namespace kestrel::bench {
namespace {

using model::Event;

constexpr double kNow = 1'800'000'000.0;

// One home per row count: "EventTable_" holding `rows` favourites.
class EventHome {
 public:
  static EventHome& forRows(int rows) {
    static std::map<int, std::unique_ptr<EventHome>> homes;
    auto& home = homes[rows];
    if (!home) home.reset(new EventHome(rows));
    return *home;
  }

  int rows() const { return rows_; }
  const std::shared_ptr<FMDatabaseQueue>& queue() const { return home_.queue(); }
  std::string databasePath() const { return home_.databasePath(); }
  const Event& event(std::int64_t iteration) const {
    return events_[static_cast<std::size_t>(iteration % rows_)];
  }
  /// The builder's text for the favourite insert of event(iteration).
  const std::string& insertText(std::int64_t iteration) const {
    return texts_[static_cast<std::size_t>(iteration % rows_)];
  }

 private:
  explicit EventHome(int rows) : rows_(rows), home_("kestrel-event-bench") {
    platform::Clock::setFixed(kNow);
    for (int id = 1; id <= rows; ++id) {
      events_.push_back(makeEvent(id, kNow));
      ColumnValueMap columns = DBTableEvent::mapAllPropertiesToColumns(events_.back());
      columns.emplace_back(DBTableEvent::kIsMuted, false);
      texts_.push_back(*NewSQLBuilder::insertOrReplaceInTable(DBTableEvent::kTableName, columns));
    }
    home_.run(texts_);
  }

  int rows_;
  BenchHome home_;
  std::vector<Event> events_;
  std::vector<std::string> texts_;
};

EventHome& homeFor(const benchmark::State& state) {
  return EventHome::forRows(static_cast<int>(state.range(0)));
}

// ---- One favourite insert per transaction ----

void BM_Raw_InsertEventText(benchmark::State& state) {
  EventHome& home = homeFor(state);
  const auto db = BenchDatabase::openRaw(home.databasePath());
  bool ok = true;
  std::int64_t iteration = 0;
  for (auto _ : state) {
    const std::string& text = home.insertText(iteration++);
    ok &= sqlite3_exec(db.get(), "begin exclusive transaction", nullptr, nullptr, nullptr) ==
          SQLITE_OK;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db.get(), text.data(), static_cast<int>(text.size()), &statement, nullptr);
    ok &= sqlite3_step(statement) == SQLITE_DONE;
    sqlite3_finalize(statement);
    ok &= sqlite3_exec(db.get(), "commit transaction", nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  if (!ok) state.SkipWithError("an insert or its transaction failed");
}

void BM_DBTableEvent_InsertEvent(benchmark::State& state) {
  EventHome& home = homeFor(state);
  bool ok = true;
  std::int64_t iteration = 0;
  for (auto _ : state) {
    DBTableEvent::insertEvent(home.event(iteration++), false, home.queue(),
                              [&](bool success) { ok &= success; });
  }
  if (!ok) state.SkipWithError("an insert failed");
}

// ---- Every favourite, mapped into Event values ----

// The position of a column in "EventTable_" rows (SELECT * keeps table order).
consteval int at(std::string_view name) {
  for (std::size_t i = 0; i < DBTableEvent::kColumns.size(); ++i) {
    if (std::string_view(DBTableEvent::kColumns[i].name) == name) return static_cast<int>(i);
  }
  throw "unknown event column";
}

class RawRow {
 public:
  explicit RawRow(sqlite3_stmt* s) : s_(s) {}
  std::optional<std::int64_t> integer(int i) const {
    if (sqlite3_column_type(s_, i) == SQLITE_NULL) return std::nullopt;
    return sqlite3_column_int64(s_, i);
  }
  std::int64_t integerOrZero(int i) const { return sqlite3_column_int64(s_, i); }
  bool boolean(int i) const { return sqlite3_column_int(s_, i) != 0; }
  std::optional<std::string> text(int i) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(s_, i));
    if (bytes == nullptr) return std::nullopt;
    return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(s_, i)));
  }
  std::optional<model::FieldTranslations> translations(int i) const {
    return DBTableAbstract::convertStringToFieldTranslations(text(i));
  }
  std::vector<std::string> texts(int i) const {
    std::vector<std::string> pieces;
    const auto joined = text(i);
    if (!joined || joined->empty()) return pieces;
    std::size_t start = 0;
    for (;;) {
      const std::size_t comma = joined->find(',', start);
      pieces.push_back(joined->substr(start, comma - start));
      if (comma == std::string::npos) break;
      start = comma + 1;
    }
    return pieces;
  }
  std::vector<std::int64_t> integers(int i) const {
    std::vector<std::int64_t> numbers;
    for (const std::string& piece : texts(i))
      numbers.push_back(std::strtoll(piece.c_str(), nullptr, 10));
    return numbers;
  }

 private:
  sqlite3_stmt* s_;
};

model::Sport rawSport(const RawRow& r) {
  model::Sport sport;
  sport.ID = r.integerOrZero(at("SPORT_ID"));
  sport.name = r.text(at("SPORT_NAME"));
  sport.slug = r.text(at("SPORT_SLUG"));
  return sport;
}

model::Team rawSubteam(const RawRow& r, int id, int name, int translations) {
  model::Team subteam;
  subteam.ID = r.integerOrZero(id);
  subteam.name = r.text(name);
  subteam.fieldTranslations = r.translations(translations);
  return subteam;
}

model::Team rawTeam(const RawRow& r, int first, int subteams) {
  // first: <SIDE>_TEAM_ID; the side's seven team columns follow it in order.
  model::Team team;
  team.ID = r.integerOrZero(first);
  team.name = r.text(first + 1);
  team.shortName = r.text(first + 2);
  team.flag = r.text(first + 3);
  team.sport = rawSport(r);
  auto one = rawSubteam(r, subteams, subteams + 1, subteams + 2);
  auto two = rawSubteam(r, subteams + 3, subteams + 4, subteams + 5);
  team.nameCode = r.text(first + 5);
  team.fieldTranslations = r.translations(first + 6);
  team.subTeams.reserve(2);
  team.subTeams.push_back(std::move(one));
  team.subTeams.push_back(std::move(two));
  return team;
}

model::EventScore rawScore(const RawRow& r, int first, int description) {
  // first: <SIDE>_CURRENT; NORMALTIME, AGGREGATED, PENALTIES, POINT, PERIODS,
  // PERIOD1..7 and TIE_BREAK_PERIODS follow it in table order.
  model::EventScore score;
  score.display = r.integer(first);
  score.normalTime = r.integer(first + 1);
  score.aggregated = r.integer(first + 2);
  score.penalties = r.integer(first + 3);
  score.point = r.text(first + 4);
  score.cricketScoreDescription = r.text(description);
  score.periods = r.integers(first + 5);
  score.period1 = r.integer(first + 6);
  score.period2 = r.integer(first + 7);
  score.period3 = r.integer(first + 8);
  score.period4 = r.integer(first + 9);
  score.period5 = r.integer(first + 10);
  score.period6 = r.integer(first + 11);
  score.period7 = r.integer(first + 12);
  score.tieBreaks = r.integers(first + 13);
  return score;
}

Event rawEvent(const RawRow& r) {
  Event e;
  e.ID = r.integerOrZero(at("ID"));
  e.startTimestamp = r.integer(at("START_DATE"));
  e.visible = r.boolean(at("VISIBLE"));
  e.hasGlobalHighlights = r.boolean(at("HASHIGHLIGHTS"));
  e.hasHighlightsStream = r.boolean(at("HAS_HIGHLIGHTS_STREAM"));
  e.webUrl = r.text(at("WEBURL"));
  e.cardsCodeOriginal = r.text(at("CARDS_CODE"));
  e.statusDescription = r.text(at("STATUS_DESCRIPTION"));
  e.status = model::EventStatus(r.integerOrZero(at("STATUS_TYPE")));
  e.lastPeriod = r.text(at("LAST_PERIOD"));
  e.firstToServeOriginal = r.integer(at("FIRST2SERVE"));
  e.winnerCodeOriginal = r.integer(at("WINNER_CODE"));
  e.aggregatedWinnerCodeOriginal = r.integer(at("AGGREGATED_WINNER_CODE"));
  e.crowdsourcingEnabled = r.boolean(at("CROWDSOURCING_ENABLED"));
  e.crowdsourcingDataDisplayEnabled = r.boolean(at("CROWDSOURCING_DATA_DISPLAY_ENABLED"));

  model::Tournament t;
  t.ID = r.integerOrZero(at("TOURNAMENT_ID"));
  t.name = r.text(at("TOURNAMENT_NAME"));
  t.fieldTranslations = r.translations(at("TOURNAMENT_FIELD_TRANSLATIONS"));
  t.uniqueId = r.integer(at("TOURNAMENT_UNIQUE_ID"));
  t.uniqueFieldTranslations = r.translations(at("TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS"));
  model::CategoryModel category;
  category.ID = r.integerOrZero(at("CATEGORY_ID"));
  category.name = r.text(at("CATEGORY_NAME"));
  category.flag = r.text(at("CATEGORY_FLAG"));
  category.sport = rawSport(r);
  category.fieldTranslations = r.translations(at("CATEGORY_FIELD_TRANSLATIONS"));
  t.category = std::move(category);
  model::Season season;
  season.ID = r.integerOrZero(at("SEASON_ID"));
  season.name = r.text(at("SEASON_NAME"));
  season.year = r.text(at("SEASON_YEAR"));
  t.season = std::move(season);
  t.uniqueName = r.text(at("TOURNAMENT_UNIQUE_NAME"));
  t.hasEventPlayerHeatMap = r.boolean(at("TOURNAMENT_PLAYER_HEATMAP"));
  t.hasEventPlayerStatistics = r.boolean(at("TOURNAMENT_PLAYER_STATISTICS"));
  t.hasBoxScore = r.boolean(at("TOURNAMENT_BOX_SCORE"));
  t.displayInverseHomeAwayTeams = r.boolean(at("TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS"));
  t.groundType = r.text(at("TOURNAMENT_GROUND_TYPE"));
  t.tennisPoints = r.integer(at("TOURNAMENT_TENNIS_POINTS"));
  e.tournament = std::move(t);

  e.homeTeamOriginal = rawTeam(r, at("HOME_TEAM_ID"), at("HOME_SUBTEAM1_COL_ID"));
  e.awayTeamOriginal = rawTeam(r, at("AWAY_TEAM_ID"), at("AWAY_SUBTEAM1_COL_ID"));
  model::EventTime time;
  time.currentTime = r.integer(at("TIME_CURRENT"));
  time.periodTimes = r.integers(at("TIME_PERIOD_TIMES"));
  e.time = std::move(time);
  e.homeScoreOriginal = rawScore(r, at("HOME_CURRENT"), at("SCORE_DESCRIPTION_HOME"));
  e.awayScoreOriginal = rawScore(r, at("AWAY_CURRENT"), at("SCORE_DESCRIPTION_AWAY"));
  e.changesOriginal =
      model::EventChanges(r.texts(at("CHANGES_CARRAY")), r.integer(at("CHANGES_TIMESTAMP")),
                          r.boolean(at("CHANGES_HAS_CHANGES")));
  e.status.code = r.integerOrZero(at("STATUS_CODE"));
  e.hasEventPlayerStatistics = r.boolean(at("STATISTICS"));
  e.endTimestamp = r.integer(at("END_DATE"));
  e.currentBattingTeam = model::Team{.ID = r.integerOrZero(at("CURRENT_BATTING_TEAM_ID"))};
  model::StatusTime statusTime;
  statusTime.initial = r.integer(at("STATUS_INITIAL"));
  statusTime.max = r.integer(at("STATUS_MAX"));
  statusTime.extra = r.integer(at("STATUS_EXTRA"));
  statusTime.timestamp = r.integer(at("STATUS_TIMESTAMP"));
  statusTime.prefix = r.text(at("STATUS_PREFIX"));
  e.statusTime = std::move(statusTime);
  e.timeInfo = model::TimeInfo(
      r.integer(at("TIMEINFO_PLAYED")), r.integer(at("TIMEINFO_PERIOD_LENGTH")),
      r.integer(at("TIMEINFO_OVERTIME_LENGTH")), r.integer(at("TIMEINFO_TOTAL_PERIOD_COUNT")));
  if (const auto finalRound = r.integer(at("FINAL_ROUND"))) e.finalRound = *finalRound != 0;
  e.yardDistanceOriginal = model::YardDistance(r.integer(at("AM_FOOTBALL_YARDS_TO_FIRST_DOWN")),
                                               r.integer(at("AM_FOOTBALL_CURRENT_DOWN")),
                                               r.integer(at("AM_FOOTBALL_CURRENT_YARDLINE")),
                                               r.integer(at("AM_FOOTBALL_IS_GOAL_POSSESSION")),
                                               r.integer(at("AM_FOOTBALL_CURRENT_POSSESSION")),
                                               r.integer(at("AM_FOOTBALL_CURRENT_TEAM_HALF")));
  e.streamContentId = r.integer(at("STREAM_CONTENT_ID"));
  e.streamContentGeoRestrictions = r.texts(at("STREAM_CONTENT_GEO_RESTRICTIONS"));
  e.bestOfSets = r.integer(at("BEST_OF_SETS"));
  e.varInProgress = model::VarInProgress(r.integerOrZero(at("VAR_IN_PROGRESS_HOME")) != 0,
                                         r.integerOrZero(at("VAR_IN_PROGRESS_AWAY")) != 0);
  return e;
}

static_assert(at("HOME_TEAM_NAME_CODE") == at("HOME_TEAM_ID") + 5 &&
                  at("AWAY_TEAM_FIELD_TRANSLATIONS") == at("AWAY_TEAM_ID") + 6 &&
                  at("HOME_TIE_BREAK_PERIODS") == at("HOME_CURRENT") + 13 &&
                  at("AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS") == at("AWAY_SUBTEAM1_COL_ID") + 5,
              "the raw reader relies on these columns following each other");

void checkCount(benchmark::State& state, std::size_t read, int expected) {
  if (read != static_cast<std::size_t>(expected)) {
    state.SkipWithError("the read did not return every favourite");
  }
}

void BM_Raw_ReadEventsByIndex(benchmark::State& state) {
  EventHome& home = homeFor(state);
  const auto db = BenchDatabase::openRaw(home.databasePath());
  const std::string query = DBTableEvent::allFavoriteEventsQuery(kNow);
  std::size_t read = 0;
  for (auto _ : state) {
    std::vector<Event> events;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db.get(), query.c_str(), -1, &statement, nullptr);
    const RawRow row(statement);
    while (sqlite3_step(statement) == SQLITE_ROW) events.push_back(rawEvent(row));
    sqlite3_finalize(statement);
    read = events.size();
    benchmark::DoNotOptimize(events.data());
  }
  state.SetItemsProcessed(state.iterations() * home.rows());
  checkCount(state, read, home.rows());
}

void BM_DBTableEvent_GetAllFavoriteEvents(benchmark::State& state) {
  EventHome& home = homeFor(state);
  std::size_t read = 0;
  for (auto _ : state) {
    DBTableEvent::getAllFavoriteEvents(home.queue(), [&](ReadResult<std::vector<Event>> events) {
      read = events ? events->size() : 0;
      if (events) benchmark::DoNotOptimize(events->data());
    });
  }
  state.SetItemsProcessed(state.iterations() * home.rows());
  checkCount(state, read, home.rows());
}

// ---- Memory: holding the mapped favourites ----

// Heap bytes in use while the mapped events are held, measured as the growth
// of malloc's in-use total across the read.
void BM_DBTableEvent_HoldMappedEvents(benchmark::State& state) {
  EventHome& home = homeFor(state);
  double heapBytes = 0;
  for (auto _ : state) {
    const std::size_t before = mallinfo2().uordblks;
    std::vector<Event> held;
    DBTableEvent::getAllFavoriteEvents(
        home.queue(), [&](ReadResult<std::vector<Event>> events) {
          if (events) held = std::move(*events);
        });
    heapBytes = static_cast<double>(mallinfo2().uordblks - before);
    benchmark::DoNotOptimize(held.data());
    if (held.size() != static_cast<std::size_t>(home.rows())) state.SkipWithError("short read");
  }
  state.counters["heap_bytes"] = heapBytes;
  state.counters["bytes_per_event"] = heapBytes / home.rows();
}

}  // namespace

BENCHMARK(BM_Raw_InsertEventText)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_DBTableEvent_InsertEvent)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_Raw_ReadEventsByIndex)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_DBTableEvent_GetAllFavoriteEvents)
    ->Arg(1000)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(BM_DBTableEvent_HoldMappedEvents)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1);

}  // namespace kestrel::bench
