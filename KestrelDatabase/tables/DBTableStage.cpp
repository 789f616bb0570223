#include <KestrelDatabase/tables/DBTableStage.h>

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/StatusTimeConditions.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

#include <utility>

namespace kestrel {

using model::Stage;

// ---- Schema hooks -----------------------------------------------------------

namespace {

std::shared_ptr<NewEntityTable> tableDescription() {
  auto table = NewEntityTable::initWithTable(DBTableStage::kTableName);
  const auto& columns = DBTableStage::kColumns;
  // The stage's server ID is the key, never a generated row id.
  table->addColumn(columns[0].name, NewEntityColumn::kColumnTypePrimaryKey, columns[0].dataType,
                   /*autoIncrement=*/false);
  for (std::size_t i = 1; i < columns.size(); ++i) {
    table->addColumn(columns[i].name, columns[i].dataType);
  }
  return table;
}

}  // namespace

std::string DBTableStage::createTableQuery() {
  return NewSQLBuilder::createTableIfNotExist(*tableDescription());
}

const TableColumns& DBTableStage::tableColumns() {
  static const TableColumns columns = TableColumns::of(*tableDescription());
  return columns;
}

std::vector<std::string> DBTableStage::updateTableQueries() {
  return {
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", kTableName, kIsMuted),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", kTableName, kCategoryId),
      platform::formatString("ALTER TABLE %s ADD COLUMN %s INTEGER;", kTableName, kIsHidden),
  };
}

// ---- Writes -------------------------------------------------------------------

namespace {

ConditionList whereID(std::int64_t stageID) {
  return ConditionList{DBTableStage::kId, "=", stageID};
}

}  // namespace

void DBTableStage::updateStage(const Stage& stage, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  if (!queue) return;
  updateRows(tableColumns(), mapAllPropertiesToColumns(stage), whereID(stage.ID), queue,
             completion);
}

void DBTableStage::insertEntityOwnedStage(const Stage& stage,
                                          const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const BoolCompletion& completion) {
  if (!queue) return;
  insertRow(tableColumns(), mapAllPropertiesToColumns(stage), queue, completion);
}

void DBTableStage::insertStage(const Stage& stage, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  if (!queue) return;
  insertOrReplaceRow(tableColumns(), mapAllPropertiesToColumns(stage), queue, completion);
}

void DBTableStage::insertMutedStage(const Stage& stage,
                                    const std::shared_ptr<FMDatabaseQueue>& queue,
                                    const BoolCompletion& completion) {
  if (!queue) return;
  ColumnValueMap columns = mapAllPropertiesToColumns(stage);
  columns.emplace_back(kIsMuted, true);
  insertOrReplaceRow(tableColumns(), columns, queue, completion);
}

void DBTableStage::muteStage(const Stage& stage, const std::shared_ptr<FMDatabaseQueue>& queue,
                             const BoolCompletion& completion) {
  updateRows(tableColumns(), ColumnValueMap{{kIsMuted, true}}, whereID(stage.ID), queue,
             completion);
}

void DBTableStage::unmuteStage(std::int64_t stageID, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  updateRows(tableColumns(), ColumnValueMap{{kIsMuted, false}}, whereID(stageID), queue,
             completion);
}

void DBTableStage::deleteStage(std::int64_t stageID, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion) {
  deleteRows(tableColumns(), whereID(stageID), queue, completion);
}

void DBTableStage::deleteStagesWithUniqueStageID(std::int64_t uniqueStageID,
                                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                                 const BoolCompletion& completion) {
  if (!queue) return;
  const std::string selection = stagesWithUniqueStageIDQuery(uniqueStageID);
  // The selection and its deletes in one transaction, so that the report
  // comes after they are on disk.
  runWrite(
      queue, [&](FMDatabase& db) { return deleteSelectedRows(db, selection, tableColumns(), kId); },
      completion);
}

// ---- Reads ----------------------------------------------------------------------

namespace {

// Maps each row of a result set, resolving the column layout once, after the
// first step.
class StageRowMapper {
 public:
  Stage operator()(const FMResultSet& row) {
    if (!layout_) layout_ = DBTableStage::rowLayoutForResultSet(row);
    return DBTableStage::mapStageFromResultSet(row, *layout_);
  }

 private:
  std::optional<DBTableStage::RowLayout> layout_;
};

}  // namespace

void DBTableStage::getStage(std::int64_t stageID, const std::shared_ptr<FMDatabaseQueue>& queue,
                            const StageCompletion& completion) {
  if (!queue || !completion) return;
  const auto sql = NewSQLBuilder::selectAllFromTable(kTableName, whereID(stageID));
  readInDatabase(queue, [&](FMDatabase* db) {
    std::optional<Stage> stage;
    const bool read = db != nullptr && sql && forEachRow(*db, *sql, [&](const FMResultSet& row) {
                        if (!stage && row.columnCount() > 0) stage = mapStageFromResultSet(row);
                      });
    if (db && db->hasOpenResultSets()) db->closeOpenResultSets();
    completion(read ? ReadResult<std::optional<Stage>>(std::move(stage)) : std::nullopt);
  });
}

void DBTableStage::getAllFavoriteStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const StageListCompletion& completion) {
  if (!queue || !completion) return;
  readRows(allFavoriteStagesQuery(platform::Clock::now()), queue, StageRowMapper{}, completion);
}

void DBTableStage::getMutedStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                  const StageSetCompletion& completion) {
  readRows(mutedStagesQuery(), queue, StageRowMapper{}, completion);
}

void DBTableStage::getFinishedStagesCount(const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const CountCompletion& completion) {
  if (!queue || !completion) return;
  readCount(finishedStagesCountQuery(platform::Clock::now()), queue, completion);
}

void DBTableStage::getStageIDsToRefresh(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const IDSetCompletion& completion) {
  if (!queue || !completion) return;
  readIDs(stageIDsToRefreshQuery(platform::Clock::now()), kId, queue, completion);
}

// ---- Retention --------------------------------------------------------------------

void DBTableStage::deleteFinishedStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const BoolCompletion& completion) {
  if (!queue) return;
  updateRows(hideFinishedStagesStatement(platform::Clock::now()), queue, completion);
}

void DBTableStage::deleteOldStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion) {
  if (!queue) return;
  deleteRows(oldStagesDeleteStatement(platform::Clock::now()), queue, completion);
}

// ---- Statement texts ----------------------------------------------------------------

namespace {

// Ages and horizons of the retention and favourite statements, in seconds.
constexpr int kSevenDays = 604800;
constexpr int kFiftySixDays = 4838400;

constexpr StatusTimeConditions::Columns kConditionColumns{
    DBTableStage::kStatusType, DBTableStage::kStartTimestamp, DBTableStage::kLastUpdate};

using RefreshClause = StatusTimeConditions::RefreshClause;
using W = RefreshClause::Window;
constexpr unsigned long kNotStarted = 3;
// The first half of the selection: not started, within an hour of the start.
constexpr RefreshClause kNearStartClauses[] = {
    {kNotStarted, W::BeforeStart, 900, 3600, 180},
    {kNotStarted, W::BeforeStart, 0, 900, 14},
    {kNotStarted, W::AfterStart, 0, 900, 14},
    {kNotStarted, W::AfterStart, 900, 3600, 180},
};
// The second half: the live states, then every stage whose data is over an
// hour old, whatever its status.
constexpr RefreshClause kLiveAndStaleClauses[] = {
    {2, W::None, 0, 0, 14},
    {9, W::None, 0, 0, 180},
    {8, W::None, 0, 0, 180},
    {6, W::None, 0, 0, 180},
    {RefreshClause::kAnyStatus, W::None, 0, 0, 3600},
};

}  // namespace

std::string DBTableStage::allFavoriteStagesQuery(double now) {
  return platform::formatString(
      "SELECT * FROM %s WHERE (%s = 0 OR %s IS NULL) AND (%s >= (%f - %d)) ORDER BY %s ASC",
      kTableName, kIsHidden, kIsHidden, kStartTimestamp, now, kSevenDays, kStartTimestamp);
}

std::string DBTableStage::mutedStagesQuery() {
  return platform::formatString("SELECT %s FROM %s WHERE %s = 1;", kId, kTableName, kIsMuted);
}

std::string DBTableStage::finishedStagesCountQuery(double now) {
  return platform::formatString("SELECT COUNT(*) FROM %s WHERE (%s = 0 OR %s IS NULL) AND (%s)",
                                kTableName, kIsHidden, kIsHidden,
                                StatusTimeConditions::finished(kConditionColumns, now).c_str());
}

std::string DBTableStage::stageIDsToRefreshQuery(double now) {
  const std::string first =
      platform::formatString("SELECT %s FROM %s WHERE %s >= (%f - %d) AND (", kId, kTableName,
                             kStartTimestamp, now, kSevenDays) +
      StatusTimeConditions::refreshClauses(kNearStartClauses, kConditionColumns, now) + " OR  ";
  const std::string second =
      StatusTimeConditions::refreshClauses(kLiveAndStaleClauses, kConditionColumns, now) + ");";
  return platform::formatString("%s%s", first.c_str(), second.c_str());
}

std::string DBTableStage::hideFinishedStagesStatement(double now) {
  return platform::formatString("UPDATE %s SET %s = 1 WHERE %s", kTableName, kIsHidden,
                                StatusTimeConditions::finished(kConditionColumns, now).c_str());
}

std::string DBTableStage::oldStagesDeleteStatement(double now) {
  return platform::formatString("DELETE FROM %s WHERE (%f - %s) > %d OR (%s - %f) > %d", kTableName,
                                now, kStartTimestamp, kSevenDays, kStartTimestamp, now,
                                kFiftySixDays);
}

std::string DBTableStage::stagesWithUniqueStageIDQuery(std::int64_t uniqueStageID) {
  return platform::formatString("SELECT %s.%s FROM %s WHERE (%s = %lld)", kTableName, kId,
                                kTableName, kUniqueId, static_cast<long long>(uniqueStageID));
}

}  // namespace kestrel
