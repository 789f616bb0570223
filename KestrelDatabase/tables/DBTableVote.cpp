#include <KestrelDatabase/tables/DBTableVote.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableVote::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(kVote, kInteger);
  table->addColumn(kEventTimestamp, kInteger);
  table->addColumn(kPostFlag, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
