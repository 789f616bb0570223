#include <KestrelDatabase/schema/NewEntityColumn.h>
#include <KestrelDatabase/schema/NewEntityTable.h>
#include <gtest/gtest.h>

#include "support/LogCapture.h"

namespace kestrel {
namespace {

using C = NewEntityColumn;

TEST(NewEntityColumnTest, BaseInitialiserMakesOnlyPrimaryKeysUnique) {
  auto pk = C::initColumn({}, "ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger, true);
  auto fk = C::initColumn({}, "EVENT_ID", C::kColumnTypeForeignKey, C::kDataTypeInteger, false);
  auto data = C::initColumn({}, "NAME", C::kColumnTypeData, C::kDataTypeText, false);

  EXPECT_TRUE(pk->isUnique());
  EXPECT_TRUE(pk->isAutoIncrement());
  EXPECT_FALSE(fk->isUnique());
  EXPECT_FALSE(data->isUnique());
  EXPECT_FALSE(fk->isForeignKeyColumn()) << "only the referencing forms mark a foreign key";

  data->setIsUnique(true);
  EXPECT_TRUE(data->isUnique());
}

TEST(NewEntityColumnTest, ShortFormsDefaultToDataColumnWithoutAutoIncrement) {
  auto data = C::initColumn({}, "NAME", C::kDataTypeText);
  EXPECT_EQ(data->columnType(), C::kColumnTypeData);
  EXPECT_EQ(data->columnDataType(), C::kDataTypeText);
  EXPECT_FALSE(data->isAutoIncrement());
  EXPECT_EQ(data->columnName(), "NAME");

  auto pk = C::initColumn({}, "ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  EXPECT_FALSE(pk->isAutoIncrement());
  EXPECT_TRUE(pk->isUnique());
}

TEST(NewEntityColumnTest, ReferencingFormsStoreTargetAndMarkForeignKey) {
  auto withOptions = C::initColumn({}, "EVENT_ID", C::kColumnTypeForeignKey, C::kDataTypeInteger,
                                   "EventTable_", "ID", "ON DELETE CASCADE");
  EXPECT_TRUE(withOptions->isForeignKeyColumn());
  EXPECT_FALSE(withOptions->isAutoIncrement());
  EXPECT_EQ(withOptions->referencedTable(), "EventTable_");
  EXPECT_EQ(withOptions->referencedColumn(), "ID");
  EXPECT_EQ(withOptions->referencedOptions(), "ON DELETE CASCADE");

  auto withoutOptions = C::initColumn({}, "EVENT_ID", C::kColumnTypeForeignKey, C::kDataTypeInteger,
                                      "EventTable_", "ID");
  EXPECT_TRUE(withoutOptions->isForeignKeyColumn());
  EXPECT_FALSE(withoutOptions->referencedOptions().has_value());
}

TEST(NewEntityColumnTest, DataTypeWordsAndUnknownCodeWarning) {
  testing::LogCapture log;
  EXPECT_EQ(C::initColumn({}, "A", 0)->stringColumnDataType(), "INTEGER");
  EXPECT_EQ(C::initColumn({}, "B", 1)->stringColumnDataType(), "TEXT");
  EXPECT_EQ(C::initColumn({}, "C", 2)->stringColumnDataType(), "INTEGER");
  EXPECT_TRUE(log.lines().empty());

  EXPECT_EQ(C::initColumn({}, "D", 3)->stringColumnDataType(), "TEXT");
  EXPECT_EQ(C::initColumn({}, "E", -1)->stringColumnDataType(), "TEXT");
  EXPECT_EQ(log.count("DB WARNING: no column datatype is set"), 2u);
}

TEST(NewEntityColumnTest, ColumnTypeWordsAndUnknownCodeWarning) {
  testing::LogCapture log;
  EXPECT_EQ(C::initColumn({}, "A", 0, 0)->stringColumnType(), "PK");
  EXPECT_EQ(C::initColumn({}, "B", 1, 0)->stringColumnType(), "FK");
  EXPECT_EQ(C::initColumn({}, "C", 2, 0)->stringColumnType(), "DATA");
  EXPECT_TRUE(log.lines().empty());

  EXPECT_EQ(C::initColumn({}, "D", 3, 0)->stringColumnType(), "DATA");
  EXPECT_EQ(log.lines(), std::vector<std::string>{"DB WARNING: no column type is set."});
}

TEST(NewEntityColumnTest, IsEqualComparesNamesOnly) {
  auto a = C::initColumn({}, "ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  auto sameName = C::initColumn({}, "ID", C::kColumnTypeData, C::kDataTypeText);
  auto otherName = C::initColumn({}, "NAME", C::kColumnTypePrimaryKey, C::kDataTypeInteger);

  EXPECT_TRUE(a->isEqual(sameName));
  EXPECT_TRUE(a->isEqual(a));
  EXPECT_FALSE(a->isEqual(otherName));
  EXPECT_FALSE(a->isEqual(nullptr));
}

TEST(NewEntityColumnTest, ParentTableIsHeldWeakly) {
  std::shared_ptr<NewEntityColumn> column;
  {
    auto table = NewEntityTable::initWithTable("T");
    table->addColumn("NAME", C::kDataTypeText);
    column = table->columns().front();
    EXPECT_EQ(column->parentTable(), table);
  }
  EXPECT_EQ(column->parentTable(), nullptr) << "the column must not keep its table alive";
}

}  // namespace
}  // namespace kestrel
