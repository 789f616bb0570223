#include <KestrelDatabase/caches/DBCacheFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>

namespace kestrel {

DBCacheFantasyCompetition::DBCacheFantasyCompetition() : DBCacheFantasyCompetition(WeakQueue()) {}

DBCacheFantasyCompetition::DBCacheFantasyCompetition(WeakQueue queue)
    : DBCacheAbstract("DBCacheFantasyCompetition", std::move(queue), FillNeed::whileIDsAbsent) {
  initCache();
}

DBCacheFantasyCompetition::DBCacheFantasyCompetition(const std::any& queue)
    : DBCacheFantasyCompetition(databaseQueueIn(queue)) {}

DBCacheAbstract::WeakQueue DBCacheFantasyCompetition::databaseQueueIn(const std::any& value) {
  if (const auto* queue = std::any_cast<Queue>(&value)) return *queue;
  if (const auto* queue = std::any_cast<WeakQueue>(&value)) return *queue;
  return {};
}

void DBCacheFantasyCompetition::fill() {
  if (IDs() || dbQueue().expired()) return;
  fillIDsAndWait(static_cast<ReadIDs>(&DBTableFantasyCompetition::getCompetitionIds));
}

}  // namespace kestrel
