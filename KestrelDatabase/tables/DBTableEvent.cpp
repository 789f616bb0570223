#include <KestrelDatabase/tables/DBTableEvent.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

namespace {

std::string integerColumn(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", DBTableEvent::kTableName,
                                column);
}

// One statement of the upgrade list has always been written without its
// closing semicolon; SQLite accepts it either way.
std::string integerColumnWithoutSemicolon(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER", DBTableEvent::kTableName,
                                column);
}

std::string smallintColumn(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s SMALLINT;", DBTableEvent::kTableName,
                                column);
}

std::string textColumn(const char* column) {
  return platform::formatString("ALTER TABLE %s ADD COLUMN %s TEXT;", DBTableEvent::kTableName,
                                column);
}

std::string index(const char* name, const char* column) {
  return platform::formatString("CREATE INDEX IF NOT EXISTS %s ON %s (%s)", name,
                                DBTableEvent::kTableName, column);
}

}  // namespace

// ---- Schema hooks -----------------------------------------------------------

std::string DBTableEvent::createTableQuery() {
  auto table = NewEntityTable::initWithTable(kTableName);
  // The event's server ID is the key, never a generated row id.
  table->addColumn(kColumns[0].name, NewEntityColumn::kColumnTypePrimaryKey, kColumns[0].dataType,
                   /*autoIncrement=*/false);
  for (std::size_t i = 1; i < kColumns.size(); ++i) {
    table->addColumn(kColumns[i].name, kColumns[i].dataType);
  }
  return NewSQLBuilder::createTableIfNotExist(*table);
}

// Run on every start; on an up-to-date table each statement fails and changes
// nothing. AM_FOOTBALL_CURRENT_TEAM_HALF has never been in this list, so a
// database older than the American-football columns does not gain it.
std::vector<std::string> DBTableEvent::updateTableQueries() {
  return {
      smallintColumn(kTournamentDisplayInverseHomeAwayTeams),
      textColumn(kTournamentGroundType),
      integerColumnWithoutSemicolon(kTournamentTennisPoints),
      integerColumn(kFinalRound),
      textColumn(kHomeTeamShortName),
      textColumn(kAwayTeamShortName),
      textColumn(kHomeTeamFlag),
      textColumn(kAwayTeamFlag),
      textColumn(kHomeTeamNameCode),
      textColumn(kAwayTeamNameCode),
      integerColumn(kAmFootballYardsToFirstDown),
      integerColumn(kAmFootballCurrentDown),
      integerColumn(kAmFootballCurrentYardline),
      integerColumn(kAmFootballIsGoalPossession),
      integerColumn(kAmFootballCurrentPossession),
      integerColumn(kAwayPenalties),
      integerColumn(kAwayPeriod1),
      integerColumn(kAwayPeriod2),
      integerColumn(kAwayPeriod3),
      integerColumn(kAwayPeriod4),
      integerColumn(kAwayPeriod5),
      integerColumn(kAwayPeriod6),
      integerColumn(kAwayPeriod7),
      integerColumn(kHomePenalties),
      integerColumn(kHomePeriod1),
      integerColumn(kHomePeriod2),
      integerColumn(kHomePeriod3),
      integerColumn(kHomePeriod4),
      integerColumn(kHomePeriod5),
      integerColumn(kHomePeriod6),
      integerColumn(kHomePeriod7),
      integerColumn(kCrowdsourcingEnabled),
      integerColumn(kCrowdsourcingDataDisplayEnabled),
      integerColumn(kStreamContentId),
      textColumn(kStreamContentGeoRestrictions),
      integerColumn(kBestOfSets),
      textColumn(kHomeTeamFieldTranslations),
      textColumn(kAwayTeamFieldTranslations),
      textColumn(kHomeSubteam1ColFieldTranslations),
      textColumn(kHomeSubteam2ColFieldTranslations),
      textColumn(kAwaySubteam1ColFieldTranslations),
      textColumn(kAwaySubteam2ColFieldTranslations),
      textColumn(kTournamentFieldTranslations),
      textColumn(kTournamentUniqueFieldTranslations),
      textColumn(kCategoryFieldTranslations),
      integerColumn(kVarInProgressHome),
      integerColumn(kVarInProgressAway),
  };
}

std::vector<std::string> DBTableEvent::createIndexes() {
  return {
      index(kHomeTeamIndex, kHomeTeamId),
      index(kAwayTeamIndex, kAwayTeamId),
  };
}

// ---- Row operations ---------------------------------------------------------

}  // namespace kestrel
