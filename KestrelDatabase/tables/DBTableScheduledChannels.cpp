#include <KestrelDatabase/tables/DBTableScheduledChannels.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

using namespace column_codes;

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
