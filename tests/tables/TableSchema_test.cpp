#include <KestrelDatabase/schema/TableHooks.h>
#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableScheduledChannels.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelDatabase/tables/DBTableVote.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "tables/ScratchDatabase.h"

// The schema of every table class, checked against SQLite itself: the fresh
// layout, the upgrade statements on fresh and on old-layout tables, and the
// indexes.
namespace kestrel {
namespace {

constexpr const char* I = "INTEGER";
constexpr const char* T = "TEXT";

struct Column {
  std::string name;
  std::string type;
  std::optional<std::string> defaultValue = std::nullopt;
};

struct Index {
  std::string statement;
  std::string name;
  std::string column;
};

struct ExpectedTable {
  TableHooks hooks;
  std::string table;
  std::vector<Column> columns;  // fresh layout, primary key first
  bool autoIncrement = false;
  std::vector<std::string> updates = {};  // exact statements, in order
  std::vector<Column> added = {};         // what the updates add, in order
  std::vector<Index> indexes = {};
};

void PrintTo(const ExpectedTable& e, std::ostream* out) {
  *out << e.table;
}

std::string alter(const std::string& table, const std::string& column, const std::string& tail) {
  return "ALTER TABLE " + table + " ADD COLUMN " + column + " " + tail;
}

ExpectedTable eventTable() {
  enum Kind { SMALLINT, TEXT, INTEGER, NOSEMI };
  const std::vector<std::pair<std::string, Kind>> upgrades{
      {"TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS", SMALLINT},
      {"TOURNAMENT_GROUND_TYPE", TEXT},
      {"TOURNAMENT_TENNIS_POINTS", NOSEMI},
      {"FINAL_ROUND", INTEGER},
      {"HOME_TEAM_SHORT_NAME", TEXT},
      {"AWAY_TEAM_SHORT_NAME", TEXT},
      {"HOME_TEAM_FLAG", TEXT},
      {"AWAY_TEAM_FLAG", TEXT},
      {"HOME_TEAM_NAME_CODE", TEXT},
      {"AWAY_TEAM_NAME_CODE", TEXT},
      {"AM_FOOTBALL_YARDS_TO_FIRST_DOWN", INTEGER},
      {"AM_FOOTBALL_CURRENT_DOWN", INTEGER},
      {"AM_FOOTBALL_CURRENT_YARDLINE", INTEGER},
      {"AM_FOOTBALL_IS_GOAL_POSSESSION", INTEGER},
      {"AM_FOOTBALL_CURRENT_POSSESSION", INTEGER},
      {"AWAY_PENALTIES", INTEGER},
      {"AWAY_PERIOD1", INTEGER},
      {"AWAY_PERIOD2", INTEGER},
      {"AWAY_PERIOD3", INTEGER},
      {"AWAY_PERIOD4", INTEGER},
      {"AWAY_PERIOD5", INTEGER},
      {"AWAY_PERIOD6", INTEGER},
      {"AWAY_PERIOD7", INTEGER},
      {"HOME_PENALTIES", INTEGER},
      {"HOME_PERIOD1", INTEGER},
      {"HOME_PERIOD2", INTEGER},
      {"HOME_PERIOD3", INTEGER},
      {"HOME_PERIOD4", INTEGER},
      {"HOME_PERIOD5", INTEGER},
      {"HOME_PERIOD6", INTEGER},
      {"HOME_PERIOD7", INTEGER},
      {"CROWDSOURCING_ENABLED", INTEGER},
      {"CROWDSOURCING_DATA_DISPLAY_ENABLED", INTEGER},
      {"STREAM_CONTENT_ID", INTEGER},
      {"STREAM_CONTENT_GEO_RESTRICTIONS", TEXT},
      {"BEST_OF_SETS", INTEGER},
      {"HOME_TEAM_FIELD_TRANSLATIONS", TEXT},
      {"AWAY_TEAM_FIELD_TRANSLATIONS", TEXT},
      {"HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS", TEXT},
      {"HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS", TEXT},
      {"AWAY_SUBTEAM1_COL_FIELD_TRANSLATIONS", TEXT},
      {"AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS", TEXT},
      {"TOURNAMENT_FIELD_TRANSLATIONS", TEXT},
      {"TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS", TEXT},
      {"CATEGORY_FIELD_TRANSLATIONS", TEXT},
      {"VAR_IN_PROGRESS_HOME", INTEGER},
      {"VAR_IN_PROGRESS_AWAY", INTEGER}};
  ExpectedTable e{tableHooksOf<DBTableEvent>("DBTableEvent"),
                  "EventTable_",
                  {{"ID", I},
                   {"START_DATE", I},
                   {"VISIBLE", I},
                   {"HASHIGHLIGHTS", I},
                   {"WEBURL", T},
                   {"CARDS_CODE", T},
                   {"STATUS_DESCRIPTION", T},
                   {"STATUS_TYPE", I},
                   {"LAST_PERIOD", T},
                   {"FIRST2SERVE", I},
                   {"LAST_UPDATE", I},
                   {"WINNER_CODE", I},
                   {"AGGREGATED_WINNER_CODE", I},
                   {"CROWDSOURCING_ENABLED", I},
                   {"CROWDSOURCING_DATA_DISPLAY_ENABLED", I},
                   {"SPORT_ID", I},
                   {"SPORT_NAME", T},
                   {"SPORT_SLUG", T},
                   {"SPORT_ROWS", I},
                   {"TOURNAMENT_ID", I},
                   {"TOURNAMENT_NAME", T},
                   {"TOURNAMENT_FIELD_TRANSLATIONS", T},
                   {"TOURNAMENT_UNIQUE_ID", I},
                   {"TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS", T},
                   {"CATEGORY_ID", I},
                   {"CATEGORY_NAME", T},
                   {"CATEGORY_FLAG", T},
                   {"CATEGORY_FIELD_TRANSLATIONS", T},
                   {"SEASON_ID", I},
                   {"SEASON_NAME", T},
                   {"SEASON_YEAR", T},
                   {"HOME_TEAM_ID", I},
                   {"HOME_TEAM_NAME", T},
                   {"HOME_TEAM_SHORT_NAME", T},
                   {"HOME_TEAM_FLAG", T},
                   {"HOME_TEAM_SUBTEAMS", T},
                   {"HOME_TEAM_NAME_CODE", T},
                   {"HOME_TEAM_FIELD_TRANSLATIONS", T},
                   {"AWAY_TEAM_ID", I},
                   {"AWAY_TEAM_NAME", T},
                   {"AWAY_TEAM_SHORT_NAME", T},
                   {"AWAY_TEAM_FLAG", T},
                   {"AWAY_TEAM_SUBTEAMS", T},
                   {"AWAY_TEAM_NAME_CODE", T},
                   {"AWAY_TEAM_FIELD_TRANSLATIONS", T},
                   {"TIME_CURRENT", I},
                   {"TIME_PERIOD_TIMES", T},
                   {"HOME_CURRENT", I},
                   {"HOME_NORMALTIME", I},
                   {"HOME_AGGREGATED", I},
                   {"HOME_PENALTIES", I},
                   {"HOME_POINT", T},
                   {"HOME_PERIODS", T},
                   {"HOME_PERIOD1", I},
                   {"HOME_PERIOD2", I},
                   {"HOME_PERIOD3", I},
                   {"HOME_PERIOD4", I},
                   {"HOME_PERIOD5", I},
                   {"HOME_PERIOD6", I},
                   {"HOME_PERIOD7", I},
                   {"HOME_TIE_BREAK_PERIODS", T},
                   {"SCORE_DESCRIPTION_HOME", T},
                   {"AWAY_CURRENT", I},
                   {"AWAY_NORMALTIME", I},
                   {"AWAY_AGGREGATED", I},
                   {"AWAY_PENALTIES", I},
                   {"AWAY_POINT", T},
                   {"AWAY_PERIODS", T},
                   {"AWAY_PERIOD1", I},
                   {"AWAY_PERIOD2", I},
                   {"AWAY_PERIOD3", I},
                   {"AWAY_PERIOD4", I},
                   {"AWAY_PERIOD5", I},
                   {"AWAY_PERIOD6", I},
                   {"AWAY_PERIOD7", I},
                   {"AWAY_TIE_BREAK_PERIODS", T},
                   {"SCORE_DESCRIPTION_AWAY", T},
                   {"HOME_SUBTEAM1_COL_ID", I},
                   {"HOME_SUBTEAM1_COL_NAME", T},
                   {"HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS", T},
                   {"HOME_SUBTEAM2_COL_ID", I},
                   {"HOME_SUBTEAM2_COL_NAME", T},
                   {"HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS", T},
                   {"AWAY_SUBTEAM1_COL_ID", I},
                   {"AWAY_SUBTEAM1_COL_NAME", T},
                   {"AWAY_SUBTEAM1_COL_FIELD_TRANSLATIONS", T},
                   {"AWAY_SUBTEAM2_COL_ID", I},
                   {"AWAY_SUBTEAM2_COL_NAME", T},
                   {"AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS", T},
                   {"CHANGES_TIMESTAMP", I},
                   {"CHANGES_CARRAY", T},
                   {"CHANGES_HAS_CHANGES", I},
                   {"STATUS_CODE", I},
                   {"STATISTICS", I},
                   {"TOURNAMENT_UNIQUE_NAME", T},
                   {"END_DATE", I},
                   {"IS_MUTED", I},
                   {"IS_HIDDEN", I},
                   {"TOURNAMENT_PLAYER_HEATMAP", I},
                   {"TOURNAMENT_PLAYER_STATISTICS", I},
                   {"CURRENT_BATTING_TEAM_ID", I},
                   {"HAS_HIGHLIGHTS_STREAM", I},
                   {"TOURNAMENT_BOX_SCORE", I},
                   {"STATUS_INITIAL", I},
                   {"STATUS_MAX", I},
                   {"STATUS_EXTRA", I},
                   {"STATUS_TIMESTAMP", I},
                   {"STATUS_PREFIX", T},
                   {"TIMEINFO_PLAYED", I},
                   {"TIMEINFO_PERIOD_LENGTH", I},
                   {"TIMEINFO_OVERTIME_LENGTH", I},
                   {"TIMEINFO_TOTAL_PERIOD_COUNT", I},
                   {"FINAL_ROUND", I},
                   {"TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS", I},
                   {"TOURNAMENT_GROUND_TYPE", T},
                   {"TOURNAMENT_TENNIS_POINTS", I},
                   {"AM_FOOTBALL_YARDS_TO_FIRST_DOWN", I},
                   {"AM_FOOTBALL_CURRENT_DOWN", I},
                   {"AM_FOOTBALL_CURRENT_YARDLINE", I},
                   {"AM_FOOTBALL_IS_GOAL_POSSESSION", I},
                   {"AM_FOOTBALL_CURRENT_POSSESSION", I},
                   {"AM_FOOTBALL_CURRENT_TEAM_HALF", I},
                   {"STREAM_CONTENT_ID", I},
                   {"STREAM_CONTENT_GEO_RESTRICTIONS", T},
                   {"BEST_OF_SETS", I},
                   {"VAR_IN_PROGRESS_HOME", I},
                   {"VAR_IN_PROGRESS_AWAY", I}}};
  for (const auto& [column, kind] : upgrades) {
    switch (kind) {
      case SMALLINT:
        e.updates.push_back(alter(e.table, column, "SMALLINT;"));
        e.added.push_back({column, "SMALLINT"});
        break;
      case TEXT:
        e.updates.push_back(alter(e.table, column, "TEXT;"));
        e.added.push_back({column, T});
        break;
      case INTEGER:
        e.updates.push_back(alter(e.table, column, "INTEGER;"));
        e.added.push_back({column, I});
        break;
      case NOSEMI:
        e.updates.push_back(alter(e.table, column, "INTEGER"));
        e.added.push_back({column, I});
        break;
    }
  }
  e.indexes = {
      {"CREATE INDEX IF NOT EXISTS home_team_index ON EventTable_ (HOME_TEAM_ID)",
       "home_team_index", "HOME_TEAM_ID"},
      {"CREATE INDEX IF NOT EXISTS away_team_index ON EventTable_ (AWAY_TEAM_ID)",
       "away_team_index", "AWAY_TEAM_ID"},
  };
  return e;
}

std::vector<ExpectedTable> expectedTables() {
  std::vector<ExpectedTable> all;
  all.push_back({tableHooksOf<DBTableChatReport>("DBTableChatReport"),
                 "ChatReportTable",
                 {{"ID", I}, {"TIMESTAMP", I}, {"EVENT_ID", I}, {"CHOICE", I}}});
  all.push_back({tableHooksOf<DBTableChatUpvote>("DBTableChatUpvote"),
                 "ChatMessageTable",
                 {{"ID", I}, {"TIMESTAMP", I}, {"EVENT_ID", I}, {"UPVOTED", I}, {"LAST_SEEN", I}},
                 true});
  all.push_back(eventTable());
  all.push_back(
      {tableHooksOf<DBTablePinnedUniqueTournaments>("DBTablePinnedUniqueTournaments"),
       "PinnedUniqueTournamentsTable",
       {{"ID", I},
        {"NAME", T},
        {"CATEGORY_ID", I},
        {"CATEGORY_NAME", T},
        {"CATEGORY_FLAG", T},
        {"CATEGORY_PRIORITY", I},
        {"SPORT_ID", I},
        {"SPORT_SLUG", T},
        {"CREATED_AT_TIMESTAMP", I}},
       true,
       {"ALTER TABLE PinnedUniqueTournamentsTable ADD COLUMN CREATED_AT_TIMESTAMP INTEGER "
        "DEFAULT 0;"},
       {{"CREATED_AT_TIMESTAMP", I, "0"}},
       {{"CREATE INDEX IF NOT EXISTS unique_tournaments_index ON PinnedUniqueTournamentsTable "
         "(ID)",
         "unique_tournaments_index", "ID"}}});
  all.push_back({tableHooksOf<DBTablePlayer>("DBTablePlayer"),
                 "MyPlayerTable",
                 {{"ID", I},
                  {"PLAYER_NAME", T},
                  {"PLAYER_FIELD_TRANSLATIONS", T},
                  {"PLAYER_TEAM_ID", I},
                  {"PLAYER_TEAM_NAME_ID", T},
                  {"SPORT_SLUG", T},
                  {"USER_COUNT", I},
                  {"NOTIFICATIONS_ENABLED", I}},
                 false,
                 {"ALTER TABLE MyPlayerTable ADD COLUMN NOTIFICATIONS_ENABLED INTEGER DEFAULT 1;",
                  "ALTER TABLE MyPlayerTable ADD COLUMN PLAYER_FIELD_TRANSLATIONS TEXT;"},
                 {{"NOTIFICATIONS_ENABLED", I, "1"}, {"PLAYER_FIELD_TRANSLATIONS", T}}});
  all.push_back(
      {tableHooksOf<DBTableTeam>("DBTableTeam"),
       "MyTeamTable",
       {{"ID", I},
        {"SORT_ORDER", I},
        {"TEAM_NAME", T},
        {"TEAM_FIELD_TRANSLATIONS", T},
        {"SPORT_ID", I},
        {"SPORT_NAME", T},
        {"SPORT_SLUG", T},
        {"SPORT_ROWS", I},
        {"USER_COUNT", I},
        {"GENDER", T},
        {"IS_DISABLED", I},
        {"NOTIFICATIONS_ENABLED", I},
        {"TYPE", I}},
       false,
       {"ALTER TABLE MyTeamTable ADD COLUMN NOTIFICATIONS_ENABLED INTEGER DEFAULT 1;",
        "ALTER TABLE MyTeamTable ADD COLUMN TYPE INTEGER DEFAULT 0;",
        "ALTER TABLE MyTeamTable ADD COLUMN TEAM_FIELD_TRANSLATIONS TEXT;"},
       {{"NOTIFICATIONS_ENABLED", I, "1"}, {"TYPE", I, "0"}, {"TEAM_FIELD_TRANSLATIONS", T}}});
  all.push_back(
      {tableHooksOf<DBTableTournament>("DBTableTournament"),
       "MyLeagueTable",
       {{"ID", I},
        {"TOURNAMENT_UNIQUE_NAME", T},
        {"TOURNAMENT_ID", I},
        {"TOURNAMENT_NAME", T},
        {"TOURNAMENT_FIELD_TRANSLATIONS", T},
        {"TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS", T},
        {"SPORT_SLUG", T},
        {"SPORT_ID", I},
        {"SPORT_NAME", T},
        {"CATEGORY_ID", I},
        {"CATEGORY_NAME", T},
        {"TOURNAMENT_CATEGORY_FIELD_TRANSLATIONS", T},
        {"CATEGORY_FLAG", T},
        {"USER_COUNT", I},
        {"NOTIFICATIONS_ENABLED", I}},
       false,
       {"ALTER TABLE MyLeagueTable ADD COLUMN NOTIFICATIONS_ENABLED INTEGER DEFAULT 1;",
        "ALTER TABLE MyLeagueTable ADD COLUMN TOURNAMENT_FIELD_TRANSLATIONS TEXT;",
        "ALTER TABLE MyLeagueTable ADD COLUMN TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS TEXT;",
        "ALTER TABLE MyLeagueTable ADD COLUMN TOURNAMENT_CATEGORY_FIELD_TRANSLATIONS TEXT;"},
       {{"NOTIFICATIONS_ENABLED", I, "1"},
        {"TOURNAMENT_FIELD_TRANSLATIONS", T},
        {"TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS", T},
        {"TOURNAMENT_CATEGORY_FIELD_TRANSLATIONS", T}}});
  all.push_back(
      {tableHooksOf<DBTableTvChannels>("DBTableTvChannels"),
       "TvChannelContributedTable",
       {{"ID", I}, {"CHANNEL_ID", I}, {"EVENT_ID", I}, {"EVENT_TIMESTAMP", I}, {"APPROVE", I}},
       true});
  all.push_back({tableHooksOf<DBTableVote>("DBTableVote"),
                 "VoteTable",
                 {{"ID", I}, {"VOTE", I}, {"EVENT_TIMESTAMP", I}, {"POST_FLAG", I}}});
  all.push_back({tableHooksOf<DBTableStage>("DBTableStage"),
                 "StageTable",
                 {{"ID", I},
                  {"NAME", T},
                  {"STATUS_TYPE", I},
                  {"START_TIMESTAMP", I},
                  {"TYPE", I},
                  {"HAS_COMPETITORS", I},
                  {"HAS_TEAMS", I},
                  {"FLAG", T},
                  {"WINNER_ID", I},
                  {"WINNER_NAME", T},
                  {"LAST_UPDATE", I},
                  {"STAGE_ID", I},
                  {"STAGE_NAME", T},
                  {"STAGE_START_TIMESTAMP", I},
                  {"STAGE_HAS_COMPETITOR", I},
                  {"STAGE_HAS_TEAMS", I},
                  {"STAGE_FLAG", T},
                  {"SEASON_ID", I},
                  {"SEASON_NAME", T},
                  {"SEASON_YEAR", T},
                  {"UNIQUE_ID", I},
                  {"UNIQUE_NAME", T},
                  {"UNIQUE_PRIMARY", T},
                  {"UNIQUE_SECONDARY", T},
                  {"CATEGORY_NAME", T},
                  {"CATEGORY_FLAG", T},
                  {"CATEGORY_ID", I},
                  {"SPORT_SLUG", T},
                  {"IS_MUTED", I},
                  {"IS_HIDDEN", I}},
                 false,
                 {"ALTER TABLE StageTable ADD COLUMN IS_MUTED INTEGER;",
                  "ALTER TABLE StageTable ADD COLUMN CATEGORY_ID INTEGER;",
                  "ALTER TABLE StageTable ADD COLUMN IS_HIDDEN INTEGER;"},
                 {{"IS_MUTED", I}, {"CATEGORY_ID", I}, {"IS_HIDDEN", I}}});
  all.push_back({tableHooksOf<DBTableScheduledChannels>("DBTableScheduledChannels"),
                 "ScheduledChannelsTable",
                 {{"KEY", T}, {"CHANNEL_ID", I}, {"COUNTRY_CODE", T}, {"CHANNEL_NAME", T}}});
  all.push_back({tableHooksOf<DBTableFantasyCompetition>("DBTableFantasyCompetition"),
                 "FantasyCompetitionTable",
                 {{"ID", I}}});
  return all;
}

std::vector<std::string> namesOf(const std::vector<Column>& columns) {
  std::vector<std::string> out;
  for (const auto& column : columns) out.push_back(column.name);
  return out;
}

class TableSchemaTest : public ::testing::TestWithParam<ExpectedTable> {
 protected:
  testing::ScratchDatabase db_;
};

TEST_P(TableSchemaTest, CreateGivesColumnsInOrderWithTypesAndKey) {
  const ExpectedTable& e = GetParam();
  const std::string create = e.hooks.createTableQuery();
  ASSERT_TRUE(db_.exec(create)) << db_.lastError() << "\n" << create;
  ASSERT_TRUE(db_.exec(create)) << "IF NOT EXISTS makes a second run harmless";

  const auto info = db_.tableInfo(e.table);
  ASSERT_EQ(info.size(), e.columns.size());
  for (size_t i = 0; i < info.size(); ++i) {
    EXPECT_EQ(info[i].name, e.columns[i].name) << "column " << i + 1;
    EXPECT_EQ(info[i].type, e.columns[i].type) << info[i].name;
    EXPECT_EQ(info[i].primaryKey, i == 0) << info[i].name;
    EXPECT_FALSE(info[i].defaultValue.has_value()) << info[i].name;
  }
  EXPECT_EQ(create.find("PRIMARY KEY AUTOINCREMENT") != std::string::npos, e.autoIncrement);
  EXPECT_EQ(create.find(", UNIQUE ("), std::string::npos);
  EXPECT_EQ(create.find("FOREIGN KEY"), std::string::npos);
}

TEST_P(TableSchemaTest, UpgradeAndIndexStatementsAreExact) {
  const ExpectedTable& e = GetParam();
  EXPECT_EQ(e.hooks.updateTableQueries(), e.updates);
  std::vector<std::string> indexStatements;
  for (const auto& index : e.indexes) indexStatements.push_back(index.statement);
  EXPECT_EQ(e.hooks.createIndexes(), indexStatements);
}

TEST_P(TableSchemaTest, UpgradesFailOnFreshTableAndChangeNothing) {
  const ExpectedTable& e = GetParam();
  ASSERT_TRUE(db_.exec(e.hooks.createTableQuery()));
  const auto before = db_.columnNames(e.table);
  const auto updates = e.hooks.updateTableQueries();
  for (size_t i = 0; i < updates.size(); ++i) {
    EXPECT_FALSE(db_.exec(updates[i])) << updates[i];
    EXPECT_EQ(db_.lastError(), "duplicate column name: " + e.added.at(i).name);
  }
  EXPECT_EQ(db_.columnNames(e.table), before);
}

TEST_P(TableSchemaTest, OldLayoutGainsExactlyTheUpgradeColumnsAndKeepsItsRows) {
  const ExpectedTable& e = GetParam();
  std::vector<Column> old;
  for (const auto& column : e.columns) {
    const bool added = std::any_of(e.added.begin(), e.added.end(),
                                   [&](const Column& a) { return a.name == column.name; });
    if (!added) old.push_back(column);
  }
  std::string create = "CREATE TABLE " + e.table + " (";
  for (size_t i = 0; i < old.size(); ++i) {
    create += (i ? ", " : "") + old[i].name + " " + old[i].type + (i ? "" : " PRIMARY KEY");
  }
  ASSERT_TRUE(db_.exec(create + ")")) << db_.lastError();
  ASSERT_TRUE(db_.exec("INSERT INTO " + e.table + " (" + old[0].name + ") VALUES ('1')"));

  for (const auto& statement : e.hooks.updateTableQueries()) {
    EXPECT_TRUE(db_.exec(statement)) << statement << ": " << db_.lastError();
  }

  std::vector<std::string> expectedNames = namesOf(old);
  for (const auto& column : e.added) expectedNames.push_back(column.name);
  EXPECT_EQ(db_.columnNames(e.table), expectedNames);

  const auto info = db_.tableInfo(e.table);
  const auto row = db_.rows("SELECT * FROM " + e.table);
  ASSERT_EQ(row.size(), 1u) << "the old row is kept";
  for (size_t i = 0; i < e.added.size(); ++i) {
    const size_t at = old.size() + i;
    EXPECT_EQ(info[at].type, e.added[i].type) << e.added[i].name;
    EXPECT_EQ(info[at].defaultValue, e.added[i].defaultValue) << e.added[i].name;
    EXPECT_EQ(row[0][at], e.added[i].defaultValue) << "old row, " << e.added[i].name;
  }
  for (const auto& statement : e.hooks.updateTableQueries()) {
    EXPECT_FALSE(db_.exec(statement)) << "applied once, then fails: " << statement;
  }
}

TEST_P(TableSchemaTest, IndexesExistAndRunTwiceHarmlessly) {
  const ExpectedTable& e = GetParam();
  ASSERT_TRUE(db_.exec(e.hooks.createTableQuery()));
  for (int round = 0; round < 2; ++round) {
    for (const auto& statement : e.hooks.createIndexes()) {
      EXPECT_TRUE(db_.exec(statement)) << statement << ": " << db_.lastError();
    }
  }
  std::vector<std::string> expectedNames;
  for (const auto& index : e.indexes) {
    expectedNames.push_back(index.name);
    const auto columns = db_.rows("PRAGMA index_info(" + index.name + ")");
    ASSERT_EQ(columns.size(), 1u) << index.name;
    EXPECT_EQ(columns[0][2], index.column) << index.name;
  }
  std::sort(expectedNames.begin(), expectedNames.end());
  EXPECT_EQ(db_.indexNames(e.table), expectedNames);
}

INSTANTIATE_TEST_SUITE_P(AllTables, TableSchemaTest, ::testing::ValuesIn(expectedTables()),
                         [](const ::testing::TestParamInfo<ExpectedTable>& p) {
                           return std::string(p.param.hooks.className);
                         });

TEST(TableSchemaSetTest, AllTwelveTablesCoexistInOneDatabase) {
  testing::ScratchDatabase db;
  const auto all = expectedTables();
  for (const auto& e : all) {
    ASSERT_TRUE(db.exec(e.hooks.createTableQuery())) << e.table << ": " << db.lastError();
    for (const auto& statement : e.hooks.updateTableQueries()) db.exec(statement);
    for (const auto& statement : e.hooks.createIndexes()) {
      EXPECT_TRUE(db.exec(statement)) << statement;
    }
  }
  const auto tables = db.rows(
      "SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name <> 'sqlite_sequence'");
  EXPECT_EQ(tables[0][0], "12");
  const auto indexes =
      db.rows("SELECT COUNT(*) FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL");
  EXPECT_EQ(indexes[0][0], "3");
}

TEST(TableSchemaSetTest, CreateTextsOfSmallTablesAreExact) {
  EXPECT_EQ(DBTableChatUpvote::createTableQuery(),
            "CREATE TABLE IF NOT EXISTS ChatMessageTable ( ID INTEGER PRIMARY KEY AUTOINCREMENT, "
            "TIMESTAMP INTEGER, EVENT_ID INTEGER, UPVOTED INTEGER, LAST_SEEN INTEGER );");
  EXPECT_EQ(DBTableScheduledChannels::createTableQuery(),
            "CREATE TABLE IF NOT EXISTS ScheduledChannelsTable ( KEY TEXT PRIMARY KEY, CHANNEL_ID "
            "INTEGER, COUNTRY_CODE TEXT, CHANNEL_NAME TEXT );");
  EXPECT_EQ(DBTableFantasyCompetition::createTableQuery(),
            "CREATE TABLE IF NOT EXISTS FantasyCompetitionTable ( ID INTEGER PRIMARY KEY );");
}

TEST(TableSchemaSetTest, TablesWithoutOwnHooksUseTheBaseDefaults) {
  EXPECT_TRUE(DBTableVote::updateTableQueries().empty());
  EXPECT_TRUE(DBTableVote::createIndexes().empty());
  EXPECT_TRUE(DBTableTeam::createIndexes().empty());
  EXPECT_EQ(DBTableAbstract::createTableQuery(), "");
}

}  // namespace
}  // namespace kestrel
