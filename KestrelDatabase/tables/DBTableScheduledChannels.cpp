#include <KestrelDatabase/tables/DBTableScheduledChannels.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include <string>

namespace kestrel {

using namespace column_codes;
using model::TVScheduleChannelCountry;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTableScheduledChannels;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kKey, kPrimaryKey, kText, /*autoIncrement=*/false);
  table->addColumn(T::kChannelId, kInteger);
  table->addColumn(T::kCountryCode, kText);
  table->addColumn(T::kChannelName, kText);
  return table;
}

}  // namespace

std::string DBTableScheduledChannels::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableScheduledChannels::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// ---- Row operations ---------------------------------------------------------

void DBTableScheduledChannels::saveTvChannelCountry(
    const std::optional<TVScheduleChannelCountry>& channelCountry,
    const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion) {
  if (!channelCountry) return;
  insertOrReplaceRow(tableColumns(),
                     ColumnValueMap{{kKey, keyOf(*channelCountry)},
                                    {kChannelId, channelCountry->channelId},
                                    {kChannelName, channelCountry->channelName},
                                    {kCountryCode, channelCountry->countryCode}},
                     queue, completion);
}

void DBTableScheduledChannels::getTvChannelCountryList(
    const std::shared_ptr<FMDatabaseQueue>& queue, const ChannelCountryListCompletion& completion) {
  readRows(NewSQLBuilder::selectAllFromTable(kTableName, std::nullopt).value_or(""), queue,
           &mapFromResultSet, completion);
}

void DBTableScheduledChannels::deleteChannelsWithCountryCode(
    const std::string& countryCode, const std::shared_ptr<FMDatabaseQueue>& queue,
    const BoolCompletion& completion) {
  if (!queue) return;
  runChecked(deleteChannelsWithCountryCodeStatement(countryCode), queue, completion);
}

void DBTableScheduledChannels::deleteChannelWithId(std::int64_t channelID,
                                                   const std::string& countryCode,
                                                   const std::shared_ptr<FMDatabaseQueue>& queue,
                                                   const BoolCompletion& completion) {
  if (!queue) return;
  runChecked(deleteChannelWithIdStatement(channelID, countryCode), queue, completion);
}

TVScheduleChannelCountry DBTableScheduledChannels::mapFromResultSet(const FMResultSet& resultSet) {
  return TVScheduleChannelCountry(resultSet.longLongIntForColumn(kChannelId),
                                  resultSet.stringForColumn(kChannelName),
                                  resultSet.stringForColumn(kCountryCode).value_or(""));
}

// ---- Statement texts ------------------------------------------------------------

std::string DBTableScheduledChannels::keyOf(const TVScheduleChannelCountry& channelCountry) {
  return std::to_string(channelCountry.channelId) + ", " + channelCountry.countryCode;
}

// The single-quoted pieces write the quotes themselves: the texts read
// "DELETE FROM %@ WHERE %@ = '%@';" and "... WHERE %@='%@' AND %@='%@';".
std::optional<DBTableAbstract::CheckedStatement>
DBTableScheduledChannels::deleteChannelsWithCountryCodeStatement(const std::string& countryCode) {
  return checkedStatement(
      tableColumns(),
      SplicedStatement("DELETE FROM %@ WHERE %@ = %@;",
                       {SplicedStatement::name(kTableName), SplicedStatement::name(kCountryCode),
                        SplicedStatement::singleQuoted(kCountryCode, countryCode)}));
}

std::optional<DBTableAbstract::CheckedStatement>
DBTableScheduledChannels::deleteChannelWithIdStatement(std::int64_t channelID,
                                                       const std::string& countryCode) {
  return checkedStatement(
      tableColumns(),
      SplicedStatement("DELETE FROM %@ WHERE %@=%@ AND %@=%@;",
                       {SplicedStatement::name(kTableName), SplicedStatement::name(kChannelId),
                        SplicedStatement::singleQuoted(kChannelId, channelID),
                        SplicedStatement::name(kCountryCode),
                        SplicedStatement::singleQuoted(kCountryCode, countryCode)}));
}

}  // namespace kestrel
