// Single-value and schema queries of the connection.
#include <KestrelDatabase/sql/FMDatabase.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

class FMDatabaseAdditionsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db = FMDatabase::databaseWithPath(std::nullopt);
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeUpdate("create table MyTeamTable (TEAM_ID integer, NAME text)"));
    ASSERT_TRUE(db->executeUpdate("insert into MyTeamTable values (?, ?)", 7, "Hajduk"));
  }

  std::shared_ptr<FMDatabase> db;
};

TEST_F(FMDatabaseAdditionsTest, SingleValuesReadColumnZeroOrZeroAndAbsentWithoutARow) {
  EXPECT_EQ(db->longForQuery("select ?", 9000000000LL), 9000000000LL);
  EXPECT_EQ(db->stringForQuery("select NAME from MyTeamTable where TEAM_ID = ?", 7), "Hajduk");
  EXPECT_EQ(db->dataForQuery("select x'beef'"), (std::vector<std::uint8_t>{0xbe, 0xef}));

  const char* none = "select TEAM_ID from MyTeamTable where TEAM_ID = 0";
  EXPECT_EQ(db->intForQuery(none), 0);
  EXPECT_FALSE(db->boolForQuery(none));
  EXPECT_EQ(db->stringForQuery(none), std::nullopt);
  EXPECT_EQ(db->dateForQuery(none), std::nullopt);
  EXPECT_FALSE(db->hasOpenResultSets());

  testing::LogCapture logs;
  EXPECT_EQ(db->intForQuery("select from nowhere"), 0);  // a failed query reads 0 too
  EXPECT_EQ(logs.countContaining("DB Error: 1"), 1u);
}

TEST_F(FMDatabaseAdditionsTest, TableAndColumnLookupIgnoresCase) {
  EXPECT_TRUE(db->tableExists("myteamtable"));
  EXPECT_FALSE(db->tableExists("MyTeam"));
  EXPECT_TRUE(db->columnExists("team_id", "MYTEAMTABLE"));
  EXPECT_TRUE(db->columnExistsWithColumnName("myteamtable", "Name"));
  EXPECT_FALSE(db->columnExists("PLAYER_ID", "MyTeamTable"));
  EXPECT_FALSE(db->columnExists("TEAM_ID", "NoSuchTable"));
  EXPECT_FALSE(db->hasOpenResultSets());
}

TEST_F(FMDatabaseAdditionsTest, SchemaListsTablesIndexesAndColumns) {
  ASSERT_TRUE(db->executeUpdate("create index team_index on MyTeamTable (TEAM_ID)"));
  std::vector<std::string> names;
  for (auto rs = db->getSchema(); rs && rs->next();) names.push_back(*rs->stringForColumn("name"));
  EXPECT_EQ(names, (std::vector<std::string>{"MyTeamTable", "team_index"}));
  auto columns = db->getTableSchema("MyTeamTable");
  ASSERT_TRUE(columns && columns->next());
  EXPECT_EQ(columns->stringForColumn("name"), "TEAM_ID");
  columns->close();
}

}  // namespace
}  // namespace kestrel
