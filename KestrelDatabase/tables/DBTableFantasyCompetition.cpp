#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableFantasyCompetition::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
