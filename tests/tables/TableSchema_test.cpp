#include <KestrelDatabase/schema/FMDBHelper.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tables/ScratchDatabase.h"

// The schema hooks of every table class: the exact texts they return, copied
// out literally (so a wrong column, type or upgrade fails here rather than
// being compared with itself), then run against SQLite itself: each CREATE
// runs and is stored as written, each upgrade fails on a fresh table and adds
// exactly its column to a table of the older layout, and the indexes can be
// created twice.
namespace kestrel {

// Failure messages name the table class a parameter stands for, not the
// bytes of its hook pointers. (Beside TableHooks, where the test framework
// looks for it.)
void PrintTo(const TableHooks& hooks, std::ostream* out) {
  *out << hooks.className;
}

namespace {

struct PinnedSchema {
  std::string className;
  std::string create;
  std::vector<std::string> upgrades;
  std::vector<std::string> indexes;
};

// In the order the start creates the tables.
// clang-format off
const PinnedSchema kPinned[] = {
    {"DBTableChatReport",
     "CREATE TABLE IF NOT EXISTS ChatReportTable ( ID INTEGER PRIMARY KEY, TIMESTAMP INTEGER, "
     "EVENT_ID INTEGER, CHOICE INTEGER );",
     {},
     {}},
    {"DBTableChatUpvote",
     "CREATE TABLE IF NOT EXISTS ChatMessageTable ( ID INTEGER PRIMARY KEY AUTOINCREMENT, "
     "TIMESTAMP INTEGER, EVENT_ID INTEGER, UPVOTED INTEGER, LAST_SEEN INTEGER );",
     {},
     {}},
    {"DBTableEvent",
     "CREATE TABLE IF NOT EXISTS EventTable_ ( ID INTEGER PRIMARY KEY, START_DATE INTEGER, "
     "VISIBLE INTEGER, HASHIGHLIGHTS INTEGER, WEBURL TEXT, CARDS_CODE TEXT, "
     "STATUS_DESCRIPTION TEXT, STATUS_TYPE INTEGER, LAST_PERIOD TEXT, FIRST2SERVE INTEGER, "
     "LAST_UPDATE INTEGER, WINNER_CODE INTEGER, AGGREGATED_WINNER_CODE INTEGER, "
     "CROWDSOURCING_ENABLED INTEGER, CROWDSOURCING_DATA_DISPLAY_ENABLED INTEGER, "
     "SPORT_ID INTEGER, SPORT_NAME TEXT, SPORT_SLUG TEXT, SPORT_ROWS INTEGER, "
     "TOURNAMENT_ID INTEGER, TOURNAMENT_NAME TEXT, TOURNAMENT_FIELD_TRANSLATIONS TEXT, "
     "TOURNAMENT_UNIQUE_ID INTEGER, TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS TEXT, "
     "CATEGORY_ID INTEGER, CATEGORY_NAME TEXT, CATEGORY_FLAG TEXT, "
     "CATEGORY_FIELD_TRANSLATIONS TEXT, SEASON_ID INTEGER, SEASON_NAME TEXT, SEASON_YEAR TEXT, "
     "HOME_TEAM_ID INTEGER, HOME_TEAM_NAME TEXT, HOME_TEAM_SHORT_NAME TEXT, HOME_TEAM_FLAG TEXT, "
     "HOME_TEAM_SUBTEAMS TEXT, HOME_TEAM_NAME_CODE TEXT, HOME_TEAM_FIELD_TRANSLATIONS TEXT, "
     "AWAY_TEAM_ID INTEGER, AWAY_TEAM_NAME TEXT, AWAY_TEAM_SHORT_NAME TEXT, AWAY_TEAM_FLAG TEXT, "
     "AWAY_TEAM_SUBTEAMS TEXT, AWAY_TEAM_NAME_CODE TEXT, AWAY_TEAM_FIELD_TRANSLATIONS TEXT, "
     "TIME_CURRENT INTEGER, TIME_PERIOD_TIMES TEXT, HOME_CURRENT INTEGER, "
     "HOME_NORMALTIME INTEGER, HOME_AGGREGATED INTEGER, HOME_PENALTIES INTEGER, HOME_POINT TEXT, "
     "HOME_PERIODS TEXT, HOME_PERIOD1 INTEGER, HOME_PERIOD2 INTEGER, HOME_PERIOD3 INTEGER, "
     "HOME_PERIOD4 INTEGER, HOME_PERIOD5 INTEGER, HOME_PERIOD6 INTEGER, HOME_PERIOD7 INTEGER, "
     "HOME_TIE_BREAK_PERIODS TEXT, SCORE_DESCRIPTION_HOME TEXT, AWAY_CURRENT INTEGER, "
     "AWAY_NORMALTIME INTEGER, AWAY_AGGREGATED INTEGER, AWAY_PENALTIES INTEGER, AWAY_POINT TEXT, "
     "AWAY_PERIODS TEXT, AWAY_PERIOD1 INTEGER, AWAY_PERIOD2 INTEGER, AWAY_PERIOD3 INTEGER, "
     "AWAY_PERIOD4 INTEGER, AWAY_PERIOD5 INTEGER, AWAY_PERIOD6 INTEGER, AWAY_PERIOD7 INTEGER, "
     "AWAY_TIE_BREAK_PERIODS TEXT, SCORE_DESCRIPTION_AWAY TEXT, HOME_SUBTEAM1_COL_ID INTEGER, "
     "HOME_SUBTEAM1_COL_NAME TEXT, HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS TEXT, "
     "HOME_SUBTEAM2_COL_ID INTEGER, HOME_SUBTEAM2_COL_NAME TEXT, "
     "HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS TEXT, AWAY_SUBTEAM1_COL_ID INTEGER, "
     "AWAY_SUBTEAM1_COL_NAME TEXT, AWAY_SUBTEAM1_COL_FIELD_TRANSLATIONS TEXT, "
     "AWAY_SUBTEAM2_COL_ID INTEGER, AWAY_SUBTEAM2_COL_NAME TEXT, "
     "AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS TEXT, CHANGES_TIMESTAMP INTEGER, CHANGES_CARRAY TEXT, "
     "CHANGES_HAS_CHANGES INTEGER, STATUS_CODE INTEGER, STATISTICS INTEGER, "
     "TOURNAMENT_UNIQUE_NAME TEXT, END_DATE INTEGER, IS_MUTED INTEGER, IS_HIDDEN INTEGER, "
     "TOURNAMENT_PLAYER_HEATMAP INTEGER, TOURNAMENT_PLAYER_STATISTICS INTEGER, "
     "CURRENT_BATTING_TEAM_ID INTEGER, HAS_HIGHLIGHTS_STREAM INTEGER, "
     "TOURNAMENT_BOX_SCORE INTEGER, STATUS_INITIAL INTEGER, STATUS_MAX INTEGER, "
     "STATUS_EXTRA INTEGER, STATUS_TIMESTAMP INTEGER, STATUS_PREFIX TEXT, "
     "TIMEINFO_PLAYED INTEGER, TIMEINFO_PERIOD_LENGTH INTEGER, TIMEINFO_OVERTIME_LENGTH INTEGER, "
     "TIMEINFO_TOTAL_PERIOD_COUNT INTEGER, FINAL_ROUND INTEGER, "
     "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS INTEGER, TOURNAMENT_GROUND_TYPE TEXT, "
     "TOURNAMENT_TENNIS_POINTS INTEGER, AM_FOOTBALL_YARDS_TO_FIRST_DOWN INTEGER, "
     "AM_FOOTBALL_CURRENT_DOWN INTEGER, AM_FOOTBALL_CURRENT_YARDLINE INTEGER, "
     "AM_FOOTBALL_IS_GOAL_POSSESSION INTEGER, AM_FOOTBALL_CURRENT_POSSESSION INTEGER, "
     "AM_FOOTBALL_CURRENT_TEAM_HALF INTEGER, STREAM_CONTENT_ID INTEGER, "
     "STREAM_CONTENT_GEO_RESTRICTIONS TEXT, BEST_OF_SETS INTEGER, VAR_IN_PROGRESS_HOME INTEGER, "
     "VAR_IN_PROGRESS_AWAY INTEGER );",
     // 47 upgrades in this order; one without its ";", the inverse flag as
     // SMALLINT, and never the American-football team half.
     {
         "ALTER TABLE EventTable_ ADD COLUMN TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS SMALLINT;",
         "ALTER TABLE EventTable_ ADD COLUMN TOURNAMENT_GROUND_TYPE TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN TOURNAMENT_TENNIS_POINTS INTEGER",
         "ALTER TABLE EventTable_ ADD COLUMN FINAL_ROUND INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_TEAM_SHORT_NAME TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_TEAM_SHORT_NAME TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_TEAM_FLAG TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_TEAM_FLAG TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_TEAM_NAME_CODE TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_TEAM_NAME_CODE TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN AM_FOOTBALL_YARDS_TO_FIRST_DOWN INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AM_FOOTBALL_CURRENT_DOWN INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AM_FOOTBALL_CURRENT_YARDLINE INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AM_FOOTBALL_IS_GOAL_POSSESSION INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AM_FOOTBALL_CURRENT_POSSESSION INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PENALTIES INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PERIOD1 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PERIOD2 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PERIOD3 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PERIOD4 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PERIOD5 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PERIOD6 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_PERIOD7 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PENALTIES INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PERIOD1 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PERIOD2 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PERIOD3 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PERIOD4 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PERIOD5 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PERIOD6 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_PERIOD7 INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN CROWDSOURCING_ENABLED INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN CROWDSOURCING_DATA_DISPLAY_ENABLED INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN STREAM_CONTENT_ID INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN STREAM_CONTENT_GEO_RESTRICTIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN BEST_OF_SETS INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_TEAM_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_TEAM_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_SUBTEAM1_COL_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN TOURNAMENT_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN CATEGORY_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE EventTable_ ADD COLUMN VAR_IN_PROGRESS_HOME INTEGER;",
         "ALTER TABLE EventTable_ ADD COLUMN VAR_IN_PROGRESS_AWAY INTEGER;",
     },
     {
         "CREATE INDEX IF NOT EXISTS home_team_index ON EventTable_ (HOME_TEAM_ID)",
         "CREATE INDEX IF NOT EXISTS away_team_index ON EventTable_ (AWAY_TEAM_ID)",
     }},
    {"DBTablePinnedUniqueTournaments",
     "CREATE TABLE IF NOT EXISTS PinnedUniqueTournamentsTable ( "
     "ID INTEGER PRIMARY KEY AUTOINCREMENT, NAME TEXT, CATEGORY_ID INTEGER, CATEGORY_NAME TEXT, "
     "CATEGORY_FLAG TEXT, CATEGORY_PRIORITY INTEGER, SPORT_ID INTEGER, SPORT_SLUG TEXT, "
     "CREATED_AT_TIMESTAMP INTEGER );",
     {
         "ALTER TABLE PinnedUniqueTournamentsTable ADD COLUMN CREATED_AT_TIMESTAMP INTEGER "
         "DEFAULT 0;",
     },
     {
         "CREATE INDEX IF NOT EXISTS unique_tournaments_index ON PinnedUniqueTournamentsTable (ID)",
     }},
    {"DBTablePlayer",
     "CREATE TABLE IF NOT EXISTS MyPlayerTable ( ID INTEGER PRIMARY KEY, PLAYER_NAME TEXT, "
     "PLAYER_FIELD_TRANSLATIONS TEXT, PLAYER_TEAM_ID INTEGER, PLAYER_TEAM_NAME_ID TEXT, "
     "SPORT_SLUG TEXT, USER_COUNT INTEGER, NOTIFICATIONS_ENABLED INTEGER );",
     {
         "ALTER TABLE MyPlayerTable ADD COLUMN NOTIFICATIONS_ENABLED INTEGER DEFAULT 1;",
         "ALTER TABLE MyPlayerTable ADD COLUMN PLAYER_FIELD_TRANSLATIONS TEXT;",
     },
     {}},
    {"DBTableTeam",
     "CREATE TABLE IF NOT EXISTS MyTeamTable ( ID INTEGER PRIMARY KEY, SORT_ORDER INTEGER, "
     "TEAM_NAME TEXT, TEAM_FIELD_TRANSLATIONS TEXT, SPORT_ID INTEGER, SPORT_NAME TEXT, "
     "SPORT_SLUG TEXT, SPORT_ROWS INTEGER, USER_COUNT INTEGER, GENDER TEXT, IS_DISABLED INTEGER, "
     "NOTIFICATIONS_ENABLED INTEGER, TYPE INTEGER );",
     {
         "ALTER TABLE MyTeamTable ADD COLUMN NOTIFICATIONS_ENABLED INTEGER DEFAULT 1;",
         "ALTER TABLE MyTeamTable ADD COLUMN TYPE INTEGER DEFAULT 0;",
         "ALTER TABLE MyTeamTable ADD COLUMN TEAM_FIELD_TRANSLATIONS TEXT;",
     },
     {}},
    {"DBTableTournament",
     "CREATE TABLE IF NOT EXISTS MyLeagueTable ( ID INTEGER PRIMARY KEY, "
     "TOURNAMENT_UNIQUE_NAME TEXT, TOURNAMENT_ID INTEGER, TOURNAMENT_NAME TEXT, "
     "TOURNAMENT_FIELD_TRANSLATIONS TEXT, TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS TEXT, "
     "SPORT_SLUG TEXT, SPORT_ID INTEGER, SPORT_NAME TEXT, CATEGORY_ID INTEGER, "
     "CATEGORY_NAME TEXT, TOURNAMENT_CATEGORY_FIELD_TRANSLATIONS TEXT, CATEGORY_FLAG TEXT, "
     "USER_COUNT INTEGER, NOTIFICATIONS_ENABLED INTEGER );",
     {
         "ALTER TABLE MyLeagueTable ADD COLUMN NOTIFICATIONS_ENABLED INTEGER DEFAULT 1;",
         "ALTER TABLE MyLeagueTable ADD COLUMN TOURNAMENT_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE MyLeagueTable ADD COLUMN TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS TEXT;",
         "ALTER TABLE MyLeagueTable ADD COLUMN TOURNAMENT_CATEGORY_FIELD_TRANSLATIONS TEXT;",
     },
     {}},
    {"DBTableTvChannels",
     "CREATE TABLE IF NOT EXISTS TvChannelContributedTable ( "
     "ID INTEGER PRIMARY KEY AUTOINCREMENT, CHANNEL_ID INTEGER, EVENT_ID INTEGER, "
     "EVENT_TIMESTAMP INTEGER, APPROVE INTEGER );",
     {},
     {}},
    {"DBTableVote",
     "CREATE TABLE IF NOT EXISTS VoteTable ( ID INTEGER PRIMARY KEY, VOTE INTEGER, "
     "EVENT_TIMESTAMP INTEGER, POST_FLAG INTEGER );",
     {},
     {}},
    {"DBTableStage",
     "CREATE TABLE IF NOT EXISTS StageTable ( ID INTEGER PRIMARY KEY, NAME TEXT, "
     "STATUS_TYPE INTEGER, START_TIMESTAMP INTEGER, TYPE INTEGER, HAS_COMPETITORS INTEGER, "
     "HAS_TEAMS INTEGER, FLAG TEXT, WINNER_ID INTEGER, WINNER_NAME TEXT, LAST_UPDATE INTEGER, "
     "STAGE_ID INTEGER, STAGE_NAME TEXT, STAGE_START_TIMESTAMP INTEGER, "
     "STAGE_HAS_COMPETITOR INTEGER, STAGE_HAS_TEAMS INTEGER, STAGE_FLAG TEXT, SEASON_ID INTEGER, "
     "SEASON_NAME TEXT, SEASON_YEAR TEXT, UNIQUE_ID INTEGER, UNIQUE_NAME TEXT, "
     "UNIQUE_PRIMARY TEXT, UNIQUE_SECONDARY TEXT, CATEGORY_NAME TEXT, CATEGORY_FLAG TEXT, "
     "CATEGORY_ID INTEGER, SPORT_SLUG TEXT, IS_MUTED INTEGER, IS_HIDDEN INTEGER );",
     {
         "ALTER TABLE StageTable ADD COLUMN IS_MUTED INTEGER;",
         "ALTER TABLE StageTable ADD COLUMN CATEGORY_ID INTEGER;",
         "ALTER TABLE StageTable ADD COLUMN IS_HIDDEN INTEGER;",
     },
     {}},
    {"DBTableScheduledChannels",
     "CREATE TABLE IF NOT EXISTS ScheduledChannelsTable ( KEY TEXT PRIMARY KEY, "
     "CHANNEL_ID INTEGER, COUNTRY_CODE TEXT, CHANNEL_NAME TEXT );",
     {},
     {}},
    {"DBTableFantasyCompetition",
     "CREATE TABLE IF NOT EXISTS FantasyCompetitionTable ( ID INTEGER PRIMARY KEY );",
     {},
     {}},
};
// clang-format on

const PinnedSchema& pinned(const std::string& className) {
  for (const auto& schema : kPinned) {
    if (schema.className == className) return schema;
  }
  throw std::out_of_range("no pinned schema for " + className);
}

// Upgrades that give the rows already stored a value; every other upgrade
// column starts out NULL. Notifications stay on for what was followed before.
const std::map<std::string, std::string> kUpgradeDefaults = {
    {"MyPlayerTable.NOTIFICATIONS_ENABLED", "1"},
    {"MyTeamTable.NOTIFICATIONS_ENABLED", "1"},
    {"MyTeamTable.TYPE", "0"},
    {"MyLeagueTable.NOTIFICATIONS_ENABLED", "1"},
    {"PinnedUniqueTournamentsTable.CREATED_AT_TIMESTAMP", "0"}};

// The word after `marker` in `sql`.
std::string wordAfter(const std::string& sql, const std::string& marker) {
  const auto start = sql.find(marker) + marker.size();
  return sql.substr(start, sql.find_first_of(" ;", start) - start);
}

class TableSchemaTest : public ::testing::TestWithParam<TableHooks> {};

TEST_P(TableSchemaTest, HooksReturnThePinnedTextsAndSQLiteRunsThemAsWritten) {
  const TableHooks& t = GetParam();
  const PinnedSchema& expected = pinned(t.className);
  EXPECT_EQ(t.createTableQuery(), expected.create);
  EXPECT_EQ(t.updateTableQueries(), expected.upgrades);
  EXPECT_EQ(t.createIndexes(), expected.indexes);

  // SQLite keeps the text minus "IF NOT EXISTS" and the final ";".
  const std::string prefix = "CREATE TABLE IF NOT EXISTS ";
  const std::string table = wordAfter(expected.create, prefix);
  testing::ScratchDatabase fresh;
  ASSERT_TRUE(fresh.exec(expected.create)) << fresh.lastError() << "\n" << table;
  ASSERT_TRUE(fresh.exec(expected.create)) << "IF NOT EXISTS makes a second run harmless";
  EXPECT_EQ(fresh.rows("SELECT sql FROM sqlite_master WHERE name = '" + table + "'").at(0)[0],
            "CREATE TABLE " + expected.create.substr(prefix.size(),
                                                     expected.create.size() - prefix.size() - 1));
  const auto freshInfo = fresh.tableInfo(table);
  EXPECT_TRUE(freshInfo.at(0).primaryKey);
  std::vector<std::string> upgrades;
  for (const auto& statement : expected.upgrades) {
    upgrades.push_back(wordAfter(statement, "ADD COLUMN "));
    EXPECT_FALSE(fresh.exec(statement)) << statement;
    EXPECT_EQ(fresh.lastError(), "duplicate column name: " + upgrades.back());
  }
  EXPECT_EQ(fresh.tableInfo(table).size(), freshInfo.size());
  for (int round = 0; round < 2; ++round) {
    for (const auto& statement : expected.indexes) {
      EXPECT_TRUE(fresh.exec(statement)) << statement << ": " << fresh.lastError();
    }
  }

  // The older layout: the current one without the pinned upgrade columns, one row.
  testing::ScratchDatabase old;
  std::vector<std::string> columns;
  std::map<std::string, std::string> freshTypes;
  std::string create;
  for (const auto& column : freshInfo) {
    freshTypes[column.name] = column.type;
    if (std::find(upgrades.begin(), upgrades.end(), column.name) != upgrades.end()) continue;
    create += (create.empty() ? "" : ", ") + column.name + " " + column.type +
              (column.primaryKey ? " PRIMARY KEY" : "");
    columns.push_back(column.name);
  }
  ASSERT_TRUE(old.exec("CREATE TABLE " + table + " (" + create + ")")) << old.lastError();
  ASSERT_TRUE(old.exec("INSERT INTO " + table + " (" + columns[0] + ") VALUES ('1')"));
  for (const auto& statement : expected.upgrades) {
    EXPECT_TRUE(old.exec(statement)) << statement << ": " << old.lastError();
  }
  columns.insert(columns.end(), upgrades.begin(), upgrades.end());
  const auto info = old.tableInfo(table);
  const auto rows = old.rows("SELECT * FROM " + table);
  ASSERT_EQ(rows.size(), 1u) << "the old row is kept";
  ASSERT_EQ(info.size(), columns.size());
  for (size_t i = 0; i < info.size(); ++i) {
    EXPECT_EQ(info[i].name, columns[i]);
    if (i < info.size() - upgrades.size()) continue;
    const auto known = kUpgradeDefaults.find(table + "." + info[i].name);
    const auto value =
        known == kUpgradeDefaults.end() ? std::nullopt : std::optional<std::string>(known->second);
    EXPECT_EQ(info[i].defaultValue, value) << info[i].name;
    EXPECT_EQ(rows[0][i], value) << "old row, " << info[i].name;
    // The inverse home/away flag is the one upgrade declared SMALLINT.
    if (info[i].name != "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS") {
      EXPECT_EQ(info[i].type, freshTypes[info[i].name]) << info[i].name;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(AllTables, TableSchemaTest,
                         ::testing::ValuesIn(FMDBHelper::tableClasses()),
                         [](const ::testing::TestParamInfo<TableHooks>& p) {
                           return std::string(p.param.className);
                         });

TEST(TableSchemaSetTest, TwelveTablesInFixedOrderWithThreeIndexes) {
  std::vector<std::string> order, expectedOrder;
  for (const auto& schema : kPinned) expectedOrder.push_back(schema.className);
  testing::ScratchDatabase db;
  for (const auto& t : FMDBHelper::tableClasses()) {
    order.push_back(t.className);
    ASSERT_TRUE(db.exec(t.createTableQuery())) << t.className << ": " << db.lastError();
    for (const auto& statement : t.createIndexes()) EXPECT_TRUE(db.exec(statement)) << statement;
  }
  EXPECT_EQ(order, expectedOrder);
  EXPECT_EQ(db.rows("SELECT COUNT(*) FROM sqlite_master WHERE type = 'table' AND name <> "
                    "'sqlite_sequence'")[0][0],
            "12");
  using Row = std::vector<std::optional<std::string>>;
  EXPECT_EQ(
      db.rows("SELECT name, tbl_name, (SELECT group_concat(name) FROM pragma_index_info(m.name)) "
              "FROM sqlite_master m WHERE type = 'index' AND sql IS NOT NULL ORDER BY name"),
      (std::vector<Row>{{"away_team_index", "EventTable_", "AWAY_TEAM_ID"},
                        {"home_team_index", "EventTable_", "HOME_TEAM_ID"},
                        {"unique_tournaments_index", "PinnedUniqueTournamentsTable", "ID"}}));
}

}  // namespace
}  // namespace kestrel
