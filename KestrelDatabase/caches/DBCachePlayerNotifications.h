// The IDs of the followed players with notifications enabled. The facade
// keeps it in step with cacheID() and removeIDFromCache().
//
// Fills when its IDs are absent, from
// DBTablePlayer::getNotificationPlayerIDs(), waiting for the read; a read that fails
// leaves the IDs absent, to be read again by the next operation. Only
// while they are absent has the fill work to do, so containsID() skips it.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>

namespace kestrel {

class DBCachePlayerNotifications final : public DBCacheAbstract {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCachePlayerNotifications(WeakQueue queue);

 private:
  void fill() override;
};

}  // namespace kestrel
