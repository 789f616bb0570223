// The pinned unique tournaments: their IDs and the tournaments themselves,
// oldest pin first, then as cached.
//
// Fills when its IDs or its objects are absent, from
// DBTablePinnedUniqueTournaments::getAllUniqueTournaments(), waiting for the
// read: the objects first, then their IDs. Both typed operations fill the
// cache first.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCache.h>
#include <KestrelModel/UniqueTournament.h>

#include <cstdint>

namespace kestrel {

class DBCacheDefaultUniqueTournaments final : public DBCache<model::UniqueTournament> {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheDefaultUniqueTournaments(WeakQueue queue);

  /// Adds the tournament's ID, then replaces the equal tournament in place or appends it.
  void cacheTournament(const model::UniqueTournament& tournament);
  /// Removes the ID, and the first tournament with that ID.
  void removeTournament(std::int64_t uniqueTournamentID);

 private:
  void fill() override;
};

}  // namespace kestrel
