#include <KestrelDatabase/caches/DBCacheTeamNotifications.h>
#include <KestrelDatabase/tables/DBTableTeam.h>

namespace kestrel {

DBCacheTeamNotifications::DBCacheTeamNotifications(WeakQueue queue)
    : DBCacheAbstract("DBCacheTeamNotifications", std::move(queue), FillNeed::whileIDsAbsent) {
  initCache();
}

void DBCacheTeamNotifications::fill() {
  if (!IDs()) fillIDsAndWait(&DBTableTeam::getNotificationTeamIDs);
}

}  // namespace kestrel
