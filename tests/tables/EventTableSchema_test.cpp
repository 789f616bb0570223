#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include "tables/ScratchDatabase.h"

// Event-table schema details beyond the checks every table gets: the exact
// column layout, which the row mapping reuses, the upgrade list that never
// adds the football team half, and the SMALLINT upgrade column.
namespace kestrel {
namespace {

TEST(EventTableSchemaTest, FreshTableHasTheFixedColumnOrderAndTypes) {
  testing::ScratchDatabase db;
  ASSERT_TRUE(db.exec(DBTableEvent::createTableQuery()));
  const auto info = db.tableInfo(DBTableEvent::kTableName);
  std::string layout;  // INTEGER unless marked
  for (const auto& column : info) {
    layout += (layout.empty() ? "" : ", ") + column.name +
              (column.type == "INTEGER" ? "" : " " + column.type);
  }
  EXPECT_EQ(
      layout,
      "ID, START_DATE, VISIBLE, HASHIGHLIGHTS, WEBURL TEXT, CARDS_CODE TEXT, "
      "STATUS_DESCRIPTION TEXT, STATUS_TYPE, LAST_PERIOD TEXT, FIRST2SERVE, LAST_UPDATE, "
      "WINNER_CODE, AGGREGATED_WINNER_CODE, CROWDSOURCING_ENABLED, "
      "CROWDSOURCING_DATA_DISPLAY_ENABLED, SPORT_ID, SPORT_NAME TEXT, SPORT_SLUG TEXT, SPORT_ROWS, "
      "TOURNAMENT_ID, TOURNAMENT_NAME TEXT, TOURNAMENT_FIELD_TRANSLATIONS TEXT, "
      "TOURNAMENT_UNIQUE_ID, TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS TEXT, CATEGORY_ID, "
      "CATEGORY_NAME TEXT, CATEGORY_FLAG TEXT, CATEGORY_FIELD_TRANSLATIONS TEXT, SEASON_ID, "
      "SEASON_NAME TEXT, SEASON_YEAR TEXT, HOME_TEAM_ID, HOME_TEAM_NAME TEXT, "
      "HOME_TEAM_SHORT_NAME TEXT, HOME_TEAM_FLAG TEXT, HOME_TEAM_SUBTEAMS TEXT, "
      "HOME_TEAM_NAME_CODE TEXT, HOME_TEAM_FIELD_TRANSLATIONS TEXT, AWAY_TEAM_ID, "
      "AWAY_TEAM_NAME TEXT, AWAY_TEAM_SHORT_NAME TEXT, AWAY_TEAM_FLAG TEXT, "
      "AWAY_TEAM_SUBTEAMS TEXT, AWAY_TEAM_NAME_CODE TEXT, AWAY_TEAM_FIELD_TRANSLATIONS TEXT, "
      "TIME_CURRENT, TIME_PERIOD_TIMES TEXT, HOME_CURRENT, HOME_NORMALTIME, HOME_AGGREGATED, "
      "HOME_PENALTIES, HOME_POINT TEXT, HOME_PERIODS TEXT, HOME_PERIOD1, HOME_PERIOD2, "
      "HOME_PERIOD3, HOME_PERIOD4, HOME_PERIOD5, HOME_PERIOD6, HOME_PERIOD7, "
      "HOME_TIE_BREAK_PERIODS TEXT, SCORE_DESCRIPTION_HOME TEXT, AWAY_CURRENT, AWAY_NORMALTIME, "
      "AWAY_AGGREGATED, AWAY_PENALTIES, AWAY_POINT TEXT, AWAY_PERIODS TEXT, AWAY_PERIOD1, "
      "AWAY_PERIOD2, AWAY_PERIOD3, AWAY_PERIOD4, AWAY_PERIOD5, AWAY_PERIOD6, AWAY_PERIOD7, "
      "AWAY_TIE_BREAK_PERIODS TEXT, SCORE_DESCRIPTION_AWAY TEXT, HOME_SUBTEAM1_COL_ID, "
      "HOME_SUBTEAM1_COL_NAME TEXT, HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS TEXT, "
      "HOME_SUBTEAM2_COL_ID, HOME_SUBTEAM2_COL_NAME TEXT, "
      "HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS TEXT, AWAY_SUBTEAM1_COL_ID, "
      "AWAY_SUBTEAM1_COL_NAME TEXT, AWAY_SUBTEAM1_COL_FIELD_TRANSLATIONS TEXT, "
      "AWAY_SUBTEAM2_COL_ID, AWAY_SUBTEAM2_COL_NAME TEXT, "
      "AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS TEXT, CHANGES_TIMESTAMP, CHANGES_CARRAY TEXT, "
      "CHANGES_HAS_CHANGES, STATUS_CODE, STATISTICS, TOURNAMENT_UNIQUE_NAME TEXT, END_DATE, "
      "IS_MUTED, IS_HIDDEN, TOURNAMENT_PLAYER_HEATMAP, TOURNAMENT_PLAYER_STATISTICS, "
      "CURRENT_BATTING_TEAM_ID, HAS_HIGHLIGHTS_STREAM, TOURNAMENT_BOX_SCORE, STATUS_INITIAL, "
      "STATUS_MAX, STATUS_EXTRA, STATUS_TIMESTAMP, STATUS_PREFIX TEXT, TIMEINFO_PLAYED, "
      "TIMEINFO_PERIOD_LENGTH, TIMEINFO_OVERTIME_LENGTH, TIMEINFO_TOTAL_PERIOD_COUNT, FINAL_ROUND, "
      "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS, TOURNAMENT_GROUND_TYPE TEXT, "
      "TOURNAMENT_TENNIS_POINTS, AM_FOOTBALL_YARDS_TO_FIRST_DOWN, AM_FOOTBALL_CURRENT_DOWN, "
      "AM_FOOTBALL_CURRENT_YARDLINE, AM_FOOTBALL_IS_GOAL_POSSESSION, "
      "AM_FOOTBALL_CURRENT_POSSESSION, AM_FOOTBALL_CURRENT_TEAM_HALF, STREAM_CONTENT_ID, "
      "STREAM_CONTENT_GEO_RESTRICTIONS TEXT, BEST_OF_SETS, VAR_IN_PROGRESS_HOME, "
      "VAR_IN_PROGRESS_AWAY");
}

TEST(EventTableSchemaTest, FortySevenUpgradesWithoutTheTeamHalfAndTheFlagAsSmallint) {
  const auto updates = DBTableEvent::updateTableQueries();
  EXPECT_EQ(updates.size(), 47u);
  // A database older than the American-football columns never gains the team half.
  for (const auto& statement : updates) {
    EXPECT_EQ(statement.find("AM_FOOTBALL_CURRENT_TEAM_HALF"), std::string::npos) << statement;
  }

  // The inverse home/away flag is SMALLINT when migrated, INTEGER when fresh;
  // both read back as integers.
  constexpr const char* kFlag = "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS";
  testing::ScratchDatabase db;
  ASSERT_TRUE(db.exec(DBTableEvent::createTableQuery()));
  ASSERT_TRUE(db.exec(std::string("ALTER TABLE EventTable_ DROP COLUMN ") + kFlag));
  for (const auto& statement : updates) db.exec(statement);
  const auto info = db.tableInfo(DBTableEvent::kTableName);
  ASSERT_EQ(info.size(), 127u);
  EXPECT_EQ(info.back().name, kFlag);
  EXPECT_EQ(info.back().type, "SMALLINT");
  ASSERT_TRUE(
      db.exec(std::string("INSERT INTO EventTable_ (ID, ") + kFlag + ") VALUES (42, \"1\")"));
  const auto row =
      db.rows(std::string("SELECT typeof(") + kFlag + "), " + kFlag + " FROM EventTable_");
  EXPECT_EQ(row.at(0)[0], "integer");
  EXPECT_EQ(row.at(0)[1], "1");
}

}  // namespace
}  // namespace kestrel
