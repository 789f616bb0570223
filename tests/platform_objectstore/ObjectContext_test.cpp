// Contexts: what a fetch sees through a child, its parent and the store;
// queues and nesting; relationships; saves that fail.
#include "GardenModel.h"
#include "support/LogCapture.h"
#include "support/StoreLock.h"
#include "support/TempDir.h"

#include <KestrelPlatform/ObjectStore/ObjectContext.h>
#include <KestrelPlatform/ObjectStore/SqliteStore.h>
#include <KestrelPlatform/ObjectStore/StoreCoordinator.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <future>

namespace kestrel::platform {
namespace {

using testing::childOfView;
using testing::gardenContainer;
using testing::loadStores;

class ObjectContextTest : public ::testing::Test {
 protected:
  void SetUp() override {
    container_ = gardenContainer(dir_.path());
    ASSERT_FALSE(loadStores(*container_));
    view_ = container_->viewContext();
  }

  // The names of every Plant `context` fetches (with an optional predicate), in fetch order.
  static std::vector<std::string> names(ObjectContext& context,
                                        std::optional<Predicate> predicate = std::nullopt) {
    std::vector<std::string> result;
    context.performAndWait([&] {
      FetchRequest request("Plant");
      request.predicate = std::move(predicate);
      for (const auto& plant : context.execute(request).objects) {
        result.push_back(plant->stringValue("name").value_or("<nil>"));
      }
    });
    return result;
  }

  // Names as read by a separate container on the same file: what is on disk.
  std::vector<std::string> namesOnDisk() {
    auto other = gardenContainer(dir_.path());
    EXPECT_FALSE(loadStores(*other));
    auto context = other->newBackgroundContext();
    return names(*context);
  }

  std::shared_ptr<ManagedObject> insertPlant(ObjectContext& context, std::int64_t id,
                                             const std::string& name,
                                             std::optional<std::int64_t> rank = std::nullopt) {
    std::shared_ptr<ManagedObject> plant;
    context.performAndWait([&] {
      plant = context.insertNewObject("Plant");
      plant->setValue("id", id);
      plant->setValue("name", name);
      plant->setValue("rank", rank);
    });
    return plant;
  }

  static void save(ObjectContext& context) {
    context.performAndWait([&] {
      auto error = context.save();
      EXPECT_FALSE(error) << error->fullDescription();
    });
  }

  testing::TempDir dir_;
  std::shared_ptr<PersistentContainer> container_;
  std::shared_ptr<ObjectContext> view_;
};

TEST_F(ObjectContextTest, ChangesTravelFromChildToParentToStoreOnlyWhenEachSaves) {
  auto child = childOfView(*container_);
  insertPlant(*child, 1, "rose");

  EXPECT_EQ(names(*child), std::vector<std::string>{"rose"});
  EXPECT_TRUE(names(*view_).empty());
  EXPECT_TRUE(child->hasChanges());

  save(*child);
  EXPECT_FALSE(child->hasChanges());
  EXPECT_TRUE(view_->hasChanges());
  EXPECT_EQ(names(*view_), std::vector<std::string>{"rose"});
  EXPECT_TRUE(namesOnDisk().empty());

  save(*view_);
  EXPECT_FALSE(view_->hasChanges());
  EXPECT_EQ(namesOnDisk(), std::vector<std::string>{"rose"});

  // The object keeps its identity through both saves: changing it in the
  // child updates the same record.
  child->performAndWait([&] {
    auto plants = child->execute(FetchRequest("Plant")).objects;
    ASSERT_EQ(plants.size(), 1u);
    plants[0]->setValue("name", "tulip");
  });
  save(*child);
  save(*view_);
  EXPECT_EQ(namesOnDisk(), std::vector<std::string>{"tulip"});
}

TEST_F(ObjectContextTest, AFetchSeesTheNearestUnsavedVersionOfEachObject) {
  for (int id = 1; id <= 3; ++id) insertPlant(*view_, id, "plant" + std::to_string(id));
  save(*view_);
  auto child = childOfView(*container_);

  // The parent renames 1 and deletes 2 without saving.
  view_->performAndWait([&] {
    for (const auto& plant : view_->execute(FetchRequest("Plant")).objects) {
      if (plant->integerValue("id") == 1) plant->setValue("name", "parent's");
      if (plant->integerValue("id") == 2) view_->deleteObject(plant);
    }
  });
  EXPECT_EQ(names(*child), (std::vector<std::string>{"parent's", "plant3"}));
  EXPECT_EQ(names(*child, Predicate::withFormat("name = %@", {"parent's"})),
            std::vector<std::string>{"parent's"});
  EXPECT_TRUE(names(*child, Predicate::withFormat("name = %@", {"plant1"})).empty());
  EXPECT_TRUE(names(*child, Predicate::withFormat("id = 2")).empty());

  // The child's own change wins over its parent's.
  child->performAndWait([&] {
    auto plants = child->execute(FetchRequest("Plant")).objects;
    plants.front()->setValue("name", "child's");
  });
  EXPECT_EQ(names(*child), (std::vector<std::string>{"child's", "plant3"}));
  EXPECT_EQ(names(*view_), (std::vector<std::string>{"parent's", "plant3"}));

  save(*child);
  save(*view_);
  EXPECT_EQ(namesOnDisk(), (std::vector<std::string>{"child's", "plant3"}));
}

TEST_F(ObjectContextTest, SortAndLimitCoverStoredRowsAndUnsavedChangesAlike) {
  insertPlant(*view_, 1, "a", 1);
  auto five = insertPlant(*view_, 2, "b", 5);
  insertPlant(*view_, 3, "c", 3);
  insertPlant(*view_, 4, "d");  // nil rank sorts first
  save(*view_);

  auto child = childOfView(*container_);
  insertPlant(*child, 5, "e", 2);
  child->performAndWait([&] {
    for (const auto& plant : child->execute(FetchRequest("Plant")).objects) {
      if (plant->integerValue("id") == 2) plant->setValue("rank", 0);
    }
  });

  child->performAndWait([&] {
    FetchRequest request("Plant");
    request.sortBy = {{"rank", true}};
    request.limit = 4;
    request.properties = {"name", "rank"};
    const FetchResult result = child->execute(request);
    ASSERT_FALSE(result.error);
    std::vector<std::string> order;
    for (const auto& row : result.rows) order.push_back(*row[0].text());
    EXPECT_EQ(order, (std::vector<std::string>{"d", "b", "a", "e"}));
    EXPECT_EQ(result.rows[1][1], ObjectValue(0));
    EXPECT_EQ(result.rows.key(1), five->objectID().primaryKey);
    // Streamed, the rows come the same way.
    std::vector<std::string> streamed;
    EXPECT_FALSE(child->enumerate(request, [&](std::int64_t, std::span<ObjectValue> values) {
      streamed.push_back(*values[0].text());
    }));
    EXPECT_EQ(streamed, order);

    request.sortBy = {{"name", false}};
    request.limit = 2;
    request.properties.clear();
    const FetchResult descending = child->execute(request);
    ASSERT_EQ(descending.objects.size(), 2u);
    EXPECT_EQ(descending.objects[0]->stringValue("name"), "e");
    EXPECT_EQ(descending.objects[1]->stringValue("name"), "d");
    EXPECT_EQ(child->count(FetchRequest("Plant")), 5u);
  });
}

TEST_F(ObjectContextTest, PerformQueuesWhilePerformAndWaitRunsAtOnceEvenWhenNested) {
  auto child = childOfView(*container_);
  std::vector<int> order;
  std::promise<void> release;
  std::shared_future<void> released = release.get_future().share();
  child->perform([&] { released.wait(); order.push_back(1); });
  child->perform([&] { order.push_back(2); });
  release.set_value();
  child->performAndWait([&] {
    order.push_back(3);
    // Nested on its own queue, and through the parent's queue back to it.
    child->performAndWait([&] { order.push_back(4); });
    view_->performAndWait([&] { child->performAndWait([&] { order.push_back(5); }); });
  });
  EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4, 5}));
  EXPECT_TRUE(view_->queue() == DispatchQueue::main());
  EXPECT_NE(child->queue(), view_->queue());
}

TEST_F(ObjectContextTest, DeletingAnOwnerDeletesTheMembersOfItsCascadingRelationship) {
  auto child = childOfView(*container_);
  child->performAndWait([&] {
    auto bed = child->insertNewObject("Bed");
    bed->setValue("label", "north");
    for (int id = 1; id <= 3; ++id) {
      auto plant = child->insertNewObject("Plant");
      plant->setValue("id", id);
      plant->setValue("name", "p" + std::to_string(id));
      if (id != 3) {
        EXPECT_TRUE(bed->addRelatedObject("plants", plant));
      }
    }
    EXPECT_EQ(bed->relatedObjects("plants").value().size(), 2u);
    EXPECT_FALSE(bed->addRelatedObject("plants", bed));  // not a Plant
  });
  save(*child);
  save(*view_);

  child->performAndWait([&] {
    auto beds = child->execute(FetchRequest("Bed")).objects;
    ASSERT_EQ(beds.size(), 1u);
    auto members = beds[0]->relatedObjects("plants").value_or(std::vector<std::shared_ptr<ManagedObject>>{});
    ASSERT_EQ(members.size(), 2u);
    EXPECT_TRUE(beds[0]->removeRelatedObject("plants", members[1]));
    EXPECT_FALSE(beds[0]->removeRelatedObject("plants", members[1]));
    child->deleteObject(beds[0]);
    EXPECT_TRUE(members[0]->isDeleted());
    EXPECT_FALSE(members[1]->isDeleted());
  });
  save(*child);
  save(*view_);
  EXPECT_EQ(namesOnDisk(), (std::vector<std::string>{"p2", "p3"}));
}

TEST_F(ObjectContextTest, ADeleteWhoseCascadeCannotBeReadChangesNothing) {
  // A store that waits only briefly for another connection's lock.
  auto container = gardenContainer(dir_.path() / "locked");
  StoreDescription description;
  description.busyTimeout = std::chrono::milliseconds(20);
  container->setPersistentStoreDescriptions({description});
  ASSERT_FALSE(loadStores(*container));
  auto child = childOfView(*container);
  std::shared_ptr<ManagedObject> bed;
  child->performAndWait([&] {
    bed = child->insertNewObject("Bed");
    bed->setValue("label", "south");
    auto plant = child->insertNewObject("Plant");
    plant->setValue("id", 1);
    plant->setValue("name", "p1");
    EXPECT_TRUE(bed->addRelatedObject("plants", plant));
  });
  save(*child);
  save(*container->viewContext());

  {
    testing::LogCapture log;
    testing::StoreLock lock(container->persistentStoreCoordinator()->store()->location(),
                            testing::StoreLock::Kind::exclusive);
    ASSERT_TRUE(lock.held());
    child->performAndWait([&] {
      EXPECT_FALSE(bed->relatedObjects("plants"));  // unreadable, not empty
      const auto error = child->deleteObject(bed);
      ASSERT_TRUE(error);
      EXPECT_EQ(error->code, StoreErrorCode::sqliteFailed);
      EXPECT_FALSE(bed->isDeleted());
      EXPECT_FALSE(child->hasChanges());
    });
    EXPECT_GT(log.countContaining("failed"), 0u);
  }
  child->performAndWait([&] {
    EXPECT_FALSE(child->deleteObject(bed));
    EXPECT_TRUE(bed->isDeleted());
  });
  save(*child);
  save(*container->viewContext());
  auto fresh = container->newBackgroundContext();
  fresh->performAndWait([&] {
    EXPECT_TRUE(fresh->execute(FetchRequest("Bed")).objects.empty());
    EXPECT_TRUE(fresh->execute(FetchRequest("Plant")).objects.empty());
  });
}

TEST_F(ObjectContextTest, AFailedSaveKeepsItsChangesUntilRolledBackAndWritesNothing) {
  view_->performAndWait([&] {
    auto bed = view_->insertNewObject("Bed");  // its label is required
    auto plant = view_->insertNewObject("Plant");
    plant->setValue("name", "kept out");
    const auto error = view_->save();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, StoreErrorCode::validationFailed);
    EXPECT_EQ(error->userInfo.at("attribute"), "label");
    EXPECT_TRUE(view_->hasChanges());
    view_->rollback();
    EXPECT_FALSE(view_->hasChanges());
    EXPECT_TRUE(plant->isDeleted());
    EXPECT_FALSE(view_->save());
  });
  EXPECT_TRUE(namesOnDisk().empty());
}

TEST_F(ObjectContextTest, ObjectsOfADestroyedStoreCannotBeSavedIntoItsSuccessor) {
  auto plant = insertPlant(*view_, 1, "old");
  save(*view_);
  const auto location = container_->persistentStoreCoordinator()->persistentStores().at(0).location;
  ASSERT_FALSE(container_->persistentStoreCoordinator()->destroyPersistentStore(location, "SQLite"));
  EXPECT_TRUE(container_->persistentStoreCoordinator()->persistentStores().empty());
  {
    testing::LogCapture log;
    view_->performAndWait([&] {
      EXPECT_EQ(view_->execute(FetchRequest("Plant")).error->code, StoreErrorCode::noStore);
    });
    EXPECT_EQ(log.countContaining("Object store fetch of Plant failed"), 1u);
  }
  ASSERT_FALSE(loadStores(*container_));
  view_->performAndWait([&] {
    plant->setValue("name", "resurrected");
    const auto error = view_->save();
    ASSERT_TRUE(error);
    EXPECT_EQ(error->code, StoreErrorCode::storeRemoved);
    view_->rollback();
    EXPECT_TRUE(view_->execute(FetchRequest("Plant")).objects.empty());
  });
}

TEST_F(ObjectContextTest, ValuesMustFitTheirAttributeTypes) {
  testing::LogCapture log;
  view_->performAndWait([&] {
    auto plant = view_->insertNewObject("Plant");
    EXPECT_FALSE(plant->setValue("id", "12"));
    EXPECT_FALSE(plant->setValue("name", 12));
    EXPECT_FALSE(plant->setValue("watered", 2));
    EXPECT_FALSE(plant->setValue("nosuch", 1));
    EXPECT_TRUE(plant->setValue("id", 12.0));
    EXPECT_TRUE(plant->setValue("watered", 0));
    EXPECT_TRUE(plant->setValue("note", Bytes{}));
    EXPECT_EQ(plant->integerValue("id"), 12);
    EXPECT_FALSE(plant->boolValue("watered"));
    EXPECT_EQ(plant->dataValue("note"), Bytes{});
    EXPECT_EQ(plant->optionalIntegerValue("rank"), std::nullopt);
    EXPECT_FALSE(view_->insertNewObject("Tree"));
    EXPECT_FALSE(view_->save());
    auto stored = view_->execute(FetchRequest("Plant")).objects.at(0);
    EXPECT_EQ(stored->dataValue("note"), Bytes{});  // an empty blob stays empty, not nil
  });
  EXPECT_EQ(log.countContaining("Object store"), 5u);
}

}  // namespace
}  // namespace kestrel::platform
