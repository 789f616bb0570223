#include <KestrelDatabase/caches/DBCacheMutedEvent.h>
#include <KestrelDatabase/tables/DBTableEvent.h>

namespace kestrel {

DBCacheMutedEvent::DBCacheMutedEvent(WeakQueue queue)
    : DBCacheEventIDs("DBCacheMutedEvent", std::move(queue), FillNeed::whileIDsAbsent) {
  initCache();
}

void DBCacheMutedEvent::fill() {
  if (!IDs()) fillIDsAndWait(&DBTableEvent::getMutedEventIDs);
}

}  // namespace kestrel
