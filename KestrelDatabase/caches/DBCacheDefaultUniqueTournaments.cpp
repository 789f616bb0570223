#include <KestrelDatabase/caches/DBCacheDefaultUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>

namespace kestrel {
namespace {

std::int64_t idOf(const model::UniqueTournament& tournament) {
  return tournament.ID;
}

}  // namespace

DBCacheDefaultUniqueTournaments::DBCacheDefaultUniqueTournaments(WeakQueue queue)
    : DBCache("DBCacheDefaultUniqueTournaments", std::move(queue)) {
  initCache();
}

void DBCacheDefaultUniqueTournaments::fill() {
  if (IDs() && objects()) return;
  fillObjectsWithIDsAndWait(&DBTablePinnedUniqueTournaments::getAllUniqueTournaments, idOf);
}

void DBCacheDefaultUniqueTournaments::cacheTournament(const model::UniqueTournament& tournament) {
  const Lock lock = enter("cacheTournament");
  fill();
  cacheWithID(tournament.ID, tournament);
}

void DBCacheDefaultUniqueTournaments::removeTournament(std::int64_t uniqueTournamentID) {
  const Lock lock = enter("removeTournament");
  fill();
  removeWithID(uniqueTournamentID, idOf);
}

}  // namespace kestrel
