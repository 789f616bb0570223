// Loading stores: models from bundles, new stores, versions, inferred and
// custom migrations, the options that forbid them, read-only inspection,
// and destroying a store with its side files.
#include "GardenModel.h"
#include "support/TempDir.h"

#include <KestrelPlatform/ObjectStore/EntityMigrationPolicy.h>
#include <KestrelPlatform/ObjectStore/ManagedObject.h>
#include <KestrelPlatform/ObjectStore/MigrationManager.h>
#include <KestrelPlatform/ObjectStore/ResourceBundle.h>
#include <KestrelPlatform/ObjectStore/StoreInspector.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>

namespace kestrel::platform {
namespace {

using testing::gardenContainer;
using testing::gardenModelJson;
using testing::loadStores;
using testing::modelFromJson;

std::span<const std::uint8_t> bytesOf(const std::string& text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

// Scales each plant's old height into its rank, and drops plants of height 0.
class PlantV2 : public EntityMigrationPolicy {
 public:
  bool createDestinationInstances(const ManagedObject& source, const EntityMapping& mapping,
                                  MigrationManager& manager, std::optional<StoreError>& error) override {
    if (source.integerValue("height") == 0) return true;
    if (source.integerValue("height") < 0) {
      error = StoreError{StoreErrorCode::migrationFailed, "negative height", {}};
      return false;
    }
    auto plant = manager.insertNewDestinationObject(mapping.destinationEntity);
    plant->setValue("id", source.integerValue("id"));
    plant->setValue("name", source.value("name"));
    plant->setValue("rank", source.integerValue("height") * 10);
    return true;
  }
};

const char* kPlantPolicyMapping = R"([{"source": "Garden", "destination": "Garden 2",
    "entities": [{"source": "Plant", "destination": "Plant", "policy": "PlantV2"}]}])";

class StoreLoadTest : public ::testing::Test {
 protected:
  std::filesystem::path storeFile() const { return dir_.path() / "Garden.sqlite"; }

  // A store of the first version holding plants with the given heights (ids 1...n).
  void writeFirstVersion(const std::vector<std::int64_t>& heights) {
    auto container = gardenContainer(dir_.path(), modelFromJson(gardenModelJson("[]", "Garden")));
    ASSERT_FALSE(loadStores(*container));
    auto context = container->viewContext();
    context->performAndWait([&] {
      for (std::size_t i = 0; i < heights.size(); ++i) {
        auto plant = context->insertNewObject("Plant");
        plant->setValue("id", static_cast<std::int64_t>(i + 1));
        plant->setValue("name", "p" + std::to_string(i + 1));
        plant->setValue("height", heights[i]);
      }
      context->insertNewObject("Shed")->setValue("id", 9);
      ASSERT_FALSE(context->save());
    });
  }

  StoreInspection inspect(const std::string& mappings = "[]") const {
    return StoreInspector::inspect(storeFile(), *modelFromJson(gardenModelJson(mappings)));
  }

  // Loads the current version; every Plant as (id, name, rank, watered).
  using Plant = std::tuple<std::int64_t, std::string, std::optional<std::int64_t>, bool>;
  std::vector<Plant> plantsAfterLoading(PersistentContainer& container) {
    std::vector<Plant> plants;
    auto context = container.newBackgroundContext();
    context->performAndWait([&] {
      for (const auto& p : context->execute(FetchRequest("Plant")).objects) {
        plants.emplace_back(p->integerValue("id"), p->stringValue("name").value_or(""),
                            p->optionalIntegerValue("rank"), p->boolValue("watered"));
      }
    });
    return plants;
  }

  testing::TempDir dir_;
};

TEST_F(StoreLoadTest, ModelsComeFromBundlesAndBadOnesAreErrors) {
  // Registered bytes must outlive the bundle.
  static const std::string model = gardenModelJson();
  static const std::string broken = "{\"name\":";
  ResourceBundle::registerBundle("com.example.garden", {{"Garden", "momd", bytesOf(model)},
                                                        {"Broken", "momd", bytesOf(broken)}});
  const auto bundle = ResourceBundle::bundleWithIdentifier("com.example.garden");
  ASSERT_TRUE(bundle);
  EXPECT_FALSE(ResourceBundle::bundleWithIdentifier("com.example.nothing"));

  std::optional<StoreError> error;
  const auto garden = ObjectModel::fromBundle(*bundle, "Garden", "momd", error);
  ASSERT_TRUE(garden);
  EXPECT_EQ(garden->currentVersion()->name(), "Garden 2");
  EXPECT_EQ(garden->versions().size(), 2u);
  EXPECT_NE(garden->versions()[0]->versionHash(), garden->versions()[1]->versionHash());
  // The relationship's owner link is a hidden, indexed attribute of Plant.
  const auto& plant = *garden->currentVersion()->entity("Plant");
  ASSERT_TRUE(plant.attribute("_Bed_plants"));
  EXPECT_TRUE(plant.attribute("_Bed_plants")->isRelationshipLink);

  EXPECT_FALSE(ObjectModel::fromBundle(*bundle, "Garden", "json", error));
  EXPECT_EQ(error->code, StoreErrorCode::modelNotFound);
  EXPECT_FALSE(ObjectModel::fromBundle(*bundle, "Broken", "momd", error));
  EXPECT_EQ(error->code, StoreErrorCode::invalidModel);

  const char* invalid[] = {
      R"({"name": "M", "versions": []})",
      R"({"name": "M", "versions": [{"name": "1", "entities": [{"name": "E", "attributes": [{"name": "a", "type": "float"}]}]}]})",
      R"({"name": "M", "versions": [{"name": "1", "entities": [{"name": "E", "attributes": [{"name": "a", "type": "string"}, {"name": "a", "type": "string"}]}]}]})",
      R"({"name": "M", "versions": [{"name": "1", "entities": [{"name": "E\" (x", "attributes": []}]}]})",
      R"({"name": "M", "versions": [{"name": "1", "entities": [{"name": "_E"}]}]})",
      R"({"name": "M", "versions": [{"name": "1", "entities": [{"name": "E", "relationships": [{"name": "r", "destination": "F", "toMany": true}]}]}]})",
      R"({"name": "M", "versions": [{"name": "1", "entities": [{"name": "E", "attributes": [{"name": "a", "type": "boolean", "default": "yes"}]}]}]})",
      R"({"name": "M", "currentVersion": "2", "versions": [{"name": "1", "entities": []}]})",
      R"({"name": "M", "versions": [{"name": "1", "entities": [{"name": "E", "fetchIndexes": [{"name": "i", "attributes": ["b"]}]}]}]})",
  };
  for (const char* text : invalid) {
    error.reset();
    EXPECT_FALSE(ObjectModel::fromJson(bytesOf(text), error)) << text;
    ASSERT_TRUE(error) << text;
    EXPECT_EQ(error->code, StoreErrorCode::invalidModel) << text;
  }
}

TEST_F(StoreLoadTest, ANewStoreRecordsItsVersionAndInspectionChangesNothing) {
  const StoreInspection missing = inspect();
  EXPECT_FALSE(missing.exists);
  EXPECT_FALSE(missing.error);
  EXPECT_FALSE(std::filesystem::exists(storeFile()));

  auto container = gardenContainer(dir_.path());
  ASSERT_FALSE(loadStores(*container));
  EXPECT_EQ(container->persistentStoreDescriptions().at(0).location, std::nullopt);
  auto context = container->viewContext();
  context->performAndWait([&] {
    context->insertNewObject("Plant");
    ASSERT_FALSE(context->save());
  });

  std::ifstream before(storeFile(), std::ios::binary);
  const std::string bytes((std::istreambuf_iterator<char>(before)), {});
  const StoreInspection inspection = inspect();
  EXPECT_TRUE(inspection.exists);
  EXPECT_FALSE(inspection.error);
  EXPECT_EQ(inspection.modelVersion, "Garden 2");
  EXPECT_TRUE(inspection.currentVersion);
  EXPECT_FALSE(inspection.needsMigration());
  EXPECT_TRUE(inspection.integrityOk());
  EXPECT_EQ(inspection.recordCounts,
            (std::vector<std::pair<std::string, std::int64_t>>{{"Plant", 1}, {"Bed", 0}}));
  std::ifstream after(storeFile(), std::ios::binary);
  EXPECT_EQ(std::string((std::istreambuf_iterator<char>(after)), {}), bytes);
}

TEST_F(StoreLoadTest, InferredMigrationKeepsSharedAttributesAndAddsAndDropsTheRest) {
  writeFirstVersion({4, 0, 7});
  const StoreInspection old = inspect();
  EXPECT_EQ(old.modelVersion, "Garden");
  EXPECT_TRUE(old.needsMigration());
  EXPECT_EQ(old.recordCounts,
            (std::vector<std::pair<std::string, std::int64_t>>{{"Plant", 3}, {"Shed", 1}}));

  auto container = gardenContainer(dir_.path());
  ASSERT_FALSE(loadStores(*container));
  EXPECT_EQ(plantsAfterLoading(*container),
            (std::vector<Plant>{{1, "p1", std::nullopt, true},
                                {2, "p2", std::nullopt, true},
                                {3, "p3", std::nullopt, true}}));
  const StoreInspection migrated = inspect();
  EXPECT_EQ(migrated.modelVersion, "Garden 2");
  EXPECT_TRUE(migrated.integrityOk());
  EXPECT_EQ(migrated.recordCounts,
            (std::vector<std::pair<std::string, std::int64_t>>{{"Plant", 3}, {"Bed", 0}}));
  // New keys continue after the migrated ones.
  auto context = container->viewContext();
  context->performAndWait([&] {
    EXPECT_EQ(context->insertNewObject("Plant")->objectID().primaryKey, 4);
  });
}

TEST_F(StoreLoadTest, ANamedPolicyMakesTheObjectsOfItsEntity) {
  writeFirstVersion({4, 0, 7});
  auto container = gardenContainer(dir_.path(), modelFromJson(gardenModelJson(kPlantPolicyMapping)));
  container->setMigrationPolicy("PlantV2", std::make_shared<PlantV2>());
  ASSERT_FALSE(loadStores(*container));
  EXPECT_EQ(plantsAfterLoading(*container),
            (std::vector<Plant>{{1, "p1", 40, true}, {3, "p3", 70, true}}));
}

TEST_F(StoreLoadTest, AMigrationThatIsNotAllowedOrFailsLeavesTheStoreAsItWas) {
  writeFirstVersion({4, -1});
  const auto attempt = [&](const std::string& mappings, bool automatic, bool infer,
                           std::shared_ptr<EntityMigrationPolicy> policy) {
    auto container = gardenContainer(dir_.path(), modelFromJson(gardenModelJson(mappings)));
    StoreDescription description;
    description.setShouldMigrateStoreAutomatically(automatic);
    description.setShouldInferMappingModelAutomatically(infer);
    container->setPersistentStoreDescriptions({description});
    if (policy) container->setMigrationPolicy("PlantV2", std::move(policy));
    const auto error = loadStores(*container);
    EXPECT_TRUE(container->persistentStoreCoordinator()->persistentStores().empty());
    return error ? error->code : StoreErrorCode{};
  };
  EXPECT_EQ(attempt("[]", false, true, nullptr), StoreErrorCode::migrationRequired);
  EXPECT_EQ(attempt("[]", true, false, nullptr), StoreErrorCode::migrationFailed);
  EXPECT_EQ(attempt(kPlantPolicyMapping, true, true, nullptr), StoreErrorCode::migrationFailed);
  EXPECT_EQ(attempt(kPlantPolicyMapping, true, true, std::make_shared<PlantV2>()),
            StoreErrorCode::migrationFailed);  // the policy refuses height -1

  const StoreInspection unchanged = inspect();
  EXPECT_EQ(unchanged.modelVersion, "Garden");
  EXPECT_TRUE(unchanged.integrityOk());
  EXPECT_EQ(unchanged.recordCounts,
            (std::vector<std::pair<std::string, std::int64_t>>{{"Plant", 2}, {"Shed", 1}}));
  auto container = gardenContainer(dir_.path());
  EXPECT_FALSE(loadStores(*container));
  EXPECT_EQ(inspect().modelVersion, "Garden 2");
}

TEST_F(StoreLoadTest, StoresOfUnknownVersionsAndForeignFilesAreRejected) {
  auto current = gardenContainer(dir_.path());
  ASSERT_FALSE(loadStores(*current));
  current.reset();
  const auto codeLoadingWith = [&](const std::string& json) {
    auto container = gardenContainer(dir_.path(), modelFromJson(json));
    const auto error = loadStores(*container);
    return error ? error->code : StoreErrorCode{};
  };
  // Newer than the model, another model, a version whose layout changed.
  EXPECT_EQ(codeLoadingWith(gardenModelJson("[]", "Garden")), StoreErrorCode::incompatibleVersion);
  std::string renamed = gardenModelJson();
  renamed.replace(renamed.find("\"Garden\""), 8, "\"Orchard\"");
  EXPECT_EQ(codeLoadingWith(renamed), StoreErrorCode::incompatibleVersion);
  std::string changed = gardenModelJson();
  changed.replace(changed.find("\"rank\""), 6, "\"grade\"");
  EXPECT_EQ(codeLoadingWith(changed), StoreErrorCode::incompatibleVersion);

  std::filesystem::remove(storeFile());
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open(storeFile().c_str(), &db), SQLITE_OK);
  sqlite3_exec(db, "CREATE TABLE other (x)", nullptr, nullptr, nullptr);
  sqlite3_close(db);
  EXPECT_EQ(codeLoadingWith(gardenModelJson()), StoreErrorCode::storeOpenFailed);
  EXPECT_TRUE(inspect().error);

  std::ofstream(storeFile(), std::ios::trunc) << "not a database, just some text of enough length";
  EXPECT_EQ(codeLoadingWith(gardenModelJson()), StoreErrorCode::sqliteFailed);
  EXPECT_TRUE(inspect().error);
}

TEST_F(StoreLoadTest, DestroyingAStoreRemovesItsFileAndEverySideFile) {
  auto container = gardenContainer(dir_.path());
  ASSERT_FALSE(loadStores(*container));
  const auto coordinator = container->persistentStoreCoordinator();
  const auto stores = coordinator->persistentStores();
  ASSERT_EQ(stores.size(), 1u);
  EXPECT_EQ(stores[0].location, storeFile());
  EXPECT_EQ(stores[0].type, "SQLite");
  for (const char* suffix : {"-journal", "-wal", "-shm"}) {
    std::ofstream(storeFile().string() + suffix) << "x";
  }
  std::ofstream(dir_.path() / "Garden.sqlite.bak") << "not ours";

  EXPECT_FALSE(coordinator->destroyPersistentStore(storeFile(), "SQLite"));
  for (const char* suffix : {"", "-journal", "-wal", "-shm"}) {
    EXPECT_FALSE(std::filesystem::exists(storeFile().string() + suffix)) << suffix;
  }
  EXPECT_TRUE(std::filesystem::exists(dir_.path() / "Garden.sqlite.bak"));
  EXPECT_TRUE(coordinator->persistentStores().empty());
  EXPECT_FALSE(coordinator->destroyPersistentStore(storeFile(), "SQLite"));  // nothing left: fine
  EXPECT_TRUE(coordinator->destroyPersistentStore(storeFile(), "Binary"));

  ASSERT_FALSE(loadStores(*container));
  EXPECT_TRUE(inspect().currentVersion);
}

}  // namespace
}  // namespace kestrel::platform
