#include <KestrelDatabase/tables/DBTableStage.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <unordered_set>

#include "tables/FailingAllocation.h"
#include "tables/TableRowsFixture.h"

// The stage row mapping: a fully populated stage comes back with every stored
// value and the two kept asymmetries (own flags from the parent columns, a
// missing start taken from the parent); absent parts stay absent; the muted
// read maps stages from their IDs alone; the write side is total and guarded.
namespace kestrel {
namespace {

using model::Stage;
using testing::Captured;
using testing::CapturedRead;
using testing::kNowSeconds;

class DBTableStageMappingTest : public testing::TableRowsTest {
 protected:
  static Stage fullStage() {
    auto parent = std::make_shared<Stage>();
    parent->ID = 500;
    parent->desc = "Monaco Grand Prix";
    parent->startDateTimestamp = kNowSeconds - 86400;
    parent->hasCompetitorResults = true;
    parent->hasTeamResults = false;
    parent->flag = "monaco";

    Stage stage;
    stage.ID = 501;
    stage.desc = "Race";
    stage.status = model::EventStatus(model::EventStatus::kInProgress);
    stage.startDateTimestamp = kNowSeconds + 60;
    stage.type = model::StageType(3);
    stage.hasCompetitorResults = false;
    stage.hasTeamResults = true;
    stage.flag = "mc";
    stage.winner = model::Team{.ID = 77, .name = "A. Driver"};
    stage.stageEvent = parent;
    stage.stageSeason = model::StageSeason{
        .ID = 2025,
        .desc = "Season 2025",
        .year = "2025",
        .uniqueStage = model::UniqueStage{
            .ID = 40,
            .name = "Formula One",
            .stageColors = model::StageColors{"#ff0000", "#000000"},
            .category = model::CategoryModel{.ID = 9,
                                             .name = "Motorsport",
                                             .flag = "motorsport",
                                             .sport = model::Sport::sportWithSlug("motorsport")}}};
    return stage;
  }

  std::optional<Stage> read(std::int64_t id) {
    CapturedRead<std::optional<Stage>> done;
    DBTableStage::getStage(id, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(std::nullopt);
  }

  bool insert(const Stage& stage) {
    Captured<bool> done;
    DBTableStage::insertStage(stage, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }

  std::optional<std::string> stageCell(std::int64_t id, const std::string& column) {
    return cell("StageTable", id, column);
  }
};

TEST_F(DBTableStageMappingTest, FullyPopulatedStageComesBackWithParentSeasonUniqueStageCategory) {
  ASSERT_TRUE(insert(fullStage()));
  const auto out = read(501);
  ASSERT_TRUE(out.has_value());

  EXPECT_EQ(out->desc, "Race");
  EXPECT_EQ(out->status.type, 2);
  EXPECT_EQ(out->startDateTimestamp, kNowSeconds + 60);
  ASSERT_TRUE(out->type.has_value());
  EXPECT_EQ(out->type->ID, 3);
  EXPECT_EQ(out->flag, "mc");
  ASSERT_TRUE(out->winner.has_value());
  EXPECT_EQ(out->winner->ID, 77);
  EXPECT_EQ(out->winner->name, "A. Driver");

  ASSERT_NE(out->stageEvent, nullptr);
  const Stage& parent = *out->stageEvent;
  EXPECT_EQ(parent.ID, 500);
  EXPECT_EQ(parent.desc, "Monaco Grand Prix");
  EXPECT_EQ(parent.startDateTimestamp, kNowSeconds - 86400);
  EXPECT_TRUE(parent.hasCompetitorResults);
  EXPECT_FALSE(parent.hasTeamResults);
  EXPECT_EQ(parent.flag, "monaco");

  // The season hangs on both the stage and its parent.
  ASSERT_TRUE(out->stageSeason.has_value());
  ASSERT_TRUE(parent.stageSeason.has_value());
  EXPECT_EQ(parent.stageSeason->ID, 2025);
  EXPECT_EQ(out->stageSeason->desc, "Season 2025");
  EXPECT_EQ(out->stageSeason->year, "2025");
  const model::UniqueStage* unique = out->uniqueStage();
  ASSERT_NE(unique, nullptr);
  EXPECT_EQ(unique->ID, 40);
  EXPECT_EQ(unique->name, "Formula One");
  EXPECT_EQ(unique->stageColors, (model::StageColors{"#ff0000", "#000000"}));
  const model::CategoryModel* category = out->category();
  ASSERT_NE(category, nullptr);
  EXPECT_EQ(category->ID, 9);
  EXPECT_EQ(category->name, "Motorsport");
  EXPECT_EQ(category->flag, "motorsport");
  EXPECT_EQ(category->sport, model::Sport::sportWithSlug("motorsport"));

  // The stage's own flags are stored, but read back from the parent columns.
  EXPECT_EQ(stageCell(501, "HAS_COMPETITORS"), "0");
  EXPECT_EQ(stageCell(501, "HAS_TEAMS"), "1");
  EXPECT_TRUE(out->hasCompetitorResults);
  EXPECT_FALSE(out->hasTeamResults);

  EXPECT_EQ(stageCell(501, "LAST_UPDATE"), std::to_string(kNowSeconds));
  EXPECT_EQ(stageCell(501, "IS_MUTED"), std::nullopt);
  EXPECT_EQ(stageCell(501, "IS_HIDDEN"), std::nullopt);
}

TEST_F(DBTableStageMappingTest, StageWithoutItsOwnStartIsStoredWithItsParentsStart) {
  Stage session = fullStage();
  session.startDateTimestamp.reset();
  ASSERT_TRUE(insert(session));
  EXPECT_EQ(stageCell(501, "START_TIMESTAMP"), std::to_string(kNowSeconds - 86400));
  EXPECT_EQ(read(501)->startDateTimestamp, kNowSeconds - 86400);

  // Neither a start nor a parent: NULL.
  Stage alone{.ID = 502};
  ASSERT_TRUE(insert(alone));
  EXPECT_EQ(stageCell(502, "START_TIMESTAMP"), std::nullopt);
}

TEST_F(DBTableStageMappingTest, AbsentPartsStayAbsentAndTheSeasonMayComeFromTheParent) {
  ASSERT_TRUE(insert(Stage{.ID = 7, .status = model::EventStatus(3)}));
  const auto bare = read(7);
  ASSERT_TRUE(bare.has_value());
  EXPECT_EQ(bare->stageEvent, nullptr) << "the caches map a stage without parent to itself";
  EXPECT_FALSE(bare->stageSeason || bare->winner || bare->type || bare->desc);
  EXPECT_EQ(bare->status.type, 3);

  // A stage whose season only its parent carries is stored with that season.
  Stage child{.ID = 8};
  child.stageEvent = std::make_shared<Stage>(fullStage());
  ASSERT_TRUE(insert(child));
  EXPECT_EQ(stageCell(8, "STAGE_ID"), "501");
  EXPECT_EQ(stageCell(8, "SEASON_ID"), "2025");
  EXPECT_EQ(stageCell(8, "CATEGORY_ID"), "9");
  EXPECT_EQ(stageCell(8, "SPORT_SLUG"), "motorsport");
}

// Found by the stage_row fuzz target (fuzz/corpus/stage_row/parent-flags-only):
// a row whose parent columns hold only the two flags read back with the
// stage's own flags set but no parent, so writing that stage again stored
// the flags nowhere it reads them from, and they were lost.
TEST_F(DBTableStageMappingTest, ParentFlagsAloneMakeAParentSoARereadStageKeepsItsFlags) {
  exec("INSERT INTO StageTable (ID, STAGE_HAS_COMPETITOR, STAGE_HAS_TEAMS) VALUES (60, 0, 1)");
  const auto first = read(60);
  ASSERT_TRUE(first.has_value());
  EXPECT_TRUE(first->hasTeamResults);
  EXPECT_FALSE(first->hasCompetitorResults);
  ASSERT_NE(first->stageEvent, nullptr);
  EXPECT_TRUE(first->stageEvent->hasTeamResults);

  ASSERT_TRUE(insert(*first));
  const auto again = read(60);
  ASSERT_TRUE(again.has_value());
  EXPECT_TRUE(again->hasTeamResults);
  EXPECT_FALSE(again->hasCompetitorResults);
  EXPECT_EQ(DBTableStage::mapAllPropertiesToColumns(*again),
            DBTableStage::mapAllPropertiesToColumns(*first));
}

TEST_F(DBTableStageMappingTest, MutedStagesAreMappedFromTheirIDsAlone) {
  Captured<bool> done;
  DBTableStage::insertMutedStage(fullStage(), queue_, done.completion());
  ASSERT_EQ(done.value, true);
  ASSERT_TRUE(insert(Stage{.ID = 9, .desc = "not muted"}));
  logs_.clear();

  CapturedRead<std::unordered_set<Stage>> muted;
  DBTableStage::getMutedStages(queue_, muted.completion());
  ASSERT_EQ(muted.calls, 1);
  ASSERT_EQ(muted.value->size(), 1u);
  const Stage& only = *muted.value->begin();
  EXPECT_EQ(only.ID, 501);
  EXPECT_FALSE(only.desc || only.stageEvent || only.stageSeason || only.startDateTimestamp);
  EXPECT_EQ(only.status.type, 0);
  EXPECT_TRUE(logs_.lines().empty()) << "the columns the select leaves out are not missed";
}

TEST_F(DBTableStageMappingTest, WriteMappingIsTotalAndEndsQuietlyWhenTheRuntimeThrows) {
  // Any stage gives every mapped column, also one whose parents form a cycle.
  Stage looped{.ID = 1};
  looped.stageEvent = std::make_shared<Stage>(Stage{.ID = 2});
  looped.stageEvent->stageEvent = looped.stageEvent;
  const ColumnValueMap columns = DBTableStage::mapAllPropertiesToColumns(looped);
  EXPECT_EQ(columns.size(), DBTableStage::kColumnCount - 2);
  looped.stageEvent->stageEvent.reset();  // break the cycle for the leak checker

  const Stage in = fullStage();
  const ColumnValueMap full = DBTableStage::mapAllPropertiesToColumns(in);
  ASSERT_EQ(full.size(), DBTableStage::kColumnCount - 2);
  std::size_t n = 1;
  for (;; ++n) {
    ColumnValueMap partial;
    bool failed = false;
    {
      const testing::FailingAllocation failure(n);
      partial = DBTableStage::mapAllPropertiesToColumns(in);
      failed = failure.failed();
    }
    if (!failed) break;
    ASSERT_LT(partial.size(), full.size()) << n;
    EXPECT_TRUE(std::equal(partial.begin(), partial.end(), full.begin())) << n;
  }
  EXPECT_GT(n, 3u) << "the write mapping allocates for several columns";
}

TEST_F(DBTableStageMappingTest, HostileTextIsStoredAsItIsAndSetsNoOtherColumn) {
  ASSERT_TRUE(insert(fullStage()));
  Stage hostile = fullStage();
  hostile.desc = "x\", IS_MUTED = \"1";
  EXPECT_TRUE(insert(hostile));
  EXPECT_EQ(stageCell(501, "NAME"), hostile.desc);
  EXPECT_EQ(stageCell(501, "IS_MUTED"), std::nullopt);
  Captured<bool> updated;
  hostile.desc = "IS_HIDDEN";  // in a SET list the word would read the column
  DBTableStage::updateStage(hostile, queue_, updated.completion());
  EXPECT_EQ(updated.value, true);
  EXPECT_EQ(stageCell(501, "NAME"), "IS_HIDDEN");
  EXPECT_EQ(stageCell(501, "IS_HIDDEN"), std::nullopt);
  EXPECT_EQ(logs_.countContaining("ERROR: write to StageTable refused"), 0u);
}

}  // namespace
}  // namespace kestrel
