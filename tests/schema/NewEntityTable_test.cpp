#include <KestrelDatabase/schema/NewEntityTable.h>
#include <gtest/gtest.h>

#include "support/LogCapture.h"

namespace kestrel {
namespace {

using C = NewEntityColumn;

std::vector<std::string> names(const NewEntityTable::Columns& columns) {
  std::vector<std::string> out;
  for (const auto& column : columns) out.push_back(column->columnName());
  return out;
}

TEST(NewEntityTableTest, InitFormsStartEmpty) {
  auto unnamed = NewEntityTable::init();
  EXPECT_FALSE(unnamed->tableName().has_value());
  EXPECT_TRUE(unnamed->columns().empty());
  EXPECT_EQ(unnamed->getPrimaryKey(), nullptr);
  EXPECT_FALSE(unnamed->getForeignKeys().has_value());

  EXPECT_EQ(NewEntityTable::initWithTable("EventTable_")->tableName(), "EventTable_");
}

TEST(NewEntityTableTest, AddColumnFormsKeepOrderIndexAndParent) {
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger, true);
  table->addColumn("CHANNEL_ID", C::kDataTypeInteger);
  table->addColumn("NAME", C::kDataTypeText, true);
  table->addColumn("COUNT", C::kColumnTypeData, C::kDataTypeIntegerAlt);
  table->addColumn("EVENT_ID", C::kDataTypeInteger, "EventTable_", "ID");

  ASSERT_EQ(names(table->columns()),
            (std::vector<std::string>{"ID", "CHANNEL_ID", "NAME", "COUNT", "EVENT_ID"}));
  for (size_t i = 0; i < table->columns().size(); ++i) {
    const auto& column = table->columns()[i];
    EXPECT_EQ(column->columnIndex(), static_cast<int>(i));
    EXPECT_EQ(column->parentTable(), table);
  }
  const auto& columns = table->columns();
  EXPECT_EQ(table->getPrimaryKey(), columns[0]);
  EXPECT_TRUE(columns[0]->isAutoIncrement());
  EXPECT_FALSE(columns[1]->isUnique());
  EXPECT_TRUE(columns[2]->isUnique()) << "the unique form sets the flag on a data column";
  EXPECT_EQ(columns[2]->columnType(), C::kColumnTypeData);
  EXPECT_EQ(columns[4]->columnType(), C::kColumnTypeForeignKey);
  EXPECT_TRUE(columns[4]->isForeignKeyColumn());
}

TEST(NewEntityTableTest, SecondPrimaryKeyIsRefusedAndFirstStays) {
  testing::LogCapture log;
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  table->addColumn("NAME", C::kDataTypeText);
  auto second = C::initColumn(table, "OTHER_ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  table->insertColumn(second);

  EXPECT_EQ(log.lines(), std::vector<std::string>{"DB WARNING: PK already exists"});
  EXPECT_EQ(names(table->columns()), (std::vector<std::string>{"ID", "NAME"}));
  EXPECT_EQ(table->getPrimaryKey()->columnName(), "ID");
  EXPECT_EQ(second->columnIndex(), 2) << "the index is set before the check";
}

TEST(NewEntityTableTest, ForeignKeyColumnIsInColumnsAndForeignKeysInOrder) {
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  EXPECT_FALSE(table->getForeignKeys().has_value()) << "absent until a foreign key is added";

  table->addColumn("EVENT_ID", C::kDataTypeInteger, "EventTable_", "ID");
  table->addColumn("NAME", C::kDataTypeText);
  table->addColumn("TEAM_ID", C::kDataTypeInteger, "MyTeamTable", "ID", "ON DELETE CASCADE");

  EXPECT_EQ(names(table->columns()),
            (std::vector<std::string>{"ID", "EVENT_ID", "NAME", "TEAM_ID"}));
  ASSERT_TRUE(table->getForeignKeys().has_value());
  EXPECT_EQ(names(*table->getForeignKeys()), (std::vector<std::string>{"EVENT_ID", "TEAM_ID"}));
  EXPECT_EQ(table->getForeignKeys()->at(1)->referencedOptions(), "ON DELETE CASCADE");
}

TEST(NewEntityTableTest, UnknownColumnTypeIsRefusedWithIndexSet) {
  testing::LogCapture log;
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  auto odd = C::initColumn(table, "ODD", 3, C::kDataTypeInteger);
  table->insertColumn(odd);

  EXPECT_EQ(log.lines(),
            std::vector<std::string>{"DB WARNING: cannot insert column with unknown column type"});
  EXPECT_EQ(table->columns().size(), 1u);
  EXPECT_EQ(odd->columnIndex(), 1);
  EXPECT_FALSE(table->getForeignKeys().has_value());
}

TEST(NewEntityTableTest, SetColumnsReplacesTheListOnly) {
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  table->addColumn("NAME", C::kDataTypeText);
  table->setColumns({table->columns()[1]});
  EXPECT_EQ(names(table->columns()), std::vector<std::string>{"NAME"});
  EXPECT_EQ(table->getPrimaryKey()->columnName(), "ID");
}

}  // namespace
}  // namespace kestrel
