// A sport (football, tennis, ...). Events, teams, players, tournaments and
// stages carry one; several tables keep only its slug, so a sport can exist
// with nothing but a slug (see sportWithSlug).
//
// Equality: unlike the other identified types, two sports compare equal when
// both their IDs and their slugs are equal, because sports made from a slug
// alone all have ID 0. The hash covers the ID only (equal sports hash equally).
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::model {

struct Sport {
  /// 0 when only the slug is known.
  std::int64_t ID = 0;
  std::optional<std::string> name{};
  /// Stable text key, e.g. "football", "ice-hockey".
  std::optional<std::string> slug{};

  /// A sport known only by its slug: `slug` set, ID 0, no name.
  static Sport sportWithSlug(std::string_view slug) {
    Sport sport;
    sport.slug = std::string(slug);
    return sport;
  }

  friend bool operator==(const Sport& lhs, const Sport& rhs) {
    return lhs.ID == rhs.ID && lhs.slug == rhs.slug;
  }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::Sport> {
  std::size_t operator()(const kestrel::model::Sport& sport) const noexcept {
    return std::hash<std::int64_t>{}(sport.ID);
  }
};
