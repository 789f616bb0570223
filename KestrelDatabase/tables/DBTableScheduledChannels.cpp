#include <KestrelDatabase/tables/DBTableScheduledChannels.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

namespace {

constexpr int kPrimaryKey = NewEntityColumn::kColumnTypePrimaryKey;
constexpr int kInteger = NewEntityColumn::kDataTypeInteger;
constexpr int kText = NewEntityColumn::kDataTypeText;

}  // namespace

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableScheduledChannels::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kKey, kPrimaryKey, kText, /*autoIncrement=*/false);
  table->addColumn(kChannelId, kInteger);
  table->addColumn(kCountryCode, kText);
  table->addColumn(kChannelName, kText);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
