#include <KestrelDatabase/caches/DBCacheTournamentNotifications.h>
#include <KestrelDatabase/tables/DBTableTournament.h>

namespace kestrel {

DBCacheTournamentNotifications::DBCacheTournamentNotifications(WeakQueue queue)
    : DBCacheAbstract("DBCacheTournamentNotifications", std::move(queue), FillNeed::whileIDsAbsent) {
  initCache();
}

void DBCacheTournamentNotifications::fill() {
  if (!IDs()) fillIDsAndWait(&DBTableTournament::getNotificationTournamentIDs);
}

}  // namespace kestrel
