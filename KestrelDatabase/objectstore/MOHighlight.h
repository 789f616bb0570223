// A highlight video the user watched (entity "MOHighlight"): its ID, when
// it was last watched (seconds since 1970), and its URL with the time the
// URL was made.
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel {

class MOHighlight : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MOHighlight";
  using ManagedObjectView::ManagedObjectView;

  std::int64_t id() const;
  void setId(std::int64_t value);
  std::int64_t lastWatching() const;
  void setLastWatching(std::int64_t value);
  std::optional<std::string> url() const;
  void setUrl(const std::optional<std::string>& value);
  std::int64_t urlCreated() const;
  void setUrlCreated(std::int64_t value);
};

}  // namespace kestrel
