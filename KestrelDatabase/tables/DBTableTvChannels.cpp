#include <KestrelDatabase/tables/DBTableTvChannels.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableTvChannels::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/true);
  table->addColumn(kChannelId, kInteger);
  table->addColumn(kEventId, kInteger);
  table->addColumn(kEventTimestamp, kInteger);
  table->addColumn(kApprove, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
