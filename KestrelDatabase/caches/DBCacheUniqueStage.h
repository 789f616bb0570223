// The IDs of the followed unique stages, from
// DataManager::getUniqueStagesForCacheWithCompletion(). The facade keeps it
// in step with cacheID() and removeIDFromCache(); the store's wholesale
// changes (deleting all) call for invalidate() and initCache().
//
// Fills without waiting, as DBCacheStoreIDs describes.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheStoreIDs.h>

#include <memory>

namespace kestrel {

class DBCacheUniqueStage final : public DBCacheStoreIDs {
 public:
  /// Holds the queue weakly and sends the first request to `dataManager`
  /// (DataManager::shared() when null); returns at once.
  explicit DBCacheUniqueStage(WeakQueue queue, std::shared_ptr<DataManager> dataManager = nullptr);
};

}  // namespace kestrel
