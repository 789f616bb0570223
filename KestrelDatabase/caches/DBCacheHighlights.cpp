#include <KestrelDatabase/caches/DBCacheHighlights.h>

namespace kestrel {

DBCacheHighlights::DBCacheHighlights(WeakQueue queue, std::shared_ptr<DataManager> dataManager)
    : DBCacheStoreIDs("DBCacheHighlights", std::move(queue), std::move(dataManager),
                      static_cast<StoreRead>(&DataManager::getHighlightsForCacheWithCompletion)) {
  initCache();
}

}  // namespace kestrel
