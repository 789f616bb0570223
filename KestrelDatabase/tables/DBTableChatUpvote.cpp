#include <KestrelDatabase/tables/DBTableChatUpvote.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableChatUpvote::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/true);
  table->addColumn(kTimestamp, kInteger);
  table->addColumn(kEventId, kInteger);
  table->addColumn(kUpvoted, kInteger);
  table->addColumn(kLastSeen, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
