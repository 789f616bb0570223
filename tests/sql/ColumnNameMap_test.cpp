// The case-insensitive column name map behind by-name reads.
#include <KestrelDatabase/sql/ColumnNameMap.h>

#include <gtest/gtest.h>

#include <string>

namespace kestrel {
namespace {

TEST(ColumnNameMapTest, FindsEveryNameInAnyCaseAfterGrowing) {
  ColumnNameMap map;
  map.reset(0);  // far too small: inserting must grow the table
  for (int i = 0; i < 300; ++i) map.insert("Column_" + std::to_string(i), i);
  ASSERT_EQ(map.size(), 300u);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(map.find("COLUMN_" + std::to_string(i)), i);
    EXPECT_EQ(map.find("column_" + std::to_string(i)), i);
  }
  EXPECT_EQ(map.find("column_300"), -1);
  EXPECT_EQ(map.find("column_"), -1);
  EXPECT_EQ(map.find(""), -1);
}

TEST(ColumnNameMapTest, LaterNameWinsAndResetForgets) {
  ColumnNameMap map;
  map.reset(2);
  map.insert("START_TIMESTAMP", 0);
  map.insert("start_timestamp", 3);
  EXPECT_EQ(map.size(), 1u);
  EXPECT_EQ(map.find("Start_Timestamp"), 3);
  map.reset(1);
  EXPECT_EQ(map.find("START_TIMESTAMP"), -1);
  EXPECT_EQ(ColumnNameMap::lowercased("HOME_Team_ID"), "home_team_id");
}

}  // namespace
}  // namespace kestrel
