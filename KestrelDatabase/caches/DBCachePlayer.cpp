#include <KestrelDatabase/caches/DBCachePlayer.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>

namespace kestrel {
namespace {

std::int64_t idOf(const model::Player& player) {
  return player.ID;
}

}  // namespace

DBCachePlayer::DBCachePlayer(WeakQueue queue) : DBCache("DBCachePlayer", std::move(queue)) {
  initCache();
}

void DBCachePlayer::fill() {
  if (IDs() && objects()) return;
  fillObjectsWithIDsAndWait(&DBTablePlayer::getPlayers, idOf);
}

void DBCachePlayer::cachePlayer(const model::Player& player) {
  const Lock lock = enter("cachePlayer");
  cacheWithID(player.ID, player);
}

void DBCachePlayer::removePlayer(std::int64_t playerID) {
  const Lock lock = enter("removePlayer");
  removeWithID(playerID, idOf);
}

}  // namespace kestrel
