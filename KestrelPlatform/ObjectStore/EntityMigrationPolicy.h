// How the objects of one entity are carried from an older model version to
// a newer one. A model's mapping names a policy for an entity; the
// container is given the policy under that name before it loads its stores
// (PersistentContainer::setMigrationPolicy). During the migration the policy
// sees each source object in turn and inserts what it makes through the
// migration manager.
//
// The base class is the inferred mapping: one destination object per source
// object, with every attribute the two entities share by name and type.
//
// Thread-safety: policies are called on the thread that loads the store,
// one object at a time.
// Ownership: shared by the container that holds it.
#pragma once

#include <KestrelPlatform/ObjectStore/ObjectModel.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace kestrel::platform {

class ManagedObject;
class MigrationManager;

class EntityMigrationPolicy {
 public:
  EntityMigrationPolicy() = default;
  virtual ~EntityMigrationPolicy() = default;
  EntityMigrationPolicy(const EntityMigrationPolicy&) = delete;
  EntityMigrationPolicy& operator=(const EntityMigrationPolicy&) = delete;

  /// Makes the destination objects for `source` (an object of the mapping's
  /// source entity, read from the old store) by inserting them through
  /// `manager`. Returning false (with `error` set) abandons the migration,
  /// and the store stays as it was.
  virtual bool createDestinationInstances(const ManagedObject& source, const EntityMapping& mapping,
                                          MigrationManager& manager,
                                          std::optional<StoreError>& error);
};

/// Policies by the name a model's mapping gives them.
using MigrationPolicies = std::map<std::string, std::shared_ptr<EntityMigrationPolicy>, std::less<>>;

}  // namespace kestrel::platform
