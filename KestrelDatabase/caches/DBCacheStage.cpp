#include <KestrelDatabase/caches/DBCacheStage.h>
#include <KestrelDatabase/tables/DBTableStage.h>

#include <vector>

namespace kestrel {

DBCacheStage::DBCacheStage(WeakQueue queue) : DBCacheStageMap("DBCacheStage", std::move(queue)) {
  initCache();
}

void DBCacheStage::fill() {
  fillStagesAndWait(&DBTableStage::getAllFavoriteStages);
}

void DBCacheStage::cacheStage(const model::Stage& stage) {
  const Lock lock = enter("cacheStage");
  fill();
  cacheStageLocked(stage);
}

void DBCacheStage::removeStage(std::int64_t stageID) {
  const Lock lock = enter("removeStage");
  removeStageLocked(stageID);
}

void DBCacheStage::removeAllStagesWithID(std::int64_t stageID) {
  removeStage(stageID);
  const Lock lock = enter("removeAllStagesWithID");
  Dictionary* map = mutableDictionary();
  if (!map) return;
  std::vector<std::int64_t> keys;
  keys.reserve(map->size());
  for (const auto& entry : *map) keys.push_back(entry.first);
  for (const std::int64_t key : keys) {
    const auto it = map->find(key);
    if (it == map->end() || it->second != stageID) continue;
    map->erase(it);
    // The object removed is the one with the argument's ID, never the
    // grouped stage's: the group's other stages stay in the objects.
    removeFirstObject([stageID](const model::Stage& stage) { return stage.ID == stageID; });
  }
}

}  // namespace kestrel
