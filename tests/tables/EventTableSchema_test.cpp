#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "tables/ScratchDatabase.h"

// Event-table schema details beyond the checks every table gets: the column
// list that the row mapping reuses, the upgrade path of very old databases
// and the SMALLINT column.
namespace kestrel {
namespace {

constexpr const char* kTeamHalf = "AM_FOOTBALL_CURRENT_TEAM_HALF";

class EventTableSchemaTest : public ::testing::Test {
 protected:
  // Creates "EventTable_" with the current layout minus `missing`, the way an
  // older version of the app left it, with one row.
  void createOldLayout(const std::set<std::string>& missing) {
    testing::ScratchDatabase fresh;
    ASSERT_TRUE(fresh.exec(DBTableEvent::createTableQuery()));
    std::string create = "CREATE TABLE EventTable_ (";
    bool first = true;
    for (const auto& column : fresh.tableInfo(DBTableEvent::kTableName)) {
      if (missing.count(column.name)) continue;
      create += (first ? "" : ", ") + column.name + " " + column.type +
                (column.primaryKey ? " PRIMARY KEY" : "");
      first = false;
    }
    ASSERT_TRUE(db_.exec(create + ")")) << db_.lastError();
    ASSERT_TRUE(db_.exec("INSERT INTO EventTable_ (ID) VALUES (\"42\")"));
  }

  void runUpdates() {
    for (const auto& statement : DBTableEvent::updateTableQueries()) db_.exec(statement);
  }

  static std::set<std::string> upgradeColumns() {
    std::set<std::string> out;
    for (const auto& statement : DBTableEvent::updateTableQueries()) {
      const std::string prefix = "ALTER TABLE EventTable_ ADD COLUMN ";
      const std::string rest = statement.substr(prefix.size());
      out.insert(rest.substr(0, rest.find(' ')));
    }
    return out;
  }

  testing::ScratchDatabase db_;
};

TEST_F(EventTableSchemaTest, ColumnListMatchesTheCreatedTable) {
  ASSERT_TRUE(db_.exec(DBTableEvent::createTableQuery()));
  const auto info = db_.tableInfo(DBTableEvent::kTableName);
  ASSERT_EQ(info.size(), 127u);
  ASSERT_EQ(DBTableEvent::kColumns.size(), 127u);
  for (size_t i = 0; i < info.size(); ++i) {
    const auto& column = DBTableEvent::kColumns[i];
    EXPECT_EQ(info[i].name, column.name);
    EXPECT_EQ(info[i].type, column.dataType == 1 ? "TEXT" : "INTEGER") << column.name;
  }
  const auto batting = std::find_if(
      DBTableEvent::kColumns.begin(), DBTableEvent::kColumns.end(),
      [](const auto& column) { return std::string(column.name) == "CURRENT_BATTING_TEAM_ID"; });
  ASSERT_NE(batting, DBTableEvent::kColumns.end());
  EXPECT_EQ(batting->dataType, 2);
  EXPECT_EQ(std::count_if(DBTableEvent::kColumns.begin(), DBTableEvent::kColumns.end(),
                          [](const auto& column) { return column.dataType == 2; }),
            1);
}

TEST_F(EventTableSchemaTest, UpgradeListCovers47ColumnsButNeverTheTeamHalf) {
  const auto columns = upgradeColumns();
  EXPECT_EQ(DBTableEvent::updateTableQueries().size(), 47u);
  EXPECT_EQ(columns.size(), 47u) << "no column is added twice";
  EXPECT_EQ(columns.count(kTeamHalf), 0u);
  EXPECT_EQ(columns.count("AM_FOOTBALL_CURRENT_POSSESSION"), 1u);
}

TEST_F(EventTableSchemaTest, DatabaseOlderThanFootballColumnsNeverGainsTheTeamHalf) {
  auto missing = upgradeColumns();
  missing.insert(kTeamHalf);
  createOldLayout(missing);
  runUpdates();

  const auto names = db_.columnNames(DBTableEvent::kTableName);
  EXPECT_EQ(names.size(), 126u);
  EXPECT_EQ(std::count(names.begin(), names.end(), kTeamHalf), 0);
  for (const char* sibling : {"AM_FOOTBALL_YARDS_TO_FIRST_DOWN", "AM_FOOTBALL_CURRENT_DOWN",
                              "AM_FOOTBALL_CURRENT_YARDLINE", "AM_FOOTBALL_IS_GOAL_POSSESSION",
                              "AM_FOOTBALL_CURRENT_POSSESSION"}) {
    EXPECT_EQ(std::count(names.begin(), names.end(), sibling), 1) << sibling;
  }
}

TEST_F(EventTableSchemaTest, InverseHomeAwayFlagIsSmallintWhenMigratedAndReadsAsInteger) {
  createOldLayout({"TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS"});
  runUpdates();
  const auto info = db_.tableInfo(DBTableEvent::kTableName);
  ASSERT_EQ(info.size(), 127u);
  EXPECT_EQ(info.back().name, "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS");
  EXPECT_EQ(info.back().type, "SMALLINT");

  ASSERT_TRUE(db_.exec(
      "UPDATE EventTable_ SET TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS = \"1\" WHERE ID = 42"));
  const auto row = db_.rows(
      "SELECT typeof(TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS), "
      "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS FROM EventTable_");
  EXPECT_EQ(row.at(0)[0], "integer");
  EXPECT_EQ(row.at(0)[1], "1");
}

}  // namespace
}  // namespace kestrel
