// The kind of a stage (race, qualifying, practice, season, ...), known by ID.
//
// Equality: compares equal when the IDs are equal; std::hash hashes the ID.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace kestrel::model {

struct StageType {
  std::int64_t ID = 0;
  std::optional<std::string> name{};

  StageType() = default;
  explicit StageType(std::int64_t typeID) : ID(typeID) {}

  friend bool operator==(const StageType& lhs, const StageType& rhs) { return lhs.ID == rhs.ID; }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::StageType> {
  std::size_t operator()(const kestrel::model::StageType& type) const noexcept {
    return std::hash<std::int64_t>{}(type.ID);
  }
};
