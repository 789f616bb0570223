#include <KestrelDatabase/tables/DBTableChatReport.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableChatReport::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(kTimestamp, kInteger);
  table->addColumn(kEventId, kInteger);
  table->addColumn(kChoice, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
