#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/tables/DBTableEvent.h>

namespace kestrel {

DBCacheEvent::DBCacheEvent(WeakQueue queue)
    : DBCacheEventIDs("DBCacheEvent", std::move(queue), FillNeed::whileIDsAbsent) {
  initCache();
}

void DBCacheEvent::fill() {
  if (!IDs()) fillIDsAndWait(&DBTableEvent::getFavoriteEventIDs);
}

}  // namespace kestrel
