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

  ColumnNameMap map;
  std::vector<std::string> names;
};

TEST_F(ColumnNameMapTest, FindsEveryColumnInAnyOrder) {
  fill(127);
  std::vector<int> inOrder(127);
  std::iota(inOrder.begin(), inOrder.end(), 0);
  std::vector<int> shuffled = inOrder;
  std::shuffle(shuffled.begin(), shuffled.end(), std::mt19937(42));
  std::vector<int> everyOther;
  for (int i = 0; i < 127; i += 2) everyOther.push_back(i);
  for (const auto* order : {&inOrder, &inOrder, &shuffled, &everyOther, &everyOther}) {
    for (const int i : *order) {
      ASSERT_EQ(map.find(names[static_cast<std::size_t>(i)]), i) << "column " << i;
    }
  }
}

TEST_F(ColumnNameMapTest, FindsEveryNameInAnyCaseAfterGrowing) {
  map.reset(0);  // far too small: inserting must grow the table
  for (int i = 0; i < 300; ++i) map.insert("Column_" + std::to_string(i), i);
  ASSERT_EQ(map.size(), 300u);
  for (int i = 0; i < 300; ++i) {
    EXPECT_EQ(map.find("COLUMN_" + std::to_string(i)), i);
    EXPECT_EQ(map.find("column_" + std::to_string(i)), i);
  }
  EXPECT_EQ(map.find("column_300"), -1);
}

TEST_F(ColumnNameMapTest, LaterOfTwoNamesDifferingInCaseWins) {
  // Read in declared order, the earlier spelling must not find its own
  // column: the name belongs to the later one.
  map.reset(4);
  map.insert("Total", 0);
  map.insert("TOTAL", 1);
  map.insert("EVENT_ID", 2);
  map.insert("total", 3);
  EXPECT_EQ(map.size(), 2u);
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(map.find("Total"), 3);
    EXPECT_EQ(map.find("TOTAL"), 3);
    EXPECT_EQ(map.find("EVENT_ID"), 2);
    EXPECT_EQ(map.find("total"), 3);
  }
}

TEST_F(ColumnNameMapTest, NearMissesAreNotFound) {
  EXPECT_EQ(map.find("EVENT_ID"), -1);  // never filled
  fill(3);
  EXPECT_EQ(map.find(names[0]), 0);
  // A prefix of the expected name, one character more, the last one changed.
  for (const char* name : {"COLUMN_1_I", "COLUMN_1_IDS", "COLUMN_1_IE"}) {
    EXPECT_EQ(map.find(name), -1) << name;
  }

  // Bytes that fold together only in the hash are still told apart:
  // '_' and DEL, '@' and '`', two bytes of a UTF-8 letter in either case.
  map.reset(3);
  map.insert("HOME_ID", 0);
  map.insert("@score", 1);
  map.insert("caf\xC3\x83", 2);
  for (const char* name : {"HOME\x7FID", "`score", "caf\xC3\xA3"}) EXPECT_EQ(map.find(name), -1);
  EXPECT_EQ(map.find("home_id"), 0);
}

TEST_F(ColumnNameMapTest, ResetForgetsNamesAndThePlaceReached) {
  fill(127);
  for (int i = 0; i < 64; ++i) ASSERT_EQ(map.find(names[static_cast<std::size_t>(i)]), i);
  // Rebuilt smaller, as after a schema change: the place reached before
  // lies past the end of the new columns.
  map.reset(2);
  EXPECT_EQ(map.find(names[64]), -1);
  map.insert("B", 0);
  map.insert("A", 1);
  EXPECT_EQ(map.find("A"), 1);
  EXPECT_EQ(map.find(names[0]), -1);
}

}  // namespace
}  // namespace kestrel
