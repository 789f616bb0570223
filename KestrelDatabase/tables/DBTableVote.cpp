#include <KestrelDatabase/tables/DBTableVote.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

#include <utility>

namespace kestrel {

using namespace column_codes;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  auto table = NewEntityTable::initWithTable(DBTableVote::kTableName);
  table->addColumn(DBTableVote::kId, kPrimaryKey, kInteger, /*autoIncrement=*/false);
  table->addColumn(DBTableVote::kVote, kInteger);
  table->addColumn(DBTableVote::kEventTimestamp, kInteger);
  table->addColumn(DBTableVote::kPostFlag, kInteger);
  return table;
}

// One row of a vote read: the event ID and its vote (NULL: absent).
std::pair<std::int64_t, std::optional<std::int64_t>> voteOfRow(const FMResultSet& row) {
  return {row.getIntegerForColumnName(DBTableVote::kId).value_or(0),
          row.getIntegerForColumnName(DBTableVote::kVote)};
}

}  // namespace

std::string DBTableVote::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableVote::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

// ---- Writes -------------------------------------------------------------------

void DBTableVote::saveVote(std::optional<std::int64_t> vote, std::optional<std::int64_t> eventId,
                           std::optional<std::int64_t> timestamp,
                           const std::shared_ptr<FMDatabaseQueue>& queue,
                           const BoolCompletion& completion) {
  if (!allPresent(vote, eventId)) return;
  insertOrReplaceRow(
      tableColumns(),
      ColumnValueMap{{kId, *eventId}, {kVote, *vote}, {kEventTimestamp, timestamp}, {kPostFlag, 0}},
      queue, completion);
}

void DBTableVote::setVoteFlagForEventId(std::int64_t eventId,
                                        const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const BoolCompletion& completion) {
  updateRows(
      tableColumns(),
      SplicedStatement("UPDATE %@ SET %@ = 1 WHERE %@ = %@",
                       {SplicedStatement::name(kTableName), SplicedStatement::name(kPostFlag),
                        SplicedStatement::name(kId), SplicedStatement::number(kId, eventId)}),
      queue, completion);
}

void DBTableVote::deleteVotes(const std::shared_ptr<FMDatabaseQueue>& queue,
                              const BoolCompletion& completion) {
  if (!queue) return;
  deleteRows(deleteVotesStatement(platform::Clock::now()), queue, completion);
}

// ---- Reads --------------------------------------------------------------------

void DBTableVote::getVotes(const std::shared_ptr<FMDatabaseQueue>& queue,
                           const VoteMapCompletion& completion) {
  readRows(NewSQLBuilder::selectAllFromTable(kTableName, std::nullopt).value_or(""), queue,
           &voteOfRow, completion);
}

void DBTableVote::getUnsuccessfulVotes(const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const VoteMapCompletion& completion) {
  if (!queue || !completion) return;
  readRows(unsuccessfulVotesQuery(platform::Clock::now()), queue, &voteOfRow, completion);
}

// ---- Statement texts ------------------------------------------------------------

std::string DBTableVote::unsuccessfulVotesQuery(double now) {
  return platform::formatString("SELECT * FROM %s WHERE %s = 0 AND %s > %f", kTableName, kPostFlag,
                                kEventTimestamp, now);
}

std::string DBTableVote::deleteVotesStatement(double now) {
  return platform::formatString("DELETE FROM %s WHERE (%f - %s) > %d;", kTableName, now,
                                kEventTimestamp, kRetentionSeconds);
}

}  // namespace kestrel
