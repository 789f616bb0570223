#include <KestrelDatabase/tables/DBTableStage.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableStage::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  table->addColumn(kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(kName, kText);
  table->addColumn(kStatusType, kInteger);
  table->addColumn(kStartTimestamp, kInteger);
  table->addColumn(kType, kInteger);
  table->addColumn(kHasCompetitors, kInteger);
  table->addColumn(kHasTeams, kInteger);
  table->addColumn(kFlag, kText);
  table->addColumn(kWinnerId, kInteger);
  table->addColumn(kWinnerName, kText);
  table->addColumn(kLastUpdate, kInteger);
  table->addColumn(kStageId, kInteger);
  table->addColumn(kStageName, kText);
  table->addColumn(kStageStartTimestamp, kInteger);
  table->addColumn(kStageHasCompetitor, kInteger);
  table->addColumn(kStageHasTeams, kInteger);
  table->addColumn(kStageFlag, kText);
  table->addColumn(kSeasonId, kInteger);
  table->addColumn(kSeasonName, kText);
  table->addColumn(kSeasonYear, kText);
  table->addColumn(kUniqueId, kInteger);
  table->addColumn(kUniqueName, kText);
  table->addColumn(kUniquePrimary, kText);
  table->addColumn(kUniqueSecondary, kText);
  table->addColumn(kCategoryName, kText);
  table->addColumn(kCategoryFlag, kText);
  table->addColumn(kCategoryId, kInteger);
  table->addColumn(kSportSlug, kText);
  table->addColumn(kIsMuted, kInteger);
  table->addColumn(kIsHidden, kInteger);
  return NewSQLBuilder::createTableIfNotExist(*table);
}

std::vector<std::string> DBTableStage::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", kTableName, kIsMuted),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", kTableName, kCategoryId),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", kTableName, kIsHidden),
  };
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
