#include <KestrelDatabase/tables/DBTableChatReport.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTableChatReport;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(T::kTimestamp, kInteger);
  table->addColumn(T::kEventId, kInteger);
  table->addColumn(T::kChoice, kInteger);
  return table;
}

}  // namespace

std::string DBTableChatReport::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableChatReport::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// ---- Row operations ---------------------------------------------------------

void DBTableChatReport::saveReportedMessage(std::optional<std::int64_t> messageID,
                                            std::optional<std::int64_t> eventID,
                                            std::optional<std::int64_t> choice,
                                            const std::shared_ptr<FMDatabaseQueue>& queue,
                                            const BoolCompletion& completion) {
  if (!allPresent(messageID, eventID, choice)) return;
  insertOrReplaceRow(tableColumns(),
                     ColumnValueMap{{kId, *messageID},
                                    {kTimestamp, platform::Clock::now()},
                                    {kEventId, *eventID},
                                    {kChoice, *choice}},
                     queue, completion);
}

void DBTableChatReport::deleteReportedMessages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                               const BoolCompletion& completion) {
  if (!queue) return;
  deleteRows(deleteReportedMessagesStatement(platform::Clock::now()), queue, completion);
}

void DBTableChatReport::getReportedMessageIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                              const IDSetCompletion& completion) {
  readIDs(NewSQLBuilder::selectColumnsFromTable(kTableName, {kId}, std::nullopt).value_or(""), kId,
          queue, completion);
}

// ---- Statement texts ------------------------------------------------------------

std::string DBTableChatReport::deleteReportedMessagesStatement(double now) {
  return platform::formatString("DELETE FROM %s WHERE (%f - %s) > %d;", kTableName, now, kTimestamp,
                                kRetentionSeconds);
}

}  // namespace kestrel
