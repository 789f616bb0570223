#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include "tables/ScratchDatabase.h"

// An event-table detail beyond the checks every table gets (its texts are
// pinned with the others in TableSchema_test.cpp): the one upgrade column
// declared SMALLINT reads back as an integer.
namespace kestrel {
namespace {

TEST(EventTableSchemaTest, MigratedInverseFlagIsSmallintAndReadsBackAsInteger) {
  // The inverse home/away flag is SMALLINT when migrated, INTEGER when fresh;
  // both read back as integers.
  constexpr const char* kFlag = "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS";
  testing::ScratchDatabase db;
  ASSERT_TRUE(db.exec(DBTableEvent::createTableQuery()));
  ASSERT_TRUE(db.exec(std::string("ALTER TABLE EventTable_ DROP COLUMN ") + kFlag));
  for (const auto& statement : DBTableEvent::updateTableQueries()) db.exec(statement);
  const auto info = db.tableInfo(DBTableEvent::kTableName);
  ASSERT_EQ(info.size(), 127u);
  EXPECT_EQ(info.back().name, kFlag);
  EXPECT_EQ(info.back().type, "SMALLINT");
  ASSERT_TRUE(
      db.exec(std::string("INSERT INTO EventTable_ (ID, ") + kFlag + ") VALUES (42, \"1\")"));
  const auto row =
      db.rows(std::string("SELECT typeof(") + kFlag + "), " + kFlag + " FROM EventTable_");
  EXPECT_EQ(row.at(0)[0], "integer");
  EXPECT_EQ(row.at(0)[1], "1");
}

}  // namespace
}  // namespace kestrel
