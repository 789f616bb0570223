// The muted stages, in the order the table's set delivered them, then as
// cached, with the stage map of DBCacheStageMap. The table reads only their
// IDs, so a filled stage has no parent and maps to itself.
//
// Fills from DBTableStage::getMutedStages(). cacheMutedStage() fills the
// cache first; removeMutedStage() does not, so after invalidate() it changes
// nothing until the next operation that fills.
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheStageMap.h>

#include <cstdint>

namespace kestrel {

class DBCacheMutedStage final : public DBCacheStageMap {
 public:
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheMutedStage(WeakQueue queue);

  /// Maps the stage to its group's head, then replaces the stage in place or
  /// appends it.
  void cacheMutedStage(const model::Stage& stage);
  /// Removes the stage's map entry and the first stage with the ID.
  void removeMutedStage(std::int64_t stageID);

 private:
  void fill() override;
};

}  // namespace kestrel
