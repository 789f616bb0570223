#include <KestrelDatabase/tables/DBTableChatUpvote.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

namespace {

constexpr int kPrimaryKey = NewEntityColumn::kColumnTypePrimaryKey;
constexpr int kInteger = NewEntityColumn::kDataTypeInteger;

}  // namespace

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
