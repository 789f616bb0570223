// What to fetch from a context, and what comes back.
//
// A request names an entity and may add a predicate, a sort order (after
// which objects come in the order they were first saved), a limit, and the
// properties to fetch: with properties, the result is rows of just those
// values (no objects are made), which is the cheap way to read a few
// attributes of many records.
//
// Thread-safety: plain values.
#pragma once

#include <KestrelPlatform/ObjectStore/ManagedObject.h>
#include <KestrelPlatform/ObjectStore/Predicate.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>
#include <KestrelPlatform/ObjectStore/ValueRows.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::platform {

/// One attribute of a sort order.
struct SortKey {
  std::string attribute;
  bool ascending = true;
};

struct FetchRequest {
  FetchRequest() = default;
  explicit FetchRequest(std::string entity) : entityName(std::move(entity)) {}

  std::string entityName;
  std::optional<Predicate> predicate;
  std::vector<SortKey> sortBy;
  /// 0: no limit.
  std::size_t limit = 0;
  /// Non-empty: FetchResult::rows holds these attributes' values, in this
  /// order (and the records' keys), instead of objects.
  std::vector<std::string> properties;
};

struct FetchResult {
  std::vector<std::shared_ptr<ManagedObject>> objects;
  ValueRows rows;
  /// Set when the fetch failed (and then nothing was fetched).
  std::optional<StoreError> error;
};

}  // namespace kestrel::platform
