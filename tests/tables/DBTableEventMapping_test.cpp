#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>
#include <string>

#include "tables/DBTableEventFixture.h"
#include "tables/FailingAllocation.h"

// The row mapping: an Event written and read back keeps every stored value;
// rows written by other means (NULLs, text in integer columns, old layouts)
// still give an Event; parts built from NULL columns are written back as
// NULL; a failure inside either direction ends it without throwing.
namespace kestrel {
namespace {

using model::Event;
using model::FieldTranslations;
using model::Team;
using testing::DBTableEventTest;
using testing::kNowSeconds;

FieldTranslations translations(const std::string& name) {
  return FieldTranslations{{{"de", name + "-de"}, {"pt-BR", name + "-pt"}}, {{"de", name}}};
}

Team team(std::int64_t id, const std::string& name, std::vector<Team> subTeams = {}) {
  return Team{.ID = id,
              .name = name,
              .shortName = name.substr(0, 3),
              .flag = name + "-flag",
              .nameCode = "K" + std::to_string(id % 100),
              .fieldTranslations = translations(name),
              .subTeams = std::move(subTeams)};
}

model::EventScore score(std::int64_t b) {  // every field, in declaration order
  return {b,      b + 1,  b + 2,  b + 3,  "A",    {b, 0, b + 10}, b + 11,      b + 12,
          b + 13, b + 14, b + 15, b + 16, b + 17, {7, 10},        "245/6 (50)"};
}

// Every mapped property set, two sub-teams a side, no two numbers alike.
Event fullEvent() {
  Event e;
  e.ID = 9001;
  e.startTimestamp = kNowSeconds - 1800;
  e.endTimestamp = kNowSeconds + 5400;
  e.visible = e.hasGlobalHighlights = e.hasHighlightsStream = e.hasEventPlayerStatistics = true;
  e.crowdsourcingEnabled = e.crowdsourcingDataDisplayEnabled = true;
  e.webUrl = "https://example.org/match/9001";
  e.cardsCodeOriginal = "RY";
  e.statusDescription = "2nd set";
  e.status = model::EventStatus(model::EventStatus::kInProgress, 9);
  e.lastPeriod = "period2";
  e.firstToServeOriginal = 2;
  e.winnerCodeOriginal = 3;
  e.aggregatedWinnerCodeOriginal = 1;

  model::Tournament t{.ID = 501, .name = "Open", .fieldTranslations = translations("Open")};
  t.uniqueId = 502;
  t.uniqueName = "Grand Open";
  t.uniqueFieldTranslations = translations("Grand");
  const model::Sport tennis{.ID = 5, .name = "Tennis", .slug = "tennis"};
  t.category = model::CategoryModel{503, "World", "world", 0, tennis, translations("World")};
  t.season = model::Season{.ID = 504, .name = "Open 2024", .year = "2024"};
  t.hasEventPlayerHeatMap = t.hasEventPlayerStatistics = t.hasBoxScore = true;
  t.displayInverseHomeAwayTeams = true;
  t.groundType = "Clay";
  t.tennisPoints = 1000;
  e.tournament = t;

  e.homeTeamOriginal = team(601, "Kestrels", {team(611, "Ada"), team(612, "Bea")});
  e.awayTeamOriginal = team(701, "Falcons", {team(711, "Cid"), team(712, "Dot")});
  e.homeScoreOriginal = score(20);
  e.awayScoreOriginal = score(40);
  e.time = model::EventTime{.currentTime = 3120, .periodTimes = {2700, 2880}};
  e.changesOriginal =
      model::EventChanges({"homeScore.current", "status.code"}, kNowSeconds - 5, true);
  e.statusTime = model::StatusTime{
      .initial = 2700, .max = 5400, .extra = 240, .timestamp = kNowSeconds - 600, .prefix = "+"};
  e.timeInfo = model::TimeInfo(3100, 2700, 900, 4);
  e.yardDistanceOriginal = model::YardDistance(8, 3, 42, 1, 2, 1);
  e.varInProgress = model::VarInProgress(true, false);
  e.currentBattingTeamId = 601;
  e.finalRound = true;
  e.streamContentId = 777;
  e.streamContentGeoRestrictions = {"DE", "AT", "CH"};
  e.bestOfSets = 5;
  return e;
}

Value columnOf(const Event& e, const std::string& name) {
  for (const auto& [key, value] : DBTableEvent::mapAllPropertiesToColumns(e)) {
    if (key == name) return value;
  }
  return Value("missing");
}

using DBTableEventMappingTest = DBTableEventTest;

TEST_F(DBTableEventMappingTest, FullyPopulatedEventSurvivesWriteAndRead) {
  const Event in = fullEvent();
  ASSERT_TRUE(insertFavorite(in));
  const auto out = read(in.ID);
  ASSERT_TRUE(out.has_value());

  // Every mapped property came back: the read event maps to the same columns.
  EXPECT_EQ(DBTableEvent::mapAllPropertiesToColumns(*out),
            DBTableEvent::mapAllPropertiesToColumns(in));
  EXPECT_EQ(out->status, in.status);  // type, code and the derived text
  ASSERT_EQ(out->homeTeamOriginal->subTeams.size(), 2u);
  EXPECT_EQ(out->awayTeamOriginal->subTeams[1].name, "Dot");
  ASSERT_TRUE(out->currentBattingTeam.has_value());
  EXPECT_EQ(out->currentBattingTeam->ID, 601);
  for (const auto& side : {out->homeTeamOriginal, out->awayTeamOriginal}) {
    ASSERT_TRUE(side->sport.has_value()) << "a stored team carries the event's sport";
    EXPECT_EQ(side->sport->ID, 5);
    EXPECT_EQ(side->sport->slug, "tennis");
  }

  // Stored forms and columns the read side does not return.
  EXPECT_EQ(column(in.ID, "LAST_UPDATE"), std::to_string(kNowSeconds));
  EXPECT_EQ(column(in.ID, "SPORT_ROWS"), "0");
  EXPECT_EQ(column(in.ID, "HOME_TEAM_SUBTEAMS"), "Ada,Bea");
  EXPECT_EQ(column(in.ID, "HOME_PERIODS"), "20,0,30");
  EXPECT_EQ(column(in.ID, "IS_MUTED"), "0");
  EXPECT_EQ(column(in.ID, "IS_HIDDEN"), std::nullopt);
}

TEST_F(DBTableEventMappingTest, PartsReadFromNullColumnsAreBuiltAndWrittenBackAsNull) {
  Event in = event(1);
  in.homeTeamOriginal = team(10, "Solo", {team(11, "Only")});
  in.awayTeamOriginal = team(20, "Nobody");
  ASSERT_TRUE(insertFavorite(in));
  const char* const kNullColumns[] = {
      "HOME_SUBTEAM2_COL_ID",   "HOME_SUBTEAM2_COL_NAME", "HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS",
      "AWAY_SUBTEAM1_COL_ID",   "AWAY_SUBTEAM1_COL_NAME", "AWAY_SUBTEAM2_COL_ID",
      "AWAY_TEAM_SUBTEAMS",     "CURRENT_BATTING_TEAM_ID", "VAR_IN_PROGRESS_HOME",
      "VAR_IN_PROGRESS_AWAY"};

  for (int round = 1; round <= 2; ++round) {
    EXPECT_EQ(column(1, "HOME_SUBTEAM1_COL_ID"), "11");
    EXPECT_EQ(column(1, "HOME_TEAM_SUBTEAMS"), "Only");
    for (const char* name : kNullColumns) {
      // Once read back, the event has a VAR state, written as 0 (read as false either way).
      const bool var = std::string(name).starts_with("VAR_");
      EXPECT_EQ(column(1, name), round == 2 && var ? std::optional<std::string>("0") : std::nullopt)
          << name << ", round " << round;
    }

    // Two sub-teams a side, a batting team and a VAR state, also from NULL columns.
    const auto out = read(1);
    ASSERT_TRUE(out.has_value());
    ASSERT_EQ(out->homeTeamOriginal->subTeams.size(), 2u);
    EXPECT_EQ(out->homeTeamOriginal->subTeams[0].ID, 11);
    EXPECT_EQ(out->homeTeamOriginal->subTeams[0].name, "Only");
    EXPECT_EQ(out->homeTeamOriginal->subTeams[1].ID, 0);
    EXPECT_EQ(out->homeTeamOriginal->subTeams[1].name, std::nullopt);
    ASSERT_EQ(out->awayTeamOriginal->subTeams.size(), 2u);
    EXPECT_EQ(out->awayTeamOriginal->subTeams[1].ID, 0);
    ASSERT_TRUE(out->currentBattingTeam.has_value());
    EXPECT_EQ(out->currentBattingTeam->ID, 0);
    EXPECT_EQ(out->varInProgress, model::VarInProgress(false, false));

    // Writing back what was read invents no sub-team and no batting team.
    testing::Captured<bool> updated;
    DBTableEvent::updateEvent(*out, queue_, updated.completion());
    ASSERT_EQ(updated.value, true);
  }
}

TEST_F(DBTableEventMappingTest, MapHoldsEveryColumnButTheFlagsOnceAndNullForWhatIsMissing) {
  const ColumnValueMap map = DBTableEvent::mapAllPropertiesToColumns(Event{});
  std::set<std::string> expected, names, present;
  for (const auto& column : DBTableEvent::kColumns) expected.insert(column.name);
  expected.erase("IS_MUTED");
  expected.erase("IS_HIDDEN");
  for (const auto& [name, value] : map) {
    names.insert(name);
    if (!value.isNull()) present.insert(name);
  }
  EXPECT_EQ(map.size(), 125u) << "no column twice";
  EXPECT_EQ(names, expected);
  // An empty event: only its own numbers and flags, the clock, the constant
  // and the flags of the absent tournament and change set (0) are set;
  // everything else under an absent part is NULL, the VAR flags included.
  const std::set<std::string> flagsOfAbsentParts = {
      "CHANGES_HAS_CHANGES", "TOURNAMENT_PLAYER_HEATMAP", "TOURNAMENT_PLAYER_STATISTICS",
      "TOURNAMENT_BOX_SCORE", "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS"};
  std::set<std::string> expectedPresent = {
      "ID",          "VISIBLE",    "HASHIGHLIGHTS", "HAS_HIGHLIGHTS_STREAM", "STATUS_TYPE",
      "LAST_UPDATE", "SPORT_ROWS", "STATUS_CODE",   "STATISTICS",            "CROWDSOURCING_ENABLED",
      "CROWDSOURCING_DATA_DISPLAY_ENABLED"};
  expectedPresent.insert(flagsOfAbsentParts.begin(), flagsOfAbsentParts.end());
  EXPECT_EQ(present, expectedPresent);
  for (const auto& name : flagsOfAbsentParts) EXPECT_EQ(columnOf(Event{}, name), Value(0)) << name;

  // The batting team's ID takes precedence over the batting team; an empty
  // batting team (ID 0, nothing else) is no batting team.
  Event e;
  e.currentBattingTeam = Team{.ID = 33};
  EXPECT_EQ(columnOf(e, "CURRENT_BATTING_TEAM_ID"), Value(33));
  e.currentBattingTeamId = 44;
  EXPECT_EQ(columnOf(e, "CURRENT_BATTING_TEAM_ID"), Value(44));
  e.currentBattingTeamId.reset();
  e.currentBattingTeam = Team{};
  EXPECT_EQ(columnOf(e, "CURRENT_BATTING_TEAM_ID"), Value::null());
  e.currentBattingTeam = Team{.ID = 0, .name = "Zero"};
  EXPECT_EQ(columnOf(e, "CURRENT_BATTING_TEAM_ID"), Value(0));
}

TEST_F(DBTableEventMappingTest, RowOfNullsAndTextInIntegerColumnsStillMaps) {
  exec("INSERT INTO EventTable_ (ID) VALUES (1)");
  exec(
      "INSERT INTO EventTable_ (ID, START_DATE, STATUS_TYPE, VISIBLE, HOME_CURRENT, HOME_PERIODS, "
      "TIME_PERIOD_TIMES, CHANGES_CARRAY, VAR_IN_PROGRESS_AWAY, FINAL_ROUND, "
      "TOURNAMENT_FIELD_TRANSLATIONS, AWAY_TIE_BREAK_PERIODS) VALUES (2, 'soon', 'live', 'yes', "
      "'n/a', '1,x,-3', '', 'a,,b', 1, 0, 'not base64!', '-9223372036854775808,"
      "9223372036854775807,9223372036854775808,-99999999999999999999, +7')");

  const auto empty = read(1);
  ASSERT_TRUE(empty.has_value());
  EXPECT_EQ(empty->startTimestamp, std::nullopt);
  EXPECT_EQ(empty->status.typeStr, "unknown");
  EXPECT_EQ(empty->homeScoreOriginal, model::EventScore{});
  EXPECT_EQ(empty->varInProgress, model::VarInProgress(false, false));
  EXPECT_EQ(empty->currentBattingTeam->ID, 0);
  EXPECT_EQ(empty->homeTeamOriginal->ID, 0);
  EXPECT_EQ(empty->homeTeamOriginal->subTeams.size(), 2u);

  const auto odd = read(2);
  ASSERT_TRUE(odd.has_value());
  EXPECT_EQ(odd->startTimestamp, 0);  // text in an integer column reads as 0
  EXPECT_FALSE(odd->visible);
  EXPECT_EQ(odd->homeScoreOriginal->periods, (std::vector<std::int64_t>{1, 0, -3}));
  EXPECT_TRUE(odd->time->periodTimes.empty());
  EXPECT_EQ(odd->changesOriginal->changes, (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(odd->varInProgress, model::VarInProgress(false, true));
  EXPECT_EQ(odd->finalRound, false);
  EXPECT_FALSE(odd->tournament->fieldTranslations.has_value());
  // List elements at and beyond the ends of the 64-bit range.
  constexpr auto kMin = std::numeric_limits<std::int64_t>::min();
  constexpr auto kMax = std::numeric_limits<std::int64_t>::max();
  EXPECT_EQ(odd->awayScoreOriginal->tieBreaks, (std::vector<std::int64_t>{kMin, kMax, kMax, kMin, 7}));
}

TEST_F(DBTableEventMappingTest, MissingColumnsWarnOncePerResultSetNotPerRow) {
  // A table upgraded from before the American-football columns lacks the team half.
  exec("ALTER TABLE EventTable_ DROP COLUMN AM_FOOTBALL_CURRENT_TEAM_HALF");
  for (std::int64_t id = 1; id <= 3; ++id) ASSERT_TRUE(insertFavorite(event(id)));
  logs_.clear();

  testing::CapturedRead<std::vector<Event>> all;
  DBTableEvent::getAllFavoriteEvents(queue_, all.completion());
  ASSERT_EQ(all.value->size(), 3u);
  EXPECT_FALSE(all.value->front().yardDistanceOriginal->currentTeamHalfNumber.has_value());
  EXPECT_EQ(logs_.count("Warning: I could not find the column named "
                        "'am_football_current_team_half'."),
            1u);
}

// Each allocation of a mapping is made to fail in turn, until one run
// needs fewer allocations than the failing one and completes.
TEST_F(DBTableEventMappingTest, AFailureInsideEitherDirectionEndsItWithWhatWasMapped) {
  const Event in = fullEvent();
  const ColumnValueMap full = DBTableEvent::mapAllPropertiesToColumns(in);
  std::size_t n = 1;
  for (;; ++n) {
    ColumnValueMap partial;
    bool failed = false;
    {
      const testing::FailingAllocation failure(n);
      partial = DBTableEvent::mapAllPropertiesToColumns(in);
      failed = failure.failed();
    }
    if (!failed) {
      EXPECT_EQ(partial, full);
      break;
    }
    ASSERT_LT(partial.size(), full.size()) << n;
    EXPECT_TRUE(std::equal(partial.begin(), partial.end(), full.begin())) << n;
  }
  EXPECT_GT(n, 100u) << "the write mapping allocates for most columns";
  EXPECT_TRUE(logs_.lines().empty()) << "the write side fails silently";

  // The read side without field translations: the JSON library's values
  // allocate while they are destroyed, so a failure there ends the process
  // whatever the mapper does.
  Event plain = in;
  plain.tournament->fieldTranslations.reset();
  plain.tournament->uniqueFieldTranslations.reset();
  plain.tournament->category->fieldTranslations.reset();
  for (auto* side : {&*plain.homeTeamOriginal, &*plain.awayTeamOriginal}) {
    side->fieldTranslations.reset();
    for (auto& subteam : side->subTeams) subteam.fieldTranslations.reset();
  }
  const ColumnValueMap plainColumns = DBTableEvent::mapAllPropertiesToColumns(plain);
  ASSERT_TRUE(insertFavorite(plain));
  for (n = 1;; ++n) {
    Event out;
    bool failed = false;
    queue_->inDatabase([&](FMDatabase* db) {
      const auto resultSet = db->executeQuery("SELECT * FROM EventTable_");
      ASSERT_TRUE(resultSet && resultSet->next());
      {
        const testing::FailingAllocation failure(n);
        out = DBTableEvent::mapEventFromResultSet(*resultSet);  // layout and row
        failed = failure.failed();
      }
      resultSet->close();
    });
    if (!failed) {
      EXPECT_EQ(DBTableEvent::mapAllPropertiesToColumns(out), plainColumns);
      EXPECT_TRUE(logs_.lines().empty());
      break;
    }
    EXPECT_EQ(logs_.lines(), std::vector<std::string>{"DB: Event mapper exception caught."}) << n;
    logs_.clear();
  }
  EXPECT_GT(n, 100u) << "the read mapping allocates for every text";
}

}  // namespace
}  // namespace kestrel
