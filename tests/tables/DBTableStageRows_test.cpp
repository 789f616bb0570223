#include <KestrelDatabase/tables/DBTableStage.h>
#include <gtest/gtest.h>

#include <string>
#include <unordered_set>
#include <vector>

#include "tables/TableRowsFixture.h"

// Stage rows: how the flags come about and what the reads make of them, the
// finished stages that are hidden but kept until they are old, the refresh
// selection on both sides of every bound, the deletes of a unique stage, the
// statement texts, and completions on every path.
namespace kestrel {
namespace {

using model::Stage;
using testing::Captured;
using testing::CapturedRead;
using testing::kNowSeconds;

class DBTableStageRowsTest : public testing::TableRowsTest {
 protected:
  /// A stage with status and start relative to now (absent: NULL).
  static Stage stage(std::int64_t id, std::int64_t status = 3,
                     std::optional<std::int64_t> start = 0) {
    Stage out{.ID = id, .status = model::EventStatus(status)};
    if (start) out.startDateTimestamp = kNowSeconds + *start;
    return out;
  }
  static Stage ofUniqueStage(Stage out, std::int64_t uniqueID) {
    out.stageSeason =
        model::StageSeason{.ID = 1, .uniqueStage = model::UniqueStage{.ID = uniqueID}};
    return out;
  }

  /// Runs a stage write and returns what its one completion received.
  template <class Write>
  bool write(Write run) {
    Captured<bool> done;
    run(done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }
  bool favourite(const Stage& s) {
    return write([&](auto done) { DBTableStage::insertStage(s, queue_, done); });
  }
  bool owned(const Stage& s) {
    return write([&](auto done) { DBTableStage::insertEntityOwnedStage(s, queue_, done); });
  }

  IDSet allIDs() {
    CapturedRead<IDSet> done;
    DBTableStage::readIDs("SELECT ID FROM StageTable", "ID", queue_, done.completion());
    return done.value.value_or(IDSet{});
  }
  std::vector<std::int64_t> favouriteIDs() {
    CapturedRead<std::vector<Stage>> done;
    DBTableStage::getAllFavoriteStages(queue_, done.completion());
    std::vector<std::int64_t> ids;
    for (const Stage& s : done.value.value_or(std::vector<Stage>{})) ids.push_back(s.ID);
    return ids;
  }
  int finishedCount() {
    CapturedRead<int> done;
    DBTableStage::getFinishedStagesCount(queue_, done.completion());
    return done.value.value_or(-1);
  }
  bool purgeOld() {
    return write([&](auto done) { DBTableStage::deleteOldStages(queue_, done); });
  }
};

TEST_F(DBTableStageRowsTest, FlagsOfEachInsertAndWhatTheReadsMakeOfThem) {
  ASSERT_TRUE(favourite(stage(1, 3, 60)));
  ASSERT_TRUE(owned(stage(2, 3, -60)));
  EXPECT_FALSE(owned(stage(1, 2, 60))) << "a plain insert never overwrites";
  EXPECT_EQ(cell("StageTable", 1, "STATUS_TYPE"), "3");
  ASSERT_TRUE(
      write([&](auto done) { DBTableStage::insertMutedStage(stage(3, 3, 0), queue_, done); }));
  EXPECT_EQ(cell("StageTable", 3, "IS_MUTED"), "1");

  // A favourite insert replaces the row, muted and hidden flags included.
  exec("UPDATE StageTable SET IS_HIDDEN = 1 WHERE ID = 3");
  ASSERT_TRUE(favourite(stage(3, 2, 0)));
  EXPECT_EQ(cell("StageTable", 3, "IS_MUTED"), std::nullopt);
  EXPECT_EQ(cell("StageTable", 3, "IS_HIDDEN"), std::nullopt);

  // Mute takes a stage, unmute an ID; muted stages still count as favourites.
  ASSERT_TRUE(write([&](auto done) { DBTableStage::muteStage(stage(1), queue_, done); }));
  CapturedRead<std::unordered_set<Stage>> muted;
  DBTableStage::getMutedStages(queue_, muted.completion());
  EXPECT_EQ(muted.value, (std::unordered_set<Stage>{stage(1)}));
  EXPECT_EQ(favouriteIDs(), (std::vector<std::int64_t>{2, 3, 1}));
  ASSERT_TRUE(write([&](auto done) { DBTableStage::unmuteStage(1, queue_, done); }));
  EXPECT_EQ(cell("StageTable", 1, "IS_MUTED"), "0");

  // An update keeps the columns the stage lacks; a delete takes the row.
  Stage renamed = stage(2, 2, std::nullopt);
  renamed.desc = "Qualifying";
  ASSERT_TRUE(write([&](auto done) { DBTableStage::updateStage(renamed, queue_, done); }));
  EXPECT_EQ(cell("StageTable", 2, "NAME"), "Qualifying");
  EXPECT_EQ(cell("StageTable", 2, "START_TIMESTAMP"), std::to_string(kNowSeconds - 60));
  ASSERT_TRUE(write([&](auto done) { DBTableStage::deleteStage(2, queue_, done); }));
  EXPECT_EQ(allIDs(), (IDSet{1, 3}));
}

TEST_F(DBTableStageRowsTest, FinishedStagesAreHiddenNeverDeletedUntilSevenDaysAfterTheirStart) {
  ASSERT_TRUE(favourite(stage(1, 1, -7200)));         // finished
  ASSERT_TRUE(favourite(stage(2, 4, 60)));            // postponed, ahead: not finished
  ASSERT_TRUE(favourite(stage(3, 4, -60)));           // postponed, past
  ASSERT_TRUE(favourite(stage(4, 5, -1)));            // canceled, past
  ASSERT_TRUE(favourite(stage(5, 6, 0)));             // interrupted, starts now: not yet
  ASSERT_TRUE(favourite(stage(6, 2, -60)));           // in progress
  ASSERT_TRUE(favourite(stage(7, 1, std::nullopt)));  // finished without a start
  ASSERT_TRUE(owned(stage(8, 1, -7200)));             // finished, entity-owned
  EXPECT_EQ(finishedCount(), 5);

  ASSERT_TRUE(write([&](auto done) { DBTableStage::deleteFinishedStages(queue_, done); }));
  EXPECT_EQ(allIDs(), (IDSet{1, 2, 3, 4, 5, 6, 7, 8}));
  for (std::int64_t id : {1, 3, 4, 7, 8}) EXPECT_EQ(cell("StageTable", id, "IS_HIDDEN"), "1");
  EXPECT_EQ(finishedCount(), 0);
  EXPECT_EQ(favouriteIDs(), (std::vector<std::int64_t>{6, 5, 2}));

  // The hidden stage goes only once it started more than 604800 s ago; a
  // stage without a start is never old.
  ASSERT_TRUE(purgeOld());
  EXPECT_EQ(allIDs().size(), 8u);
  platform::Clock::setFixed(testing::kNow + 604800 - 7200);
  ASSERT_TRUE(purgeOld());
  EXPECT_EQ(allIDs().count(1), 1u);
  platform::Clock::setFixed(testing::kNow + 604800 - 7200 + 1);
  ASSERT_TRUE(purgeOld());
  EXPECT_EQ(allIDs(), (IDSet{2, 3, 4, 5, 6, 7}));
}

TEST_F(DBTableStageRowsTest,
       OldStagesGoSevenDaysAfterTheStartOrFiftySixDaysAheadFavouritesIncluded) {
  ASSERT_TRUE(favourite(stage(1, 3, -604800)));       // kept
  ASSERT_TRUE(favourite(stage(2, 3, -604801)));       // gone
  ASSERT_TRUE(favourite(stage(3, 3, 4838400)));       // kept
  ASSERT_TRUE(favourite(stage(4, 3, 4838401)));       // gone, although a favourite
  ASSERT_TRUE(owned(stage(5, 3, 4838401)));           // gone
  ASSERT_TRUE(favourite(stage(6, 3, std::nullopt)));  // kept
  ASSERT_TRUE(purgeOld());
  EXPECT_EQ(allIDs(), (IDSet{1, 3, 6}));
  // The favourite read's window ends at the same bound, inclusively.
  EXPECT_EQ(favouriteIDs(), (std::vector<std::int64_t>{1, 3}));
}

// Per window: just inside with an age just over its limit, just too fresh,
// then exactly on a bound, where only the hour-old rule can apply.
constexpr std::int64_t kLong = 10'000'000;  // older than any threshold

// clang-format off
const testing::RefreshRow kRefreshCases[] = {
    {3, 3599, 181, true}, {3, 901, 180, false}, {3, 3600, 3600, false},      // 15m-1h ahead
    {3, 899, 15, true}, {3, 1, 14, false}, {3, 900, 180, false},            // <15m ahead
    {3, 0, 3600, false}, {3, -1, 15, true}, {3, -899, 14, false},           // <15m past
    {3, -900, 180, false}, {3, -901, 181, true}, {3, -3599, 180, false},    // 15m-1h past
    {3, -3600, 3600, false}, {3, 86400, 3601, true}, {3, -3601, 900, false},  // any: >1h old
    {2, -60, 15, true}, {2, -60, 14, false}, {2, -60, -15, true},           // in progress
    {9, 0, 181, true}, {9, 0, 180, false}, {8, -5000, 181, true},           // live states
    {6, 5000, 181, true}, {10, 0, 181, false}, {1, -60, 3601, true},
    {1, -60, 3600, false}, {4, 0, 3601, true},
    {2, -604800, 15, true}, {2, -604801, kLong, false},                     // the week bound
    {2, std::nullopt, kLong, false},                                        // no start
};
// clang-format on

TEST_F(DBTableStageRowsTest, RefreshSelectionOnBothSidesOfEveryBound) {
  storeRefreshRows("StageTable", "START_TIMESTAMP", kRefreshCases);
  CapturedRead<IDSet> due;
  DBTableStage::getStageIDsToRefresh(queue_, due.completion());
  ASSERT_EQ(due.calls, 1);
  expectDue(*due.value, kRefreshCases);
}

TEST_F(DBTableStageRowsTest, DeletesOfAUniqueStageAreAndedAndTrueWhenNothingMatched) {
  for (std::int64_t id : {1, 2, 3}) ASSERT_TRUE(favourite(ofUniqueStage(stage(id), 40)));
  ASSERT_TRUE(favourite(ofUniqueStage(stage(4), 41)));
  ASSERT_TRUE(favourite(ofUniqueStage(stage(5), 41)));
  ASSERT_TRUE(favourite(stage(6)));
  const auto deleteUnique = [&](std::int64_t uniqueID) {
    return write(
        [&](auto done) { DBTableStage::deleteStagesWithUniqueStageID(uniqueID, queue_, done); });
  };
  EXPECT_TRUE(deleteUnique(40));
  EXPECT_EQ(allIDs(), (IDSet{4, 5, 6}));
  EXPECT_TRUE(deleteUnique(99));

  // One delete that fails makes the result false; the others still happen.
  exec(
      "CREATE TRIGGER keep_four BEFORE DELETE ON StageTable WHEN old.ID = 4 "
      "BEGIN SELECT RAISE(ABORT, 'kept'); END");
  EXPECT_FALSE(deleteUnique(41));
  EXPECT_EQ(allIDs(), (IDSet{4, 6}));
}

TEST(DBTableStageStatementsTest, StatementTextsForAFixedNow) {
  const double now = 1700000000.5;
  EXPECT_EQ(DBTableStage::stageIDsToRefreshQuery(now),
            "SELECT ID FROM StageTable WHERE START_TIMESTAMP >= (1700000000.500000 - 604800) AND ("
            "( (STATUS_TYPE = 3) AND ((START_TIMESTAMP - 1700000000.500000) > 900) AND "
            "((START_TIMESTAMP - 1700000000.500000) < 3600) AND "
            "(ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
            "( (STATUS_TYPE = 3) AND ((START_TIMESTAMP - 1700000000.500000) > 0) AND "
            "((START_TIMESTAMP - 1700000000.500000) < 900) AND "
            "(ABS(1700000000.500000 - LAST_UPDATE) > 14) ) OR  "
            "( (STATUS_TYPE = 3) AND ((1700000000.500000 - START_TIMESTAMP) > 0) AND "
            "((1700000000.500000 - START_TIMESTAMP) < 900) AND "
            "(ABS(1700000000.500000 - LAST_UPDATE) > 14) ) OR  "
            "( (STATUS_TYPE = 3) AND ((1700000000.500000 - START_TIMESTAMP) > 900) AND "
            "((1700000000.500000 - START_TIMESTAMP) < 3600) AND "
            "(ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
            "( (STATUS_TYPE = 2) AND (ABS(1700000000.500000 - LAST_UPDATE) > 14) ) OR  "
            "( (STATUS_TYPE = 9) AND (ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
            "( (STATUS_TYPE = 8) AND (ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
            "( (STATUS_TYPE = 6) AND (ABS(1700000000.500000 - LAST_UPDATE) > 180) ) OR  "
            "( (ABS(1700000000.500000 - LAST_UPDATE) > 3600) ));");
  EXPECT_EQ(DBTableStage::allFavoriteStagesQuery(now),
            "SELECT * FROM StageTable WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND "
            "(START_TIMESTAMP >= (1700000000.500000 - 604800)) ORDER BY START_TIMESTAMP ASC");
  EXPECT_EQ(DBTableStage::mutedStagesQuery(), "SELECT ID FROM StageTable WHERE IS_MUTED = 1;");
  EXPECT_EQ(DBTableStage::finishedStagesCountQuery(now),
            "SELECT COUNT(*) FROM StageTable WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND "
            "(STATUS_TYPE = 1 OR ((STATUS_TYPE = 4 OR STATUS_TYPE = 5 OR STATUS_TYPE = 6) AND "
            "START_TIMESTAMP < 1700000000.500000))");
  EXPECT_EQ(DBTableStage::hideFinishedStagesStatement(now),
            "UPDATE StageTable SET IS_HIDDEN = 1 WHERE STATUS_TYPE = 1 OR ((STATUS_TYPE = 4 OR "
            "STATUS_TYPE = 5 OR STATUS_TYPE = 6) AND START_TIMESTAMP < 1700000000.500000)");
  EXPECT_EQ(DBTableStage::oldStagesDeleteStatement(now),
            "DELETE FROM StageTable WHERE (1700000000.500000 - START_TIMESTAMP) > 604800 OR "
            "(START_TIMESTAMP - 1700000000.500000) > 4838400");
  EXPECT_EQ(DBTableStage::stagesWithUniqueStageIDQuery(40),
            "SELECT StageTable.ID FROM StageTable WHERE (UNIQUE_ID = 40)");
}

TEST_F(DBTableStageRowsTest, EveryCompletionComesOnceAlsoWithoutAConnectionAndNeverWithoutAQueue) {
  const std::shared_ptr<FMDatabaseQueue> none;
  int calls = 0;
  const BoolCompletion count = [&](bool) { ++calls; };
  DBTableStage::insertStage(stage(1), none, count);
  DBTableStage::insertMutedStage(stage(1), none, count);
  DBTableStage::unmuteStage(1, none, count);
  DBTableStage::deleteStagesWithUniqueStageID(1, none, count);
  DBTableStage::deleteFinishedStages(none, count);
  DBTableStage::deleteOldStages(none, count);
  DBTableStage::getStage(1, none, [&](auto) { ++calls; });
  DBTableStage::getAllFavoriteStages(none, [&](auto) { ++calls; });
  DBTableStage::getMutedStages(none, [&](auto) { ++calls; });
  DBTableStage::getStageIDsToRefresh(none, [&](auto) { ++calls; });
  DBTableStage::getFinishedStagesCount(none, [&](auto) { ++calls; });
  EXPECT_EQ(calls, 0);

  // The caches wait on these reads: each must complete, with its failure.
  ASSERT_TRUE(favourite(ofUniqueStage(stage(1, 1, -60), 40)));
  loseConnection();
  EXPECT_FALSE(favourite(stage(2)));
  EXPECT_FALSE(owned(stage(2)));
  EXPECT_FALSE(write([&](auto done) { DBTableStage::deleteFinishedStages(queue_, done); }));
  EXPECT_FALSE(purgeOld());
  EXPECT_FALSE(
      write([&](auto done) { DBTableStage::deleteStagesWithUniqueStageID(40, queue_, done); }));
  CapturedRead<std::optional<Stage>> one;
  DBTableStage::getStage(1, queue_, one.completion());
  EXPECT_TRUE(one.calls == 1 && one.failed);
  CapturedRead<std::vector<Stage>> favourites;
  DBTableStage::getAllFavoriteStages(queue_, favourites.completion());
  EXPECT_TRUE(favourites.calls == 1 && favourites.failed);
  CapturedRead<std::unordered_set<Stage>> muted;
  DBTableStage::getMutedStages(queue_, muted.completion());
  EXPECT_TRUE(muted.calls == 1 && muted.failed);
  CapturedRead<IDSet> due;
  DBTableStage::getStageIDsToRefresh(queue_, due.completion());
  EXPECT_TRUE(due.calls == 1 && due.failed);
  CapturedRead<int> finished;
  DBTableStage::getFinishedStagesCount(queue_, finished.completion());
  EXPECT_TRUE(finished.calls == 1 && finished.failed);
}

}  // namespace
}  // namespace kestrel
