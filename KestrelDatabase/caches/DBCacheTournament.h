// The followed unique tournaments ("leagues"): their unique tournament IDs
// ("is this league followed?") and the tournament objects, in the order the
// table's set delivered them, then as cached.
//
// The IDs are unique tournament IDs (`uniqueId`, the table's key), not the
// tournaments' own IDs; a tournament without a uniqueId adds no ID. The
// typed operations find a cached tournament by its uniqueId, so two
// tournament objects of one unique tournament never sit side by side after
// cacheTournament(). The base object operations (cacheObject(),
// removeObjectFromCache()) use the model's equality, by the tournament's own
// ID, as for every cache of model objects. A fill installs one object per
// row read, also when two leagues' tournaments share an ID (none stored
// reads as 0), so that no followed league goes missing from the objects.
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

class DBCacheTournament final : public DBCache<model::Tournament> {
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
