// What the two event caches share: a set of event IDs, kept in step by the
// facade with cacheEvent() and removeEvent(). Neither fills the cache: after
// invalidate() they act on absent IDs and change nothing until the next
// operation that fills (getIDs(), containsID(), ...).
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelModel/Event.h>

#include <cstdint>

namespace kestrel {

class DBCacheEventIDs : public DBCacheAbstract {
 public:
  /// Adds the event's ID.
  void cacheEvent(const model::Event& event);
  /// Removes the ID.
  void removeEvent(std::int64_t eventID);

 protected:
  using DBCacheAbstract::DBCacheAbstract;
};

}  // namespace kestrel
