#include <KestrelDatabase/caches/DBCacheTvChannels.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>

#include <utility>

namespace kestrel {

DBCacheTvChannels::DBCacheTvChannels(WeakQueue queue)
    : DBCache("DBCacheTvChannels", std::move(queue)) {
  initCache();
}

void DBCacheTvChannels::fill() {
  if (objects()) return;
  fillAndWait(
      [this](const Queue& queue, const Signal& done) {
        DBTableTvChannels::getTvChannelTvChannelSuggestions(
            queue, [this, &done](ReadResult<DBTableTvChannels::SuggestionSet> suggestions) {
              if (suggestions) setObjects(orderedSet(std::move(*suggestions)));
              done();
            });
      },
      [this] { return !objects(); });
}

}  // namespace kestrel
