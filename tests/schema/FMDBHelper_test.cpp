#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <thread>

namespace kestrel {
namespace {

using testing::LogCapture;
using testing::TempDir;

class FMDBHelperTest : public ::testing::Test {
 protected:
  std::unique_ptr<FMDBHelper> start() { return FMDBHelper::forHome(home_.path()); }

  // name -> sql of every table and index in the file.
  static std::map<std::string, std::string> schemaOf(FMDBHelper& helper) {
    std::map<std::string, std::string> schema;
    helper.getDBQueue()->inDatabase([&](FMDatabase* db) {
      auto rs = db->executeQuery(
          "SELECT name, sql FROM sqlite_master WHERE name NOT LIKE 'sqlite_%' AND sql IS NOT NULL");
      while (rs->next()) schema[*rs->stringForColumn("name")] = *rs->stringForColumn("sql");
      rs->close();
    });
    return schema;
  }

  static int count(FMDBHelper& helper, const std::string& sql) {
    int n = -1;
    helper.getDBQueue()->inDatabase([&](FMDatabase* db) { n = db->intForQuery(sql); });
    return n;
  }
  static int tableCount(FMDBHelper& helper) {
    return count(helper,
                 "SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name NOT LIKE "
                 "'sqlite_%'");
  }

  static size_t upgradeStatementCount() {
    size_t n = 0;
    for (const TableHooks& table : FMDBHelper::tableClasses())
      n += table.updateTableQueries().size();
    return n;
  }

  TempDir home_;
};

TEST_F(FMDBHelperTest, FirstStartCreatesTwelveTablesAndThreeIndexesAsTheBuilderWritesThem) {
  auto helper = start();
  ASSERT_NE(helper->getDBQueue(), nullptr);
  EXPECT_EQ(helper->databasePath(), home_.path() / "Documents" / "kestrel.db");
  EXPECT_TRUE(std::filesystem::exists(helper->databasePath()));

  const auto schema = schemaOf(*helper);
  EXPECT_EQ(tableCount(*helper), 12);
  EXPECT_EQ(
      count(*helper, "SELECT count(*) FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL"),
      3);
  // SQLite keeps the CREATE text minus "IF NOT EXISTS" and the final ";".
  const std::string prefix = "CREATE TABLE IF NOT EXISTS ";
  for (const TableHooks& table : FMDBHelper::tableClasses()) {
    std::string create = table.createTableQuery();
    ASSERT_EQ(create.rfind(prefix, 0), 0u) << table.className;
    ASSERT_EQ(create.back(), ';');
    const std::string stored =
        "CREATE TABLE " + create.substr(prefix.size(), create.size() - prefix.size() - 1);
    const std::string name = stored.substr(13, stored.find(' ', 13) - 13);
    ASSERT_TRUE(schema.count(name)) << name;
    EXPECT_EQ(schema.at(name), stored) << table.className;
  }
}

TEST_F(FMDBHelperTest, SecondStartLogsOneFailurePerUpgradeAndChangesNothing) {
  std::map<std::string, std::string> before;
  {
    auto first = start();
    before = schemaOf(*first);
    first->getDBQueue()->inDatabase([](FMDatabase* db) {
      db->executeUpdate("INSERT INTO MyTeamTable (ID, TEAM_NAME) VALUES (?, ?)", 7, "Kestrels");
    });
  }
  LogCapture log;
  auto second = start();
  EXPECT_EQ(log.countContaining("DB Error: 1 \"duplicate column name: "), upgradeStatementCount());
  EXPECT_EQ(log.countContaining("DB Query: ALTER TABLE "), upgradeStatementCount());
  EXPECT_EQ(log.count("DB Path: " + second->databasePath().string()), upgradeStatementCount());
  EXPECT_EQ(schemaOf(*second), before);
  EXPECT_EQ(count(*second, "SELECT count(*) FROM MyTeamTable WHERE ID = 7"), 1);
}

TEST_F(FMDBHelperTest, OldLayoutGainsUpgradeColumnsWithDefaultsAndKeepsRows) {
  const auto documents = home_.path() / "Documents";
  std::filesystem::create_directories(documents);
  {
    auto db = FMDatabase::databaseWithPath((documents / "kestrel.db").string());
    ASSERT_TRUE(db->open());
    // The team table as it was before notifications, type and translations.
    ASSERT_TRUE(db->executeUpdate(
        "CREATE TABLE MyTeamTable ( ID INTEGER PRIMARY KEY, SORT_ORDER INTEGER, TEAM_NAME TEXT, "
        "SPORT_ID INTEGER, SPORT_NAME TEXT, SPORT_SLUG TEXT, SPORT_ROWS INTEGER, USER_COUNT "
        "INTEGER, "
        "GENDER TEXT, IS_DISABLED INTEGER )"));
    ASSERT_TRUE(
        db->executeUpdate("INSERT INTO MyTeamTable (ID, TEAM_NAME) VALUES (3, 'Old Town')"));
    db->close();
  }
  auto helper = start();
  helper->getDBQueue()->inDatabase([](FMDatabase* db) {
    auto rs = db->executeQuery("SELECT * FROM MyTeamTable");
    ASSERT_TRUE(rs->next());
    EXPECT_EQ(rs->stringForColumn("TEAM_NAME"), "Old Town");
    EXPECT_EQ(rs->getIntegerForColumnName("NOTIFICATIONS_ENABLED"), 1);
    EXPECT_EQ(rs->getIntegerForColumnName("TYPE"), 0);
    EXPECT_TRUE(rs->columnIsNull("TEAM_FIELD_TRANSLATIONS"));
    EXPECT_FALSE(rs->next());
  });
}

TEST_F(FMDBHelperTest, ClearDBLeavesEmptyTablesWhetherOrNotTheFileExists) {
  auto helper = start();
  helper->getDBQueue()->inDatabase([](FMDatabase* db) {
    ASSERT_TRUE(db->executeUpdate("INSERT INTO MyTeamTable (ID) VALUES (1)"));
    ASSERT_TRUE(db->executeUpdate("INSERT INTO MyTeamTable (ID) VALUES (2)"));
  });
  auto oldQueue = helper->getDBQueue();
  helper->clearDB();
  EXPECT_NE(helper->getDBQueue(), oldQueue);
  EXPECT_EQ(count(*helper, "SELECT count(*) FROM MyTeamTable"), 0);
  EXPECT_EQ(tableCount(*helper), 12);

  std::filesystem::remove(helper->databasePath());
  helper->clearDB();
  EXPECT_TRUE(std::filesystem::exists(helper->databasePath()));
  EXPECT_EQ(tableCount(*helper), 12);
}

TEST_F(FMDBHelperTest, ReInitDBSwapsTheQueueAndKeepsRows) {
  auto helper = start();
  helper->getDBQueue()->inDatabase([](FMDatabase* db) {
    ASSERT_TRUE(db->executeUpdate("INSERT INTO MyTeamTable (ID) VALUES (9)"));
  });
  auto oldQueue = helper->getDBQueue();
  helper->reInitDB();
  EXPECT_NE(helper->getDBQueue(), oldQueue);
  EXPECT_EQ(count(*helper, "SELECT count(*) FROM MyTeamTable WHERE ID = 9"), 1);
  // A user that kept the old queue finds it reopening itself on the same file.
  int rows = 0;
  oldQueue->inDatabase(
      [&](FMDatabase* db) { rows = db->intForQuery("SELECT count(*) FROM MyTeamTable"); });
  EXPECT_EQ(rows, 1);
}

TEST_F(FMDBHelperTest, UnopenableFileLeavesNoQueueAndLogsWhy) {
  // A plain file where the Documents folder should be: nothing can be opened.
  std::ofstream(home_.path() / "Documents") << "not a folder";
  LogCapture log;
  auto helper = start();
  EXPECT_EQ(helper->getDBQueue(), nullptr);
  EXPECT_EQ(log.countContaining("Could not create database queue for path "), 1u);
  EXPECT_EQ(log.count("ERROR: DB OPENING FAILED. NO CONNECTION TO DATABASE."), 1u);
  helper->createTables();  // nothing to do, nothing breaks
  helper->reInitDB();
  EXPECT_EQ(helper->getDBQueue(), nullptr);
}

TEST_F(FMDBHelperTest, SharedInstanceIsCreatedOnceForTheApplicationHome) {
  TempDir appHome(/*setAsHome=*/true);
  std::vector<std::thread> threads;
  std::vector<FMDBHelper*> seen(4, nullptr);
  for (size_t i = 0; i < seen.size(); ++i) {
    threads.emplace_back([&seen, i] { seen[i] = &FMDBHelper::getFMDBHelper(); });
  }
  for (auto& t : threads) t.join();
  FMDBHelper* first = seen[0];
  for (FMDBHelper* helper : seen) EXPECT_EQ(helper, first);
  EXPECT_EQ(first->databasePath(), appHome.path() / "Documents" / "kestrel.db");
  ASSERT_NE(first->getDBQueue(), nullptr);
}

}  // namespace
}  // namespace kestrel
