#include "caches/CacheFixture.h"

#include <KestrelDatabase/caches/DBCacheDefaultUniqueTournaments.h>
#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/caches/DBCacheFantasyCompetition.h>
#include <KestrelDatabase/caches/DBCacheMutedEvent.h>
#include <KestrelDatabase/caches/DBCacheMutedStage.h>
#include <KestrelDatabase/caches/DBCachePlayer.h>
#include <KestrelDatabase/caches/DBCachePlayerNotifications.h>
#include <KestrelDatabase/caches/DBCacheStage.h>
#include <KestrelDatabase/caches/DBCacheTeam.h>
#include <KestrelDatabase/caches/DBCacheTeamNotifications.h>
#include <KestrelDatabase/caches/DBCacheTournament.h>
#include <KestrelDatabase/caches/DBCacheTournamentNotifications.h>
#include <KestrelDatabase/caches/DBCacheTvChannels.h>

namespace kestrel::testing {
namespace {

enum Containers { kIDs = 1, kObjects = 2, kDictionary = 4 };

template <class Cache>
WaitingCache entry(const char* name, int containers) {
  return {name,
          [](DBCacheAbstract::WeakQueue queue) -> std::unique_ptr<DBCacheAbstract> {
            return std::make_unique<Cache>(std::move(queue));
          },
          [containers](const DBCacheAbstract& base) -> std::optional<std::size_t> {
            const auto& cache = dynamic_cast<const Cache&>(base);
            std::size_t size = 0;
            if (containers & kIDs) {
              if (!cache.IDs()) return std::nullopt;
              size += cache.IDs()->size();
            }
            if constexpr (requires { cache.objects(); }) {
              if (containers & kObjects) {
                if (!cache.objects()) return std::nullopt;
                size += cache.objects()->size();
              }
              if (containers & kDictionary) {
                if (!cache.dictionary()) return std::nullopt;
                size += cache.dictionary()->size();
              }
            }
            return size;
          }};
}

}  // namespace

const std::vector<WaitingCache>& waitingCaches() {
  static const std::vector<WaitingCache> caches = {
      entry<DBCacheEvent>("DBCacheEvent", kIDs),
      entry<DBCacheMutedEvent>("DBCacheMutedEvent", kIDs),
      entry<DBCacheMutedStage>("DBCacheMutedStage", kObjects | kDictionary),
      entry<DBCacheDefaultUniqueTournaments>("DBCacheDefaultUniqueTournaments", kIDs | kObjects),
      entry<DBCachePlayer>("DBCachePlayer", kIDs | kObjects),
      entry<DBCachePlayerNotifications>("DBCachePlayerNotifications", kIDs),
      entry<DBCacheTeam>("DBCacheTeam", kIDs | kObjects),
      entry<DBCacheTeamNotifications>("DBCacheTeamNotifications", kIDs),
      entry<DBCacheTournament>("DBCacheTournament", kIDs | kObjects),
      entry<DBCacheTournamentNotifications>("DBCacheTournamentNotifications", kIDs),
      entry<DBCacheTvChannels>("DBCacheTvChannels", kObjects),
      entry<DBCacheStage>("DBCacheStage", kObjects | kDictionary),
      entry<DBCacheFantasyCompetition>("DBCacheFantasyCompetition", kIDs),
  };
  return caches;
}

}  // namespace kestrel::testing
