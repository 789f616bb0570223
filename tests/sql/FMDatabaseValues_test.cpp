// Values through the connection byte for byte: bound texts and blobs with
// NUL and invalid UTF-8 read back whole; a value SQLite cannot take fails
// the statement (logged, false or no result set) instead of binding NULL;
// a statement too long to prepare is logged by its start.
#include <KestrelDatabase/sql/FMDatabase.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace kestrel {
namespace {

using testing::LogCapture;

class FMDatabaseValuesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    db_ = FMDatabase::databaseWithPath(std::nullopt);
    ASSERT_TRUE(db_->open());
    ASSERT_TRUE(db_->executeUpdate("CREATE TABLE t (k INTEGER PRIMARY KEY, s TEXT, b BLOB)"));
  }
  int rows() { return db_->intForQuery("SELECT count(*) FROM t"); }

  std::shared_ptr<FMDatabase> db_;
  LogCapture logs_;
};

TEST_F(FMDatabaseValuesTest, TextsAndBlobsKeepEveryByteBothWays) {
  static constexpr char kRaw[] = "a\0b \xFF\xFE \xC3( \"id\" 'x'";
  const std::string text(kRaw, sizeof kRaw - 1);
  const Value::Blob blob{0, 1, 0xFF, 0};
  ASSERT_TRUE(db_->executeUpdate("INSERT INTO t VALUES (?, ?, ?)", 1, text, blob));
  ASSERT_TRUE(
      db_->executeUpdate("INSERT INTO t VALUES (:k, :s, :b)",
                         std::map<std::string, Value>{{"k", 2}, {"s", ""}, {"b", Value::Blob{}}}));
  EXPECT_EQ(db_->intForQuery("SELECT length(CAST(s AS BLOB)) FROM t WHERE k = 1"),
            static_cast<int>(text.size()));
  auto rs = db_->executeQuery("SELECT s, b FROM t WHERE s = ?", text);
  ASSERT_TRUE(rs && rs->next());
  EXPECT_TRUE(rs->stringForColumn("s") == text);
  EXPECT_TRUE(rs->textNoCopyForColumnIndex(0) == std::string_view(text));
  EXPECT_TRUE(rs->objectForColumn("s") == Value(text));
  EXPECT_TRUE(rs->dataForColumn("b") == blob);
  EXPECT_FALSE(rs->next());
  rs = db_->executeQuery("SELECT s, b, typeof(b) FROM t WHERE k = 2");
  ASSERT_TRUE(rs && rs->next());
  EXPECT_EQ(rs->stringForColumn("s"), "") << "empty text is no NULL";
  EXPECT_EQ(rs->stringForColumnIndex(2), "blob") << "an empty blob stays a blob";
  rs->close();
  EXPECT_TRUE(logs_.lines().empty());
}

TEST_F(FMDatabaseValuesTest, AValueBeyondTheLengthLimitFailsTheStatementInsteadOfBindingNull) {
  // SQLite's limit lowered for this connection stands for its 10^9 bytes.
  sqlite3_limit(db_->sqliteHandle(), SQLITE_LIMIT_LENGTH, 1000);
  const std::string tooLong(1001, 'x');
  EXPECT_FALSE(db_->executeUpdate("INSERT INTO t (k, s) VALUES (?, ?)", 1, tooLong));
  EXPECT_FALSE(
      db_->executeUpdate("INSERT INTO t (k, b) VALUES (:k, :b)",
                         std::map<std::string, Value>{{"k", 2}, {"b", Value::Blob(1001)}}));
  FMError error;
  EXPECT_FALSE(db_->executeUpdate("INSERT INTO t (k, s) VALUES (?, ?)", {3, tooLong}, &error));
  EXPECT_EQ(error.code, SQLITE_TOOBIG);
  EXPECT_EQ(rows(), 0) << "no row with a NULL in its place";
  EXPECT_EQ(logs_.countContaining("Error: unable to bind (18, "), 3u);

  // A query by such a value fails; bound as NULL it would find other rows.
  ASSERT_TRUE(db_->executeUpdate("INSERT INTO t (k, s) VALUES (4, NULL)"));
  EXPECT_EQ(db_->executeQuery("SELECT k FROM t WHERE s IS ?", tooLong), nullptr);
  EXPECT_EQ(logs_.countContaining("Error: unable to bind (18, "), 4u);

  // The connection goes on: the statement was given back.
  const std::string fits(500, 'x');
  EXPECT_TRUE(db_->executeUpdate("INSERT INTO t (k, s) VALUES (?, ?)", 5, fits));
  EXPECT_EQ(db_->stringForQuery("SELECT s FROM t WHERE k = 5"), fits);
}

TEST_F(FMDatabaseValuesTest, AStatementTooLongToPrepareFailsAndIsLoggedByItsStart) {
  sqlite3_limit(db_->sqliteHandle(), SQLITE_LIMIT_SQL_LENGTH, 100'000);
  const std::string sql = "INSERT INTO t (s) VALUES ('" + std::string(200'000, 'x') + "')";
  EXPECT_FALSE(db_->executeUpdate(sql));
  EXPECT_EQ(rows(), 0);
  const std::vector<std::string> lines = logs_.lines();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].rfind("DB Error: 18 ", 0), 0u) << lines[0];
  const std::string& query = lines[1];
  EXPECT_EQ(query.rfind("DB Query: INSERT INTO t (s) VALUES ('xxx", 0), 0u);
  EXPECT_LT(query.size(), 66'000u);
  EXPECT_NE(query.find("... (200029 bytes)"), std::string::npos);
}

}  // namespace
}  // namespace kestrel
