#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <gtest/gtest.h>

#include "support/LogCapture.h"

namespace kestrel {
namespace {

using C = NewEntityColumn;
using B = NewSQLBuilder;

ConditionList listOfLength(size_t n) {
  static const ConditionList kElements{"EVENT_ID", "=", 5, "AND", "CHANNEL_ID", "<>", 3};
  return ConditionList(kElements.begin(), kElements.begin() + static_cast<long>(n));
}

// Table T: auto-increment key ID, CHANNEL_ID, unique NAME.
std::shared_ptr<NewEntityTable> exampleTable() {
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger, true);
  table->addColumn("CHANNEL_ID", C::kDataTypeInteger);
  table->addColumn("NAME", C::kDataTypeText, true);
  return table;
}

TEST(NewSQLBuilderTest, CreateTableTexts) {
  EXPECT_EQ(B::createTableIfNotExist(*exampleTable()),
            "CREATE TABLE IF NOT EXISTS T ( ID INTEGER PRIMARY KEY AUTOINCREMENT, CHANNEL_ID "
            "INTEGER, NAME TEXT, UNIQUE (NAME) );");

  // The key first wherever it was added, UNIQUE clauses after all columns,
  // data type 2 written as INTEGER.
  auto keyLater = NewEntityTable::initWithTable("T");
  keyLater->addColumn("A", C::kDataTypeText, true);
  keyLater->addColumn("KEY", C::kColumnTypePrimaryKey, C::kDataTypeText);
  keyLater->addColumn("B", C::kDataTypeIntegerAlt, true);
  EXPECT_EQ(B::createTableIfNotExist(*keyLater),
            "CREATE TABLE IF NOT EXISTS T ( KEY TEXT PRIMARY KEY, A TEXT, B INTEGER, UNIQUE (A), "
            "UNIQUE (B) );");

  // Foreign keys with and without options.
  auto withKeys = NewEntityTable::initWithTable("T");
  withKeys->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  withKeys->addColumn("EVENT_ID", C::kDataTypeInteger, "EventTable_", "ID", "ON DELETE CASCADE");
  withKeys->addColumn("TEAM_ID", C::kDataTypeInteger, "MyTeamTable", "ID");
  EXPECT_EQ(B::createTableIfNotExist(*withKeys),
            "CREATE TABLE IF NOT EXISTS T ( ID INTEGER PRIMARY KEY, EVENT_ID INTEGER, TEAM_ID "
            "INTEGER, FOREIGN KEY (EVENT_ID ) REFERENCES EventTable_(ID) ON DELETE CASCADE, "
            "FOREIGN KEY (TEAM_ID ) REFERENCES MyTeamTable(ID)  );");
}

TEST(NewSQLBuilderTest, InsertTextsLeaveOutNullMarkersAndCopyQuotesUnescaped) {
  const ColumnValueMap map{{"ID", 7}, {"NAME", "abc"}};
  EXPECT_EQ(B::insertOrReplaceInTable("T", map),
            "INSERT OR REPLACE INTO T ( \"ID\", \"NAME\" ) VALUES  ( \"7\", \"abc\" ); ");
  EXPECT_EQ(B::insertInTable("T", map),
            "INSERT OR IGNORE INTO T ( \"ID\", \"NAME\" ) VALUES  ( \"7\", \"abc\" ); ");
  const ColumnValueMap nulls{
      {"A", Value::null()}, {"B", 1.5}, {"C", std::nullopt}, {"D", -3}, {"E", Value()}};
  EXPECT_EQ(B::insertOrReplaceInTable("T", nulls),
            "INSERT OR REPLACE INTO T ( \"B\", \"D\" ) VALUES  ( \"1.5\", \"-3\" ); ");
  const ColumnValueMap allNull{{"A", Value::null()}, {"B", nullptr}};
  EXPECT_EQ(B::insertOrReplaceInTable("T", allNull),
            "INSERT OR REPLACE INTO T (  ) VALUES  (  ); ");
  EXPECT_EQ(B::insertOrReplaceInTable("T", ColumnValueMap{{"NAME", "a\"b"}}),
            "INSERT OR REPLACE INTO T ( \"NAME\" ) VALUES  ( \"a\"b\" ); ");

  EXPECT_EQ(B::insertOrReplaceInTable(std::nullopt, map), std::nullopt);
  EXPECT_EQ(B::insertInTable(std::optional<std::string>("T"), std::nullopt), std::nullopt);
}

TEST(NewSQLBuilderTest, ConditionListsOfLength3Or7AreValidOthersLoggedPerStatement) {
  EXPECT_EQ(B::buildColumnsOperatorsValuesConjuntionString(listOfLength(7)),
            "\"EVENT_ID\" = \"5\" AND \"CHANNEL_ID\" <> \"3\"");
  EXPECT_TRUE(B::isValidColumnsOperatorsValuesConjunction(std::nullopt));
  for (size_t n = 0; n <= 7; ++n) {
    const bool valid = n == 3 || n == 7;
    EXPECT_EQ(B::isValidColumnsOperatorsValuesConjunction(listOfLength(n)), valid) << n;
    if (valid) continue;
    testing::LogCapture log;
    EXPECT_EQ(B::deleteFromTable("T", listOfLength(n)), std::nullopt);
    EXPECT_EQ(B::selectAllFromTable("T", listOfLength(n)), std::nullopt);
    EXPECT_EQ(B::selectColumnsFromTable("T", {"ID"}, listOfLength(n)), std::nullopt);
    EXPECT_EQ(B::updateTable("T", ColumnValueMap{{"A", 1}}, listOfLength(n)), std::nullopt);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "SQL Builder ERROR: Wrong parameter for delete query.",
                               "SQL Builder ERROR: Wrong parameter for select all query.",
                               "SQL Builder ERROR: Wrong parameter for select columns query.",
                               "SQL Builder ERROR: Wrong parameter for select columns query."}))
        << "length " << n;
  }
}

TEST(NewSQLBuilderTest, DeleteSelectAndUpdateTexts) {
  testing::LogCapture log;
  EXPECT_EQ(B::deleteFromTable("T", std::nullopt), "DELETE FROM T;");
  EXPECT_EQ(B::deleteFromTable("T", ConditionList{"ID", "=", 7}),
            "DELETE FROM T WHERE \"ID\" = \"7\";");
  EXPECT_EQ(B::selectAllFromTable("T", listOfLength(7)),
            "SELECT * FROM T WHERE \"EVENT_ID\" = \"5\" AND \"CHANNEL_ID\" <> \"3\";");
  EXPECT_EQ(B::selectColumnsFromTable("T", {"ID", "NAME"}, std::nullopt),
            "SELECT ID, NAME FROM T;");
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{{"NAME", "abc"}, {"CHANNEL_ID", 3}},
                           ConditionList{"ID", "=", 7}),
            "UPDATE T SET NAME = \"abc\", CHANNEL_ID = \"3\" WHERE \"ID\" = \"7\";");
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{{"A", Value::null()}, {"B", 2}}, std::nullopt),
            "UPDATE T SET B = \"2\";");
  EXPECT_EQ(B::updateTable("T", ColumnValueMap{}, ConditionList{"ID", "=", 7}),
            "UPDATE T SET  WHERE \"ID\" = \"7\";");
  // An absent map is checked before the condition list: nothing is logged.
  EXPECT_EQ(B::updateTable("T", std::nullopt, listOfLength(2)), std::nullopt);
  EXPECT_TRUE(log.lines().empty());
}

TEST(NewSQLBuilderTest, AValueWriterWritesEveryValueButNoNameAndKnowsWhereEachStands) {
  // The writer marks each value with where it stands; names and operators
  // stay the builder's own.
  const auto mark = [](std::string& sql, std::string_view column, const Value& value,
                       B::ValuePlace place) {
    sql += place == B::ValuePlace::Values ? "<v:" : "<o:";
    sql += column;
    sql += '=';
    sql += value.description();
    sql += '>';
  };
  const ColumnValueMap map{{"ID", 7}, {"A", Value::null()}, {"NAME", "ID"}};
  EXPECT_EQ(B::insertOrReplaceInTable("T", map, mark),
            "INSERT OR REPLACE INTO T ( \"ID\", \"NAME\" ) VALUES  ( <v:ID=7>, <v:NAME=ID> ); ");
  EXPECT_EQ(B::insertInTable("T", map, mark),
            "INSERT OR IGNORE INTO T ( \"ID\", \"NAME\" ) VALUES  ( <v:ID=7>, <v:NAME=ID> ); ");
  EXPECT_EQ(B::updateTable("T", map, listOfLength(7), mark),
            "UPDATE T SET ID = <o:ID=7>, NAME = <o:NAME=ID> WHERE \"EVENT_ID\" = <o:EVENT_ID=5> AND "
            "\"CHANNEL_ID\" <> <o:CHANNEL_ID=3>;");
  EXPECT_EQ(B::deleteFromTable("T", ConditionList{"NAME", "=", "x"}, mark),
            "DELETE FROM T WHERE \"NAME\" = <o:NAME=x>;");
  EXPECT_EQ(B::buildColumnsOperatorsValuesConjuntionString(listOfLength(3), mark),
            "\"EVENT_ID\" = <o:EVENT_ID=5>");
  testing::LogCapture log;
  EXPECT_EQ(B::deleteFromTable("T", listOfLength(2), mark), std::nullopt);
  EXPECT_EQ(B::updateTable("T", map, listOfLength(5), mark), std::nullopt);
  EXPECT_EQ(log.lines().size(), 2u);
}

}  // namespace
}  // namespace kestrel
