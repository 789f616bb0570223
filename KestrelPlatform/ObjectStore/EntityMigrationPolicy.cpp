#include <KestrelPlatform/ObjectStore/EntityMigrationPolicy.h>

#include <KestrelPlatform/ObjectStore/ManagedObject.h>
#include <KestrelPlatform/ObjectStore/MigrationManager.h>

namespace kestrel::platform {

bool EntityMigrationPolicy::createDestinationInstances(const ManagedObject& source,
                                                       const EntityMapping& mapping,
                                                       MigrationManager& manager,
                                                       std::optional<StoreError>& error) {
  auto destination = manager.insertNewDestinationObject(mapping.destinationEntity);
  if (!destination) {
    error = StoreError{StoreErrorCode::migrationFailed, "The migration names an unknown entity.",
                       {{"entity", mapping.destinationEntity}}};
    return false;
  }
  const auto& attributes = destination->entity().attributes();
  for (std::size_t i = 0; i < attributes.size(); ++i) {
    const AttributeDescription* from = source.entity().attribute(attributes[i].name);
    if (from != nullptr && from->type == attributes[i].type) {
      ObjectValue value = source.value(attributes[i].name);
      if (value.isNull() && !attributes[i].optional) continue;  // keeps the default
      destination->setValueAt(i, std::move(value));
    }
  }
  return true;
}

}  // namespace kestrel::platform
