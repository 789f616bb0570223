// The followed teams: their IDs ("is this team followed?") and the teams
// themselves, in the order the table's set delivered them, then as cached.
//
// Fills when its IDs or its objects are absent, from DBTableTeam::getTeams(),
// waiting for the read: the objects first, then their IDs. Both typed
// operations fill the cache first.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCache.h>
#include <KestrelModel/Team.h>

#include <cstdint>

namespace kestrel {

class DBCacheTeam final : public DBCache<model::Team> {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheTeam(WeakQueue queue);

  /// Adds the team's ID, then replaces the equal team in place or appends it.
  void cacheTeam(const model::Team& team);
  /// Removes the ID, and the first team with that ID.
  void removeTeamFromCache(std::int64_t teamID);

 private:
  void fill() override;
};

}  // namespace kestrel
