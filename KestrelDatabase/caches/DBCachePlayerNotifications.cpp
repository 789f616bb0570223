#include <KestrelDatabase/caches/DBCachePlayerNotifications.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>

namespace kestrel {

DBCachePlayerNotifications::DBCachePlayerNotifications(WeakQueue queue)
    : DBCacheAbstract("DBCachePlayerNotifications", std::move(queue), FillNeed::whileIDsAbsent) {
  initCache();
}

void DBCachePlayerNotifications::fill() {
  if (!IDs()) fillIDsAndWait(&DBTablePlayer::getNotificationPlayerIDs);
}

}  // namespace kestrel
