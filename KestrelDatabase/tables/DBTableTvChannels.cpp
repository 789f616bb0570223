#include <KestrelDatabase/tables/DBTableTvChannels.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;
using model::TVChannelSuggestion;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTableTvChannels;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kId, kPrimaryKey, kInteger, /*autoIncrement=*/true);
  table->addColumn(T::kChannelId, kInteger);
  table->addColumn(T::kEventId, kInteger);
  table->addColumn(T::kEventTimestamp, kInteger);
  table->addColumn(T::kApprove, kInteger);
  return table;
}

}  // namespace

std::string DBTableTvChannels::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableTvChannels::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// ---- Row operations ---------------------------------------------------------

void DBTableTvChannels::saveTvChannelSuggestion(
    const std::optional<TVChannelSuggestion>& suggestion,
    const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion) {
  if (!suggestion || !allPresent(suggestion->eventId, suggestion->channelId)) return;
  insertOrReplaceRow(tableColumns(),
                     ColumnValueMap{{kChannelId, *suggestion->channelId},
                                    {kEventId, *suggestion->eventId},
                                    {kEventTimestamp, suggestion->startTimestamp},
                                    {kApprove, suggestion->approve}},
                     queue, completion);
}

void DBTableTvChannels::deleteTvChannelTvChannelSuggestions(
    const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion) {
  if (!queue) return;
  deleteRows(deleteTvChannelTvChannelSuggestionsStatement(platform::Clock::now()), queue,
             completion);
}

void DBTableTvChannels::getTvChannelTvChannelSuggestions(
    const std::shared_ptr<FMDatabaseQueue>& queue, const SuggestionSetCompletion& completion) {
  readRows(NewSQLBuilder::selectAllFromTable(kTableName, std::nullopt).value_or(""), queue,
           &mapCategoryFromResultSet, completion);
}

TVChannelSuggestion DBTableTvChannels::mapCategoryFromResultSet(const FMResultSet& resultSet) {
  TVChannelSuggestion suggestion;
  suggestion.channelId = resultSet.getIntegerForColumnName(kChannelId);
  suggestion.eventId = resultSet.getIntegerForColumnName(kEventId);
  suggestion.startTimestamp = resultSet.getIntegerForColumnName(kEventTimestamp);
  suggestion.approve = resultSet.boolForColumn(kApprove);
  return suggestion;
}

// ---- Statement texts ------------------------------------------------------------

std::string DBTableTvChannels::deleteTvChannelTvChannelSuggestionsStatement(double now) {
  return platform::formatString("DELETE FROM %s WHERE (%f - %s) > %d;", kTableName, now,
                                kEventTimestamp, kRetentionSeconds);
}

}  // namespace kestrel
