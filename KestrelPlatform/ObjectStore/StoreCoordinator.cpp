#include <KestrelPlatform/ObjectStore/StoreCoordinator.h>

#include <KestrelPlatform/ObjectStore/SqliteStore.h>

#include <system_error>
#include <utility>

namespace kestrel::platform {
namespace {

std::filesystem::path normalised(const std::filesystem::path& path) {
  std::error_code ec;
  std::filesystem::path absolute = std::filesystem::absolute(path, ec);
  return (ec ? path : absolute).lexically_normal();
}

}  // namespace

StoreCoordinator::StoreCoordinator(std::shared_ptr<const ObjectModel> model)
    : model_(std::move(model)) {}

std::optional<StoreError> StoreCoordinator::addPersistentStore(const StoreDescription& description,
                                                               const MigrationPolicies& policies) {
  if (!description.location) {
    return StoreError{StoreErrorCode::storeOpenFailed, "The store description has no location.", {}};
  }
  const std::filesystem::path location = normalised(*description.location);
  std::lock_guard lock(mutex_);
  if (store_) {
    if (store_->location() == location) return std::nullopt;
    return StoreError{StoreErrorCode::storeOpenFailed, "Another persistent store is loaded.",
                      {{"path", location.string()}, {"loaded", store_->location().string()}}};
  }
  std::error_code ec;
  std::filesystem::create_directories(location.parent_path(), ec);
  if (ec) {
    return StoreError{StoreErrorCode::storeOpenFailed, "The store folder could not be created.",
                      {{"path", location.parent_path().string()}, {"reason", ec.message()}}};
  }
  std::optional<StoreError> error;
  store_ = SqliteStore::open(location, model_, description, policies, error);
  return error;
}

std::vector<StoreCoordinator::StoreInfo> StoreCoordinator::persistentStores() const {
  std::lock_guard lock(mutex_);
  if (!store_) return {};
  return {StoreInfo{store_->location(), StoreDescription::kSQLiteType}};
}

std::optional<StoreError> StoreCoordinator::destroyPersistentStore(
    const std::filesystem::path& location, const std::string& type) {
  if (type != StoreDescription::kSQLiteType) {
    return StoreError{StoreErrorCode::storeOpenFailed, "Unknown persistent store type.",
                      {{"type", type}}};
  }
  const std::filesystem::path path = normalised(location);
  std::shared_ptr<SqliteStore> removed;
  {
    std::lock_guard lock(mutex_);
    if (store_ && store_->location() == path) removed = std::exchange(store_, nullptr);
  }
  // Waits for a save in progress, then closes the file before removing it.
  if (removed) removed->close();
  return SqliteStore::destroyFiles(path);
}

std::shared_ptr<SqliteStore> StoreCoordinator::store() const {
  std::lock_guard lock(mutex_);
  return store_;
}

}  // namespace kestrel::platform
