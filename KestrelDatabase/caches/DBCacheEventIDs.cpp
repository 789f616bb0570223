#include <KestrelDatabase/caches/DBCacheEventIDs.h>

namespace kestrel {

void DBCacheEventIDs::cacheEvent(const model::Event& event) {
  const Lock lock = enter("cacheEvent");
  if (IDSet* ids = mutableIDs()) ids->insert(event.ID);
}

void DBCacheEventIDs::removeEvent(std::int64_t eventID) {
  const Lock lock = enter("removeEvent");
  if (IDSet* ids = mutableIDs()) ids->erase(eventID);
}

}  // namespace kestrel
