#include <KestrelDatabase/caches/DBCacheTeam.h>
#include <KestrelDatabase/tables/DBTableTeam.h>

namespace kestrel {
namespace {

std::int64_t idOf(const model::Team& team) {
  return team.ID;
}

}  // namespace

DBCacheTeam::DBCacheTeam(WeakQueue queue) : DBCache("DBCacheTeam", std::move(queue)) {
  initCache();
}

void DBCacheTeam::fill() {
  if (IDs() && objects()) return;
  fillObjectsWithIDsAndWait(&DBTableTeam::getTeams, idOf);
}

void DBCacheTeam::cacheTeam(const model::Team& team) {
  const Lock lock = enter("cacheTeam");
  fill();
  cacheWithID(team.ID, team);
}

void DBCacheTeam::removeTeamFromCache(std::int64_t teamID) {
  const Lock lock = enter("removeTeamFromCache");
  fill();
  removeWithID(teamID, idOf);
}

}  // namespace kestrel
