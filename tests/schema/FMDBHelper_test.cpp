#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <cstdint>
#include <fstream>
#include <iterator>
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

  /// The file change counter of the database header, which SQLite raises by
  /// one for every committed write transaction.
  static std::uint32_t changeCounter(const std::filesystem::path& file) {
    std::ifstream in(file, std::ios::binary);
    unsigned char bytes[4] = {};
    in.seekg(24);
    in.read(reinterpret_cast<char*>(bytes), 4);
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
  }

  std::filesystem::path databaseFile() const { return home_.path() / "Documents" / "kestrel.db"; }

  /// A second connection to the database file, as another process would hold.
  std::shared_ptr<FMDatabase> otherConnection() {
    std::filesystem::create_directories(home_.path() / "Documents");
    auto db = FMDatabase::databaseWithPath(databaseFile().string());
    EXPECT_TRUE(db->open());
    return db;
  }

  TempDir home_;
};

TEST_F(FMDBHelperTest, FirstStartCreatesTwelveTablesAndThreeIndexesAsTheBuilderWritesThem) {
  auto helper = start();
  ASSERT_NE(helper->getDBQueue(), nullptr);
  EXPECT_EQ(helper->startError(), std::nullopt);
  // The flag word, literally: READWRITE | CREATE | FULLMUTEX | file protection none.
  EXPECT_EQ(helper->getDBQueue()->openFlags(), 0x410006);
  // The pragma is sent inside a transaction, where SQLite ignores it.
  EXPECT_EQ(count(*helper, "PRAGMA foreign_keys"), 0);
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
  const std::uint32_t counter = changeCounter(databaseFile());
  LogCapture log;
  auto second = start();
  EXPECT_EQ(second->startError(), std::nullopt) << "applied upgrades are no failure";
  EXPECT_EQ(changeCounter(databaseFile()), counter) << "nothing was written";
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
  const std::uint32_t counter = changeCounter(documents / "kestrel.db");
  auto helper = start();
  // Eleven new tables, three team columns and the indexes: one commit.
  EXPECT_EQ(changeCounter(documents / "kestrel.db"), counter + 1);
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

TEST_F(FMDBHelperTest, LockedFileStopsTheStartAtOnceWithinItsWaitAndLeavesTheFileUntouched) {
  auto other = otherConnection();
  ASSERT_TRUE(other->executeUpdate("CREATE TABLE Other (A INTEGER)"));
  ASSERT_TRUE(other->beginExclusiveTransaction());
  LogCapture log;
  auto helper = FMDBHelper::forHome(home_.path(), /*lockWait=*/0.05);
  EXPECT_EQ(helper->startError(), "the start transaction could not begin: database is locked");
  EXPECT_NE(helper->getDBQueue(), nullptr);
  // One wait for the whole start, not one per statement.
  EXPECT_EQ(log.countContaining("DB Error: 5 "), 1u);
  EXPECT_EQ(log.count("ERROR: DB START FAILED: the start transaction could not begin: database is "
                      "locked"),
            1u);
  ASSERT_TRUE(other->rollback());
  EXPECT_EQ(other->intForQuery("SELECT count(*) FROM sqlite_master"), 1);

  // Once the lock is gone, a new start works and the failure is forgotten.
  helper->reInitDB();
  EXPECT_EQ(helper->startError(), std::nullopt);
  EXPECT_EQ(tableCount(*helper), 13);
}

TEST_F(FMDBHelperTest, FilesThatAreNoDatabaseAreNeverChangedAndNonRegularOnesNeverOpened) {
  // Random bytes: the start transaction cannot begin; every byte stays.
  std::filesystem::create_directories(home_.path() / "Documents");
  std::string bytes(8192, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7919 % 251 + 1);
  std::ofstream(databaseFile(), std::ios::binary) << bytes;
  auto junk = start();
  EXPECT_EQ(junk->startError(), "the start transaction could not begin: file is not a database");
  junk.reset();
  std::ifstream in(databaseFile(), std::ios::binary);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(in), {}), bytes);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(home_.path() / "Documents"), {}), 1);

  // A FIFO would block the first read for ever; a folder cannot be a database.
  std::filesystem::remove(databaseFile());
  ASSERT_EQ(mkfifo(databaseFile().c_str(), 0600), 0);
  LogCapture log;
  auto fifo = start();
  EXPECT_EQ(fifo->getDBQueue(), nullptr);
  EXPECT_EQ(fifo->startError(), "not a regular file");
  EXPECT_EQ(
      log.count("ERROR: " + databaseFile().string() + " is not a regular file; it is not opened"),
      1u);
  EXPECT_EQ(log.count("ERROR: DB OPENING FAILED. NO CONNECTION TO DATABASE."), 1u);
  std::filesystem::remove(databaseFile());
  std::filesystem::create_directory(databaseFile());
  EXPECT_EQ(start()->startError(), "not a regular file");
}

TEST_F(FMDBHelperTest, AFailingStatementFailsTheStartWhileTheRestStillCommits) {
  // An index holding the stage table's name: its CREATE TABLE fails.
  auto other = otherConnection();
  ASSERT_TRUE(other->executeUpdate("CREATE TABLE X (A INTEGER)"));
  ASSERT_TRUE(other->executeUpdate("CREATE INDEX StageTable ON X (A)"));
  other->close();
  auto helper = start();
  EXPECT_EQ(helper->startError(),
            "a start statement failed: there is already an index named StageTable");
  EXPECT_EQ(tableCount(*helper), 12) << "X and every table but StageTable";
}

int refuseCommit(void*) {
  return 1;  // turns the COMMIT into a rollback
}

TEST_F(FMDBHelperTest, AFailedCommitIsRolledBackNotLeftOpen) {
  auto helper = start();
  auto queue = helper->getDBQueue();
  queue->inDatabase([](FMDatabase* db) {
    ASSERT_TRUE(db->executeUpdate("DROP TABLE VoteTable"));
    sqlite3_commit_hook(db->sqliteHandle(), refuseCommit, nullptr);
  });
  helper->createTables();
  ASSERT_TRUE(helper->startError().has_value());
  EXPECT_EQ(helper->startError()->rfind("the start transaction could not commit: ", 0), 0u)
      << *helper->startError();
  queue->inDatabase([](FMDatabase* db) {
    EXPECT_NE(sqlite3_get_autocommit(db->sqliteHandle()), 0) << "no transaction is left open";
    EXPECT_FALSE(db->tableExists("VoteTable"));
    sqlite3_commit_hook(db->sqliteHandle(), nullptr, nullptr);
  });
  helper->createTables();
  EXPECT_EQ(helper->startError(), std::nullopt);
  EXPECT_EQ(tableCount(*helper), 12);
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
