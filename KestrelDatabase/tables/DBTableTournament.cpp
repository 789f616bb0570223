#include <KestrelDatabase/tables/DBTableTournament.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableTournament::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(kTournamentUniqueName, kText);
  table->addColumn(kTournamentId, kInteger);
  table->addColumn(kTournamentName, kText);
  table->addColumn(kTournamentFieldTranslations, kText);
  table->addColumn(kTournamentUniqueFieldTranslations, kText);
  table->addColumn(kSportSlug, kText);
  table->addColumn(kSportId, kInteger);
  table->addColumn(kSportName, kText);
  table->addColumn(kCategoryId, kInteger);
  table->addColumn(kCategoryName, kText);
  table->addColumn(kTournamentCategoryFieldTranslations, kText);
  table->addColumn(kCategoryFlag, kText);
  table->addColumn(kUserCount, kIntegerAlt);
  table->addColumn(kNotificationsEnabled, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

std::vector<std::string> DBTableTournament::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 1;", kTableName,
                             kNotificationsEnabled),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTournamentFieldTranslations),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTournamentUniqueFieldTranslations),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTournamentCategoryFieldTranslations),
  };
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
