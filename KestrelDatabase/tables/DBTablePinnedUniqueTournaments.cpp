#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTablePinnedUniqueTournaments::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/true);
  table->addColumn(kName, kText);
  table->addColumn(kCategoryId, kInteger);
  table->addColumn(kCategoryName, kText);
  table->addColumn(kCategoryFlag, kText);
  table->addColumn(kCategoryPriority, kInteger);
  table->addColumn(kSportId, kInteger);
  table->addColumn(kSportSlug, kText);
  table->addColumn(kCreatedAtTimestamp, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

std::vector<std::string> DBTablePinnedUniqueTournaments::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 0;", kTableName,
                             kCreatedAtTimestamp),
  };
}

std::vector<std::string> DBTablePinnedUniqueTournaments::createIndexes() {
  return {
      platform::formatString("CREATE INDEX IF NOT EXISTS %s ON %s (%s)", "unique_tournaments_index",
                             kTableName, kId),
  };
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
