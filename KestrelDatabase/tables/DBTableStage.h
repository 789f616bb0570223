// Stages (rounds or races of stage sports) that the user follows, has muted, or
// that are kept for a followed unique stage. One row per stage, keyed by its
// server ID, with the same flags as the event table: a favourite written by
// insertStage() (IS_MUTED left NULL) or insertMutedStage() (IS_MUTED 1), an
// entity-owned row written by insertEntityOwnedStage() (a plain insert that
// never overwrites), hidden (IS_HIDDEN 1: finished, kept until it is old) and
// muted (IS_MUTED 1). Status types as for events: 1 finished, 2 in progress,
// 3 not started; 4, 5 and 6 finished once the start has passed; 8, 9, 10 live.
//
// A row keeps the stage, its parent stage (STAGE_*), its season, the
// season's unique stage with its colours and category, and the category's
// sport slug. The row mapping lives in DBTableStageMapper.cpp.
//
// Completions: a null queue means no work and no completion call. Otherwise
// a given completion is called exactly once, inside the queue's block, before
// the operation returns: a write's once its transaction has committed (true
// means on disk; a failed statement or commit gives false), a read's with
// what it read or std::nullopt when the read failed (also when the queue
// could not reopen its connection). An empty read completion makes the read
// do nothing. IDs are read as 64-bit integers. Every "now" is
// platform::Clock::now(), written into statements with "%f".
//
// Writes go through the table base's checked path, which stores every value
// exactly as given (a text with a double quote or NUL, or in an update a
// text that names a column, is written as an escaped literal).
//
// Thread-safety: all operations are static. The schema hooks, the mapping and
// the statement texts are pure and may be called from any thread. The row
// operations block while they hold the database queue; they must not be
// called from inside a block of that queue, nor from a completion.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelModel/Stage.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace kestrel {

class FMDatabaseQueue;
class FMResultSet;

class DBTableStage : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "StageTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kName = "NAME";
  static constexpr const char* kStatusType = "STATUS_TYPE";
  static constexpr const char* kStartTimestamp = "START_TIMESTAMP";
  static constexpr const char* kType = "TYPE";
  static constexpr const char* kHasCompetitors = "HAS_COMPETITORS";
  static constexpr const char* kHasTeams = "HAS_TEAMS";
  static constexpr const char* kFlag = "FLAG";
  static constexpr const char* kWinnerId = "WINNER_ID";
  static constexpr const char* kWinnerName = "WINNER_NAME";
  static constexpr const char* kLastUpdate = "LAST_UPDATE";
  static constexpr const char* kStageId = "STAGE_ID";
  static constexpr const char* kStageName = "STAGE_NAME";
  static constexpr const char* kStageStartTimestamp = "STAGE_START_TIMESTAMP";
  static constexpr const char* kStageHasCompetitor = "STAGE_HAS_COMPETITOR";
  static constexpr const char* kStageHasTeams = "STAGE_HAS_TEAMS";
  static constexpr const char* kStageFlag = "STAGE_FLAG";
  static constexpr const char* kSeasonId = "SEASON_ID";
  static constexpr const char* kSeasonName = "SEASON_NAME";
  static constexpr const char* kSeasonYear = "SEASON_YEAR";
  static constexpr const char* kUniqueId = "UNIQUE_ID";
  static constexpr const char* kUniqueName = "UNIQUE_NAME";
  static constexpr const char* kUniquePrimary = "UNIQUE_PRIMARY";
  static constexpr const char* kUniqueSecondary = "UNIQUE_SECONDARY";
  static constexpr const char* kCategoryName = "CATEGORY_NAME";
  static constexpr const char* kCategoryFlag = "CATEGORY_FLAG";
  static constexpr const char* kCategoryId = "CATEGORY_ID";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kIsMuted = "IS_MUTED";
  static constexpr const char* kIsHidden = "IS_HIDDEN";

  /// One column: its name and data type code (0 INTEGER, 1 TEXT).
  struct ColumnDefinition {
    const char* name;
    int dataType;
  };
  static constexpr std::size_t kColumnCount = 30;
  /// All columns in table order; the first is the primary key.
  static constexpr std::array<ColumnDefinition, kColumnCount> kColumns{{
      {kId, 0},
      {kName, 1},
      {kStatusType, 0},
      {kStartTimestamp, 0},
      {kType, 0},
      {kHasCompetitors, 0},
      {kHasTeams, 0},
      {kFlag, 1},
      {kWinnerId, 0},
      {kWinnerName, 1},
      {kLastUpdate, 0},
      {kStageId, 0},
      {kStageName, 1},
      {kStageStartTimestamp, 0},
      {kStageHasCompetitor, 0},
      {kStageHasTeams, 0},
      {kStageFlag, 1},
      {kSeasonId, 0},
      {kSeasonName, 1},
      {kSeasonYear, 1},
      {kUniqueId, 0},
      {kUniqueName, 1},
      {kUniquePrimary, 1},
      {kUniqueSecondary, 1},
      {kCategoryName, 1},
      {kCategoryFlag, 1},
      {kCategoryId, 0},
      {kSportSlug, 1},
      {kIsMuted, 0},
      {kIsHidden, 0},
  }};

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  /// The stage, no stage (no such row), or std::nullopt (the read failed).
  using StageCompletion = std::function<void(ReadResult<std::optional<model::Stage>> stage)>;
  using StageListCompletion = std::function<void(ReadResult<std::vector<model::Stage>> stages)>;
  using StageSetCompletion =
      std::function<void(ReadResult<std::unordered_set<model::Stage>> stages)>;

  /// Rewrites the row of the stage's ID with the mapped values; values the
  /// stage lacks are left out, so their columns keep what they held. True
  /// also when no row has that ID.
  static void updateStage(const model::Stage& stage, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  /// Stores a stage for a followed unique stage with a plain insert: an
  /// existing row with the same ID is left untouched and the completion gets
  /// false (true only when a row was inserted).
  static void insertEntityOwnedStage(const model::Stage& stage,
                                     const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const BoolCompletion& completion = {});
  /// Stores a favourite, replacing any row with the same ID (IS_MUTED and
  /// IS_HIDDEN of the old row are not kept).
  static void insertStage(const model::Stage& stage, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  /// As insertStage(), with IS_MUTED 1.
  static void insertMutedStage(const model::Stage& stage,
                               const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion = {});
  /// Sets IS_MUTED 1 on the stage's row. Takes a Stage, while unmuteStage()
  /// takes a bare ID.
  static void muteStage(const model::Stage& stage, const std::shared_ptr<FMDatabaseQueue>& queue,
                        const BoolCompletion& completion = {});
  /// Sets IS_MUTED 0 on the row with this ID.
  static void unmuteStage(std::int64_t stageID, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  static void deleteStage(std::int64_t stageID, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  /// Deletes every stage of this unique stage, one delete per row, in one
  /// transaction (not one autocommit per delete: the deletes reach the disk
  /// together, and the report comes after they did). True when every delete
  /// succeeded and committed, so also when no row matched.
  static void deleteStagesWithUniqueStageID(std::int64_t uniqueStageID,
                                            const std::shared_ptr<FMDatabaseQueue>& queue,
                                            const BoolCompletion& completion = {});

  /// The stage of that ID (whatever its flags), or absent.
  static void getStage(std::int64_t stageID, const std::shared_ptr<FMDatabaseQueue>& queue,
                       const StageCompletion& completion);
  /// Non-hidden stages (muted ones included) that started at most 604800 s
  /// ago or start later, oldest start first.
  static void getAllFavoriteStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const StageListCompletion& completion);
  /// The muted stages. Only their ID is selected, so each stage carries its
  /// ID and otherwise default values.
  static void getMutedStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                             const StageSetCompletion& completion);
  /// The number of non-hidden finished stages.
  static void getFinishedStagesCount(const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const CountCompletion& completion);
  /// IDs (64-bit) of the stages of the past week or later whose data is old
  /// enough for a refresh, by status and start.
  static void getStageIDsToRefresh(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const IDSetCompletion& completion);

  /// Hides the finished stages (IS_HIDDEN 1); a finished stage is never
  /// deleted here, only by deleteOldStages().
  static void deleteFinishedStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion = {});
  /// Deletes the stages that started more than 604800 s ago or start more
  /// than 4838400 s ahead, favourites included.
  static void deleteOldStages(const std::shared_ptr<FMDatabaseQueue>& queue,
                              const BoolCompletion& completion = {});

  // ---- Statement texts ---------------------------------------------------------
  // The exact texts the operations run, for callers that run or count them
  // themselves. `now` is seconds since 1970, written with "%f".

  static std::string allFavoriteStagesQuery(double now);
  static std::string mutedStagesQuery();
  static std::string finishedStagesCountQuery(double now);
  /// Nine clauses of status, time to/since start and age of the row's data,
  /// all with strict bounds, behind "START_TIMESTAMP >= (now - 604800)".
  static std::string stageIDsToRefreshQuery(double now);
  /// The text of deleteFinishedStages(): an UPDATE that hides.
  static std::string hideFinishedStagesStatement(double now);
  static std::string oldStagesDeleteStatement(double now);
  /// "SELECT StageTable.ID FROM StageTable WHERE (UNIQUE_ID = <id>)".
  static std::string stagesWithUniqueStageIDQuery(std::int64_t uniqueStageID);

  // ---- Row mapping (DBTableStageMapper.cpp) -----------------------------------
  //
  // The write side is total: any stage gives a map of every mapped column
  // (all but IS_MUTED and IS_HIDDEN), in table order, with the null marker
  // for what the stage lacks. It reads the model inside a guard: when the C++
  // runtime throws while it works, the columns mapped so far are returned.
  //
  // The read side builds a part (winner, type, parent stage, season, unique
  // stage, colours, category) only when one of its columns holds a value or
  // a part inside it was built. Two asymmetries are kept on purpose:
  //   - the stage's own competitor and team flags are read from the parent
  //     columns STAGE_HAS_COMPETITOR and STAGE_HAS_TEAMS (HAS_COMPETITORS
  //     and HAS_TEAMS are written, never read);
  //   - a stage without its own start is written with its parent's start,
  //     so it reads back with that start.
  // A column missing from the result set reads as NULL, without a warning:
  // getMutedStages() maps whole stages from an ID-only select.

  /// Where each column of kColumns sits in the rows of one result set (-1
  /// when the result set has no such column). Build it after the first next().
  struct RowLayout {
    std::array<int, kColumnCount> indexes{};
  };
  static RowLayout rowLayoutForResultSet(const FMResultSet& resultSet);

  /// LAST_UPDATE is Clock::now() as a double; booleans of the stage are 0 or
  /// 1, those of an absent parent the null marker.
  static ColumnValueMap mapAllPropertiesToColumns(const model::Stage& stage);

  /// The stage of the result set's current row. Builds the layout on each
  /// call; for many rows build it once and use the second form.
  static model::Stage mapStageFromResultSet(const FMResultSet& resultSet);
  static model::Stage mapStageFromResultSet(const FMResultSet& resultSet, const RowLayout& layout);

 private:
  static void putColumns(const model::Stage& stage, ColumnValueMap& map);
  static void readColumns(const FMResultSet& resultSet, const RowLayout& layout,
                          model::Stage& stage);
};

}  // namespace kestrel
