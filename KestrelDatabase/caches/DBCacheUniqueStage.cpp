#include <KestrelDatabase/caches/DBCacheUniqueStage.h>

namespace kestrel {

DBCacheUniqueStage::DBCacheUniqueStage(WeakQueue queue, std::shared_ptr<DataManager> dataManager)
    : DBCacheStoreIDs("DBCacheUniqueStage", std::move(queue), std::move(dataManager),
                      static_cast<StoreRead>(&DataManager::getUniqueStagesForCacheWithCompletion)) {
  initCache();
}

}  // namespace kestrel
