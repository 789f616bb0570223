// The membership question the caches exist for ("is this event a
// favourite?"): DBCacheEvent::containsID on a filled cache against the least
// any thread-safe cache costs, the same lookup in a std::unordered_set behind
// a std::recursive_mutex. 1k and 10k cached IDs; half of the questions hit,
// in a fixed scattered order, the same for both. Beside them, getIDs() at 10k:
// the copy of the whole set that a question asked through it would cost.
#include <KestrelDatabase/caches/DBCacheEvent.h>

#include "BenchHome.h"
#include "MembershipQuestions.h"

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <unordered_set>
#include <vector>

namespace kestrel::bench {
namespace {

// The cached IDs are the even numbers below 2n; the questions run over all
// numbers below 2n, so half of them hit.
std::int64_t cachedID(std::int64_t i) {
  return 2 * i;
}

// One filled event cache per size, on a home of its own (the table stays
// empty: the IDs are cached after the fill, as the facade caches them).
class CacheHome {
 public:
  static CacheHome& forIDs(std::int64_t count) {
    static std::map<std::int64_t, std::unique_ptr<CacheHome>> homes;
    auto& home = homes[count];
    if (!home) home.reset(new CacheHome(count));
    return *home;
  }

  DBCacheEvent& cache() { return cache_; }

 private:
  explicit CacheHome(std::int64_t count) : home_("kestrel-cache-bench"), cache_(home_.queue()) {
    for (std::int64_t i = 0; i < count; ++i) cache_.cacheEvent(model::Event{.ID = cachedID(i)});
  }

  BenchHome home_;
  DBCacheEvent cache_;
};

void BM_DBCacheEvent_ContainsID(benchmark::State& state) {
  DBCacheEvent& cache = CacheHome::forIDs(state.range(0)).cache();
  const std::vector<std::int64_t> asked = membershipQuestions(state.range(0));
  std::size_t next = 0;
  std::int64_t hits = 0;
  for (auto _ : state) {
    hits += cache.containsID(asked[next++ & 4095]) ? 1 : 0;
  }
  benchmark::DoNotOptimize(hits);
}

void BM_LockedSet_Contains(benchmark::State& state) {
  std::recursive_mutex mutex;
  std::unordered_set<std::int64_t> set;
  for (std::int64_t i = 0; i < state.range(0); ++i) set.insert(cachedID(i));
  const std::vector<std::int64_t> asked = membershipQuestions(state.range(0));
  std::size_t next = 0;
  std::int64_t hits = 0;
  for (auto _ : state) {
    const std::lock_guard lock(mutex);
    hits += set.contains(asked[next++ & 4095]) ? 1 : 0;
  }
  benchmark::DoNotOptimize(hits);
}

void BM_DBCacheEvent_GetIDs(benchmark::State& state) {
  DBCacheEvent& cache = CacheHome::forIDs(state.range(0)).cache();
  for (auto _ : state) {
    auto ids = cache.getIDs();
    benchmark::DoNotOptimize(ids);
  }
}

BENCHMARK(BM_DBCacheEvent_ContainsID)->Arg(1000)->Arg(10000);
BENCHMARK(BM_LockedSet_Contains)->Arg(1000)->Arg(10000);
BENCHMARK(BM_DBCacheEvent_GetIDs)->Arg(10000);

}  // namespace
}  // namespace kestrel::bench
