// The result set: stepping, name lookup, typed accessors, NULL handling and
// closing.
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

class FMResultSetTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db = FMDatabase::databaseWithPath(std::nullopt);
    ASSERT_TRUE(db->open());
    ASSERT_TRUE(db->executeUpdate(
        "create table EventTable_ (EVENT_ID integer, NAME text, SCORE real, FLAGS blob, "
        "IS_MUTED integer)"));
    ASSERT_TRUE(db->executeUpdate("insert into EventTable_ values (?, ?, ?, ?, ?)", 11, "Derby",
                                  2.5, std::vector<std::uint8_t>{1, 2, 3}, 0));
    ASSERT_TRUE(
        db->executeUpdate("insert into EventTable_ values (12, NULL, NULL, zeroblob(0), NULL)"));
  }

  /// The row of the given event, positioned on it.
  std::shared_ptr<FMResultSet> row(int eventId) {
    auto rs = db->executeQuery("select * from EventTable_ where EVENT_ID = ?", eventId);
    EXPECT_TRUE(rs && rs->next());
    return rs;
  }

  std::shared_ptr<FMDatabase> db;
  testing::LogCapture logs;
};

TEST_F(FMResultSetTest, ReadsEveryTypeByIndexAndByName) {
  auto rs = row(11);
  EXPECT_EQ(rs->columnNameForIndex(1), "NAME");
  EXPECT_EQ(rs->longLongIntForColumn("EVENT_ID"), 11);
  EXPECT_EQ(rs->doubleForColumn("SCORE"), 2.5);
  EXPECT_EQ(rs->stringForColumn("NAME"), "Derby");
  EXPECT_EQ(rs->dataForColumn("FLAGS"), (std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(rs->resultDictionary().at("FLAGS"), Value(std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(rs->getIntegerForColumnName("IS_MUTED"), std::optional<std::int64_t>(0));
  EXPECT_TRUE(logs.lines().empty());
  rs->close();
}

TEST_F(FMResultSetTest, NullColumnsReadAsAbsentZeroOrTheNullMarker) {
  auto rs = row(12);
  // getInteger tells NULL from 0 where the other readers cannot.
  EXPECT_EQ(rs->getIntegerForColumnName("IS_MUTED"), std::nullopt);
  EXPECT_EQ(rs->getIntegerForColumnIndex(9), std::nullopt);
  EXPECT_EQ(rs->stringForColumn("NAME"), std::nullopt);
  EXPECT_EQ(rs->objectForColumn("NAME"), Value::null());
  EXPECT_EQ(rs->intForColumn("SCORE"), 0);
  EXPECT_TRUE(rs->columnIsNull("IS_MUTED"));
  // A zero-length blob has no bytes: absent, and the null marker as object.
  EXPECT_EQ(rs->dataForColumn("FLAGS"), std::nullopt);
  EXPECT_EQ(rs->objectForColumn("FLAGS"), Value::null());
  rs->close();

  auto empty = db->executeQuery("select ''");
  ASSERT_TRUE(empty && empty->next());
  EXPECT_EQ(empty->stringForColumnIndex(0), "");  // empty text is not NULL
  empty->close();
}

TEST_F(FMResultSetTest, NamesMatchInAnyCaseAndUnknownNamesWarn) {
  auto rs = row(11);
  EXPECT_EQ(rs->columnIndexForName("Event_Id"), 0);
  EXPECT_EQ(rs->intForColumn("event_id"), 11);
  EXPECT_EQ(rs->intForColumn("Missing_Column"), 0);
  EXPECT_EQ(rs->objectForColumn("Missing_Column"), std::nullopt);
  // In place of the next column read in order.
  EXPECT_EQ(rs->intForColumn("NAMES"), 0);
  EXPECT_EQ(rs->stringForColumn("NAME"), "Derby");
  EXPECT_EQ(logs.count("Warning: I could not find the column named 'missing_column'."), 2u);
  EXPECT_EQ(logs.count("Warning: I could not find the column named 'names'."), 1u);
  EXPECT_EQ(logs.lines().size(), 3u);
  rs->close();

  // Of two names that differ only in case the later column wins.
  auto twins = db->executeQuery("select 1 as Total, 2 as TOTAL");
  ASSERT_TRUE(twins && twins->next());
  EXPECT_EQ(twins->intForColumn("Total"), 2);
  twins->close();
}

TEST_F(FMResultSetTest, CachedStatementFindsColumnsMovedBySchemaChange) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("create table t (a integer, b integer, c integer)"));
  ASSERT_TRUE(db->executeUpdate("insert into t values (1, 2, 3)"));
  auto rs = db->executeQuery("select * from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumn("a") + rs->intForColumn("b") + rs->intForColumn("c"), 6);
  rs->close();

  // Same names, other places, one column fewer and one new: the statement is
  // prepared again and the names must lead to the new places.
  ASSERT_TRUE(db->executeUpdate("drop table t"));
  ASSERT_TRUE(db->executeUpdate("create table t (d text, b integer, a integer)"));
  ASSERT_TRUE(db->executeUpdate("insert into t values ('four', 20, 10)"));
  rs = db->executeQuery("select * from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumn("a"), 10);
  EXPECT_EQ(rs->intForColumn("b"), 20);
  EXPECT_EQ(rs->intForColumn("c"), 0);
  EXPECT_EQ(rs->stringForColumn("D"), "four");
  EXPECT_EQ(logs.count("Warning: I could not find the column named 'c'."), 1u);
  rs->close();
}

TEST_F(FMResultSetTest, OutOfRangeIndexesReadAsZeroOrAbsent) {
  auto rs = row(11);
  for (const int index : {-1, 5}) {
    EXPECT_EQ(rs->intForColumnIndex(index), 0);
    EXPECT_EQ(rs->stringForColumnIndex(index), std::nullopt);
  }
  EXPECT_FALSE(db->hadError());  // no SQLITE_RANGE left behind
  rs->close();
}

TEST_F(FMResultSetTest, DatesBeyondWhatTheClockHoldsSaturate) {
  auto rs = db->executeQuery("select 1e300, -1e300, 1700000000.5");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->dateForColumnIndex(0), Value::Date::max());
  EXPECT_EQ(rs->dateForColumnIndex(1), Value::Date::min());
  EXPECT_EQ(rs->dateForColumnIndex(2), Value::Date(std::chrono::milliseconds(1700000000500)));
  rs->close();
}

TEST_F(FMResultSetTest, SteppingPastTheEndClosesAnAutoClosingResultSet) {
  auto rs = db->executeQuery("select EVENT_ID from EventTable_");
  ASSERT_TRUE(rs && rs->next());
  ASSERT_TRUE(rs->next());
  EXPECT_FALSE(rs->next());
  EXPECT_EQ(rs->parentDB(), nullptr);
  EXPECT_FALSE(db->hasOpenResultSets());
  EXPECT_FALSE(rs->next());  // harmless after close

  auto kept = db->executeQuery("select 1");
  kept->setShouldAutoClose(false);
  EXPECT_TRUE(kept->next());
  EXPECT_FALSE(kept->next());
  EXPECT_TRUE(db->hasOpenResultSets());
  kept->close();
  kept->close();
  // A result set destroyed without close leaves the connection too.
  db->executeQuery("select 2").reset();
  EXPECT_FALSE(db->hasOpenResultSets());
  EXPECT_TRUE(db->close());
  EXPECT_EQ(logs.count("Closing leaked statement"), 0u);
}

}  // namespace
}  // namespace kestrel
