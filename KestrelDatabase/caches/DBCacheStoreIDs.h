// What the two ID caches fed from the object store share: a set of IDs that
// the store delivers without the cache waiting for it. fill() sends the
// cache's read to DataManager and returns; the answer arrives on the store's
// thread and is installed before the cache's next operation looks at it
// (StoreDelivery). Until the store has answered, the IDs stay absent (getIDs()
// gives the empty set) and every operation sends a further request. A read
// that failed (the store could not be read) changes nothing: what the cache
// holds stays, and an absent set asks again at the next operation.
//
// Thread-safety and ownership: as DBCacheAbstract; the cache holds its
// DataManager.
// REQUIRES: with the shared DataManager, the application home is set before
// the first operation (the first request loads the store).
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelDatabase/caches/StoreDelivery.h>
#include <KestrelDatabase/objectstore/DataManager.h>

#include <memory>

namespace kestrel {

class DBCacheStoreIDs : public DBCacheAbstract {
 public:
  /// The store the cache is fed from.
  const std::shared_ptr<DataManager>& dataManager() const { return dataManager_; }

 protected:
  /// One of DataManager's ID reads for caches.
  using StoreRead = void (DataManager::*)(DataManager::IDSetCompletion completion);

  /// Holds the queue weakly and `dataManager` (DataManager::shared() when
  /// null). The concrete cache's constructor sends the first request.
  DBCacheStoreIDs(const char* name, WeakQueue queue, std::shared_ptr<DataManager> dataManager,
                  StoreRead read);

 private:
  void fill() override;
  void dropContainers() override;

  const std::shared_ptr<DataManager> dataManager_;
  const StoreRead read_;
  const std::shared_ptr<StoreDelivery<IDSet>> delivery_;
};

}  // namespace kestrel
