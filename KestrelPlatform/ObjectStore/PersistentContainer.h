// The object store stack in one object: a model, a store coordinator, the
// descriptions of the stores to load, the view context (a main-queue root
// context on the coordinator) and the migration policies the model's
// mappings name.
//
// By default there is one description: the file "<name>.sqlite" in the
// default directory (the application home's Library/Application Support,
// or the directory given at creation), migrated automatically with inferred
// mappings. A description without a location gets that default file.
//
// Thread-safety: every member may be called from any thread; loads are
// serialised.
// Ownership: shared; owns the coordinator and the view context.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityMigrationPolicy.h>
#include <KestrelPlatform/ObjectStore/ObjectContext.h>
#include <KestrelPlatform/ObjectStore/ObjectModel.h>
#include <KestrelPlatform/ObjectStore/StoreCoordinator.h>
#include <KestrelPlatform/ObjectStore/StoreDescription.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::platform {

class PersistentContainer {
 public:
  using LoadHandler =
      std::function<void(const StoreDescription& description, const std::optional<StoreError>& error)>;

  /// A container named `name` for `model`; its stores live in `directory`,
  /// or in the application home's Library/Application Support when absent.
  static std::shared_ptr<PersistentContainer> create(
      std::string name, std::shared_ptr<const ObjectModel> model,
      std::optional<std::filesystem::path> directory = std::nullopt);

  PersistentContainer(std::string name, std::shared_ptr<const ObjectModel> model,
                      std::optional<std::filesystem::path> directory);
  PersistentContainer(const PersistentContainer&) = delete;
  PersistentContainer& operator=(const PersistentContainer&) = delete;

  const std::string& name() const { return name_; }
  const std::shared_ptr<const ObjectModel>& model() const { return model_; }
  const std::shared_ptr<StoreCoordinator>& persistentStoreCoordinator() const {
    return coordinator_;
  }
  /// The main-queue root context.
  const std::shared_ptr<ObjectContext>& viewContext() const { return viewContext_; }
  /// A new private-queue root context on the coordinator.
  std::shared_ptr<ObjectContext> newBackgroundContext() const;

  /// Where stores go by default (resolved afresh on every call).
  std::filesystem::path defaultDirectory() const;
  /// <defaultDirectory>/<name>.sqlite.
  std::filesystem::path defaultStoreLocation() const;

  std::vector<StoreDescription> persistentStoreDescriptions() const;
  void setPersistentStoreDescriptions(std::vector<StoreDescription> descriptions);
  /// Gives the policy a model mapping names; set before loading.
  void setMigrationPolicy(std::string name, std::shared_ptr<EntityMigrationPolicy> policy);

  /// Loads the store of every description, calling the handler once for
  /// each (with the description, its location filled in, and the error if
  /// it failed), on the calling thread, before returning.
  void loadPersistentStores(const LoadHandler& handler);

 private:
  const std::string name_;
  const std::shared_ptr<const ObjectModel> model_;
  const std::optional<std::filesystem::path> directory_;
  const std::shared_ptr<StoreCoordinator> coordinator_;
  const std::shared_ptr<ObjectContext> viewContext_;
  mutable std::mutex mutex_;  // guards the descriptions and policies, serialises loads
  std::vector<StoreDescription> descriptions_;
  MigrationPolicies policies_;
};

}  // namespace kestrel::platform
