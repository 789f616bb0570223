#include "GardenModel.h"

#include <gtest/gtest.h>

namespace kestrel::testing {

using namespace platform;

std::string gardenModelJson(const std::string& mappings, const std::string& current) {
  return R"({"name": "Garden", "currentVersion": ")" + current + R"(",
    "versions": [
      {"name": "Garden", "entities": [
        {"name": "Plant", "attributes": [
          {"name": "id", "type": "integer64"},
          {"name": "name", "type": "string"},
          {"name": "height", "type": "integer64"}]},
        {"name": "Shed", "attributes": [{"name": "id", "type": "integer64"}]}]},
      {"name": "Garden 2", "entities": [
        {"name": "Plant", "attributes": [
          {"name": "id", "type": "integer64"},
          {"name": "name", "type": "string"},
          {"name": "watered", "type": "boolean", "default": true},
          {"name": "note", "type": "binary"},
          {"name": "rank", "type": "integer64", "optional": true}],
         "fetchIndexes": [{"name": "byId", "attributes": ["id"]}]},
        {"name": "Bed", "attributes": [{"name": "label", "type": "string", "optional": false}],
         "relationships": [{"name": "plants", "destination": "Plant", "toMany": true,
                            "deleteRule": "cascade"}]}]}],
    "mappings": )" + mappings + "}";
}

std::shared_ptr<const ObjectModel> modelFromJson(const std::string& json) {
  std::optional<StoreError> error;
  auto model = ObjectModel::fromJson(
      std::span(reinterpret_cast<const std::uint8_t*>(json.data()), json.size()), error);
  EXPECT_TRUE(model) << (error ? error->fullDescription() : "");
  return model;
}

std::shared_ptr<PersistentContainer> gardenContainer(const std::filesystem::path& directory,
                                                     std::shared_ptr<const ObjectModel> model) {
  if (!model) model = modelFromJson(gardenModelJson());
  return PersistentContainer::create("Garden", std::move(model), directory);
}

std::optional<StoreError> loadStores(PersistentContainer& container) {
  std::optional<StoreError> first;
  container.loadPersistentStores([&](const StoreDescription&, const std::optional<StoreError>& error) {
    if (error && !first) first = error;
  });
  return first;
}

std::shared_ptr<ObjectContext> childOfView(const PersistentContainer& container) {
  auto child = ObjectContext::create(ObjectContext::ConcurrencyType::privateQueue);
  child->setParent(container.viewContext());
  return child;
}

}  // namespace kestrel::testing
