// The result set: stepping, name lookup, typed accessors, NULL handling and
// closing.
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

using testing::LogCapture;

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
  LogCapture logs;
};

TEST_F(FMResultSetTest, ReadsEveryTypeByIndexAndByName) {
  auto rs = row(11);
  EXPECT_EQ(rs->columnCount(), 5);
  EXPECT_EQ(rs->columnNameForIndex(1), "NAME");
  EXPECT_EQ(rs->columnNameForIndex(5), std::nullopt);
  EXPECT_EQ(rs->intForColumn("EVENT_ID"), 11);
  EXPECT_EQ(rs->longForColumnIndex(0), 11);
  EXPECT_EQ(rs->longLongIntForColumn("event_id"), 11);
  EXPECT_EQ(rs->doubleForColumn("SCORE"), 2.5);
  EXPECT_FALSE(rs->boolForColumn("IS_MUTED"));
  EXPECT_EQ(rs->stringForColumn("NAME"), "Derby");
  EXPECT_EQ(rs->textNoCopyForColumn("name"), std::string_view("Derby"));
  EXPECT_EQ(rs->dataForColumn("FLAGS"), (std::vector<std::uint8_t>{1, 2, 3}));
  const auto view = rs->dataNoCopyForColumn("flags");
  ASSERT_TRUE(view.has_value());
  EXPECT_EQ(view->size(), 3u);
  EXPECT_EQ((*rs)[0], Value(11));
  EXPECT_EQ((*rs)["score"], Value(2.5));
  EXPECT_EQ(rs->objectForColumn("FLAGS"), Value(std::vector<std::uint8_t>{1, 2, 3}));
  EXPECT_EQ(rs->resultDictionary(),
            (std::map<std::string, Value>{{"EVENT_ID", 11},
                                          {"NAME", "Derby"},
                                          {"SCORE", 2.5},
                                          {"FLAGS", std::vector<std::uint8_t>{1, 2, 3}},
                                          {"IS_MUTED", 0}}));
  EXPECT_TRUE(logs.lines().empty());
  rs->close();
}

TEST_F(FMResultSetTest, NullColumnsReadAsAbsentOrTheNullMarker) {
  auto rs = row(12);
  EXPECT_EQ(rs->stringForColumn("NAME"), std::nullopt);
  EXPECT_EQ(rs->objectForColumn("NAME"), Value::null());
  EXPECT_EQ(rs->intForColumn("SCORE"), 0);
  EXPECT_TRUE(rs->columnIsNull("is_muted"));
  EXPECT_FALSE(rs->columnIndexIsNull(0));
  EXPECT_EQ(rs->dateForColumn("SCORE"), std::nullopt);
  // A zero-length blob has no bytes: absent, and the null marker as object.
  EXPECT_EQ(rs->dataForColumn("FLAGS"), std::nullopt);
  EXPECT_EQ(rs->objectForColumn("FLAGS"), Value::null());
  EXPECT_EQ(rs->textNoCopyForColumn("NAME"), std::nullopt);
  rs->close();

  auto empty = db->executeQuery("select ''");
  ASSERT_TRUE(empty && empty->next());
  EXPECT_EQ(empty->stringForColumnIndex(0), "");  // empty text is not NULL
  EXPECT_EQ(empty->textNoCopyForColumnIndex(0), std::string_view());
  empty->close();
}

TEST_F(FMResultSetTest, GetIntegerTellsNullFromZero) {
  auto muted = row(11);
  EXPECT_EQ(muted->getIntegerForColumnName("IS_MUTED"), std::optional<std::int64_t>(0));
  muted->close();
  auto unset = row(12);
  EXPECT_EQ(unset->getIntegerForColumnName("IS_MUTED"), std::nullopt);
  EXPECT_EQ(unset->getIntegerForColumnIndex(0), std::optional<std::int64_t>(12));
  EXPECT_EQ(unset->getIntegerForColumnIndex(9), std::nullopt);
  unset->close();
}

TEST_F(FMResultSetTest, NamesMatchWithoutRegardToCase) {
  auto rs = row(11);
  EXPECT_EQ(rs->columnIndexForName("Event_Id"), 0);
  EXPECT_EQ(rs->columnIndexForName("is_MUTED"), 4);
  rs->close();

  // Of two names that differ only in case the later column wins.
  auto twins = db->executeQuery("select 1 as Total, 2 as TOTAL");
  ASSERT_TRUE(twins && twins->next());
  EXPECT_EQ(twins->intForColumn("total"), 2);
  twins->close();
}

TEST_F(FMResultSetTest, UnknownNameReadsZeroAndWarnsOnce) {
  auto rs = row(11);
  EXPECT_EQ(rs->intForColumn("Missing_Column"), 0);
  EXPECT_EQ(rs->stringForColumn("Missing_Column"), std::nullopt);
  EXPECT_EQ(rs->objectForColumn("Missing_Column"), std::nullopt);
  // Between known columns read in order, and in place of the next one.
  EXPECT_EQ(rs->intForColumn("EVENT_ID"), 11);
  EXPECT_EQ(rs->intForColumn("NAMES"), 0);
  EXPECT_EQ(rs->stringForColumn("NAME"), "Derby");
  EXPECT_EQ(logs.count("Warning: I could not find the column named 'missing_column'."), 3u);
  EXPECT_EQ(logs.count("Warning: I could not find the column named 'names'."), 1u);
  EXPECT_EQ(logs.lines().size(), 4u);
  rs->close();
}

TEST_F(FMResultSetTest, CachedStatementFindsColumnsMovedBySchemaChange) {
  db->setShouldCacheStatements(true);
  ASSERT_TRUE(db->executeUpdate("create table t (a integer, b integer, c integer, d text)"));
  ASSERT_TRUE(db->executeUpdate("insert into t values (1, 2, 3, 'four')"));
  auto rs = db->executeQuery("select * from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->intForColumn("a"), 1);
  EXPECT_EQ(rs->intForColumn("b"), 2);
  EXPECT_EQ(rs->intForColumn("c"), 3);
  rs->close();

  // Same names, other places, one column fewer: the statement is prepared
  // again and the names must lead to the new places.
  ASSERT_TRUE(db->executeUpdate("drop table t"));
  ASSERT_TRUE(db->executeUpdate("create table t (d text, b integer, a integer)"));
  ASSERT_TRUE(db->executeUpdate("insert into t values ('four', 20, 10)"));
  rs = db->executeQuery("select * from t");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->columnCount(), 3);
  EXPECT_EQ(rs->intForColumn("a"), 10);
  EXPECT_EQ(rs->intForColumn("b"), 20);
  EXPECT_EQ(rs->intForColumn("c"), 0);
  EXPECT_EQ(rs->stringForColumn("d"), "four");
  EXPECT_EQ(rs->columnIndexForName("D"), 0);
  EXPECT_EQ(logs.count("Warning: I could not find the column named 'c'."), 1u);
  rs->close();
}

TEST_F(FMResultSetTest, OutOfRangeIndexesReadAsZeroOrAbsent) {
  auto rs = row(11);
  for (const int index : {-1, 5, 1000}) {
    EXPECT_EQ(rs->intForColumnIndex(index), 0);
    EXPECT_EQ(rs->doubleForColumnIndex(index), 0.0);
    EXPECT_EQ(rs->stringForColumnIndex(index), std::nullopt);
    EXPECT_EQ(rs->objectForColumnIndex(index), std::nullopt);
  }
  EXPECT_FALSE(db->hadError());  // no SQLITE_RANGE left behind
  rs->close();
}

TEST_F(FMResultSetTest, SteppingPastTheEndClosesAnAutoClosingResultSet) {
  auto rs = db->executeQuery("select EVENT_ID from EventTable_ order by EVENT_ID");
  ASSERT_TRUE(rs);
  EXPECT_TRUE(rs->shouldAutoClose());
  ASSERT_TRUE(rs->next());
  EXPECT_TRUE(rs->hasAnotherRow());
  ASSERT_TRUE(rs->next());
  EXPECT_FALSE(rs->next());
  EXPECT_FALSE(rs->hasAnotherRow());
  EXPECT_EQ(rs->parentDB(), nullptr);
  EXPECT_EQ(rs->statement(), nullptr);
  EXPECT_FALSE(db->hasOpenResultSets());
  EXPECT_FALSE(rs->next());  // harmless after close

  auto kept = db->executeQuery("select 1");
  kept->setShouldAutoClose(false);
  EXPECT_TRUE(kept->next());
  EXPECT_FALSE(kept->next());
  EXPECT_TRUE(db->hasOpenResultSets());
  kept->close();
  kept->close();
  EXPECT_FALSE(db->hasOpenResultSets());
}

TEST_F(FMResultSetTest, DestroyedResultSetLeavesTheConnection) {
  {
    auto first = db->executeQuery("select 1");
    auto second = db->executeQuery("select 2");
    EXPECT_TRUE(db->hasOpenResultSets());
    first.reset();
    EXPECT_TRUE(db->hasOpenResultSets());
  }
  EXPECT_FALSE(db->hasOpenResultSets());
  EXPECT_TRUE(db->close());
  EXPECT_EQ(logs.count("Closing leaked statement"), 0u);
}

TEST_F(FMResultSetTest, QueryKeepsItsTextAndErrorsAreReported) {
  auto rs = db->executeQuery("select abs(?)", std::numeric_limits<std::int64_t>::min());
  ASSERT_TRUE(rs);
  EXPECT_EQ(rs->query(), "select abs(?)");
  FMError error;
  EXPECT_FALSE(rs->nextWithError(&error));
  EXPECT_EQ(error.code, SQLITE_ERROR);
  EXPECT_EQ(error.message, "integer overflow");
  EXPECT_EQ(logs.count("Error calling sqlite3_step (1: integer overflow) rs"), 1u);
}

}  // namespace
}  // namespace kestrel
