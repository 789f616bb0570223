#include <KestrelDatabase/tables/DBTablePlayer.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTablePlayer::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(kPlayerName, kText);
  table->addColumn(kPlayerFieldTranslations, kText);
  table->addColumn(kPlayerTeamId, kInteger);
  table->addColumn(kPlayerTeamNameId, kText);
  table->addColumn(kSportSlug, kText);
  table->addColumn(kUserCount, kIntegerAlt);
  table->addColumn(kNotificationsEnabled, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

std::vector<std::string> DBTablePlayer::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER DEFAULT 1;", kTableName,
                             kNotificationsEnabled),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", kTableName,
                             kPlayerFieldTranslations),
  };
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
