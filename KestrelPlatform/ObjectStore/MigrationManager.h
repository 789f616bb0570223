// What a migration policy works with: the two model versions of one
// migration step and the destination side, where new objects are inserted.
// The objects inserted here are written to the new store layout when the
// entity's mapping has run, inside the migration's one transaction.
//
// Thread-safety: used on the loading thread only.
// Ownership: owns the destination objects until they are written.
#pragma once

#include <KestrelPlatform/ObjectStore/ManagedObject.h>
#include <KestrelPlatform/ObjectStore/ModelVersion.h>

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

namespace kestrel::platform {

class MigrationManager {
 public:
  MigrationManager(std::shared_ptr<const ModelVersion> source,
                   std::shared_ptr<const ModelVersion> destination);
  MigrationManager(const MigrationManager&) = delete;
  MigrationManager& operator=(const MigrationManager&) = delete;

  const ModelVersion& sourceVersion() const { return *source_; }
  const ModelVersion& destinationVersion() const { return *destination_; }

  /// A new object of the destination entity with its defaults, to be
  /// written with the migration; nullptr for an unknown entity.
  std::shared_ptr<ManagedObject> insertNewDestinationObject(std::string_view entityName);

  /// Hands over (and forgets) the destination objects made so far for the
  /// entity at `entityIndex` of the destination version, in insertion order.
  std::vector<std::shared_ptr<ManagedObject>> takeDestinationObjects(std::size_t entityIndex);

 private:
  std::shared_ptr<const ModelVersion> source_;
  std::shared_ptr<const ModelVersion> destination_;
  std::vector<std::vector<std::shared_ptr<ManagedObject>>> inserted_;  // per destination entity
  std::vector<std::int64_t> nextKey_;                                  // per destination entity
};

}  // namespace kestrel::platform
