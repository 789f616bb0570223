// The connection: binding, statement errors, transactions and savepoints,
// close, statement cache, custom functions.
#include <KestrelDatabase/sql/FMDatabase.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace kestrel {
namespace {

using testing::LogCapture;

class FMDatabaseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db = FMDatabase::databaseWithPath(std::nullopt);
    ASSERT_TRUE(db->open());
    // No declared type: the stored type is the bound type.
    ASSERT_TRUE(db->executeUpdate("create table t (v)"));
  }

  /// Binds one argument into a fresh row and returns typeof() and quote() of
  /// what SQLite stored.
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
  // Unsigned 32-bit above 2^31 must not wrap to a negative 32-bit value.
  EXPECT_EQ(roundTrip(3000000000u), Pair("integer", "3000000000"));
  EXPECT_EQ(roundTrip(-9000000000LL), Pair("integer", "-9000000000"));
  EXPECT_EQ(roundTrip(1.5f), Pair("real", "1.5"));
  EXPECT_EQ(roundTrip(true), Pair("integer", "1"));
  EXPECT_EQ(roundTrip(std::string("it's")), Pair("text", "'it''s'"));
  EXPECT_EQ(roundTrip(std::optional<int>()), Pair("null", "NULL"));
  EXPECT_EQ(roundTrip(Value::null()), Pair("null", "NULL"));
  // An empty blob stays a blob, not NULL.
  EXPECT_EQ(roundTrip(std::vector<std::uint8_t>{}), Pair("blob", "X''"));
  EXPECT_EQ(roundTrip(std::vector<std::uint8_t>{0x00, 0xff}), Pair("blob", "X'00FF'"));
  // Unsigned 64-bit keeps its bits rather than clamping.
  EXPECT_EQ(roundTrip(std::numeric_limits<unsigned long long>::max()), Pair("integer", "-1"));
}

TEST_F(FMDatabaseTest, DateBindsAsSecondsWithoutFormatterAndAsTextWithOne) {
  const Value::Date date = Value::Date(std::chrono::milliseconds(1700000000500LL));
  EXPECT_EQ(roundTrip(date), Pair("real", "1700000000.5"));
  EXPECT_EQ(db->dateForQuery("select v from t"), date);

  db->setDateFormat(FMDatabase::storeableDateFormat("yyyy-MM-dd HH:mm:ss"));
  EXPECT_EQ(roundTrip(date), Pair("text", "'2023-11-14 22:13:20'"));
  EXPECT_EQ(db->dateForQuery("select v from t"), Value::Date(std::chrono::seconds(1700000000LL)));
}

TEST_F(FMDatabaseTest, ArrayDictionaryAndFormatFormsBind) {
  ASSERT_TRUE(db->executeUpdate("create table p (a, b)"));
  ASSERT_TRUE(db->executeUpdate("insert into p values (?, ?)", std::vector<Value>{1, "one"}));
  ASSERT_TRUE(db->executeUpdate("insert into p values (:a, :b)",
                                FMDatabase::ParameterDictionary{{"b", "two"}, {"a", 2}}));
  ASSERT_TRUE(db->executeUpdateWithFormat("insert into p values (%lld, %c)", 3LL, 'z'));
  EXPECT_EQ(db->stringForQuery("select group_concat(a || b, ',') from p"), "1one,2two,3z");
}

TEST_F(FMDatabaseTest, BindCountMismatchFailsWithItsMessage) {
  EXPECT_EQ(db->executeQuery("select ?, ?", 1), nullptr);
  EXPECT_FALSE(db->executeUpdate("insert into t values (?)"));
  EXPECT_EQ(
      logs.count("Error: the bind count is not correct for the # of variables (executeQuery)"), 2u);
  EXPECT_FALSE(db->hasOpenResultSets());
  EXPECT_FALSE(
      db->executeUpdate("insert into t values (:v)", FMDatabase::ParameterDictionary{{"w", 1}}));
  EXPECT_EQ(logs.count("Could not find index for w"), 1u);
}

TEST_F(FMDatabaseTest, PreparationFailureLogsThreeLinesAndFillsTheError) {
  FMError error;
  EXPECT_FALSE(db->executeUpdate("insert into missing values (1)", &error));
  EXPECT_EQ(error.code, SQLITE_ERROR);
  EXPECT_EQ(error.message, "no such table: missing");
  EXPECT_EQ(logs.lines(), (std::vector<std::string>{"DB Error: 1 \"no such table: missing\"",
                                                    "DB Query: insert into missing values (1)",
                                                    "DB Path: (null)"}));
  EXPECT_TRUE(db->hadError());
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

TEST_F(FMDatabaseTest, TransactionsAndSavePointsRollBackOnlyWhenAsked) {
  ASSERT_TRUE(db->beginTransaction());
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  ASSERT_TRUE(db->rollback());
  EXPECT_FALSE(db->isInTransaction());
  ASSERT_TRUE(db->beginImmediateTransaction());
  EXPECT_FALSE(db->beginExclusiveTransaction());  // nested begin fails, flag stays
  ASSERT_TRUE(db->executeUpdate("insert into t values (2)"));
  ASSERT_TRUE(db->commit());

  EXPECT_EQ(db->inSavePoint([&](bool* rollback) {
    db->executeUpdate("insert into t values (3)");
    *rollback = true;
  }),
            std::nullopt);
  EXPECT_EQ(db->inSavePoint([&](bool*) { db->executeUpdate("insert into t values (4)"); }),
            std::nullopt);
  EXPECT_EQ(db->intForQuery("select sum(v) from t"), 6);
}

// A COMMIT that fails: a deferred foreign key left violated makes SQLite
// refuse the commit and keep the transaction open, as a full disk can.
TEST_F(FMDatabaseTest, AFailedCommitIsReportedAndRolledBackSoNoTransactionStaysOpen) {
  ASSERT_TRUE(db->executeUpdate("PRAGMA foreign_keys = ON"));
  ASSERT_TRUE(db->executeUpdate("create table parent (id integer primary key)"));
  ASSERT_TRUE(db->executeUpdate(
      "create table child (p references parent(id) deferrable initially deferred)"));

  EXPECT_FALSE(db->runWriteTransaction([&] {
    return db->executeUpdate("insert into t values (1)") &&
           db->executeUpdate("insert into child values (7)");  // no parent 7
  }));
  EXPECT_FALSE(db->hasOpenTransaction());
  EXPECT_FALSE(db->isInTransaction());
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 0) << "nothing of it reached the file";

  // The same through the queue's sequence: reported, rolled back.
  EXPECT_FALSE(db->runInTransaction(FMDatabase::TransactionKind::Exclusive, [&](bool*) {
    db->executeUpdate("insert into child values (8)");
  }));
  EXPECT_FALSE(db->hasOpenTransaction());

  // The connection is not stuck: the next write commits on its own.
  EXPECT_TRUE(
      db->runWriteTransaction([&] { return db->executeUpdate("insert into t values (2)"); }));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 1);
  // A write that reports failure still commits what it did; a transaction
  // that cannot begin runs nothing.
  EXPECT_FALSE(db->runWriteTransaction([&] {
    db->executeUpdate("insert into t values (3)");
    return false;
  }));
  EXPECT_EQ(db->intForQuery("select count(*) from t"), 2);
  ASSERT_TRUE(db->beginTransaction());
  bool ran = false;
  EXPECT_FALSE(db->runWriteTransaction([&] { return ran = true; }));
  EXPECT_FALSE(ran);
  EXPECT_TRUE(db->rollback());
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

TEST_F(FMDatabaseTest, ClosingTwiceSucceedsAndClosedConnectionRefusesWork) {
  EXPECT_TRUE(db->close());
  EXPECT_TRUE(db->close());
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
  EXPECT_EQ(db->sqliteHandle(), nullptr);
}

TEST_F(FMDatabaseTest, CloseClosesOpenResultSetsAndTheStatementCache) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("insert into t values (1)"));
  auto rs = db->executeQuery("select v from t");
  ASSERT_TRUE(rs);
  EXPECT_TRUE(db->close());
  EXPECT_EQ(logs.count("Closing leaked statement"), 0u);
  EXPECT_EQ(rs->parentDB(), nullptr);
  EXPECT_FALSE(rs->next());
  db.reset();  // the result set outlives its connection safely
  rs->close();
}

TEST_F(FMDatabaseTest, CachedStatementsAreReusedNeverSharedAndOutliveTheCache) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("insert into t values (1), (2)"));
  auto first = db->executeQuery("select v from t order by v");
  auto second = db->executeQuery("select v from t order by v");  // the first still uses its own
  ASSERT_TRUE(first && second);
  EXPECT_NE(first->statement(), second->statement());
  FMStatement* statement = first->statement();
  first->close();
  auto third = db->executeQuery("select v from t order by v");
  ASSERT_TRUE(third);
  EXPECT_EQ(third->statement(), statement);
  ASSERT_TRUE(third->next());  // rewound before reuse
  EXPECT_EQ(third->intForColumn("V"), 1);

  // Turning caching off must not finalise a statement still stepping.
  db->setShouldCacheStatements(false);
  ASSERT_TRUE(third->next());
  EXPECT_EQ(third->intForColumn("v"), 2);
  third->close();
  second->close();
  EXPECT_TRUE(db->close());
  EXPECT_EQ(logs.count("Closing leaked statement"), 0u);
}

TEST_F(FMDatabaseTest, CustomFunctionIsCallableFromSQL) {
  db->makeFunctionNamed("shout", 2, [](FMSQLFunctionContext& context) {
    if (context.valueType(0) == SqliteValueType::Null)
      return context.resultError("shout needs text");
    const auto marks = static_cast<std::size_t>(context.valueLong(1));
    context.resultString(context.valueString(0).value_or("") + std::string(marks, '!'));
  });
  EXPECT_EQ(db->stringForQuery("select shout(?, ?)", "goal", 3), "goal!!!");

  auto rs = db->executeQuery("select shout(NULL, 1)");
  ASSERT_TRUE(rs);
  EXPECT_FALSE(rs->next());
  EXPECT_EQ(logs.count("Error calling sqlite3_step (1: shout needs text) rs"), 1u);
  EXPECT_EQ(rs->parentDB(), nullptr);  // the failed step closed it
}

TEST_F(FMDatabaseTest, DoubleQuotedWordsAreStringLiterals) {
  // The SQL builder writes every value this way.
  ASSERT_TRUE(db->executeUpdate("insert into t (v) values (\"Arsenal\")"));
  EXPECT_EQ(db->stringForQuery("select v from t where v = \"Arsenal\""), "Arsenal");
}

TEST_F(FMDatabaseTest, OpeningAMissingFolderFails) {
  EXPECT_FALSE(FMDatabase::databaseWithPath("/nonexistent-folder/kestrel.db")->open());
  EXPECT_EQ(logs.lines(), std::vector<std::string>{"error opening!: 14"});
}

}  // namespace
}  // namespace kestrel
