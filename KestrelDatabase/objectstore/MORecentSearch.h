// A recent search of the user (entity "MORecentSearch"): the searched
// entity's ID and type text, the entity as the application serialised it,
// and when it was last searched (seconds since 1970).
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel {

class MORecentSearch : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MORecentSearch";
  using ManagedObjectView::ManagedObjectView;

  std::int64_t id() const;
  void setId(std::int64_t value);
  std::optional<platform::Bytes> searchEntity() const;
  void setSearchEntity(const std::optional<platform::Bytes>& value);
  std::int64_t timestamp() const;
  void setTimestamp(std::int64_t value);
  std::optional<std::string> type() const;
  void setType(const std::optional<std::string>& value);
};

}  // namespace kestrel
