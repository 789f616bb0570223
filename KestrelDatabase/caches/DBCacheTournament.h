// The followed unique tournaments ("leagues"): their unique tournament IDs
// ("is this league followed?") and the tournament objects, in the order the
// table's set delivered them, then as cached.
//
// The cache keys everything by `uniqueId`, as the table does, not by the
// tournament's own ID: the IDs are unique tournament IDs, and two tournament
// objects of one unique tournament never sit side by side (the objects are a
// set by uniqueId, also for cacheObject() and removeObjectFromCache()). A
// tournament without a uniqueId adds no ID.
//
// Fills when its IDs or its objects are absent, from
// DBTableTournament::getTournaments(), waiting for the read: the objects
// first, then their unique IDs. Both typed operations fill the cache first.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCache.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelModel/Tournament.h>

#include <cstdint>

namespace kestrel {

class DBCacheTournament final
    : public DBCache<model::Tournament, std::int64_t, std::int64_t, DBTableTournament::SameUniqueId,
                     DBTableTournament::UniqueIdHash> {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheTournament(WeakQueue queue);

  /// Adds the tournament's uniqueId, then replaces the first cached
  /// tournament with that uniqueId in place, or appends it.
  void cacheTournament(const model::Tournament& tournament);
  /// Removes the unique tournament ID, and the first tournament with it.
  void removeTournament(std::int64_t uniqueTournamentID);

 private:
  void fill() override;
};

}  // namespace kestrel
