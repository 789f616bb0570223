// The stage caches: the stage map from each stage to the head of its group,
// the narrow group removal, and which operations fill first.
#include <KestrelDatabase/caches/DBCacheMutedStage.h>
#include <KestrelDatabase/caches/DBCacheStage.h>
#include <gtest/gtest.h>

#include <vector>

#include "caches/CacheFixture.h"

namespace kestrel {
namespace {

using V = std::vector<std::int64_t>;
using Map = DBCacheStage::Dictionary;
using DBCacheStageTest = testing::CacheTest;

TEST_F(DBCacheStageTest, TheFillMapsEachStageToTheHeadOfItsGroup) {
  followStage(stage(1));
  followStage(stage(2, /*parent=*/1));
  followStage(stage(3, /*parent=*/1));
  DBCacheStage stages(queue_);
  EXPECT_EQ(sortedIdsOf(stages.getObjects()), (V{1, 2, 3}));
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (Map{{1, 1}, {2, 1}, {3, 1}}));
  EXPECT_FALSE(stages.IDs());
}

TEST_F(DBCacheStageTest, ACachedStageWithoutParentMapsToItselfAndGoesWhole) {
  DBCacheStage stages(queue_);
  stages.cacheStage(stage(7));
  stages.cacheStage(stage(8, /*parent=*/7));
  stages.cacheStage(stage(8, /*parent=*/9));  // an existing entry is overwritten
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (Map{{7, 7}, {8, 9}}));
  EXPECT_EQ(idsOf(stages.getObjects()), (V{7, 8}));

  stages.removeAllStagesWithID(7);
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (Map{{8, 9}}));
  EXPECT_EQ(idsOf(stages.getObjects()), (V{8}));
}

TEST_F(DBCacheStageTest, RemovingAGroupDropsItsMapEntriesButKeepsTheMembersObjects) {
  DBCacheStage stages(queue_);
  stages.cacheStage(stage(1));
  stages.cacheStage(stage(2, /*parent=*/1));
  stages.cacheStage(stage(3, /*parent=*/1));
  stages.cacheStage(stage(4));

  stages.removeAllStagesWithID(1);
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (Map{{4, 4}}));
  // Deliberately narrow: the members 2 and 3 keep their objects.
  EXPECT_EQ(idsOf(stages.getObjects()), (V{2, 3, 4}));

  // A member's own removal takes its entry and object only.
  stages.cacheStage(stage(5, /*parent=*/4));
  stages.removeStage(5);
  stages.removeStage(99);  // not cached
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (Map{{4, 4}}));
  EXPECT_EQ(idsOf(stages.getObjects()), (V{2, 3, 4}));
}

TEST_F(DBCacheStageTest, RemovalsDoNotFillWhileCachingFillsFirst) {
  followStage(stage(1));
  followStage(stage(2, /*parent=*/1));
  DBCacheStage stages(queue_);
  stages.invalidate();
  stages.removeStage(1);
  stages.removeAllStagesWithID(1);
  EXPECT_FALSE(stages.objects());
  EXPECT_FALSE(stages.dictionary());
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (Map{{1, 1}, {2, 1}}));

  stages.invalidate();
  stages.cacheStage(stage(3));
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (Map{{1, 1}, {2, 1}, {3, 3}}));
}

TEST_F(DBCacheStageTest, MutedStagesMapToThemselves) {
  muteStage(stage(2, /*parent=*/1));  // only the ID is read back
  DBCacheMutedStage muted(queue_);
  EXPECT_EQ(muted.getObjectDictionary().snapshot(), (Map{{2, 2}}));
  muted.cacheMutedStage(stage(3, /*parent=*/1));
  EXPECT_EQ(muted.getObjectForKey(3), 1);

  muted.invalidate();
  muted.removeMutedStage(2);  // does not fill
  EXPECT_FALSE(muted.objects());
  muted.cacheMutedStage(stage(4));  // fills first
  EXPECT_EQ(muted.getObjectDictionary().snapshot(), (Map{{2, 2}, {4, 4}}));
  muted.removeMutedStage(2);
  EXPECT_EQ(idsOf(muted.getObjects()), (V{4}));
}

}  // namespace
}  // namespace kestrel
