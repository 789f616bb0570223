// The followed players: their IDs and the players themselves, in the order
// the table's set delivered them, then as cached.
//
// Fills when its IDs or its objects are absent, from
// DBTablePlayer::getPlayers(), waiting for the read: the objects first, then
// their IDs. Neither typed operation fills the cache: after invalidate() they
// act on absent containers and change nothing until the next operation that
// fills.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCache.h>
#include <KestrelModel/Player.h>

#include <cstdint>

namespace kestrel {

class DBCachePlayer final : public DBCache<model::Player> {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCachePlayer(WeakQueue queue);

  /// Adds the player's ID, then replaces the equal player in place or appends it.
  void cachePlayer(const model::Player& player);
  /// Removes the ID, and the first player with that ID.
  void removePlayer(std::int64_t playerID);

 private:
  void fill() override;
};

}  // namespace kestrel
