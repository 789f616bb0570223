// The base operations every cache has: IDs, objects and the dictionary,
// snapshots against the live dictionary, and invalidate().
#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/caches/DBCacheStage.h>
#include <KestrelDatabase/caches/DBCacheTeam.h>
#include <KestrelDatabase/caches/DBCacheTvChannels.h>
#include <gtest/gtest.h>

#include <vector>

#include "caches/CacheFixture.h"

namespace kestrel {
namespace {

using V = std::vector<std::int64_t>;
using DBCacheAbstractTest = testing::CacheTest;

TEST_F(DBCacheAbstractTest, IDsAreCachedRemovedAndAnswered) {
  followEvent(1);
  DBCacheEvent events(queue_);
  events.cacheID(2);
  events.removeIDFromCache(1);
  events.removeIDFromCache(99);  // not cached: nothing changes
  EXPECT_EQ(sorted(events.getIDs()), (V{2}));
  EXPECT_EQ(sorted(events.ids()), (V{2}));
  EXPECT_TRUE(events.containsID(2));
  EXPECT_FALSE(events.containsID(1));
}

TEST_F(DBCacheAbstractTest, InvalidateDropsWhatOnlyMemoryHeldAndTheNextUseRefills) {
  followEvent(1);
  DBCacheEvent events(queue_);
  events.cacheID(99);  // never written to the table
  events.invalidate();
  EXPECT_FALSE(events.IDs());  // absent, not refilled by invalidate() itself

  followEvent(2);  // written while the cache was empty
  EXPECT_FALSE(events.containsID(99));
  EXPECT_TRUE(events.containsID(2));
  EXPECT_EQ(sorted(events.getIDs()), (V{1, 2}));

  // Every container goes, not only the IDs.
  followStage(stage(5));
  DBCacheStage stages(queue_);
  stages.invalidate();
  EXPECT_FALSE(stages.objects());
  EXPECT_FALSE(stages.dictionary());
  stages.initCache();
  EXPECT_EQ(idsOf(*stages.objects()), (V{5}));
}

TEST_F(DBCacheAbstractTest, ObjectsAreAnOrderedSet) {
  followTeam(team(1, "First"));
  DBCacheTeam teams(queue_);
  teams.cacheObject(team(3, "Third"));
  teams.cacheObject(team(2, "Second"));
  // An equal object (same ID) cached again changes neither count nor order,
  // and the cached one stays.
  teams.cacheObject(team(3, "Renamed"));
  EXPECT_EQ(idsOf(teams.getObjects()), (V{1, 3, 2}));
  EXPECT_EQ(teams.getObjects()[1].name, "Third");

  teams.removeObjectFromCache(team(3, "any name"));
  teams.removeObjectFromCache(team(42));  // not cached
  EXPECT_EQ(idsOf(teams.getObjects()), (V{1, 2}));
  // The base object operations leave the IDs alone.
  EXPECT_EQ(sorted(teams.getIDs()), (V{1}));

  // An ordered set of values without IDs compares all fields.
  DBCacheTvChannels channels(queue_);
  const model::TVChannelSuggestion yes{.channelId = 1, .eventId = 2, .approve = true};
  const model::TVChannelSuggestion no{.channelId = 1, .eventId = 2, .approve = false};
  channels.cacheObject(yes);
  channels.cacheObject(no);
  channels.cacheObject(yes);
  EXPECT_EQ(channels.getObjects(), (std::vector<model::TVChannelSuggestion>{yes, no}));
}

TEST_F(DBCacheAbstractTest, DictionaryIgnoresAnAbsentKeyOrObject) {
  DBCacheStage stages(queue_);
  stages.cacheObject(7, std::nullopt);
  stages.cacheObject(std::nullopt, 8);
  EXPECT_EQ(stages.getObjectDictionary().size(), 0u);
  stages.cacheObject(7, 8);
  stages.cacheObject(9, 8);  // replaces
  EXPECT_EQ(stages.getObjectForKey(8), 9);
  EXPECT_EQ(stages.getObjectForKey(7), std::nullopt);
}

TEST_F(DBCacheAbstractTest, SnapshotsAreCopiesWhileTheDictionaryIsLive) {
  followTeam(team(1));
  DBCacheTeam teams(queue_);
  auto ids = teams.getIDs();
  ids.insert(2);
  auto objects = teams.getObjects();
  objects.push_back(team(2));
  EXPECT_EQ(sorted(teams.getIDs()), (V{1}));
  EXPECT_EQ(idsOf(teams.getObjects()), (V{1}));

  followStage(stage(5));
  DBCacheStage stages(queue_);
  auto live = stages.getObjectDictionary();
  ASSERT_TRUE(live);
  EXPECT_EQ(live.get(5), 5);
  live.set(6, 5);  // written through the handle: the cache sees it
  EXPECT_EQ(stages.getObjectForKey(6), 5);
  stages.cacheObject(7, 5);  // written by the cache: the handle sees it
  EXPECT_EQ(live.get(5), 7);
  EXPECT_TRUE(live.erase(6));
  EXPECT_EQ(stages.getObjectForKey(6), std::nullopt);
  EXPECT_TRUE(live.refersToSameDictionary(stages.getObjectDictionary()));

  // After invalidate() the refilled cache has a dictionary of its own; the
  // old handle no longer reaches it.
  stages.invalidate();
  live.set(8, 8);
  EXPECT_EQ(stages.getObjectForKey(8), std::nullopt);
  EXPECT_FALSE(live.refersToSameDictionary(stages.getObjectDictionary()));
  EXPECT_EQ(stages.getObjectDictionary().snapshot(), (DBCacheStage::Dictionary{{5, 5}}));

  // A cache that fills no dictionary hands out an absent one, which ignores
  // writes.
  auto none = teams.getObjectDictionary();
  EXPECT_FALSE(none);
  none.set(1, 1);
  EXPECT_EQ(none.size(), 0u);
}

}  // namespace
}  // namespace kestrel
