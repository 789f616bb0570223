// A news item the user has read (entity "MONewsItem").
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel {

class MONewsItem : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MONewsItem";
  using ManagedObjectView::ManagedObjectView;

  std::optional<std::string> id() const;
  void setId(const std::optional<std::string>& value);
};

}  // namespace kestrel
