#include <KestrelModel/Stage.h>

#include <gtest/gtest.h>

#include <memory>

namespace kestrel::model {
namespace {

TEST(StageTest, SeasonComesFromTheStageOrItsNearestAncestorThatHasOne) {
  const StageSeason season{
      .ID = 30, .uniqueStage = UniqueStage{.ID = 50, .category = CategoryModel{.ID = 60}}};
  auto grandParent = std::make_shared<Stage>(Stage{.ID = 3, .stageSeason = season});
  auto parent = std::make_shared<Stage>(Stage{.ID = 2, .stageEvent = grandParent});
  const Stage stage{.ID = 1, .stageEvent = parent};
  ASSERT_NE(stage.category(), nullptr);
  EXPECT_EQ(stage.getStageSeason()->ID, 30);
  EXPECT_EQ(stage.uniqueStage()->ID, 50);
  EXPECT_EQ(stage.category()->ID, 60);

  parent->stageSeason = StageSeason{.ID = 20};  // nearer, without a unique stage
  EXPECT_EQ(stage.getStageSeason()->ID, 20);
  EXPECT_EQ(stage.uniqueStage(), nullptr);
  EXPECT_EQ(stage.category(), nullptr);
  EXPECT_EQ(Stage{}.getStageSeason(), nullptr);
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
