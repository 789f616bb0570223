#include <KestrelDatabase/schema/NewEntityColumn.h>
#include <gtest/gtest.h>

#include "support/LogCapture.h"

namespace kestrel {
namespace {

using C = NewEntityColumn;

TEST(NewEntityColumnTest, OnlyPrimaryKeysStartUniqueAndOnlyReferencesMakeForeignKeys) {
  auto pk = C::initColumn({}, "ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger, true);
  auto data = C::initColumn({}, "NAME", C::kDataTypeText);
  auto unreferenced = C::initColumn({}, "EVENT_ID", C::kColumnTypeForeignKey, 0, false);
  auto fk = C::initColumn({}, "EVENT_ID", C::kColumnTypeForeignKey, C::kDataTypeInteger,
                          "EventTable_", "ID", "ON DELETE CASCADE");

  EXPECT_TRUE(pk->isUnique());
  EXPECT_TRUE(pk->isAutoIncrement());
  EXPECT_EQ(data->columnType(), C::kColumnTypeData) << "the short form makes a data column";
  EXPECT_FALSE(data->isUnique() || data->isAutoIncrement());
  EXPECT_FALSE(unreferenced->isUnique() || unreferenced->isForeignKeyColumn());

  EXPECT_TRUE(fk->isForeignKeyColumn());
}

TEST(NewEntityColumnTest, TypeWordsAndOneWarningPerUnknownCode) {
  testing::LogCapture log;
  EXPECT_EQ(C::initColumn({}, "A", 0)->stringColumnDataType(), "INTEGER");
  EXPECT_EQ(C::initColumn({}, "B", 1)->stringColumnDataType(), "TEXT");
  EXPECT_EQ(C::initColumn({}, "C", 2)->stringColumnDataType(), "INTEGER");
  EXPECT_EQ(C::initColumn({}, "A", 0, 0)->stringColumnType(), "PK");
  EXPECT_EQ(C::initColumn({}, "B", 1, 0)->stringColumnType(), "FK");
  EXPECT_EQ(C::initColumn({}, "C", 2, 0)->stringColumnType(), "DATA");
  EXPECT_TRUE(log.lines().empty());

  EXPECT_EQ(C::initColumn({}, "D", 3)->stringColumnDataType(), "TEXT");
  EXPECT_EQ(C::initColumn({}, "E", 3, 0)->stringColumnType(), "DATA");
  EXPECT_EQ(log.lines(), (std::vector<std::string>{"DB WARNING: no column datatype is set",
                                                   "DB WARNING: no column type is set."}));
}

}  // namespace
}  // namespace kestrel
