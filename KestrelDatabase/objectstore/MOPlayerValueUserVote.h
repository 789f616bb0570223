// The user's vote on a player's market value (entity
// "MOPlayerValueUserVote"): the player ID, whether the user thinks the value
// is higher, and the value voted on.
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>

#include <cstdint>

namespace kestrel {

class MOPlayerValueUserVote : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MOPlayerValueUserVote";
  using ManagedObjectView::ManagedObjectView;

  /// The player ID.
  std::int64_t id() const;
  void setId(std::int64_t value);
  bool isValueHigher() const;
  void setIsValueHigher(bool value);
  std::int64_t value() const;
  void setValue(std::int64_t value);
};

}  // namespace kestrel
