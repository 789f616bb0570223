// The user's TV channel answers ("is this event on this channel?"), in the
// order the table's set delivered them, then as cached; the facade keeps it
// in step with cacheObject() and removeObjectFromCache(). Only the objects
// are used: the IDs and the dictionary stay absent.
//
// Fills when its objects are absent, from
// DBTableTvChannels::getTvChannelTvChannelSuggestions(), waiting for the
// read. Having made its semaphore, the fill looks at the objects once more
// and neither reads nor waits when they have been filled meanwhile.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCache.h>
#include <KestrelModel/TVChannelSuggestion.h>

namespace kestrel {

class DBCacheTvChannels final : public DBCache<model::TVChannelSuggestion> {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheTvChannels(WeakQueue queue);

 private:
  void fill() override;
};

}  // namespace kestrel
