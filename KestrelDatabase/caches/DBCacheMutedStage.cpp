#include <KestrelDatabase/caches/DBCacheMutedStage.h>
#include <KestrelDatabase/tables/DBTableStage.h>

namespace kestrel {

DBCacheMutedStage::DBCacheMutedStage(WeakQueue queue)
    : DBCacheStageMap("DBCacheMutedStage", std::move(queue)) {
  initCache();
}

void DBCacheMutedStage::fill() {
  fillStagesAndWait(&DBTableStage::getMutedStages);
}

void DBCacheMutedStage::cacheMutedStage(const model::Stage& stage) {
  const Lock lock = enter("cacheMutedStage");
  fill();
  cacheStageLocked(stage);
}

void DBCacheMutedStage::removeMutedStage(std::int64_t stageID) {
  const Lock lock = enter("removeMutedStage");
  removeStageLocked(stageID);
}

}  // namespace kestrel
