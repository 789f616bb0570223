#include <KestrelPlatform/ObjectStore/PersistentContainer.h>

#include <KestrelPlatform/AppHome.h>

namespace kestrel::platform {

std::shared_ptr<PersistentContainer> PersistentContainer::create(
    std::string name, std::shared_ptr<const ObjectModel> model,
    std::optional<std::filesystem::path> directory) {
  return std::make_shared<PersistentContainer>(std::move(name), std::move(model), std::move(directory));
}

PersistentContainer::PersistentContainer(std::string name, std::shared_ptr<const ObjectModel> model,
                                         std::optional<std::filesystem::path> directory)
    : name_(std::move(name)),
      model_(std::move(model)),
      directory_(std::move(directory)),
      coordinator_(std::make_shared<StoreCoordinator>(model_)),
      viewContext_(ObjectContext::create(ObjectContext::ConcurrencyType::mainQueue)),
      descriptions_(1) {
  viewContext_->setPersistentStoreCoordinator(coordinator_);
}

std::shared_ptr<ObjectContext> PersistentContainer::newBackgroundContext() const {
  auto context = ObjectContext::create(ObjectContext::ConcurrencyType::privateQueue);
  context->setPersistentStoreCoordinator(coordinator_);
  return context;
}

std::filesystem::path PersistentContainer::defaultDirectory() const {
  if (directory_) return *directory_;
  return AppHome::applicationSupport();
}

std::filesystem::path PersistentContainer::defaultStoreLocation() const {
  return defaultDirectory() / (name_ + ".sqlite");
}

std::vector<StoreDescription> PersistentContainer::persistentStoreDescriptions() const {
  std::lock_guard lock(mutex_);
  return descriptions_;
}

void PersistentContainer::setPersistentStoreDescriptions(std::vector<StoreDescription> descriptions) {
  std::lock_guard lock(mutex_);
  descriptions_ = std::move(descriptions);
}

void PersistentContainer::setMigrationPolicy(std::string name,
                                             std::shared_ptr<EntityMigrationPolicy> policy) {
  std::lock_guard lock(mutex_);
  policies_[std::move(name)] = std::move(policy);
}

void PersistentContainer::loadPersistentStores(const LoadHandler& handler) {
  std::vector<std::pair<StoreDescription, std::optional<StoreError>>> outcomes;
  {
    std::lock_guard lock(mutex_);
    for (StoreDescription description : descriptions_) {
      if (!description.location) description.location = defaultStoreLocation();
      auto error = coordinator_->addPersistentStore(description, policies_);
      outcomes.emplace_back(std::move(description), std::move(error));
    }
  }
  if (!handler) return;
  for (const auto& [description, error] : outcomes) handler(description, error);
}

}  // namespace kestrel::platform
