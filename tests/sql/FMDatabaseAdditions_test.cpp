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

TEST_F(FMDatabaseAdditionsTest, SingleValuesReadColumnZeroAndCloseTheResultSet) {
  EXPECT_EQ(db->intForQuery("select TEAM_ID from MyTeamTable"), 7);
  EXPECT_EQ(db->longForQuery("select ?", 9000000000LL), 9000000000LL);
  EXPECT_TRUE(db->boolForQuery("select count(*) from MyTeamTable where NAME = ?", "Hajduk"));
  EXPECT_EQ(db->doubleForQuery("select 0.5"), 0.5);
  EXPECT_EQ(db->stringForQuery("select NAME from MyTeamTable where TEAM_ID = ?", 7), "Hajduk");
  EXPECT_EQ(db->dataForQuery("select x'beef'"), (std::vector<std::uint8_t>{0xbe, 0xef}));
  EXPECT_EQ(db->dateForQuery("select 60"), Value::Date(std::chrono::seconds(60)));
  EXPECT_FALSE(db->hasOpenResultSets());
}

TEST_F(FMDatabaseAdditionsTest, SingleValuesWithoutARowAreZeroOrAbsent) {
  const char* none = "select TEAM_ID from MyTeamTable where TEAM_ID = 0";
  EXPECT_EQ(db->intForQuery(none), 0);
  EXPECT_EQ(db->longForQuery(none), 0);
  EXPECT_FALSE(db->boolForQuery(none));
  EXPECT_EQ(db->doubleForQuery(none), 0.0);
  EXPECT_EQ(db->stringForQuery(none), std::nullopt);
  EXPECT_EQ(db->dataForQuery(none), std::nullopt);
  EXPECT_EQ(db->dateForQuery(none), std::nullopt);
  EXPECT_FALSE(db->hasOpenResultSets());

  testing::LogCapture logs;
  EXPECT_EQ(db->intForQuery("select from nowhere"), 0);  // a failed query reads 0 too
  EXPECT_EQ(logs.countContaining("DB Error: 1"), 1u);
}

TEST_F(FMDatabaseAdditionsTest, TableAndColumnLookupIgnoresCase) {
  EXPECT_TRUE(db->tableExists("myteamtable"));
  EXPECT_TRUE(db->tableExists("MYTEAMTABLE"));
  EXPECT_FALSE(db->tableExists("MyTeam"));
  EXPECT_TRUE(db->columnExists("team_id", "MYTEAMTABLE"));
  EXPECT_TRUE(db->columnExistsWithColumnName("myteamtable", "Name"));
  EXPECT_FALSE(db->columnExists("PLAYER_ID", "MyTeamTable"));
  EXPECT_FALSE(db->columnExists("TEAM_ID", "NoSuchTable"));
  EXPECT_FALSE(db->hasOpenResultSets());
}

TEST_F(FMDatabaseAdditionsTest, SchemaListsTablesAndIndexes) {
  ASSERT_TRUE(db->executeUpdate("create index team_index on MyTeamTable (TEAM_ID)"));
  auto rs = db->getSchema();
  ASSERT_TRUE(rs);
  std::vector<std::string> names;
  while (rs->next()) names.push_back(rs->stringForColumn("name").value_or(""));
  EXPECT_EQ(names, (std::vector<std::string>{"MyTeamTable", "team_index"}));

  auto columns = db->getTableSchema("MyTeamTable");
  ASSERT_TRUE(columns && columns->next());
  EXPECT_EQ(columns->stringForColumn("name"), "TEAM_ID");
  EXPECT_EQ(columns->stringForColumn("type"), "INTEGER");
  columns->close();
}

TEST_F(FMDatabaseAdditionsTest, UserVersionAndApplicationIdRoundTrip) {
  EXPECT_EQ(db->userVersion(), 0u);
  db->setUserVersion(3);
  EXPECT_EQ(db->userVersion(), 3u);
  db->setApplicationID(0x4b455354);
  EXPECT_EQ(db->applicationID(), 0x4b455354u);
}

TEST_F(FMDatabaseAdditionsTest, ValidateSQLPreparesWithoutRunning) {
  EXPECT_TRUE(db->validateSQL("delete from MyTeamTable"));
  EXPECT_EQ(db->intForQuery("select count(*) from MyTeamTable"), 1);
  FMError error;
  EXPECT_FALSE(db->validateSQL("delete from Nowhere", &error));
  EXPECT_EQ(error.message, "no such table: Nowhere");
}

}  // namespace
}  // namespace kestrel
