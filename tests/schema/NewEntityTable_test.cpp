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

TEST(NewEntityTableTest, AddColumnFormsKeepOrderIndexParentAndKeys) {
  EXPECT_FALSE(NewEntityTable::init()->tableName().has_value());
  auto table = NewEntityTable::initWithTable("T");
  EXPECT_EQ(table->getPrimaryKey(), nullptr);
  table->addColumn("NAME", C::kDataTypeText, true);
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger, true);
  EXPECT_FALSE(table->getForeignKeys().has_value()) << "absent until a foreign key is added";
  table->addColumn("EVENT_ID", C::kDataTypeInteger, "EventTable_", "ID");
  table->addColumn("COUNT", C::kColumnTypeData, C::kDataTypeIntegerAlt);
  table->addColumn("TEAM_ID", C::kDataTypeInteger, "MyTeamTable", "ID", "ON DELETE CASCADE");

  // A foreign-key column is in both lists: the builder writes its definition and its clause.
  const auto& columns = table->columns();
  ASSERT_EQ(names(columns),
            (std::vector<std::string>{"NAME", "ID", "EVENT_ID", "COUNT", "TEAM_ID"}));
  ASSERT_TRUE(table->getForeignKeys().has_value());
  EXPECT_EQ(names(*table->getForeignKeys()), (std::vector<std::string>{"EVENT_ID", "TEAM_ID"}));
  for (size_t i = 0; i < columns.size(); ++i) {
    EXPECT_EQ(columns[i]->columnIndex(), static_cast<int>(i));
    EXPECT_EQ(columns[i]->parentTable(), table);
  }
  EXPECT_EQ(table->getPrimaryKey(), columns[1]);
  EXPECT_TRUE(columns[1]->isAutoIncrement());
  EXPECT_TRUE(columns[0]->isUnique()) << "the unique form sets the flag on a data column";
  EXPECT_EQ(columns[0]->columnType(), C::kColumnTypeData);
  EXPECT_FALSE(columns[3]->isUnique());
  EXPECT_EQ(columns[4]->columnType(), C::kColumnTypeForeignKey);
  EXPECT_EQ(columns[4]->referencedOptions(), "ON DELETE CASCADE");

  const std::shared_ptr<NewEntityColumn> column = columns[0];
  table.reset();
  EXPECT_EQ(column->parentTable(), nullptr) << "a column must not keep its table alive";
}

TEST(NewEntityTableTest, SecondPrimaryKeyAndUnknownColumnTypeAreRefusedWithTheirIndexSet) {
  testing::LogCapture log;
  auto table = NewEntityTable::initWithTable("T");
  table->addColumn("ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  table->addColumn("NAME", C::kDataTypeText);
  auto second = C::initColumn(table, "OTHER_ID", C::kColumnTypePrimaryKey, C::kDataTypeInteger);
  table->insertColumn(second);
  auto odd = C::initColumn(table, "ODD", 3, C::kDataTypeInteger);
  table->insertColumn(odd);

  EXPECT_EQ(log.lines(), (std::vector<std::string>{
                             "DB WARNING: PK already exists",
                             "DB WARNING: cannot insert column with unknown column type"}));
  EXPECT_EQ(names(table->columns()), (std::vector<std::string>{"ID", "NAME"}));
  EXPECT_EQ(table->getPrimaryKey()->columnName(), "ID");
  EXPECT_EQ(second->columnIndex(), 2) << "the index is set before the check";
  EXPECT_EQ(odd->columnIndex(), 2);
  EXPECT_FALSE(table->getForeignKeys().has_value());
}

}  // namespace
}  // namespace kestrel
