// The followed stages (favourites that are not hidden, muted ones included,
// that started at most a week ago or start later), oldest start first, then
// as cached, with the stage map of DBCacheStageMap.
//
// Fills from DBTableStage::getAllFavoriteStages(). cacheStage() fills the
// cache first; removeStage() and removeAllStagesWithID() do not, so after
// invalidate() they change nothing until the next operation that fills.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheStageMap.h>

#include <cstdint>

namespace kestrel {

class DBCacheStage final : public DBCacheStageMap {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheStage(WeakQueue queue);

  /// Maps the stage to its group's head, then replaces the stage in place or
  /// appends it.
  void cacheStage(const model::Stage& stage);
  /// Removes the stage's map entry and the first stage with the ID.
  void removeStage(std::int64_t stageID);
  /// Removes the stage (removeStage()), then the map entries of every stage
  /// grouped under the ID. Deliberately narrow: the other stages of the group
  /// keep their objects; only the stage with this very ID loses its object.
  void removeAllStagesWithID(std::int64_t stageID);

 private:
  void fill() override;
};

}  // namespace kestrel
