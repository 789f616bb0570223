// Connects contexts to the persistent store: holds the model, the loaded
// store (one SQLite file at a time) and the migration policies, loads a
// store from a description and destroys one at a location.
//
// Thread-safety: every member may be called from any thread.
// Ownership: shared by the container and the root contexts; owns the
// loaded store (running operations hold it too, until they finish).
#pragma once

#include <KestrelPlatform/ObjectStore/EntityMigrationPolicy.h>
#include <KestrelPlatform/ObjectStore/ObjectModel.h>
#include <KestrelPlatform/ObjectStore/StoreDescription.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::platform {

class SqliteStore;

class StoreCoordinator {
 public:
  struct StoreInfo {
    std::filesystem::path location;
    std::string type;
  };

  explicit StoreCoordinator(std::shared_ptr<const ObjectModel> model);
  StoreCoordinator(const StoreCoordinator&) = delete;
  StoreCoordinator& operator=(const StoreCoordinator&) = delete;

  const std::shared_ptr<const ObjectModel>& model() const { return model_; }

  /// Loads the store the description names (its location must be set).
  /// A store already loaded from that location is kept, and is no error.
  std::optional<StoreError> addPersistentStore(const StoreDescription& description,
                                               const MigrationPolicies& policies);
  /// The loaded stores with their locations and types.
  std::vector<StoreInfo> persistentStores() const;
  /// Closes the store loaded from `location` (if any) and removes its file
  /// and side files. Objects of that store can no longer be saved.
  std::optional<StoreError> destroyPersistentStore(const std::filesystem::path& location,
                                                   const std::string& type);

  /// The loaded store, or nullptr.
  std::shared_ptr<SqliteStore> store() const;

 private:
  const std::shared_ptr<const ObjectModel> model_;
  mutable std::mutex mutex_;
  std::shared_ptr<SqliteStore> store_;
};

}  // namespace kestrel::platform
