#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <string>

#include "tables/DBTableEventFixture.h"

// The row mapping: an Event written and read back keeps every stored value;
// rows written by other means (NULLs, text in integer columns, old layouts)
// still give an Event.
namespace kestrel {
namespace {

using model::Event;
using model::FieldTranslations;
using model::Team;
using testing::DBTableEventTest;
using testing::kNow;
using testing::kNowSeconds;

FieldTranslations translations(const std::string& name) {
  return FieldTranslations{{{"de", name + "-de"}, {"pt-BR", name + "-pt"}}, {{"de", name}}};
}

Team subteam(std::int64_t id, const std::string& name) {
  Team team;
  team.ID = id;
  team.name = name;
  team.fieldTranslations = translations(name);
  return team;
}

Team team(std::int64_t id, const std::string& name, std::vector<Team> subTeams) {
  Team out;
  out.ID = id;
  out.name = name;
  out.shortName = name.substr(0, 3);
  out.flag = name + "-flag";
  out.nameCode = "K" + std::to_string(id % 100);
  out.fieldTranslations = translations(name);
  out.subTeams = std::move(subTeams);
  return out;
}

model::EventScore score(std::int64_t base) {
  model::EventScore s;
  s.display = base;
  s.normalTime = base + 1;
  s.aggregated = base + 2;
  s.penalties = base + 3;
  s.point = "A";
  s.periods = {base, 0, base + 10};
  s.period1 = base + 11;
  s.period2 = base + 12;
  s.period3 = base + 13;
  s.period4 = base + 14;
  s.period5 = base + 15;
  s.period6 = base + 16;
  s.period7 = base + 17;
  s.tieBreaks = {7, 10};
  s.cricketScoreDescription = "245/6 (50)";
  return s;
}

// Every mapped property set, two sub-teams a side, no two numbers alike.
Event fullEvent() {
  Event e;
  e.ID = 9001;
  e.startTimestamp = kNowSeconds - 1800;
  e.endTimestamp = kNowSeconds + 5400;
  e.visible = true;
  e.hasGlobalHighlights = true;
  e.hasHighlightsStream = true;
  e.hasEventPlayerStatistics = true;
  e.crowdsourcingEnabled = true;
  e.crowdsourcingDataDisplayEnabled = true;
  e.webUrl = "https://example.org/match/9001";
  e.cardsCodeOriginal = "RY";
  e.statusDescription = "2nd set";
  e.status = model::EventStatus(model::EventStatus::kInProgress, 9);
  e.lastPeriod = "period2";
  e.firstToServeOriginal = 2;
  e.winnerCodeOriginal = 3;
  e.aggregatedWinnerCodeOriginal = 1;

  model::Tournament t;
  t.ID = 501;
  t.name = "Open";
  t.fieldTranslations = translations("Open");
  t.uniqueId = 502;
  t.uniqueName = "Grand Open";
  t.uniqueFieldTranslations = translations("Grand");
  model::CategoryModel category;
  category.ID = 503;
  category.name = "World";
  category.flag = "world";
  category.sport = model::Sport{.ID = 5, .name = "Tennis", .slug = "tennis"};
  category.fieldTranslations = translations("World");
  t.category = category;
  t.season = model::Season{.ID = 504, .name = "Open 2024", .year = "2024"};
  t.hasEventPlayerHeatMap = true;
  t.hasEventPlayerStatistics = true;
  t.hasBoxScore = true;
  t.displayInverseHomeAwayTeams = true;
  t.groundType = "Clay";
  t.tennisPoints = 1000;
  e.tournament = t;

  e.homeTeamOriginal = team(601, "Kestrels", {subteam(611, "Ada"), subteam(612, "Bea")});
  e.awayTeamOriginal = team(701, "Falcons", {subteam(711, "Cid"), subteam(712, "Dot")});
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

void expectSameTeam(const Team& actual, const Team& expected, const model::Sport& sport) {
  SCOPED_TRACE(expected.name.value_or("?"));
  EXPECT_EQ(actual.ID, expected.ID);
  EXPECT_EQ(actual.name, expected.name);
  EXPECT_EQ(actual.shortName, expected.shortName);
  EXPECT_EQ(actual.flag, expected.flag);
  EXPECT_EQ(actual.nameCode, expected.nameCode);
  EXPECT_EQ(actual.fieldTranslations, expected.fieldTranslations);
  // A stored team carries the event's sport.
  ASSERT_TRUE(actual.sport.has_value());
  EXPECT_EQ(actual.sport->ID, sport.ID);
  EXPECT_EQ(actual.sport->name, sport.name);
  EXPECT_EQ(actual.sport->slug, sport.slug);
  ASSERT_EQ(actual.subTeams.size(), expected.subTeams.size());
  for (std::size_t i = 0; i < expected.subTeams.size(); ++i) {
    EXPECT_EQ(actual.subTeams[i].ID, expected.subTeams[i].ID);
    EXPECT_EQ(actual.subTeams[i].name, expected.subTeams[i].name);
    EXPECT_EQ(actual.subTeams[i].fieldTranslations, expected.subTeams[i].fieldTranslations);
  }
}

using DBTableEventMappingTest = DBTableEventTest;

TEST_F(DBTableEventMappingTest, FullyPopulatedEventSurvivesWriteAndRead) {
  const Event in = fullEvent();
  ASSERT_TRUE(insertFavorite(in));
  const auto out = read(in.ID);
  ASSERT_TRUE(out.has_value());

  EXPECT_EQ(out->ID, in.ID);
  EXPECT_EQ(out->startTimestamp, in.startTimestamp);
  EXPECT_EQ(out->endTimestamp, in.endTimestamp);
  EXPECT_TRUE(out->visible && out->hasGlobalHighlights && out->hasHighlightsStream &&
              out->hasEventPlayerStatistics && out->crowdsourcingEnabled &&
              out->crowdsourcingDataDisplayEnabled);
  EXPECT_EQ(out->webUrl, in.webUrl);
  EXPECT_EQ(out->cardsCodeOriginal, in.cardsCodeOriginal);
  EXPECT_EQ(out->statusDescription, in.statusDescription);
  EXPECT_EQ(out->status, in.status);  // type, code and the derived text
  EXPECT_EQ(out->lastPeriod, in.lastPeriod);
  EXPECT_EQ(out->firstToServeOriginal, in.firstToServeOriginal);
  EXPECT_EQ(out->winnerCodeOriginal, in.winnerCodeOriginal);
  EXPECT_EQ(out->aggregatedWinnerCodeOriginal, in.aggregatedWinnerCodeOriginal);

  ASSERT_TRUE(out->tournament && out->tournament->category && out->tournament->season);
  const auto& t = *out->tournament;
  const auto& ti = *in.tournament;
  EXPECT_EQ(t.ID, ti.ID);
  EXPECT_EQ(t.name, ti.name);
  EXPECT_EQ(t.fieldTranslations, ti.fieldTranslations);
  EXPECT_EQ(t.uniqueId, ti.uniqueId);
  EXPECT_EQ(t.uniqueName, ti.uniqueName);
  EXPECT_EQ(t.uniqueFieldTranslations, ti.uniqueFieldTranslations);
  EXPECT_EQ(t.category->ID, ti.category->ID);
  EXPECT_EQ(t.category->name, ti.category->name);
  EXPECT_EQ(t.category->flag, ti.category->flag);
  EXPECT_EQ(t.category->fieldTranslations, ti.category->fieldTranslations);
  ASSERT_TRUE(t.category->sport.has_value());
  EXPECT_EQ(t.category->sport->ID, 5);
  EXPECT_EQ(t.category->sport->name, "Tennis");
  EXPECT_EQ(t.category->sport->slug, "tennis");
  EXPECT_EQ(t.season->ID, ti.season->ID);
  EXPECT_EQ(t.season->name, ti.season->name);
  EXPECT_EQ(t.season->year, ti.season->year);
  EXPECT_TRUE(t.hasEventPlayerHeatMap && t.hasEventPlayerStatistics && t.hasBoxScore &&
              t.displayInverseHomeAwayTeams);
  EXPECT_EQ(t.groundType, ti.groundType);
  EXPECT_EQ(t.tennisPoints, ti.tennisPoints);

  ASSERT_TRUE(out->homeTeamOriginal && out->awayTeamOriginal);
  expectSameTeam(*out->homeTeamOriginal, *in.homeTeamOriginal, *ti.category->sport);
  expectSameTeam(*out->awayTeamOriginal, *in.awayTeamOriginal, *ti.category->sport);

  EXPECT_EQ(out->homeScoreOriginal, in.homeScoreOriginal);
  EXPECT_EQ(out->awayScoreOriginal, in.awayScoreOriginal);
  EXPECT_EQ(out->time, in.time);
  EXPECT_EQ(out->changesOriginal, in.changesOriginal);
  EXPECT_EQ(out->statusTime, in.statusTime);
  EXPECT_EQ(out->timeInfo, in.timeInfo);
  EXPECT_EQ(out->yardDistanceOriginal, in.yardDistanceOriginal);
  EXPECT_EQ(out->varInProgress, in.varInProgress);
  ASSERT_TRUE(out->currentBattingTeam.has_value());
  EXPECT_EQ(out->currentBattingTeam->ID, 601);
  EXPECT_EQ(out->finalRound, in.finalRound);
  EXPECT_EQ(out->streamContentId, in.streamContentId);
  EXPECT_EQ(out->streamContentGeoRestrictions, in.streamContentGeoRestrictions);
  EXPECT_EQ(out->bestOfSets, in.bestOfSets);

  // Columns the read side does not return.
  EXPECT_EQ(column(in.ID, "LAST_UPDATE"), std::to_string(kNowSeconds));
  EXPECT_EQ(column(in.ID, "SPORT_ROWS"), "0");
  EXPECT_EQ(column(in.ID, "HOME_TEAM_SUBTEAMS"), "Ada,Bea");
  EXPECT_EQ(column(in.ID, "HOME_PERIODS"), "20,0,30");
  EXPECT_EQ(column(in.ID, "IS_MUTED"), "0");
  EXPECT_EQ(column(in.ID, "IS_HIDDEN"), std::nullopt);

  // What comes back writes the same row again.
  ASSERT_TRUE(insertFavorite(*out));
  const auto again = read(in.ID);
  ASSERT_TRUE(again.has_value());
  EXPECT_EQ(again->homeScoreOriginal, in.homeScoreOriginal);
  EXPECT_EQ(again->awayTeamOriginal->subTeams.size(), 2u);
  EXPECT_EQ(again->currentBattingTeam->ID, 601);
}

TEST_F(DBTableEventMappingTest, OneSubTeamLeavesTheSecondSubTeamColumnsNull) {
  Event in = event(1);
  in.homeTeamOriginal = team(10, "Solo", {subteam(11, "Only")});
  in.awayTeamOriginal = team(20, "Nobody", {});
  ASSERT_TRUE(insertFavorite(in));

  EXPECT_EQ(column(1, "HOME_SUBTEAM1_COL_ID"), "11");
  EXPECT_EQ(column(1, "HOME_SUBTEAM1_COL_NAME"), "Only");
  EXPECT_TRUE(column(1, "HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS").has_value());
  for (const char* name :
       {"HOME_SUBTEAM2_COL_ID", "HOME_SUBTEAM2_COL_NAME", "HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS",
        "AWAY_SUBTEAM1_COL_ID", "AWAY_SUBTEAM2_COL_ID", "AWAY_TEAM_SUBTEAMS"}) {
    EXPECT_EQ(column(1, name), std::nullopt) << name;
  }
  const auto out = read(1);
  ASSERT_TRUE(out.has_value());
  ASSERT_EQ(out->homeTeamOriginal->subTeams.size(), 1u);
  EXPECT_EQ(out->homeTeamOriginal->subTeams[0].ID, 11);
  EXPECT_TRUE(out->awayTeamOriginal->subTeams.empty());
}

TEST_F(DBTableEventMappingTest, MapHoldsEveryMappedColumnOnceAndNullForWhatIsMissing) {
  const ColumnValueMap map = DBTableEvent::mapAllPropertiesToColumns(Event{});
  std::set<std::string> expected;
  for (const auto& column : DBTableEvent::kColumns) expected.insert(column.name);
  expected.erase("IS_MUTED");
  expected.erase("IS_HIDDEN");
  std::set<std::string> names;
  for (const auto& [name, value] : map) names.insert(name);
  EXPECT_EQ(map.size(), 125u) << "no column twice";
  EXPECT_EQ(names, expected);
  ASSERT_GE(map.size(), 5u);
  EXPECT_EQ(map[0].first, "ID");
  EXPECT_EQ(map[4].first, "HAS_HIGHLIGHTS_STREAM");
  EXPECT_EQ(map.back().first, "VAR_IN_PROGRESS_AWAY");

  // An empty event: only its own numbers and flags, the clock and the
  // constant are set; everything under an absent part is NULL.
  std::set<std::string> present;
  for (const auto& [name, value] : map) {
    if (!value.isNull()) present.insert(name);
  }
  EXPECT_EQ(present,
            (std::set<std::string>{"ID", "VISIBLE", "HASHIGHLIGHTS", "HAS_HIGHLIGHTS_STREAM",
                                   "STATUS_TYPE", "LAST_UPDATE", "CROWDSOURCING_ENABLED",
                                   "CROWDSOURCING_DATA_DISPLAY_ENABLED", "SPORT_ROWS",
                                   "STATUS_CODE", "STATISTICS"}));
  const auto valueOf = [&map](const std::string& name) {
    for (const auto& [key, value] : map) {
      if (key == name) return value;
    }
    return Value::null();
  };
  EXPECT_EQ(valueOf("LAST_UPDATE"), Value(kNow));
  EXPECT_EQ(valueOf("SPORT_ROWS"), Value(0));
}

TEST_F(DBTableEventMappingTest, BattingTeamIDTakesPrecedenceOverTheTeam) {
  const auto battingColumn = [](const Event& e) {
    for (const auto& [key, value] : DBTableEvent::mapAllPropertiesToColumns(e)) {
      if (key == "CURRENT_BATTING_TEAM_ID") return value;
    }
    return Value("missing");
  };
  Event e;
  EXPECT_TRUE(battingColumn(e).isNull());
  e.currentBattingTeam = Team{.ID = 33};
  EXPECT_EQ(battingColumn(e), Value(33));
  e.currentBattingTeamId = 44;
  EXPECT_EQ(battingColumn(e), Value(44));
}

TEST_F(DBTableEventMappingTest, RowOfNullsAndTextInIntegerColumnsStillMaps) {
  exec("INSERT INTO EventTable_ (ID) VALUES (1)");
  exec(
      "INSERT INTO EventTable_ (ID, START_DATE, STATUS_TYPE, VISIBLE, HOME_CURRENT, HOME_PERIODS, "
      "TIME_PERIOD_TIMES, CHANGES_CARRAY, VAR_IN_PROGRESS_AWAY, FINAL_ROUND, "
      "TOURNAMENT_FIELD_TRANSLATIONS) VALUES (2, 'soon', 'live', 'yes', 'n/a', '1,x,-3', '', "
      "'a,,b', 1, 0, 'not base64!')");

  const auto empty = read(1);
  ASSERT_TRUE(empty.has_value());
  EXPECT_EQ(empty->ID, 1);
  EXPECT_EQ(empty->startTimestamp, std::nullopt);
  EXPECT_EQ(empty->status.type, 0);
  EXPECT_EQ(empty->status.typeStr, "unknown");
  EXPECT_FALSE(empty->visible);
  EXPECT_EQ(empty->homeScoreOriginal, model::EventScore{});
  EXPECT_TRUE(empty->homeTeamOriginal->subTeams.empty());
  EXPECT_FALSE(empty->currentBattingTeam.has_value());
  EXPECT_FALSE(empty->varInProgress.has_value());
  EXPECT_FALSE(empty->finalRound.has_value());
  EXPECT_TRUE(empty->streamContentGeoRestrictions.empty());

  const auto odd = read(2);
  ASSERT_TRUE(odd.has_value());
  EXPECT_EQ(odd->startTimestamp, 0);  // text in an integer column reads as 0
  EXPECT_EQ(odd->status.type, 0);
  EXPECT_FALSE(odd->visible);
  EXPECT_EQ(odd->homeScoreOriginal->display, 0);
  EXPECT_EQ(odd->homeScoreOriginal->periods, (std::vector<std::int64_t>{1, 0, -3}));
  EXPECT_TRUE(odd->time->periodTimes.empty());
  EXPECT_EQ(odd->changesOriginal->changes, (std::vector<std::string>{"a", "", "b"}));
  EXPECT_EQ(odd->varInProgress, model::VarInProgress(false, true));
  EXPECT_EQ(odd->finalRound, false);
  EXPECT_FALSE(odd->tournament->fieldTranslations.has_value());
}

TEST_F(DBTableEventMappingTest, MissingColumnsWarnOncePerResultSetNotPerRow) {
  // A table upgraded from before the American-football columns never gains
  // the team half.
  exec("ALTER TABLE EventTable_ DROP COLUMN AM_FOOTBALL_CURRENT_TEAM_HALF");
  for (std::int64_t id = 1; id <= 3; ++id) ASSERT_TRUE(insertFavorite(event(id)));
  logs_.clear();

  testing::Captured<std::vector<Event>> all;
  DBTableEvent::getAllFavoriteEvents(queue_, all.completion());
  ASSERT_EQ(all.value->size(), 3u);
  EXPECT_FALSE(all.value->front().yardDistanceOriginal->currentTeamHalfNumber.has_value());
  EXPECT_EQ(logs_.count("Warning: I could not find the column named "
                        "'am_football_current_team_half'."),
            1u);

  // A query of one column maps too: every other column reads as absent.
  logs_.clear();
  testing::Captured<std::unordered_set<Event>> some;
  DBTableEvent::getAllEventsWithQuery("SELECT ID, STATUS_TYPE FROM EventTable_", queue_,
                                      some.completion());
  ASSERT_EQ(some.value->size(), 3u);
  EXPECT_EQ(some.value->begin()->status.type, 3);
  EXPECT_EQ(logs_.countContaining("could not find the column named 'start_date'"), 1u);
}

}  // namespace
}  // namespace kestrel
