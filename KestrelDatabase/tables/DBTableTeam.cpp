#include <KestrelDatabase/tables/DBTableTeam.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableTeam::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(kSortOrder, kInteger);
  table->addColumn(kTeamName, kText);
  table->addColumn(kTeamFieldTranslations, kText);
  table->addColumn(kSportId, kInteger);
  table->addColumn(kSportName, kText);
  table->addColumn(kSportSlug, kText);
  table->addColumn(kSportRows, kInteger);
  table->addColumn(kUserCount, kIntegerAlt);
  table->addColumn(kGender, kText);
  table->addColumn(kIsDisabled, kInteger);
  table->addColumn(kNotificationsEnabled, kInteger);
  table->addColumn(kType, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

std::vector<std::string> DBTableTeam::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 1;", kTableName,
                             kNotificationsEnabled),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 0;", kTableName, kType),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kTeamFieldTranslations),
  };
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
