#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelPlatform/Log.h>

#include "support/LogCapture.h"
#include "support/TempDir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>

namespace kestrel {
namespace {

using Checked = std::optional<DBTableAbstract::CheckedStatement>;
using S = SplicedStatement;

class DBTableAbstractTest : public ::testing::Test {
 protected:
  void SetUp() override {
    queue_ = FMDatabaseQueue::databaseQueueWithPath((dir_.path() / "t.db").string());
    ASSERT_NE(queue_, nullptr);
    queue_->inDatabase([](FMDatabase* db) {
      db->executeUpdate("CREATE TABLE T (ID INTEGER PRIMARY KEY, NAME TEXT, CODE INTEGER)");
    });
  }
  int rowsSeenByAnotherConnection(const std::string& where = "1") {
    auto other = FMDatabase::databaseWithPath((dir_.path() / "t.db").string());
    EXPECT_TRUE(other->open());
    const int n = other->intForQuery("SELECT count(*) FROM T WHERE " + where);
    other->close();
    return n;
  }

  const TableColumns table_{"T", {"ID", "NAME", "CODE"}};
  testing::TempDir dir_;
  std::shared_ptr<FMDatabaseQueue> queue_;
  testing::LogCapture log_;
};

TEST_F(DBTableAbstractTest, UpdateAndDeleteCommitAndReportSuccessInsideTheCallButNeedAQueue) {
  std::vector<bool> results;
  DBTableAbstract::updateRows("INSERT INTO T (ID) VALUES (1)", queue_,
                              [&](bool ok) { results.push_back(ok); });
  DBTableAbstract::updateRows("INSERT INTO T (ID) VALUES (2)", queue_);  // no completion
  EXPECT_EQ(results, std::vector<bool>{true});
  EXPECT_EQ(rowsSeenByAnotherConnection(), 2);

  DBTableAbstract::deleteRows("DELETE FROM T WHERE ID = 1", queue_,
                              [&](bool ok) { results.push_back(ok); });
  EXPECT_EQ(results, (std::vector<bool>{true, true}));
  EXPECT_EQ(rowsSeenByAnotherConnection(), 1);

  // Without a queue nothing runs and no completion is called.
  DBTableAbstract::updateRows("DELETE FROM T", nullptr, [&](bool ok) { results.push_back(ok); });
  DBTableAbstract::deleteRows("DELETE FROM T", nullptr, [&](bool ok) { results.push_back(ok); });
  EXPECT_EQ(results.size(), 2u);
}

TEST_F(DBTableAbstractTest, FailingStatementReportsFalseAndTheTransactionStillCommits) {
  std::vector<bool> results;
  DBTableAbstract::deleteRows("DELETE FROM NoSuchTable", queue_,
                              [&](bool ok) { results.push_back(ok); });
  EXPECT_EQ(results, std::vector<bool>{false});
  bool inTransaction = true;
  queue_->inDatabase([&](FMDatabase* db) { inTransaction = db->isInTransaction(); });
  EXPECT_FALSE(inTransaction);
  DBTableAbstract::updateRows("INSERT INTO T (ID) VALUES (5)", queue_);
  EXPECT_EQ(rowsSeenByAnotherConnection(), 1);
}

// Each case builds one statement: `text` is the statement it must give, or,
// when `refusal` is set, the end of the one log line a refused case writes.
struct CheckCase {
  const char* what;
  std::function<Checked(const TableColumns&)> build;
  const char* text;
  const char* refusal = nullptr;
};

TEST_F(DBTableAbstractTest,
       ValuesKeepTheQuotedWordWhereItReadsAsTheValueAndBecomeLiteralsElsewhere) {
  using A = DBTableAbstract;
  const double nan = std::nan("");
  const double inf = std::numeric_limits<double>::infinity();
  const auto update = [](const char* column, Value value) {
    return [column, value](const TableColumns& t) {
      return A::checkedUpdate(t, {{column, value}}, ConditionList{"ID", "=", 1});
    };
  };
  const auto insert = [](const char* column, Value value) {
    return [column, value](const TableColumns& t) {
      return A::checkedInsert(t, {{"ID", 1}, {column, value}});
    };
  };
  const auto where = [](ConditionList conditions) {
    return [conditions](const TableColumns& t) { return A::checkedDelete(t, conditions); };
  };
  const std::vector<CheckCase> cases = {
      // In VALUES no column is in scope: a column's name is plain text there.
      {"column name in VALUES", insert("NAME", "Code"),
       R"(INSERT OR IGNORE INTO T ( "ID", "NAME" ) VALUES  ( "1", "Code" ); )"},
      {"rowid alias in VALUES", insert("NAME", "_ROWID_"),
       R"(INSERT OR IGNORE INTO T ( "ID", "NAME" ) VALUES  ( "1", "_ROWID_" ); )"},
      // As an operand the word would read the column: a literal instead.
      {"column name in SET", update("NAME", "code"),
       R"(UPDATE T SET NAME = 'code' WHERE "ID" = "1";)"},
      {"rowid alias in SET", update("NAME", "RowId"),
       R"(UPDATE T SET NAME = 'RowId' WHERE "ID" = "1";)"},
      {"oid in a condition", where({"NAME", "=", "oid"}), R"(DELETE FROM T WHERE "NAME" = 'oid';)"},
      {"table name in SET", update("NAME", "T"), R"(UPDATE T SET NAME = "T" WHERE "ID" = "1";)"},
      {"column name with a blank", update("NAME", "ID "),
       R"(UPDATE T SET NAME = "ID " WHERE "ID" = "1";)"},
      // A double quote or NUL would end the word early.
      {"double quote", insert("NAME", "Club \"Atletico\" 'B'"),
       R"(INSERT OR IGNORE INTO T ( "ID", "NAME" ) VALUES  ( "1", 'Club "Atletico" ''B''' ); )"},
      {"NUL", insert("NAME", std::string("a\0'b", 4)),
       R"(INSERT OR IGNORE INTO T ( "ID", "NAME" ) VALUES  ( "1", CAST(X'61002762' AS TEXT) ); )"},
      {"single quote", update("NAME", "O'Brien"),
       R"(UPDATE T SET NAME = "O'Brien" WHERE "ID" = "1";)"},
      {"infinity in SET", update("CODE", -inf), R"(UPDATE T SET CODE = -9e999 WHERE "ID" = "1";)"},
      {"finite double", update("CODE", 1.5), R"(UPDATE T SET CODE = "1.5" WHERE "ID" = "1";)"},
      {"INT64_MIN", where({"ID", "=", std::numeric_limits<std::int64_t>::min()}),
       R"(DELETE FROM T WHERE "ID" = "-9223372036854775808";)"},
      {"blob", insert("NAME", Value::Blob{1, 0xAB}),
       R"(INSERT OR IGNORE INTO T ( "ID", "NAME" ) VALUES  ( "1", X'01AB' ); )"},
      {"null marker in a map (left out)", update("CODE", Value::null()),
       R"(UPDATE T SET  WHERE "ID" = "1";)"},
      {"NaN", insert("CODE", nan), nullptr,
       "the value of CODE is not a number, which SQLite cannot hold"},
      {"date", insert("NAME", Value::Date{}), nullptr, "the value of NAME is a date"},
      {"null marker in a condition", where({"CODE", "=", Value::null()}), nullptr,
       "the value of CODE is the null marker, which has no quoted form"},
      // The names, operators and conjunctions come from the code, but are
      // checked all the same.
      {"unknown map column", update("NOPE", 1), nullptr, "it has no column NOPE"},
      {"map column that is not a name", update("CODE = 1, NAME", 1), nullptr,
       "it has no column (not a plain name)"},
      {"unknown condition column", where({"NOPE", "=", 1}), nullptr,
       "a condition names NOPE, which is not a column"},
      {"operator", where({"ID", "= 1 OR 1 =", 1}), nullptr,
       "a condition has an operator that is not allowed"},
      {"conjunction", where({"ID", "=", 1, "UNION", "ID", "=", 2}), nullptr,
       "conditions are joined by a word that is not AND or OR"},
      {"allowed operators and conjunctions",
       where({"ID", "is not", 1, "or", "NAME", "LIKE", "a%", "AND", "CODE", ">=", 2}),
       R"(DELETE FROM T WHERE "ID" is not "1" or "NAME" LIKE "a%" AND "CODE" >= "2";)"},
  };
  for (const CheckCase& c : cases) {
    log_.clear();
    const Checked statement = c.build(table_);
    if (c.refusal == nullptr) {
      ASSERT_TRUE(statement.has_value()) << c.what;
      EXPECT_EQ(statement->text(), c.text) << c.what;
      EXPECT_TRUE(log_.lines().empty()) << c.what;
      continue;
    }
    EXPECT_FALSE(statement.has_value()) << c.what;
    ASSERT_EQ(log_.lines().size(), 1u) << c.what;
    const std::string line = log_.lines().front();
    EXPECT_EQ(line.rfind("ERROR: write to T refused: ", 0), 0u) << line;
    EXPECT_NE(line.find(c.refusal), std::string::npos) << c.what << ": " << line;
  }

  // An invalid condition list is the builder's to report; no refusal line.
  log_.clear();
  EXPECT_FALSE(DBTableAbstract::checkedDelete(table_, ConditionList{"ID", "="}).has_value());
  EXPECT_EQ(log_.lines(),
            std::vector<std::string>{"SQL Builder ERROR: Wrong parameter for delete query."});
}

TEST_F(DBTableAbstractTest, SplicedStatementsWriteEachPieceAsItsKindSaysOrRefuse) {
  const auto text = [&](const SplicedStatement& statement) {
    const Checked checked = DBTableAbstract::checkedStatement(table_, statement);
    return checked ? checked->text() : std::string("<refused>");
  };
  EXPECT_EQ(text(S("DELETE FROM %@ WHERE %@ IN (%@)",
                   {S::name("T"), S::name("ID"), S::numbers("ID", IDSet{3, 1, 2})})),
            "DELETE FROM T WHERE ID IN (1, 2, 3)");
  EXPECT_EQ(text(S("UPDATE %@ SET %@ = %@, %@ = %@ WHERE %@ = %@",
                   {S::name("T"), S::name("NAME"), S::quotedOperand("NAME", "x'y"), S::name("CODE"),
                    S::number("CODE", Value::null()), S::name("T.ID"),
                    S::number("ID", std::numeric_limits<std::int64_t>::min())})),
            "UPDATE T SET NAME = \"x'y\", CODE = NULL WHERE T.ID = -9223372036854775808");
  EXPECT_EQ(text(S("DELETE FROM %@ WHERE %@ = %@ AND %@ = %@;",
                   {S::name("T"), S::name("CODE"), S::singleQuoted("CODE", 7), S::name("NAME"),
                    S::singleQuoted("NAME", "say \"ID\"")})),
            "DELETE FROM T WHERE CODE = '7' AND NAME = 'say \"ID\"';");
  EXPECT_EQ(text(S("INSERT INTO T (ID, NAME) VALUES (%@, %@)",
                   {S::number("ID", 4), S::quotedValue("NAME", "Id")})),
            "INSERT INTO T (ID, NAME) VALUES (4, \"Id\")");
  // Where the piece's own form would be misread, the value is a literal.
  EXPECT_EQ(text(S("UPDATE T SET NAME = %@", {S::quotedOperand("NAME", "Id")})),
            "UPDATE T SET NAME = 'Id'");
  EXPECT_EQ(text(S("INSERT INTO T (NAME) VALUES (%@)", {S::quotedValue("NAME", "a\"b")})),
            "INSERT INTO T (NAME) VALUES ('a\"b')");
  EXPECT_EQ(
      text(S("DELETE FROM T WHERE NAME = %@", {S::singleQuoted("NAME", std::string(1, '\0'))})),
      "DELETE FROM T WHERE NAME = CAST(X'00' AS TEXT)");
  EXPECT_EQ(text(S("DELETE FROM T WHERE ID = %@", {S::number("ID", "5 OR 1=1")})),
            "DELETE FROM T WHERE ID = '5 OR 1=1'");

  const std::vector<std::pair<SplicedStatement, const char*>> refused = {
      {S("DELETE FROM T WHERE NAME = %@", {S::singleQuoted("NAME", "x' OR '1'='1")}),
       "the value of NAME holds a single quote"},
      {S("DELETE FROM T WHERE ID IN (%@)", {S::numbers("ID", std::vector<Value>{1, std::nan("")})}),
       "the value of ID is not a number"},
      {S("DELETE FROM %@", {S::name("T; DROP TABLE T")}),
       "the statement names something that is not a plain name"},
      {S("DELETE FROM %@", {S::name("1T")}), "not a plain name"},
      {S("DELETE FROM %@ WHERE ID = %@", {S::name("T")}),
       "the statement has 2 places for 1 pieces"},
  };
  for (const auto& [statement, refusal] : refused) {
    log_.clear();
    EXPECT_EQ(text(statement), "<refused>") << refusal;
    ASSERT_EQ(log_.lines().size(), 1u) << refusal;
    EXPECT_NE(log_.lines().front().find(refusal), std::string::npos) << log_.lines().front();
    EXPECT_EQ(log_.lines().front().find("1'='1"), std::string::npos) << "the value is never logged";
  }
}

// Texts a double-quoted word would misread, and plain ones around them.
std::vector<std::pair<const char*, std::string>> hostileTexts() {
  std::string megabyte;
  while (megabyte.size() < (1u << 20)) megabyte += "Club \"Atl\xC3\xA9tico\" O'Brien ";
  megabyte += std::string("\0end", 4);
  return {
      {"column name", "name"},
      {"row id alias", "_RowId_"},
      {"double quotes", "Club \"Atl\xC3\xA9tico\""},
      {"SQL after a quote", "x\", CODE = \"1"},
      {"NUL inside", std::string("a\0b", 3)},
      {"NUL alone", std::string(1, '\0')},
      {"single quotes", "O'Brien'; DELETE FROM T; --"},
      {"invalid UTF-8", "\xFF\xFE\xC3("},
      {"empty", ""},
      {"a megabyte with quotes and a NUL", megabyte},
  };
}

TEST_F(DBTableAbstractTest, HostileTextsRoundTripThroughEveryFormAndConditionsMatchExactlyThem) {
  const auto run = [&](auto write) {
    bool ok = false;
    int calls = 0;
    write([&](bool success) {
      ok = success;
      ++calls;
    });
    EXPECT_EQ(calls, 1);
    return ok;
  };
  const auto hexOf = [](const std::string& text) {
    std::string hex;
    for (const unsigned char c : text) hex += platform::formatString("%02X", c);
    return hex;
  };
  // Each row's NAME as SQLite holds it (hex, so every byte counts), by ID.
  const auto names = [&] {
    std::map<std::int64_t, std::string> rows;
    queue_->inDatabase([&](FMDatabase* db) {
      auto rs = db->executeQuery("SELECT ID, hex(NAME), typeof(NAME), CODE FROM T ORDER BY ID");
      while (rs && rs->next()) {
        rows[rs->longLongIntForColumnIndex(0)] = rs->stringForColumnIndex(1).value_or("") + "/" +
                                                 rs->stringForColumnIndex(2).value_or("") + "/" +
                                                 rs->stringForColumnIndex(3).value_or("NULL");
      }
    });
    return rows;
  };
  for (const auto& [what, hostile] : hostileTexts()) {
    SCOPED_TRACE(what);
    DBTableAbstract::deleteRows("DELETE FROM T", queue_);
    // A bystander whose name is where a cut text would end (or the text with
    // one more character), which no condition on the text may match.
    const std::string near = hostile.find('\0') != std::string::npos
                                 ? hostile.substr(0, hostile.find('\0'))
                                 : hostile + "!";
    using A = DBTableAbstract;
    EXPECT_TRUE(run([&](auto done) {
      A::insertRow(table_, {{"ID", 1}, {"NAME", hostile}}, queue_, done);
    }));
    EXPECT_TRUE(run([&](auto done) {
      A::insertOrReplaceRow(table_, {{"ID", 2}, {"NAME", "plain"}}, queue_, done);
    }));
    EXPECT_TRUE(run([&](auto done) {
      A::insertRow(table_, {{"ID", 3}, {"NAME", near}}, queue_, done);
    }));
    // SET list, then a condition on the text.
    EXPECT_TRUE(run([&](auto done) {
      A::updateRows(table_, {{"NAME", hostile}}, ConditionList{"ID", "=", 2}, queue_, done);
    }));
    EXPECT_TRUE(run([&](auto done) {
      A::updateRows(table_, {{"CODE", 7}}, ConditionList{"NAME", "=", hostile}, queue_, done);
    }));
    const std::string stored = hexOf(hostile) + "/text/7";
    EXPECT_EQ(names(), (std::map<std::int64_t, std::string>{
                           {1, stored}, {2, stored}, {3, hexOf(near) + "/text/NULL"}}));

    // Read back with every byte.
    queue_->inDatabase([&](FMDatabase* db) {
      auto rs = db->executeQuery("SELECT NAME FROM T WHERE ID = 1");
      ASSERT_TRUE(rs && rs->next());
      EXPECT_TRUE(rs->stringForColumn("name") == hostile);
      EXPECT_TRUE(rs->objectForColumnIndex(0) == Value(hostile));
      rs->close();
    });

    // The formatted forms: an operand, a bare place, between single quotes.
    EXPECT_TRUE(run([&](auto done) {
      A::updateRows(table_,
                    S("UPDATE T SET CODE = 8 WHERE NAME = %@ AND ID = %@",
                      {S::quotedOperand("NAME", hostile), S::number("ID", 1)}),
                    queue_, done);
    }));
    EXPECT_TRUE(run([&](auto done) {
      A::updateRows(table_,
                    S("UPDATE T SET CODE = 9 WHERE NAME IN (%@)", {S::numbers("NAME", {hostile})}),
                    queue_, done);
    }));
    EXPECT_EQ(names(), (std::map<std::int64_t, std::string>{{1, hexOf(hostile) + "/text/9"},
                                                            {2, hexOf(hostile) + "/text/9"},
                                                            {3, hexOf(near) + "/text/NULL"}}));
    const bool quoted = hostile.find('\'') == std::string::npos;
    log_.clear();
    EXPECT_EQ(run([&](auto done) {
                A::deleteRows(table_,
                              S("DELETE FROM T WHERE ID = 2 AND NAME = %@",
                                {S::singleQuoted("NAME", hostile)}),
                              queue_, done);
              }),
              quoted);
    EXPECT_EQ(log_.lines().size(), quoted ? 0u : 1u);

    // A delete by the text takes exactly its rows.
    EXPECT_TRUE(run([&](auto done) {
      A::deleteRows(table_, ConditionList{"NAME", "=", hostile}, queue_, done);
    }));
    EXPECT_EQ(names(), (std::map<std::int64_t, std::string>{{3, hexOf(near) + "/text/NULL"}}));
  }
}

TEST_F(DBTableAbstractTest, OneCallWritesRunCheckedStatementsAndRefusalsChangeNothing) {
  std::vector<bool> results;
  const BoolCompletion record = [&](bool ok) { results.push_back(ok); };
  DBTableAbstract::insertRow(table_, {{"ID", 1}, {"NAME", "first"}}, queue_, record);
  // A plain insert succeeds only by adding a row: an existing key stays.
  DBTableAbstract::insertRow(table_, {{"ID", 1}, {"NAME", "second"}}, queue_, record);
  DBTableAbstract::insertOrReplaceRow(table_, {{"ID", 2}, {"NAME", "ID"}}, queue_, record);
  EXPECT_EQ(results, (std::vector<bool>{true, false, true}));
  EXPECT_EQ(rowsSeenByAnotherConnection("ID = 1 AND NAME = 'first'"), 1);
  EXPECT_EQ(rowsSeenByAnotherConnection("ID = 2 AND NAME = 'ID'"), 1);

  // Refused: false at once, exactly once, and no row changes.
  results.clear();
  DBTableAbstract::updateRows(table_, {{"CODE", std::nan("")}}, ConditionList{"ID", "=", 1}, queue_,
                              record);
  DBTableAbstract::updateRows(table_, {{"NOPE", 1}}, std::nullopt, queue_, record);
  DBTableAbstract::deleteRows(table_, ConditionList{"NAME", "=", Value::null()}, queue_, record);
  DBTableAbstract::deleteRows(
      table_, S("DELETE FROM T WHERE NAME = %@", {S::singleQuoted("NAME", "' OR ''='")}), queue_,
      record);
  DBTableAbstract::runChecked(std::nullopt, queue_, record);
  EXPECT_EQ(results, (std::vector<bool>{false, false, false, false, false}));
  EXPECT_EQ(rowsSeenByAnotherConnection(), 2);
  EXPECT_EQ(rowsSeenByAnotherConnection("NAME IN ('first', 'ID') AND CODE IS NULL"), 2);

  // Accepted formatted and built writes run.
  results.clear();
  DBTableAbstract::updateRows(table_,
                              S("UPDATE T SET CODE = %@ WHERE ID IN (%@)",
                                {S::number("CODE", 9), S::numbers("ID", IDSet{1, 2})}),
                              queue_, record);
  DBTableAbstract::deleteRows(table_, ConditionList{"NAME", "=", "first"}, queue_, record);
  EXPECT_EQ(results, (std::vector<bool>{true, true}));
  EXPECT_EQ(rowsSeenByAnotherConnection("CODE = 9"), 1);

  // Without a queue nothing is checked, logged, run or called.
  log_.clear();
  DBTableAbstract::insertRow(table_, {{"NOPE", 1}}, nullptr, record);
  DBTableAbstract::deleteRows(table_, S("%@", {S::name(";")}), nullptr, record);
  EXPECT_EQ(results.size(), 2u);
  EXPECT_TRUE(log_.lines().empty());
}

TEST_F(DBTableAbstractTest, RealsAreStoredAndMatchedExactlyInNumericColumnsAndAsShortestTextInOthers) {
  using A = DBTableAbstract;
  const TableColumns typed{"T", {"ID", "NAME", "CODE"}, {"ID", "CODE"}};
  // A time of day SQLite reads one unit in the last place off as text, a
  // fraction, the extremes (the smallest subnormal, the largest finite
  // real, an integer beyond 64 bits) and integers a real holds exactly.
  const double reals[] = {1739142721.649526, -0.1, 5e-324, -2.2250738585072014e-308,
                          1.7976931348623157e308, 1.2345678901234568e20, 1152921504606846976.0, 42.0};
  for (const double real : reals) {
    SCOPED_TRACE(Value(real).description());
    A::deleteRows("DELETE FROM T", queue_);
    const auto matching = [&](const char* column) {
      int rows = -1;
      queue_->inDatabase([&](FMDatabase* db) {
        rows = db->intForQuery(std::string("SELECT count(*) FROM T WHERE ") + column + " = ?", real);
      });
      return rows;
    };
    // VALUES list, SET list, condition and a formatted statement's number.
    A::insertRow(typed, {{"ID", 1}, {"CODE", real}}, queue_);
    A::insertRow(typed, {{"ID", 2}}, queue_);
    A::updateRows(typed, {{"CODE", real}}, ConditionList{"ID", "=", 2}, queue_);
    A::insertRow(typed, {{"ID", 3}}, queue_);
    A::updateRows(typed, S("UPDATE T SET CODE = %@ WHERE ID = 3", {S::number("CODE", real)}), queue_);
    EXPECT_EQ(matching("CODE"), 3);
    A::updateRows(typed, {{"NAME", "hit"}}, ConditionList{"CODE", "=", real}, queue_);
    EXPECT_EQ(rowsSeenByAnotherConnection("NAME = 'hit'"), 3);
    // A TEXT column keeps the real's shortest text.
    A::updateRows(typed, {{"NAME", real}}, ConditionList{"ID", "=", 1}, queue_);
    EXPECT_EQ(rowsSeenByAnotherConnection("ID = 1 AND NAME = '" + Value(real).description() + "'"),
              1);
  }
  EXPECT_TRUE(log_.lines().empty());
}

TEST(TableColumnsTest, KnowsItsColumnsAndTheRowIDAliasesWithoutRegardToASCIICase) {
  const TableColumns columns("EventTable_", {"ID", "START_DATE"});
  EXPECT_EQ(columns.tableName(), "EventTable_");
  EXPECT_TRUE(columns.hasColumn("start_date"));
  EXPECT_FALSE(columns.hasColumn("rowid")) << "an alias is no column of the table";
  for (const char* reference : {"ID", "iD", "Start_Date", "ROWID", "Oid", "_rowid_"}) {
    EXPECT_TRUE(columns.isColumnReference(reference)) << reference;
  }
  EXPECT_FALSE(columns.isNumeric("ID")) << "no column is numeric unless it is named so";
  const TableColumns& pinned = DBTablePinnedUniqueTournaments::tableColumns();
  EXPECT_TRUE(pinned.isNumeric("created_at_timestamp"));
  EXPECT_TRUE(pinned.isNumeric("ID"));
  EXPECT_FALSE(pinned.isNumeric("NAME"));
  // SQLite folds only ASCII letters in names; "İD" and "EventTable_" are no columns.
  for (const char* text : {"ID ", "İD", "EventTable_", "START", "", "rowid_"}) {
    EXPECT_FALSE(columns.isColumnReference(text)) << text;
  }
}

TEST(DBTableAbstractConversion, RoundTripThroughBase64JsonAndNoValueForAbsentEmptyOrMalformedText) {
  model::FieldTranslations translations;
  translations.nameTranslation = {{"de", "Bayern München"}, {"hr", "Dinamo Zagreb"}};
  translations.shortNameTranslation = {{"de", "FCB"}};
  const auto text = DBTableAbstract::convertFieldTranslationsToString(translations);
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text->find_first_of(" \n\r"), std::string::npos);
  EXPECT_EQ(DBTableAbstract::convertStringToFieldTranslations(text), translations);

  EXPECT_FALSE(DBTableAbstract::convertFieldTranslationsToString(std::nullopt).has_value());
  EXPECT_FALSE(DBTableAbstract::convertStringToFieldTranslations(std::nullopt).has_value());
  // Empty Base64 decodes to no bytes, which is not JSON.
  EXPECT_FALSE(DBTableAbstract::convertStringToFieldTranslations(std::string()).has_value());
  const std::string valid =
      *DBTableAbstract::convertFieldTranslationsToString(model::FieldTranslations{});
  EXPECT_TRUE(DBTableAbstract::convertStringToFieldTranslations(valid).has_value());
  std::string broken = valid;
  broken.insert(4, "\n");
  EXPECT_FALSE(DBTableAbstract::convertStringToFieldTranslations(broken).has_value());
  // Valid Base64 of something that is not a translations object.
  EXPECT_FALSE(
      DBTableAbstract::convertStringToFieldTranslations(std::string("WzEsMl0=")).has_value());
}

}  // namespace
}  // namespace kestrel
