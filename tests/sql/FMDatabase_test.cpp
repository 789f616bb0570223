// The connection: binding, statement errors, transactions and savepoints,
// close, statement cache, custom functions, versions.
#include <KestrelDatabase/sql/FMDatabase.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <limits>
#include <ostream>

namespace kestrel {
namespace {

using testing::LogCapture;

struct Streamable {
  int id;
};
std::ostream& operator<<(std::ostream& out, const Streamable& s) {
  return out << "team-" << s.id;
}

class FMDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db = FMDatabase::databaseWithPath(std::nullopt);
    ASSERT_TRUE(db->open());
    // No declared type: the stored type is the bound type.
    ASSERT_TRUE(db->executeUpdate("create table t (v)"));
  }

  /// Binds one argument into a fresh row and returns typeof() and the text
  /// SQLite stored.
  template <class T>
  std::pair<std::string, std::string> roundTrip(T&& argument) {
    EXPECT_TRUE(db->executeUpdate("delete from t"));
    EXPECT_TRUE(db->executeUpdate("insert into t values (?)", std::forward<T>(argument)));
    return {db->stringForQuery("select typeof(v) from t").value_or("?"),
            db->stringForQuery("select quote(v) from t").value_or("?")};
  }

  using Pair = std::pair<std::string, std::string>;
  std::shared_ptr<FMDatabase> db;
  LogCapture logs;
};

TEST_F(FMDatabaseTest, BindsEachCTypeAsItsSQLiteType) {
  EXPECT_EQ(roundTrip('A'), Pair("integer", "65"));
  EXPECT_EQ(roundTrip(static_cast<unsigned char>(200)), Pair("integer", "200"));
  EXPECT_EQ(roundTrip(static_cast<short>(-5)), Pair("integer", "-5"));
  EXPECT_EQ(roundTrip(static_cast<unsigned short>(65535)), Pair("integer", "65535"));
  EXPECT_EQ(roundTrip(INT_MIN), Pair("integer", "-2147483648"));
  // Unsigned 32-bit above 2^31 must not wrap to a negative 32-bit value.
  EXPECT_EQ(roundTrip(3000000000u), Pair("integer", "3000000000"));
  EXPECT_EQ(roundTrip(9000000000L), Pair("integer", "9000000000"));
  EXPECT_EQ(roundTrip(-9000000000LL), Pair("integer", "-9000000000"));
  EXPECT_EQ(roundTrip(1.5f), Pair("real", "1.5"));
  EXPECT_EQ(roundTrip(0.25), Pair("real", "0.25"));
  EXPECT_EQ(roundTrip(true), Pair("integer", "1"));
  EXPECT_EQ(roundTrip(false), Pair("integer", "0"));
  EXPECT_EQ(roundTrip("text"), Pair("text", "'text'"));
  EXPECT_EQ(roundTrip(std::string("it's")), Pair("text", "'it''s'"));
  EXPECT_EQ(roundTrip(std::string_view("view")), Pair("text", "'view'"));
  EXPECT_EQ(roundTrip(Streamable{7}), Pair("text", "'team-7'"));
  EXPECT_EQ(roundTrip(std::optional<int>(4)), Pair("integer", "4"));
  EXPECT_EQ(roundTrip(std::optional<int>()), Pair("null", "NULL"));
  EXPECT_EQ(roundTrip(std::nullopt), Pair("null", "NULL"));
  EXPECT_EQ(roundTrip(Value::null()), Pair("null", "NULL"));
}

TEST_F(FMDatabaseTest, EmptyBlobStaysABlobAndUnsigned64BitKeepsItsBits) {
  EXPECT_EQ(roundTrip(std::vector<std::uint8_t>{}), Pair("blob", "X''"));
  EXPECT_EQ(roundTrip(std::vector<std::uint8_t>{0x00, 0xff}), Pair("blob", "X'00FF'"));

  const auto max = std::numeric_limits<unsigned long long>::max();
  ASSERT_TRUE(db->executeUpdate("delete from t"));
  ASSERT_TRUE(db->executeUpdate("insert into t values (?)", max));
  auto rs = db->executeQuery("select v from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->unsignedLongLongIntForColumnIndex(0), max);
  rs->close();
}

TEST_F(FMDatabaseTest, DateBindsAsSecondsWithoutFormatterAndAsTextWithOne) {
  const Value::Date date = Value::Date(std::chrono::milliseconds(1700000000500LL));
  EXPECT_EQ(roundTrip(date), Pair("real", "1700000000.5"));
  auto rs = db->executeQuery("select v from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->dateForColumnIndex(0), date);
  rs->close();

  db->setDateFormat(FMDatabase::storeableDateFormat("yyyy-MM-dd HH:mm:ss"));
  EXPECT_EQ(roundTrip(date), Pair("text", "'2023-11-14 22:13:20'"));
  EXPECT_EQ(db->dateForQuery("select v from t"), Value::Date(std::chrono::seconds(1700000000LL)));
  EXPECT_EQ(db->stringFromDate(date), "2023-11-14 22:13:20");

  db->setDateFormat(std::nullopt);
  EXPECT_FALSE(db->hasDateFormatter());
  EXPECT_EQ(db->dateFromString("2023-11-14 22:13:20"), std::nullopt);
}

TEST_F(FMDatabaseTest, ArrayAndDictionaryFormsBindInOrderAndByName) {
  ASSERT_TRUE(db->executeUpdate("create table p (a, b)"));
  ASSERT_TRUE(db->executeUpdate("insert into p values (?, ?)", std::vector<Value>{1, "one"}));
  ASSERT_TRUE(db->executeUpdate("insert into p values (:a, :b)",
                                FMDatabase::ParameterDictionary{{"b", "two"}, {"a", 2}}));
  ASSERT_TRUE(db->executeUpdate("insert into p values (:a, :b)",
                                std::map<std::string, Value>{{"a", 3}, {"b", "three"}}));
  EXPECT_EQ(db->stringForQuery("select group_concat(a || b, ',') from p"), "1one,2two,3three");
  EXPECT_EQ(
      db->stringForQuery("select b from p where a = :a", FMDatabase::ParameterDictionary{{"a", 2}}),
      "two");
}

TEST_F(FMDatabaseTest, FormatConversionsBecomeBoundParameters) {
  std::vector<Value> args{5, "x'y", 'c', 2.5};
  EXPECT_EQ(FMDatabase::sqlFromFormat("values (%d, %@, %c, %f) -- 100%% %ld", args),
            "values (?, ?, ?, ?) -- 100% ?");
  ASSERT_EQ(args.size(), 4u);
  EXPECT_EQ(args[2], Value("c"));  // %c binds the character as text

  ASSERT_TRUE(db->executeUpdate("create table f (a, b, c)"));
  ASSERT_TRUE(db->executeUpdateWithFormat("insert into f values (%lld, %s, %c)", 9LL, "it's", 'z'));
  auto rs = db->executeQueryWithFormat("select b, c from f where a = %d", 9);
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->stringForColumnIndex(0), "it's");
  EXPECT_EQ(rs->stringForColumnIndex(1), "z");
  rs->close();
}

TEST_F(FMDatabaseTest, BindCountMismatchFailsWithItsMessage) {
  EXPECT_EQ(db->executeQuery("select ?, ?", 1), nullptr);
  EXPECT_FALSE(db->executeUpdate("insert into t values (?)"));
  EXPECT_EQ(
      logs.count("Error: the bind count is not correct for the # of variables (executeQuery)"), 2u);
  EXPECT_FALSE(db->hasOpenResultSets());

  logs.clear();
  EXPECT_FALSE(
      db->executeUpdate("insert into t values (:v)", FMDatabase::ParameterDictionary{{"w", 1}}));
  EXPECT_EQ(logs.count("Could not find index for w"), 1u);

  logs.clear();
  db->setLogsErrors(false);
  EXPECT_EQ(db->executeQuery("select ?"), nullptr);
  EXPECT_TRUE(logs.lines().empty());
}

TEST_F(FMDatabaseTest, PreparationFailureLogsThreeLinesAndFillsTheError) {
  FMError error;
  EXPECT_FALSE(db->executeUpdate("insert into missing values (1)", &error));
  EXPECT_EQ(error.domain, "FMDatabase");
  EXPECT_EQ(error.code, SQLITE_ERROR);
  EXPECT_EQ(error.message, "no such table: missing");
  EXPECT_EQ(logs.lines(), (std::vector<std::string>{"DB Error: 1 \"no such table: missing\"",
                                                    "DB Query: insert into missing values (1)",
                                                    "DB Path: (null)"}));
  EXPECT_EQ(db->executeQuery("select nope from t"), nullptr);
  EXPECT_TRUE(db->hadError());
  EXPECT_EQ(db->lastErrorCode(), SQLITE_ERROR);
  EXPECT_EQ(db->lastError().message, "no such column: nope");
}

TEST_F(FMDatabaseTest, ExecuteUpdateOfARowReturningSelectFails) {
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  FMError error;
  EXPECT_FALSE(db->executeUpdate("select v from t", &error));
  EXPECT_EQ(error.code, SQLITE_ROW);
  // A SELECT without rows steps straight to SQLITE_DONE.
  EXPECT_TRUE(db->executeUpdate("select v from t where v = 2"));
}

TEST_F(FMDatabaseTest, ExecuteQuerySideEffectsWaitForNext) {
  auto rs = db->executeQuery("insert into t values (42) returning v");
  ASSERT_TRUE(rs);
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 0);
  ASSERT_TRUE(rs->next());
  EXPECT_EQ(rs->intForColumnIndex(0), 42);
  rs->close();
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 1);
}

TEST_F(FMDatabaseTest, TransactionsCommitAndRollBack) {
  ASSERT_TRUE(db->beginTransaction());
  EXPECT_TRUE(db->isInTransaction());
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  ASSERT_TRUE(db->rollback());
  EXPECT_FALSE(db->isInTransaction());
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 0);

  ASSERT_TRUE(db->beginDeferredTransaction());
  ASSERT_TRUE(db->executeUpdate("insert into t values (2)"));
  ASSERT_TRUE(db->commit());
  ASSERT_TRUE(db->beginImmediateTransaction());
  EXPECT_FALSE(db->beginExclusiveTransaction());  // nested begin fails, flag stays
  EXPECT_TRUE(db->isInTransaction());
  ASSERT_TRUE(db->commit());
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 1);
}

TEST_F(FMDatabaseTest, SavePointNamesDoubleTheirQuotes) {
  db->setTraceExecution(true);
  ASSERT_TRUE(db->startSavePointWithName("it's"));
  EXPECT_EQ(logs.count(db->description() + " executeQuery: savepoint 'it''s';"), 1u);
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  ASSERT_TRUE(db->rollbackToSavePointWithName("it's"));
  ASSERT_TRUE(db->releaseSavePointWithName("it's"));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 0);

  FMError error;
  EXPECT_FALSE(db->releaseSavePointWithName("never started", &error));
  EXPECT_EQ(error.message, "no such savepoint: never started");
}

TEST_F(FMDatabaseTest, InSavePointRollsBackOnlyWhenAsked) {
  EXPECT_EQ(db->inSavePoint([&](bool* rollback) {
    db->executeUpdate("insert into t values (1)");
    *rollback = true;
  }),
            std::nullopt);
  EXPECT_EQ(db->inSavePoint([&](bool*) { db->executeUpdate("insert into t values (2)"); }),
            std::nullopt);
  EXPECT_EQ(db->intForQuery("select sum(v) from t"), 2);

  // The block releasing the savepoint itself makes the final release fail.
  db->setTraceExecution(true);
  const auto error = db->inSavePoint([&](bool*) {
    const std::string start = logs.lines().back();
    const std::string name = start.substr(start.find('\''));  // 'dbSavePoint<n>';
    db->executeUpdate("release savepoint " + name);
  });
  ASSERT_TRUE(error.has_value());
  EXPECT_NE(error->message.find("no such savepoint: dbSavePoint"), std::string::npos);
}

TEST_F(FMDatabaseTest, ClosingTwiceSucceedsAndClosedConnectionRefusesWork) {
  EXPECT_TRUE(db->close());
  EXPECT_TRUE(db->close());
  EXPECT_FALSE(db->isOpen());
  EXPECT_FALSE(db->goodConnection());
  logs.clear();
  EXPECT_FALSE(db->executeUpdate("insert into t values (1)"));
  EXPECT_EQ(logs.lines(),
            std::vector<std::string>{"The FMDatabase " + db->description() + " is not open."});
  EXPECT_TRUE(db->open());
  EXPECT_TRUE(db->goodConnection());
}

TEST_F(FMDatabaseTest, CloseFinalisesLeakedStatementsWhenSQLiteIsBusy) {
  sqlite3_stmt* leaked = nullptr;
  ASSERT_EQ(sqlite3_prepare_v2(db->sqliteHandle(), "select 1", -1, &leaked, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_prepare_v2(db->sqliteHandle(), "select 2", -1, &leaked, nullptr), SQLITE_OK);
  EXPECT_TRUE(db->close());
  EXPECT_EQ(logs.count("Closing leaked statement"), 2u);
  EXPECT_EQ(logs.countContaining("error closing!"), 0u);
  EXPECT_FALSE(db->isOpen());
  EXPECT_EQ(db->sqliteHandle(), nullptr);
}

TEST_F(FMDatabaseTest, CloseClosesOpenResultSetsAndTheStatementCache) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  auto rs = db->executeQuery("select v from t");
  ASSERT_TRUE(rs);
  EXPECT_TRUE(db->hasOpenResultSets());
  EXPECT_TRUE(db->close());
  EXPECT_EQ(logs.count("Closing leaked statement"), 0u);
  EXPECT_EQ(rs->parentDB(), nullptr);
  EXPECT_FALSE(rs->next());
  EXPECT_EQ(rs->intForColumnIndex(0), 0);
  db.reset();  // the result set outlives its connection safely
  rs->close();
}

TEST_F(FMDatabaseTest, CachedStatementsAreReusedAndNeverShared) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  auto first = db->executeQuery("select v from t");
  auto second = db->executeQuery("select v from t");  // the first still uses its statement
  ASSERT_TRUE(first && second);
  EXPECT_NE(first->statement(), second->statement());
  FMStatement* statement = first->statement();
  first->close();
  auto third = db->executeQuery("select v from t");
  ASSERT_TRUE(third);
  EXPECT_EQ(third->statement(), statement);
  EXPECT_EQ(statement->useCount(), 2);
  ASSERT_TRUE(third->next());  // rewound before reuse
  EXPECT_EQ(third->intForColumn("V"), 1);
  third->close();
  second->close();
}

TEST_F(FMDatabaseTest, TurningCachingOffKeepsARunningStatementAlive) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("insert into t values (1), (2)"));
  auto rs = db->executeQuery("select v from t order by v");
  ASSERT_TRUE(rs && rs->next());
  db->setShouldCacheStatements(false);
  ASSERT_TRUE(rs->next());
  EXPECT_EQ(rs->intForColumn("v"), 2);
  rs->close();
  EXPECT_TRUE(db->close());
  EXPECT_EQ(logs.count("Closing leaked statement"), 0u);
}

TEST_F(FMDatabaseTest, CachedStatementSeesColumnsAddedBySchemaChange) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  auto rs = db->executeQuery("select * from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumn("v"), 1);
  rs->close();

  ASSERT_TRUE(db->executeUpdate("alter table t add column extra default 7"));
  rs = db->executeQuery("select * from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->columnCount(), 2);
  EXPECT_EQ(rs->intForColumn("EXTRA"), 7);
  rs->close();
}

TEST_F(FMDatabaseTest, ExecuteStatementsRunsEveryStatementAndReportsRows) {
  ASSERT_TRUE(db->executeStatements("insert into t values (1); insert into t values (NULL);"));
  std::vector<std::map<std::string, Value>> rows;
  ASSERT_TRUE(db->executeStatements("select v from t order by v", [&](const auto& row) {
    rows.push_back(row);
    return 0;
  }));
  ASSERT_EQ(rows.size(), 2u);
  EXPECT_EQ(rows[0].at("v"), Value::null());
  EXPECT_EQ(rows[1].at("v"), Value("1"));

  EXPECT_FALSE(db->executeStatements("insert into t values (3); bogus;"));
  EXPECT_EQ(logs.count("Error inserting batch: near \"bogus\": syntax error"), 1u);
  EXPECT_EQ(db->intForQuery("select count(*) from t where v = 3"), 1);
}

TEST_F(FMDatabaseTest, CustomFunctionIsCallableFromSQL) {
  db->makeFunctionNamed("shout", 2, [](FMSQLFunctionContext& context) {
    if (context.valueType(0) == SqliteValueType::Null) {
      context.resultError("shout needs text");
      return;
    }
    std::string text = context.valueString(0).value_or("");
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    context.resultString(text + std::string(static_cast<std::size_t>(context.valueLong(1)), '!'));
  });
  EXPECT_EQ(db->stringForQuery("select shout('goal', 3)"), "GOAL!!!");
  EXPECT_EQ(db->stringForQuery("select shout(?, ?)", "x", 0), "X");

  auto rs = db->executeQuery("select shout(NULL, 1)");
  ASSERT_TRUE(rs);
  EXPECT_FALSE(rs->next());
  EXPECT_EQ(logs.count("Error calling sqlite3_step (1: shout needs text) rs"), 1u);
  EXPECT_EQ(rs->parentDB(), nullptr);  // the failed step closed it
}

TEST_F(FMDatabaseTest, ReentrantStatementFromInsideAFunctionWarnsInUse) {
  db->makeFunctionNamed("nested_write", 0, [&](FMSQLFunctionContext& context) {
    context.resultInt(db->executeUpdate("insert into t values (1)") ? 1 : 0);
  });
  // While an update steps, the connection is in use.
  ASSERT_TRUE(db->executeUpdate("insert into t values (nested_write() + 10)"));
  EXPECT_EQ(logs.count("The FMDatabase " + db->description() + " is currently in use."), 1u);
  EXPECT_EQ(db->intForQuery("select group_concat(v) from t"), 10);
}

TEST_F(FMDatabaseTest, VersionsKeysAndObsoleteBusyTimeout) {
  EXPECT_EQ(FMDatabase::FMDBUserVersion(), "2.7.12");
  EXPECT_EQ(FMDatabase::FMDBVersion(), 0x270Cu);
  EXPECT_TRUE(FMDatabase::isSQLiteThreadSafe());
  EXPECT_EQ(FMDatabase::sqliteLibVersion(), sqlite3_libversion());
  EXPECT_FALSE(db->setKey("secret"));
  EXPECT_FALSE(db->rekey(std::vector<std::uint8_t>{1, 2}));

  db->busyRetryTimeout();
  db->setBusyRetryTimeout(5);
  EXPECT_EQ(
      logs.lines(),
      (std::vector<std::string>{
          "FMDB: busyRetryTimeout no longer works, please use maxBusyRetryTimeInterval",
          "FMDB: setBusyRetryTimeout does nothing, please use setMaxBusyRetryTimeInterval:"}));
}

TEST_F(FMDatabaseTest, DoubleQuotedWordsAreStringLiterals) {
  ASSERT_TRUE(db->executeUpdate("create table q (name text default \"none\")"));
  ASSERT_TRUE(db->executeUpdate("insert into q (name) values (\"Arsenal\")"));
  EXPECT_EQ(db->stringForQuery("select name from q where name = \"Arsenal\""), "Arsenal");
}

TEST_F(FMDatabaseTest, LastInsertRowIdAndChanges) {
  ASSERT_TRUE(db->executeUpdate("insert into t values (1), (2)"));
  EXPECT_EQ(db->changes(), 2);
  EXPECT_EQ(db->lastInsertRowId(), 2);
}

TEST(FMDatabaseDeathTest, CrashOnErrorsStopsOnAPreparationError) {
  auto db = FMDatabase::databaseWithPath(std::nullopt);
  ASSERT_TRUE(db->open());
  db->setCrashOnErrors(true);
  EXPECT_DEATH(db->executeQuery("select from"), "DB Error: 1");
}

TEST(FMDatabaseOpenTest, OpeningAMissingFolderFails) {
  LogCapture logs;
  auto db = FMDatabase::databaseWithPath("/nonexistent-folder/kestrel.db");
  EXPECT_FALSE(db->open());
  EXPECT_FALSE(db->isOpen());
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"error opening!: 14"});

  testing::TempDir dir;
  auto file = FMDatabase::databaseWithURL(dir.path() / "file.db");
  EXPECT_TRUE(file->open());
  EXPECT_TRUE(file->open());  // already open
  EXPECT_EQ(file->databasePath(), (dir.path() / "file.db").string());
}

}  // namespace
}  // namespace kestrel
