#include <KestrelDatabase/schema/FMDBHelper.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "tables/ScratchDatabase.h"

// The schema hooks of every table class, run against SQLite itself: each
// CREATE runs, each upgrade fails on a fresh table and adds exactly its column
// to a table of the older layout, and the indexes can be created twice.
namespace kestrel {
namespace {

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

TEST_P(TableSchemaTest, FreshTableRefusesEveryUpgradeAndOldLayoutGainsExactlyThem) {
  const TableHooks& t = GetParam();
  const std::string table = wordAfter(t.createTableQuery(), "CREATE TABLE IF NOT EXISTS ");
  testing::ScratchDatabase fresh;
  ASSERT_TRUE(fresh.exec(t.createTableQuery())) << fresh.lastError() << "\n" << table;
  ASSERT_TRUE(fresh.exec(t.createTableQuery())) << "IF NOT EXISTS makes a second run harmless";
  const auto freshInfo = fresh.tableInfo(table);
  EXPECT_TRUE(freshInfo.at(0).primaryKey);
  std::vector<std::string> upgrades;
  for (const auto& statement : t.updateTableQueries()) {
    upgrades.push_back(wordAfter(statement, "ADD COLUMN "));
    EXPECT_EQ(statement.rfind("ALTER TABLE " + table + " ADD COLUMN ", 0), 0u) << statement;
    EXPECT_FALSE(fresh.exec(statement)) << statement;
    EXPECT_EQ(fresh.lastError(), "duplicate column name: " + upgrades.back());
  }
  EXPECT_EQ(fresh.tableInfo(table).size(), freshInfo.size());
  for (int round = 0; round < 2; ++round) {
    for (const auto& statement : t.createIndexes()) {
      EXPECT_TRUE(fresh.exec(statement)) << statement << ": " << fresh.lastError();
    }
  }

  // The older layout: the current one without the upgrade columns, one row.
  testing::ScratchDatabase old;
  std::vector<std::string> expected;
  std::map<std::string, std::string> freshTypes;
  std::string create;
  for (const auto& column : freshInfo) {
    freshTypes[column.name] = column.type;
    if (std::find(upgrades.begin(), upgrades.end(), column.name) != upgrades.end()) continue;
    create += (create.empty() ? "" : ", ") + column.name + " " + column.type +
              (column.primaryKey ? " PRIMARY KEY" : "");
    expected.push_back(column.name);
  }
  ASSERT_TRUE(old.exec("CREATE TABLE " + table + " (" + create + ")")) << old.lastError();
  ASSERT_TRUE(old.exec("INSERT INTO " + table + " (" + expected[0] + ") VALUES ('1')"));
  for (const auto& statement : t.updateTableQueries()) {
    EXPECT_TRUE(old.exec(statement)) << statement << ": " << old.lastError();
  }
  expected.insert(expected.end(), upgrades.begin(), upgrades.end());
  const auto info = old.tableInfo(table);
  const auto rows = old.rows("SELECT * FROM " + table);
  ASSERT_EQ(rows.size(), 1u) << "the old row is kept";
  for (size_t i = 0; i < info.size(); ++i) {
    EXPECT_EQ(info[i].name, expected.at(i));
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
  EXPECT_EQ(info.size(), expected.size());
}

INSTANTIATE_TEST_SUITE_P(AllTables, TableSchemaTest,
                         ::testing::ValuesIn(FMDBHelper::tableClasses()),
                         [](const ::testing::TestParamInfo<TableHooks>& p) {
                           return std::string(p.param.className);
                         });

TEST(TableSchemaSetTest, TwelveTablesInFixedOrderWithTheirUpgradesAndThreeIndexes) {
  std::string upgradeCounts;
  testing::ScratchDatabase db;
  for (const auto& t : FMDBHelper::tableClasses()) {
    upgradeCounts +=
        std::string(t.className) + " " + std::to_string(t.updateTableQueries().size()) + ", ";
    ASSERT_TRUE(db.exec(t.createTableQuery())) << t.className << ": " << db.lastError();
    for (const auto& statement : t.createIndexes()) EXPECT_TRUE(db.exec(statement)) << statement;
  }
  EXPECT_EQ(
      upgradeCounts,
      "DBTableChatReport 0, DBTableChatUpvote 0, DBTableEvent 47, "
      "DBTablePinnedUniqueTournaments 1, DBTablePlayer 2, DBTableTeam 3, DBTableTournament 4, "
      "DBTableTvChannels 0, DBTableVote 0, DBTableStage 3, DBTableScheduledChannels 0, "
      "DBTableFantasyCompetition 0, ");
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
