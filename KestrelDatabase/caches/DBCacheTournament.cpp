#include <KestrelDatabase/caches/DBCacheTournament.h>

#include <algorithm>

namespace kestrel {
namespace {

std::optional<std::int64_t> uniqueIdOf(const model::Tournament& tournament) {
  return tournament.uniqueId;
}

}  // namespace

DBCacheTournament::DBCacheTournament(WeakQueue queue)
    : DBCache("DBCacheTournament", std::move(queue)) {
  initCache();
}

void DBCacheTournament::fill() {
  if (IDs() && objects()) return;
  fillAndWait([this](const Queue& queue, const Signal& done) {
    DBTableTournament::getTournaments(
        queue, [this, &done](ReadResult<DBTableTournament::TournamentSet> tournaments) {
          if (tournaments) {
            // One object per followed league, as the table has one row per
            // unique tournament: two leagues whose tournaments share an ID
            // (none stored: 0) are two leagues, not one.
            IDSet ids;
            Objects objects;
            objects.reserve(tournaments->size());
            for (auto& tournament : *tournaments) {
              if (tournament.uniqueId) ids.insert(*tournament.uniqueId);
              objects.push_back(tournament);
            }
            setObjects(std::move(objects));
            setIDs(std::move(ids));
          }
          done();
        });
  });
}

void DBCacheTournament::cacheTournament(const model::Tournament& tournament) {
  const Lock lock = enter("cacheTournament");
  fill();
  IDSet* ids = mutableIDs();
  if (ids && tournament.uniqueId) ids->insert(*tournament.uniqueId);
  // The first object of the same unique tournament is replaced where it
  // stands; without one the tournament goes to the end.
  auto& objects = mutableObjects();
  if (!objects) return;
  const auto same = std::find_if(objects->begin(), objects->end(), [&](const auto& cached) {
    return cached.uniqueId == tournament.uniqueId;
  });
  if (same != objects->end()) {
    *same = tournament;
  } else {
    objects->push_back(tournament);
  }
}

void DBCacheTournament::removeTournament(std::int64_t uniqueTournamentID) {
  const Lock lock = enter("removeTournament");
  fill();
  removeWithID(uniqueTournamentID, uniqueIdOf);
}

}  // namespace kestrel
