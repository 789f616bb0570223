#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include "support/LogCapture.h"

namespace kestrel {
namespace {

using C = NewEntityColumn;
using B = NewSQLBuilder;

constexpr const char* kDeleteError = "SQL Builder ERROR: Wrong parameter for delete query.";
constexpr const char* kSelectAllError = "SQL Builder ERROR: Wrong parameter for select all query.";
constexpr const char* kSelectColumnsError =
    "SQL Builder ERROR: Wrong parameter for select columns query.";

ConditionList listOfLength(size_t n) {
  static const ConditionList kElements{"EVENT_ID", "=", 5, "AND", "CHANNEL_ID", "<>", 3};
  return ConditionList(kElements.begin(), kElements.begin() + static_cast<long>(n));
}

// ---- CREATE TABLE ------------------------------------------------------------

TEST(NewSQLBuilderTest, CreateTableWritesAutoIncrementKeyAndUniqueClause) {
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger, true);
  table->addColumn("CHANNEL_ID", C::kDataTypeInteger);
  table->addColumn("NAME", C::kDataTypeText, true);
  EXPECT_EQ(B::createTableIfNotExist(*table),
            "CREATE TABLE IF NOT EXISTS T ( ID INTEGER PRIMARY KEY AUTOINCREMENT, CHANNEL_ID "
            "INTEGER, NAME TEXT, UNIQUE (NAME) );");
}

TEST(NewSQLBuilderTest, CreateTablePutsUniqueClausesAfterAllColumnsAndRendersCodeTwoAsInteger) {
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("A", C::kDataTypeText, true);
  table->addColumn("KEY", C::kColumnTypePrimaryKey, C::kDataTypeText);
  table->addColumn("B", C::kDataTypeIntegerAlt, true);
  table->addColumn("C", C::kDataTypeInteger);
  EXPECT_EQ(B::createTableIfNotExist(*table),
            "CREATE TABLE IF NOT EXISTS T ( KEY TEXT PRIMARY KEY, A TEXT, B INTEGER, C INTEGER, "
            "UNIQUE (A), UNIQUE (B) );");
}

TEST(NewSQLBuilderTest, CreateTableWritesForeignKeyClausesWithAndWithoutOptions) {
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  table->addColumn("EVENT_ID", C::kDataTypeInteger, "EventTable_", "ID", "ON DELETE CASCADE");
  table->addColumn("TEAM_ID", C::kDataTypeInteger, "MyTeamTable", "ID");
  const std::string sql = B::createTableIfNotExist(*table);
  EXPECT_EQ(sql,
            "CREATE TABLE IF NOT EXISTS T ( ID INTEGER PRIMARY KEY, EVENT_ID INTEGER, TEAM_ID "
            "INTEGER, FOREIGN KEY (EVENT_ID ) REFERENCES EventTable_(ID) ON DELETE CASCADE, "
            "FOREIGN KEY (TEAM_ID ) REFERENCES MyTeamTable(ID)  );");

  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(":memory:", &db), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(db, sql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
      << sqlite3_errmsg(db);
  sqlite3_close(db);
}

// ---- INSERT ------------------------------------------------------------------

TEST(NewSQLBuilderTest, InsertOrReplaceKeepsTwoBlanksAfterValuesAndTrailingBlank) {
  EXPECT_EQ(B::insertOrReplaceInTable("T", ColumnValueMap{{"ID", 7}, {"NAME", "abc"}}),
            "INSERT OR REPLACE INTO T ( \"ID\", \"NAME\" ) VALUES  ( \"7\", \"abc\" ); ");
  EXPECT_EQ(B::insertInTable("T", ColumnValueMap{{"ID", 7}, {"NAME", "abc"}}),
            "INSERT OR IGNORE INTO T ( \"ID\", \"NAME\" ) VALUES  ( \"7\", \"abc\" ); ");
}

TEST(NewSQLBuilderTest, InsertLeavesOutNullMarkersWhereverTheyStand) {
  const ColumnValueMap map{
      {"A", Value::null()}, {"B", 1.5}, {"C", std::nullopt}, {"D", -3}, {"E", Value()}};
  EXPECT_EQ(B::insertOrReplaceInTable("T", map),
            "INSERT OR REPLACE INTO T ( \"B\", \"D\" ) VALUES  ( \"1.5\", \"-3\" ); ");

  const ColumnValueMap allNull{{"A", Value::null()}, {"B", nullptr}};
  EXPECT_EQ(B::insertOrReplaceInTable("T", allNull),
            "INSERT OR REPLACE INTO T (  ) VALUES  (  ); ");
  EXPECT_EQ(B::insertInTable("T", ColumnValueMap{}), "INSERT OR IGNORE INTO T (  ) VALUES  (  ); ");
}

TEST(NewSQLBuilderTest, InsertWithAbsentTableOrMapGivesNothing) {
  const std::optional<ColumnValueMap> map = ColumnValueMap{{"ID", 1}};
  EXPECT_EQ(B::insertOrReplaceInTable(std::nullopt, map), std::nullopt);
  EXPECT_EQ(B::insertOrReplaceInTable(std::optional<std::string>("T"), std::nullopt), std::nullopt);
  EXPECT_EQ(B::insertInTable(std::nullopt, map), std::nullopt);
  EXPECT_EQ(B::insertInTable(std::optional<std::string>("T"), std::nullopt), std::nullopt);
  EXPECT_EQ(B::insertInTable(std::optional<std::string>("T"), map),
            "INSERT OR IGNORE INTO T ( \"ID\" ) VALUES  ( \"1\" ); ");
}

TEST(NewSQLBuilderTest, ValueWithDoubleQuoteIsCopiedUnescaped) {
  EXPECT_EQ(B::getStringInQuotes("say \"hi\""), "\"say \"hi\"\"");
  EXPECT_EQ(B::insertOrReplaceInTable("T", ColumnValueMap{{"NAME", "a\"b"}}),
            "INSERT OR REPLACE INTO T ( \"NAME\" ) VALUES  ( \"a\"b\" ); ");
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{{"NAME", "a\"b"}}, std::nullopt),
            "UPDATE T SET NAME = \"a\"b\";");
}

TEST(NewSQLBuilderTest, QuotingUsesTheValueDescription) {
  EXPECT_EQ(B::getStringInQuotes(42), "\"42\"");
  EXPECT_EQ(B::getStringInQuotes(int64_t{-9007199254740993}), "\"-9007199254740993\"");
  EXPECT_EQ(B::getStringInQuotes(0.25), "\"0.25\"");
  EXPECT_EQ(B::getStringInQuotes(true), "\"1\"");
  EXPECT_EQ(B::getStringInQuotes(""), "\"\"");
}

// ---- Conditions --------------------------------------------------------------

TEST(NewSQLBuilderTest, ConditionTextQuotesColumnsAndValues) {
  EXPECT_EQ(B::buildColumnsOperatorsValuesConjuntionString(listOfLength(7)),
            "\"EVENT_ID\" = \"5\" AND \"CHANNEL_ID\" <> \"3\"");
  EXPECT_EQ(B::buildColumnsOperatorsValuesConjuntionString({}), "");
}

TEST(NewSQLBuilderTest, ConditionListLengthsDecideValidity) {
  EXPECT_TRUE(B::isValidColumnsOperatorsValuesConjunction(std::nullopt));
  for (size_t n = 0; n <= 7; ++n) {
    const bool valid = n == 3 || n == 7;
    EXPECT_EQ(B::isValidColumnsOperatorsValuesConjunction(listOfLength(n)), valid) << n;
  }
  ConditionList eleven = listOfLength(7);
  eleven.insert(eleven.end(), {"OR", "ID", ">", 1});
  EXPECT_TRUE(B::isValidColumnsOperatorsValuesConjunction(eleven));
}

TEST(NewSQLBuilderTest, InvalidConditionListsAreLoggedAndGiveNothing) {
  for (size_t n : {0u, 1u, 2u, 4u, 5u, 6u}) {
    testing::LogCapture log;
    EXPECT_EQ(B::deleteFromTable("T", listOfLength(n)), std::nullopt);
    EXPECT_EQ(B::selectAllFromTable("T", listOfLength(n)), std::nullopt);
    EXPECT_EQ(B::selectColumnsFromTable("T", {"ID"}, listOfLength(n)), std::nullopt);
    EXPECT_EQ(B::updateTable("T", ColumnValueMap{{"A", 1}}, listOfLength(n)), std::nullopt);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{kDeleteError, kSelectAllError,
                                                     kSelectColumnsError, kSelectColumnsError}))
        << "length " << n;
  }
}

// ---- DELETE / SELECT / UPDATE --------------------------------------------------

TEST(NewSQLBuilderTest, DeleteAndSelectWithAndWithoutConditions) {
  testing::LogCapture log;
  EXPECT_EQ(B::deleteFromTable("T", std::nullopt), "DELETE FROM T;");
  EXPECT_EQ(B::deleteFromTable("T", ConditionList{"ID", "=", 7}),
            "DELETE FROM T WHERE \"ID\" = \"7\";");
  EXPECT_EQ(B::selectAllFromTable("T", std::nullopt), "SELECT * FROM T;");
  EXPECT_EQ(B::selectAllFromTable("T", listOfLength(7)),
            "SELECT * FROM T WHERE \"EVENT_ID\" = \"5\" AND \"CHANNEL_ID\" <> \"3\";");
  EXPECT_EQ(B::selectColumnsFromTable("T", {"TIMESTAMP"}, ConditionList{"EVENT_ID", "=", 9}),
            "SELECT TIMESTAMP FROM T WHERE \"EVENT_ID\" = \"9\";");
  EXPECT_EQ(B::selectColumnsFromTable("T", {"ID", "NAME"}, std::nullopt),
            "SELECT ID, NAME FROM T;");
  EXPECT_TRUE(log.lines().empty());
}

TEST(NewSQLBuilderTest, UpdateWritesUnquotedColumnsAndSkipsNullMarkers) {
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{{"NAME", "abc"}, {"CHANNEL_ID", 3}},
                           ConditionList{"ID", "=", 7}),
            "UPDATE T SET NAME = \"abc\", CHANNEL_ID = \"3\" WHERE \"ID\" = \"7\";");
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{{"A", Value::null()}, {"B", 2}, {"C", nullptr}},
                           std::nullopt),
            "UPDATE T SET B = \"2\";");
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{}, ConditionList{"ID", "=", 7}),
            "UPDATE T SET  WHERE \"ID\" = \"7\";");
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{}, std::nullopt), "UPDATE T SET ;");
}

TEST(NewSQLBuilderTest, UpdateWithAbsentMapGivesNothingAndLogsNothing) {
  testing::LogCapture log;
  EXPECT_EQ(B::updateTable("T", std::optional<ColumnValueMap>(), ConditionList{"ID", "=", 7}),
            std::nullopt);
  EXPECT_EQ(B::updateTable("T", std::nullopt, listOfLength(2)), std::nullopt);
  EXPECT_TRUE(log.lines().empty()) << "the absent map is checked before the condition list";
}

// The texts are only useful if SQLite runs them: numbers arrive as quoted text
// and become integers through the column affinity.
TEST(NewSQLBuilderTest, GeneratedStatementsRunInSqlite) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(":memory:", &db), SQLITE_OK);
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger, true);
  table->addColumn("CHANNEL_ID", C::kDataTypeInteger);
  table->addColumn("NAME", C::kDataTypeText, true);
  auto exec = [db](const std::optional<std::string>& sql) {
    EXPECT_TRUE(sql.has_value());
    const int rc = sqlite3_exec(db, sql.value_or("").c_str(), nullptr, nullptr, nullptr);
    EXPECT_EQ(rc, SQLITE_OK) << *sql << ": " << sqlite3_errmsg(db);
  };
  exec(B::createTableIfNotExist(*table));
  exec(B::insertOrReplaceInTable("T",
                                 ColumnValueMap{{"ID", 7}, {"CHANNEL_ID", 3}, {"NAME", "abc"}}));
  exec(B::insertInTable("T", ColumnValueMap{{"ID", 8}, {"NAME", "abc"}}));  // ignored: NAME unique
  exec(B::updateTable("T", ColumnValueMap{{"CHANNEL_ID", 4}}, ConditionList{"ID", "=", 7}));

  sqlite3_stmt* stmt = nullptr;
  const auto select = B::selectColumnsFromTable("T", {"ID", "CHANNEL_ID", "typeof(CHANNEL_ID)"},
                                                ConditionList{"NAME", "=", "abc"});
  ASSERT_EQ(sqlite3_prepare_v2(db, select->c_str(), -1, &stmt, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_step(stmt), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int64(stmt, 0), 7);
  EXPECT_EQ(sqlite3_column_int64(stmt, 1), 4);
  EXPECT_STREQ(reinterpret_cast<const char*>(sqlite3_column_text(stmt, 2)), "integer");
  EXPECT_EQ(sqlite3_step(stmt), SQLITE_DONE);
  sqlite3_finalize(stmt);

  exec(B::deleteFromTable("T", ConditionList{"ID", "=", 7}));
  ASSERT_EQ(sqlite3_prepare_v2(db, "SELECT COUNT(*) FROM T", -1, &stmt, nullptr), SQLITE_OK);
  ASSERT_EQ(sqlite3_step(stmt), SQLITE_ROW);
  EXPECT_EQ(sqlite3_column_int(stmt, 0), 0);
  sqlite3_finalize(stmt);
  sqlite3_close(db);
}

}  // namespace
}  // namespace kestrel
