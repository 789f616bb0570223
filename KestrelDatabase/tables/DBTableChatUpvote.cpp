#include <KestrelDatabase/tables/DBTableChatUpvote.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  using T = DBTableChatUpvote;
  auto table = NewEntityTable::initWithTable(T::kTableName);
  table->addColumn(T::kId, kPrimaryKey, kInteger, /*autoIncrement=*/true);
  table->addColumn(T::kTimestamp, kInteger);
  table->addColumn(T::kEventId, kInteger);
  table->addColumn(T::kUpvoted, kInteger);
  table->addColumn(T::kLastSeen, kInteger);
  return table;
}

}  // namespace

std::string DBTableChatUpvote::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableChatUpvote::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// ---- Row operations ---------------------------------------------------------

void DBTableChatUpvote::saveUpvotedMessage(std::optional<std::int64_t> messageID,
                                           std::optional<std::int64_t> eventID,
                                           std::optional<std::int64_t> upvote,
                                           const std::shared_ptr<FMDatabaseQueue>& queue,
                                           const BoolCompletion& completion) {
  if (!allPresent(messageID, eventID)) return;
  insertOrReplaceRow(tableColumns(),
                     ColumnValueMap{{kTimestamp, *messageID},
                                    {kEventId, *eventID},
                                    {kUpvoted, upvote},
                                    {kLastSeen, platform::Clock::now()}},
                     queue, completion);
}

void DBTableChatUpvote::deleteUpvotedMessages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                              const BoolCompletion& completion) {
  if (!queue) return;
  deleteRows(deleteUpvotedMessagesStatement(platform::Clock::now()), queue, completion);
}

void DBTableChatUpvote::getMessageIDsForEventID(std::int64_t eventID,
                                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                                const IDSetCompletion& completion) {
  readIDs(messageIDsForEventIDQuery(eventID), kTimestamp, queue, completion);
}

// ---- Statement texts ------------------------------------------------------------

std::string DBTableChatUpvote::messageIDsForEventIDQuery(std::int64_t eventID) {
  return NewSQLBuilder::selectColumnsFromTable(kTableName, {kTimestamp},
                                               ConditionList{kEventId, "=", eventID})
      .value_or("");
}

std::string DBTableChatUpvote::deleteUpvotedMessagesStatement(double now) {
  return platform::formatString("DELETE FROM %s WHERE (%f - %s) > %d;", kTableName, now, kLastSeen,
                                kRetentionSeconds);
}

}  // namespace kestrel
