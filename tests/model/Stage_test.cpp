#include <KestrelModel/Stage.h>

#include <gtest/gtest.h>

#include <memory>

namespace kestrel::model {
namespace {

StageSeason seasonWithCategory(std::int64_t id) {
  return StageSeason{
      .ID = id,
      .desc = "Season",
      .year = "2025",
      .uniqueStage =
          UniqueStage{
              .ID = 50, .name = "Series", .category = CategoryModel{.ID = 60, .name = "World"}},
  };
}

TEST(StageTest, OwnSeasonUniqueStageAndCategory) {
  const Stage stage{.ID = 1, .stageSeason = seasonWithCategory(10)};

  ASSERT_NE(stage.getStageSeason(), nullptr);
  EXPECT_EQ(stage.getStageSeason()->ID, 10);
  ASSERT_NE(stage.uniqueStage(), nullptr);
  EXPECT_EQ(stage.uniqueStage()->ID, 50);
  ASSERT_NE(stage.category(), nullptr);
  EXPECT_EQ(stage.category()->name, "World");
}

TEST(StageTest, SeasonComesFromTheNearestAncestorThatHasOne) {
  auto grandParent = std::make_shared<Stage>(Stage{.ID = 3, .stageSeason = seasonWithCategory(30)});
  auto parent = std::make_shared<Stage>(Stage{.ID = 2, .stageEvent = grandParent});
  const Stage stage{.ID = 1, .stageEvent = parent};

  ASSERT_NE(stage.getStageSeason(), nullptr);
  EXPECT_EQ(stage.getStageSeason()->ID, 30);
  EXPECT_EQ(stage.category()->ID, 60);

  parent->stageSeason = StageSeason{.ID = 20};
  EXPECT_EQ(stage.getStageSeason()->ID, 20);
  EXPECT_EQ(stage.uniqueStage(), nullptr);
  EXPECT_EQ(stage.category(), nullptr);
}

TEST(StageTest, MissingLinksGiveNull) {
  EXPECT_EQ(Stage{}.getStageSeason(), nullptr);
  EXPECT_EQ(Stage{}.uniqueStage(), nullptr);
  EXPECT_EQ(Stage{}.category(), nullptr);

  const Stage withoutCategory{
      .ID = 1, .stageSeason = StageSeason{.ID = 2, .uniqueStage = UniqueStage{.ID = 3}}};
  EXPECT_EQ(withoutCategory.uniqueStage()->ID, 3);
  EXPECT_EQ(withoutCategory.category(), nullptr);
}

TEST(StageTest, ParentCycleEndsWithoutASeason) {
  auto first = std::make_shared<Stage>(Stage{.ID = 1});
  auto second = std::make_shared<Stage>(Stage{.ID = 2, .stageEvent = first});
  first->stageEvent = second;

  EXPECT_EQ(first->getStageSeason(), nullptr);

  first->stageEvent.reset();  // break the cycle so both are freed
}

}  // namespace
}  // namespace kestrel::model
