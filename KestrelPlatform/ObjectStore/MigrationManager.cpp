#include <KestrelPlatform/ObjectStore/MigrationManager.h>

#include <utility>

namespace kestrel::platform {

MigrationManager::MigrationManager(std::shared_ptr<const ModelVersion> source,
                                   std::shared_ptr<const ModelVersion> destination)
    : source_(std::move(source)),
      destination_(std::move(destination)),
      inserted_(destination_->entities().size()),
      nextKey_(destination_->entities().size(), 1) {}

std::shared_ptr<ManagedObject> MigrationManager::insertNewDestinationObject(
    std::string_view entityName) {
  const auto& entity = destination_->entity(entityName);
  if (!entity) return nullptr;
  std::vector<ObjectValue> values;
  for (const auto& attribute : entity->attributes()) values.push_back(attribute.defaultValue);
  const ObjectID id{0, entity->index(), nextKey_[entity->index()]++};
  auto object = std::make_shared<ManagedObject>(entity, id, std::move(values),
                                                std::weak_ptr<ObjectContext>(), nullptr);
  inserted_[entity->index()].push_back(object);
  return object;
}

std::vector<std::shared_ptr<ManagedObject>> MigrationManager::takeDestinationObjects(
    std::size_t entityIndex) {
  return std::exchange(inserted_[entityIndex], {});
}

}  // namespace kestrel::platform
