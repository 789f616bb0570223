#include <KestrelDatabase/caches/DBCacheStageMap.h>

namespace kestrel {

std::int64_t DBCacheStageMap::groupHeadOf(const model::Stage& stage) {
  return stage.stageEvent ? stage.stageEvent->ID : stage.ID;
}

void DBCacheStageMap::mapStage(const model::Stage& stage) {
  if (Dictionary* map = mutableDictionary()) map->insert_or_assign(stage.ID, groupHeadOf(stage));
}

void DBCacheStageMap::cacheStageLocked(const model::Stage& stage) {
  mapStage(stage);
  upsertObject(stage);
}

void DBCacheStageMap::removeStageLocked(std::int64_t stageID) {
  if (Dictionary* map = mutableDictionary()) map->erase(stageID);
  removeFirstObject([stageID](const model::Stage& stage) { return stage.ID == stageID; });
}

}  // namespace kestrel
