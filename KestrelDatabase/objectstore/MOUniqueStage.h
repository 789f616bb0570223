// A unique stage the user follows (entity "MOUniqueStage").
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>

#include <cstdint>

namespace kestrel {

class MOUniqueStage : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MOUniqueStage";
  using ManagedObjectView::ManagedObjectView;

  std::int64_t id() const;
  void setId(std::int64_t value);
};

}  // namespace kestrel
