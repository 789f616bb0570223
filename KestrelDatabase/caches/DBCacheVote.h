// The user's votes, as the dictionary "<eventId>-<type>" -> vote text, so
// that "how did the user vote on this match?" costs no store fetch. The
// facade keeps it in step with cacheObject(vote, key) and reads it with
// getObjectForKey(key).
//
// Fed from the object store, without waiting: fill() sends
// DataManager::getVotesForCache() and returns; the answer arrives on the
// store's thread and is installed before the cache's next operation looks at
// it (StoreDelivery). Until the store has answered, the dictionary stays
// absent, getObjectForKey() answers nothing and every operation sends a
// further request. A read that failed (the store could not be read)
// changes nothing: what the cache holds stays, and an absent dictionary asks
// again at the next operation. The fill looks at the objects too, which this
// cache never fills, so the dictionary alone decides.
//
// Thread-safety and ownership: as DBCacheAbstract; the cache holds its
// DataManager.
// REQUIRES: with the shared DataManager, the application home is set before
// the first operation (the first request loads the store).
#pragma once

#include <KestrelDatabase/caches/DBCache.h>
#include <KestrelDatabase/caches/StoreDelivery.h>
#include <KestrelDatabase/objectstore/DataManager.h>

#include <memory>
#include <string>

namespace kestrel {

class DBCacheVote final : public DBCache<NoCachedObject, std::string, std::string> {
 public:
  /// Holds the queue weakly and sends the first request to `dataManager`
  /// (DataManager::shared() when null); returns at once.
  explicit DBCacheVote(WeakQueue queue, std::shared_ptr<DataManager> dataManager = nullptr);

  /// The store the cache is fed from.
  const std::shared_ptr<DataManager>& dataManager() const { return dataManager_; }

 private:
  void fill() override;
  void dropContainers() override;

  const std::shared_ptr<DataManager> dataManager_;
  const std::shared_ptr<StoreDelivery<Dictionary>> delivery_;
};

}  // namespace kestrel
