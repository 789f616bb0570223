#include <KestrelPlatform/ObjectStore/ObjectContext.h>

#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/ObjectStore/SqliteStore.h>
#include <KestrelPlatform/ObjectStore/StoreCoordinator.h>

#include <algorithm>

namespace kestrel::platform {
namespace {

constexpr std::size_t kFirstSweep = 256;

}  // namespace

std::shared_ptr<ObjectContext> ObjectContext::create(ConcurrencyType type) {
  return std::make_shared<ObjectContext>(type);
}

ObjectContext::ObjectContext(ConcurrencyType type)
    : type_(type),
      queue_(type == ConcurrencyType::mainQueue
                 ? DispatchQueue::main()
                 : DispatchQueue::create("com.kestrel.objectstore.private-context")),
      lock_(std::make_shared<std::mutex>()),
      sweepAt_(kFirstSweep) {}

ObjectContext::~ObjectContext() = default;

void ObjectContext::setParent(std::shared_ptr<ObjectContext> parent) {
  std::lock_guard lock(*lock_);
  parent_ = std::move(parent);
}

std::shared_ptr<ObjectContext> ObjectContext::parent() const {
  std::lock_guard lock(*lock_);
  return parent_;
}

void ObjectContext::setPersistentStoreCoordinator(std::shared_ptr<StoreCoordinator> coordinator) {
  std::lock_guard lock(*lock_);
  coordinator_ = std::move(coordinator);
}

std::shared_ptr<StoreCoordinator> ObjectContext::persistentStoreCoordinator() const {
  std::shared_ptr<ObjectContext> parent;
  {
    std::lock_guard lock(*lock_);
    if (coordinator_) return coordinator_;
    parent = parent_;
  }
  return parent ? parent->persistentStoreCoordinator() : nullptr;
}

void ObjectContext::perform(std::function<void()> block) {
  queue_->async([self = shared_from_this(), block = std::move(block)] {
    try {
      if (block) block();
    } catch (...) {
      log("Object store: a block performed on a context threw; the exception was dropped");
    }
  });
}

void ObjectContext::performAndWait(FunctionRef<void()> block) {
  if (queue_->isCurrent()) {
    block();
  } else {
    queue_->sync(block);
  }
}

std::shared_ptr<const EntityDescription> ObjectContext::entityForName(std::string_view name) const {
  const auto coordinator = persistentStoreCoordinator();
  if (!coordinator) return nullptr;
  return coordinator->model()->currentVersion()->entity(name);
}

std::shared_ptr<ManagedObject> ObjectContext::insertNewObject(std::string_view entityName,
                                                              std::optional<StoreError>* error) {
  const auto coordinator = persistentStoreCoordinator();
  const auto store = coordinator ? coordinator->store() : nullptr;
  auto entity = entityForName(entityName);
  if (!entity || !store) {
    StoreError failure =
        !entity ? StoreError{StoreErrorCode::unknownEntity, "No entity of that name.",
                             {{"entity", std::string(entityName)}}}
                : StoreError{StoreErrorCode::noStore, "No persistent store is loaded.", {}};
    log("Object store: cannot insert %.*s: %s", static_cast<int>(entityName.size()),
        entityName.data(), failure.fullDescription().c_str());
    if (error != nullptr) *error = std::move(failure);
    return nullptr;
  }
  std::vector<ObjectValue> values;
  values.reserve(entity->attributes().size());
  for (const auto& attribute : entity->attributes()) values.push_back(attribute.defaultValue);
  const ObjectID id{store->identifier(), entity->index(), store->allocatePrimaryKey(*entity)};
  auto object = std::make_shared<ManagedObject>(std::move(entity), id, std::move(values),
                                                weak_from_this(), lock_);
  std::lock_guard lock(*lock_);
  object->state_ = ManagedObject::State::inserted;
  registered_[id] = object;
  changed_[id] = object;
  changeCount_ = changed_.size();
  return object;
}

void ObjectContext::noteChangeLocked(std::shared_ptr<ManagedObject> object) {
  const ObjectID id = object->objectID();
  changed_[id] = std::move(object);
  changeCount_ = changed_.size();
}

std::optional<StoreError> ObjectContext::deleteObject(const std::shared_ptr<ManagedObject>& object) {
  if (!object || object->context().get() != this) {
    StoreError error{StoreErrorCode::invalidObject, "An object can only be deleted by its own context.", {}};
    log("Object store: %s", error.fullDescription().c_str());
    return error;
  }
  // Everything the delete rules reach is fetched before anything changes,
  // so that a fetch that fails leaves every object as it was.
  DeletionPlan plan;
  if (auto error = planDeletion(object, plan)) return error;
  for (const auto& [member, link] : plan.nullified) member->setValueAt(link, ObjectValue::null());
  std::lock_guard lock(*lock_);
  for (const auto& doomed : plan.deleted) {
    const ObjectID id = doomed->objectID();
    if (doomed->state_ == ManagedObject::State::inserted) {
      changed_.erase(id);
    } else {
      changed_[id] = doomed;
    }
    doomed->state_ = ManagedObject::State::deleted;
    registered_.erase(id);
  }
  changeCount_ = changed_.size();
  return std::nullopt;
}

std::optional<StoreError> ObjectContext::planDeletion(const std::shared_ptr<ManagedObject>& object,
                                                      DeletionPlan& plan) {
  if (object->isDeleted() ||
      std::find(plan.deleted.begin(), plan.deleted.end(), object) != plan.deleted.end()) {
    return std::nullopt;
  }
  plan.deleted.push_back(object);
  for (const auto& relationship : object->entity().relationships()) {
    FetchResult members = relatedObjects(*object, relationship);
    if (members.error) return members.error;
    const auto destination = entityForName(relationship.destinationEntity);
    const auto link = destination ? destination->attributeIndex(relationship.linkAttribute) : std::nullopt;
    if (relationship.deleteRule == DeleteRule::cascade) {
      for (const auto& member : members.objects) {
        if (auto error = planDeletion(member, plan)) return error;
      }
    } else if (link) {
      const std::size_t at = *link;
      for (const auto& member : members.objects) plan.nullified.emplace_back(member, at);
    }
  }
  return std::nullopt;
}

FetchResult ObjectContext::relatedObjects(const ManagedObject& owner,
                                          const RelationshipDescription& relationship) {
  FetchRequest request(relationship.destinationEntity);
  request.predicate = Predicate::comparison(relationship.linkAttribute, Predicate::Operator::equal,
                                            owner.objectID().primaryKey);
  return execute(request);
}

std::optional<StoreError> ObjectContext::validate(const std::vector<Snapshot>& changes,
                                                  const std::shared_ptr<SqliteStore>& store) const {
  for (const Snapshot& change : changes) {
    const EntityDescription& entity = change.object->entity();
    if (!store || change.object->objectID().store != store->identifier()) {
      return StoreError{StoreErrorCode::storeRemoved,
                        "The object's persistent store has been removed.",
                        {{"entity", entity.name()}}};
    }
    if (change.state == ManagedObject::State::deleted) continue;
    for (std::size_t i = 0; i < entity.attributes().size(); ++i) {
      if (!entity.attributes()[i].optional && change.values[i].isNull()) {
        return StoreError{StoreErrorCode::validationFailed, "An object has no value for a required attribute.",
                          {{"entity", entity.name()}, {"attribute", entity.attributes()[i].name}}};
      }
    }
  }
  return std::nullopt;
}

std::optional<StoreError> ObjectContext::save() {
  std::vector<Snapshot> changes;
  std::shared_ptr<ObjectContext> parent;
  {
    std::lock_guard lock(*lock_);
    parent = parent_;
    changes.reserve(changed_.size());
    for (const auto& [id, object] : changed_) {
      changes.push_back(Snapshot{object, object->state_, object->values_});
    }
  }
  if (changes.empty()) return std::nullopt;
  const auto coordinator = persistentStoreCoordinator();
  const auto store = coordinator ? coordinator->store() : nullptr;
  if (auto error = validate(changes, store)) return error;

  if (parent) {
    parent->performAndWait([&] { parent->absorb(changes); });
  } else {
    StoreChanges writes;
    for (const Snapshot& change : changes) {
      const ObjectID& id = change.object->objectID();
      const auto& entity = change.object->entityDescription();
      switch (change.state) {
        case ManagedObject::State::inserted:
          writes.inserted.push_back({entity, id.primaryKey, change.values});
          break;
        case ManagedObject::State::updated:
          writes.updated.push_back({entity, id.primaryKey, change.values});
          break;
        case ManagedObject::State::deleted:
          writes.deleted.push_back({entity, id.primaryKey});
          break;
        case ManagedObject::State::unchanged:
          break;
      }
    }
    if (auto error = store->save(writes)) return error;
  }

  std::lock_guard lock(*lock_);
  for (const Snapshot& change : changes) {
    if (change.state != ManagedObject::State::deleted) change.object->state_ = ManagedObject::State::unchanged;
  }
  changed_.clear();
  changeCount_ = 0;
  return std::nullopt;
}

void ObjectContext::absorb(std::vector<Snapshot>& changes) {
  std::lock_guard lock(*lock_);
  for (Snapshot& change : changes) {
    const ObjectID id = change.object->objectID();
    std::shared_ptr<ManagedObject> object;
    if (const auto it = registered_.find(id); it != registered_.end()) object = it->second.lock();
    if (!object) {
      object = std::make_shared<ManagedObject>(change.object->entityDescription(), id, change.values,
                                               weak_from_this(), lock_);
      registered_[id] = object;
    }
    using State = ManagedObject::State;
    if (change.state == State::deleted) {
      if (object->state_ == State::inserted) {
        changed_.erase(id);
      } else {
        changed_[id] = object;
      }
      object->state_ = State::deleted;
      registered_.erase(id);
      continue;
    }
    if (object->state_ == State::deleted) continue;  // deleted here first: the deletion stands
    object->values_ = std::move(change.values);
    if (object->state_ == State::unchanged) {
      object->state_ = change.state == State::inserted ? State::inserted : State::updated;
    }
    changed_[id] = object;
  }
  changeCount_ = changed_.size();
}

void ObjectContext::rollback() {
  std::lock_guard lock(*lock_);
  for (const auto& [id, object] : changed_) {
    object->state_ = object->state_ == ManagedObject::State::inserted ? ManagedObject::State::deleted
                                                                       : ManagedObject::State::unchanged;
    registered_.erase(id);
  }
  changed_.clear();
  changeCount_ = 0;
}

}  // namespace kestrel::platform
