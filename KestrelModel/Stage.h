// A stage of a stage sport: a race, a session or a whole season's event,
// possibly inside a parent stage (`stageEvent`, e.g. a race weekend holding
// its sessions). A stage belongs to a season, the season to a unique stage,
// and the unique stage to a category.
//
// Equality: compares equal when the IDs are equal (other fields are ignored);
// std::hash hashes the ID. The caches' ordered sets rely on this.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
// Ownership: the parent stage is shared (std::shared_ptr) between copies; copy
// it before changing it through one copy.
#pragma once

#include <KestrelModel/CategoryModel.h>
#include <KestrelModel/EventStatus.h>
#include <KestrelModel/StageSeason.h>
#include <KestrelModel/StageType.h>
#include <KestrelModel/Team.h>
#include <KestrelModel/UniqueStage.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace kestrel::model {

struct Stage {
  std::int64_t ID = 0;
  /// Display name, e.g. "Monaco Grand Prix".
  std::optional<std::string> desc{};
  EventStatus status{};
  /// Seconds since 1970-01-01 UTC.
  std::optional<std::int64_t> startDateTimestamp{};
  std::optional<StageType> type{};
  bool hasCompetitorResults = false;
  bool hasTeamResults = false;
  std::optional<std::string> flag{};
  /// The winning competitor (ID and name).
  std::optional<Team> winner{};
  /// The parent stage, or null for a stage at the top of its group.
  std::shared_ptr<Stage> stageEvent{};
  std::optional<StageSeason> stageSeason{};

  /// The stage's season: its own, else its parent stage's (recursively);
  /// null when none is set.
  const StageSeason* getStageSeason() const;
  /// The unique stage of getStageSeason(); null when there is none.
  const UniqueStage* uniqueStage() const;
  /// The category of uniqueStage(); null when there is none.
  const CategoryModel* category() const;

  friend bool operator==(const Stage& lhs, const Stage& rhs) { return lhs.ID == rhs.ID; }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::Stage> {
  std::size_t operator()(const kestrel::model::Stage& stage) const noexcept {
    return std::hash<std::int64_t>{}(stage.ID);
  }
};
