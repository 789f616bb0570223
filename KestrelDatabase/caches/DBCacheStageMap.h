// What the two stage caches share: the stages themselves (an ordered set by
// ID) and the stage map, a dictionary from each cached stage's ID to the ID
// of the stage heading its group: its parent's (`stageEvent`) ID when it has
// a parent, otherwise its own. The map finds every stage of a group by the
// head's ID.
//
// Fills when the dictionary or the objects are absent, from the cache's read,
// waiting for it: the objects first, then a new map with one entry per stage
// (nothing when the read failed). The IDs stay absent.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCache.h>
#include <KestrelModel/Stage.h>

#include <cstdint>
#include <functional>
#include <utility>

namespace kestrel {

class DBCacheStageMap : public DBCache<model::Stage> {
 public:
  /// The ID the stage map holds for the stage: its parent's, or its own.
  static std::int64_t groupHeadOf(const model::Stage& stage);

 protected:
  using DBCache::DBCache;

  /// The waiting fill from `read` (a list or a set of stages). A read that
  /// failed installs nothing: the containers stay absent.
  template <class Stages>
  void fillStagesAndWait(void (*read)(const Queue&,
                                      const std::function<void(ReadResult<Stages>)>&)) {
    if (dictionary() && objects()) return;
    fillAndWait([this, read](const Queue& queue, const Signal& done) {
      read(queue, [this, &done](ReadResult<Stages> stages) {
        if (stages) {
          setObjects(orderedSet(std::move(*stages)));
          setDictionary(Dictionary{});
          for (const model::Stage& stage : *objects()) mapStage(stage);
        }
        done();
      });
    });
  }

  /// Sets the stage's map entry (an existing one is overwritten), then
  /// replaces the stage in place or appends it. Lock held.
  void cacheStageLocked(const model::Stage& stage);
  /// Removes the map entry under the ID and the first stage with the ID.
  /// Lock held.
  void removeStageLocked(std::int64_t stageID);

 private:
  void mapStage(const model::Stage& stage);
};

}  // namespace kestrel
