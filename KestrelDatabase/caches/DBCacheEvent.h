// The IDs of the followed events (favourites that are not hidden, muted ones
// included): "is this event a favourite?". The facade keeps it in step with
// cacheEvent() and removeEvent().
//
// Fills when its IDs are absent, from DBTableEvent::getFavoriteEventIDs(),
// waiting for the read; a read that fails
// leaves the IDs absent, to be read again by the next operation. Only
// while they are absent has the fill work to do, so containsID() skips it.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheEventIDs.h>

namespace kestrel {

class DBCacheEvent final : public DBCacheEventIDs {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheEvent(WeakQueue queue);

 private:
  void fill() override;
};

}  // namespace kestrel
