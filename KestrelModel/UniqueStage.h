// A unique stage: a stage-sport competition across its seasons (e.g. a racing
// series), with its colours and category.
//
// Equality: compares equal when the IDs are equal; std::hash hashes the ID.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/CategoryModel.h>
#include <KestrelModel/StageColors.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct UniqueStage {
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  std::optional<StageColors> stageColors{};
  /// Its category; the sport is `category->sport`.
  std::optional<CategoryModel> category{};

  friend bool operator==(const UniqueStage& lhs, const UniqueStage& rhs) {
    return lhs.ID == rhs.ID;
  }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::UniqueStage> {
  std::size_t operator()(const kestrel::model::UniqueStage& stage) const noexcept {
    return std::hash<std::int64_t>{}(stage.ID);
  }
};
