// The case-insensitive column name map behind by-name reads: the guess of
// the next column must always agree with the hashed lookup.
#include <KestrelDatabase/sql/ColumnNameMap.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

namespace kestrel {
namespace {

class ColumnNameMapTest : public ::testing::Test {
 protected:
  /// Fills the map with `count` names shaped like the event table's columns.
  void fill(int count) {
    names.clear();
    map.reset(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      names.push_back("COLUMN_" + std::to_string(i) + (i % 2 ? "_ID" : "_TIMESTAMP"));
      map.insert(names.back(), i);
    }
  }

  /// Reads every column in `order`, each in its declared spelling.
  void expectReads(const std::vector<int>& order) {
    for (const int i : order) {
      ASSERT_EQ(map.find(names[static_cast<std::size_t>(i)]), i) << "column " << i;
    }
  }

  ColumnNameMap map;
  std::vector<std::string> names;
};

TEST_F(ColumnNameMapTest, FindsEveryColumnInAnyOrder) {
  fill(127);
  std::vector<int> order(127);
  std::iota(order.begin(), order.end(), 0);
  expectReads(order);
  expectReads(order);  // round again from the first column

  std::reverse(order.begin(), order.end());
  expectReads(order);

  std::vector<int> strided;
  for (int i = 0; i < 127 * 5; i += 5) strided.push_back(i % 127);
  expectReads(strided);

  std::mt19937 random(42);
  std::shuffle(order.begin(), order.end(), random);
  expectReads(order);

  // Each column twice in a row, then a row that skips every other column.
  std::vector<int> twice;
  for (int i = 0; i < 127; ++i) twice.insert(twice.end(), {i, i});
  expectReads(twice);
  std::vector<int> skipping;
  for (int i = 0; i < 127; i += 2) skipping.push_back(i);
  expectReads(skipping);
  expectReads(skipping);
}

TEST_F(ColumnNameMapTest, FindsEveryNameInAnyCaseAfterGrowing) {
  map.reset(0);  // far too small: inserting must grow the table
  for (int i = 0; i < 300; ++i) map.insert("Column_" + std::to_string(i), i);
  ASSERT_EQ(map.size(), 300u);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(map.find("Column_" + std::to_string(i)), i);
    EXPECT_EQ(map.find("COLUMN_" + std::to_string(i)), i);
    EXPECT_EQ(map.find("column_" + std::to_string(i)), i);
  }
  EXPECT_EQ(map.find("column_300"), -1);
  EXPECT_EQ(map.find("column_"), -1);
  EXPECT_EQ(map.find(""), -1);
}

TEST_F(ColumnNameMapTest, OtherSpellingsOfTheExpectedColumnStillMatch) {
  fill(4);
  EXPECT_EQ(map.find("column_0_timestamp"), 0);
  EXPECT_EQ(map.find("Column_1_Id"), 1);
  EXPECT_EQ(map.find(names[2]), 2);
  EXPECT_EQ(map.find("COLUMN_3_iD"), 3);
  EXPECT_EQ(map.find("column_0_TIMESTAMP"), 0);
}

TEST_F(ColumnNameMapTest, LaterOfTwoNamesDifferingInCaseWins) {
  // Read in declared order, the earlier spelling must not find its own
  // column: the name belongs to the later one.
  map.reset(4);
  map.insert("Total", 0);
  map.insert("TOTAL", 1);
  map.insert("EVENT_ID", 2);
  map.insert("total", 3);
  map.insert("EVENT_ID", 4);
  EXPECT_EQ(map.size(), 2u);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(map.find("Total"), 3);
    EXPECT_EQ(map.find("TOTAL"), 3);
    EXPECT_EQ(map.find("EVENT_ID"), 4);
    EXPECT_EQ(map.find("total"), 3);
    EXPECT_EQ(map.find("EVENT_ID"), 4);
  }
  EXPECT_EQ(map.find("event_id"), 4);
}

TEST_F(ColumnNameMapTest, UnknownNamesAreNotFoundAndLeaveLookupsIntact) {
  EXPECT_EQ(map.find("EVENT_ID"), -1);  // never filled
  fill(3);
  EXPECT_EQ(map.find(names[0]), 0);
  // A prefix of the expected name, the name with one more character, and
  // the name with its last character changed.
  EXPECT_EQ(map.find("COLUMN_1_I"), -1);
  EXPECT_EQ(map.find("COLUMN_1_IDS"), -1);
  EXPECT_EQ(map.find("COLUMN_1_IE"), -1);
  EXPECT_EQ(map.find(names[1]), 1);
  EXPECT_EQ(map.find(names[2]), 2);

  // Bytes that fold together only in the hash are still told apart:
  // '_' and DEL, '@' and '`', two bytes of a UTF-8 letter in either case.
  map.reset(3);
  map.insert("HOME_ID", 0);
  map.insert("@score", 1);
  map.insert("caf\xC3\x83", 2);
  EXPECT_EQ(map.find("HOME\x7FID"), -1);
  EXPECT_EQ(map.find("`score"), -1);
  EXPECT_EQ(map.find("caf\xC3\xA3"), -1);
  EXPECT_EQ(map.find("home_id"), 0);
  EXPECT_EQ(map.find("@SCORE"), 1);
  EXPECT_EQ(map.find("CAF\xC3\x83"), 2);
}

TEST_F(ColumnNameMapTest, ResetForgetsNamesAndThePlaceReached) {
  fill(127);
  std::vector<int> firstHalf(64);
  std::iota(firstHalf.begin(), firstHalf.end(), 0);
  expectReads(firstHalf);

  // Rebuilt smaller, as after a schema change: the place reached before
  // lies past the end of the new columns.
  map.reset(3);
  EXPECT_EQ(map.find(names[64]), -1);
  map.insert("C", 0);
  map.insert("B", 1);
  map.insert("A", 2);
  EXPECT_EQ(map.find("A"), 2);
  EXPECT_EQ(map.find("B"), 1);
  EXPECT_EQ(map.find("C"), 0);
  EXPECT_EQ(map.find(names[0]), -1);
  EXPECT_EQ(ColumnNameMap::lowercased("HOME_Team_ID"), "home_team_id");
}

}  // namespace
}  // namespace kestrel
