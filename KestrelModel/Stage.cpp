#include <KestrelModel/Stage.h>

namespace kestrel::model {

const StageSeason* Stage::getStageSeason() const {
  // Walk up the parents; a cycle of parents would be a caller's bug, so the
  // walk is bounded by a generous depth rather than trusted blindly.
  constexpr int kMaxDepth = 64;
  const Stage* stage = this;
  for (int depth = 0; stage != nullptr && depth < kMaxDepth; ++depth) {
    if (stage->stageSeason) {
      return &*stage->stageSeason;
    }
    stage = stage->stageEvent.get();
  }
  return nullptr;
}

const UniqueStage* Stage::uniqueStage() const {
  const StageSeason* season = getStageSeason();
  if (season == nullptr || !season->uniqueStage) {
    return nullptr;
  }
  return &*season->uniqueStage;
}

const CategoryModel* Stage::category() const {
  const UniqueStage* unique = uniqueStage();
  if (unique == nullptr || !unique->category) {
    return nullptr;
  }
  return &*unique->category;
}

}  // namespace kestrel::model
