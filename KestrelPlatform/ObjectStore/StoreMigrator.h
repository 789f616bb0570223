// Carries a store from the model version it was written with to a newer
// one, one version step at a time, inside the caller's transaction (a
// failure leaves the transaction to be rolled back, so the store stays as
// it was).
//
// Each step builds the destination layout beside the old tables, fills each
// destination entity, drops the old tables and puts the new ones in their
// place. A destination entity is filled
//   - by the entity mappings the model declares for it (the named policy,
//     or the inferred copy when the mapping names none);
//   - otherwise, when the source version has an entity of the same name and
//     inferring is allowed, by copying the attributes both share by name and
//     type with their keys (added attributes take their defaults, removed
//     ones are dropped);
//   - otherwise it starts empty (a new entity).
// Entities of the source version that nothing maps are dropped.
//
// Thread-safety: runs on the loading thread, on a connection it is given.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityMigrationPolicy.h>
#include <KestrelPlatform/ObjectStore/ObjectModel.h>

#include <cstddef>
#include <optional>

namespace kestrel::platform {

class SqliteConnection;

class StoreMigrator {
 public:
  StoreMigrator() = delete;

  /// Migrates from version `from` to version `to` (indexes into the model's
  /// versions, from < to) and records the new version in the metadata.
  static std::optional<StoreError> migrate(SqliteConnection& connection, const ObjectModel& model,
                                           std::size_t from, std::size_t to, bool inferMapping,
                                           const MigrationPolicies& policies);
};

}  // namespace kestrel::platform
