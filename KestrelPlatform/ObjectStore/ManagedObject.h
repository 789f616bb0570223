// One record of the object store as an object of a context: its entity,
// its identity, and its attribute values, which the store provides (every
// attribute is read and written through here).
//
// Objects belong to the context that fetched or inserted them and are used
// on that context's queue. Setting a value marks the object updated in its
// context, so that the context's next save carries it to the parent context
// or the store. Values are set in their attribute's type: integers for
// integer64 (a whole real number is accepted), booleans (or 0/1) for
// boolean, texts for string, bytes for binary; nil for any attribute
// (a non-optional one must have a value again before a save).
//
// To-many relationships are read and changed through the owner:
// relatedObjects(), addRelatedObject(), removeRelatedObject().
//
// Thread-safety: reads and writes of values are locked (a parent context's
// values are read by its children's fetches); everything else belongs to
// the context's queue.
// Ownership: shared. A context keeps its changed objects until they are
// saved and otherwise knows its objects only weakly.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityDescription.h>
#include <KestrelPlatform/ObjectStore/ObjectValue.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

class ObjectContext;

/// The identity of a record: the store it lives in, its entity and its key.
struct ObjectID {
  std::uint64_t store = 0;
  std::size_t entity = 0;
  std::int64_t primaryKey = 0;

  friend bool operator==(const ObjectID&, const ObjectID&) = default;
};

struct ObjectIDHash {
  std::size_t operator()(const ObjectID& id) const noexcept {
    return std::hash<std::int64_t>()(id.primaryKey) ^ (id.entity * 0x9e3779b97f4a7c15ull) ^
           (id.store << 32);
  }
};

class ManagedObject : public std::enable_shared_from_this<ManagedObject> {
 public:
  enum class State { unchanged, inserted, updated, deleted };

  /// Made by contexts (and migrations, without a context); `values` are in
  /// the entity's attribute order. `lock` guards the values (the context's).
  ManagedObject(std::shared_ptr<const EntityDescription> entity, ObjectID id,
                std::vector<ObjectValue> values, std::weak_ptr<ObjectContext> context,
                std::shared_ptr<std::mutex> lock);
  ManagedObject(const ManagedObject&) = delete;
  ManagedObject& operator=(const ManagedObject&) = delete;

  const EntityDescription& entity() const { return *entity_; }
  const std::shared_ptr<const EntityDescription>& entityDescription() const { return entity_; }
  const ObjectID& objectID() const { return id_; }
  /// The owning context; nullptr for migration objects or once it is gone.
  std::shared_ptr<ObjectContext> context() const { return context_.lock(); }

  /// The value of the attribute; nil for an unknown key (logged).
  ObjectValue value(std::string_view key) const;
  ObjectValue valueAt(std::size_t index) const;
  /// Every value, in attribute order.
  std::vector<ObjectValue> values() const;

  /// Sets the attribute; false (and logged) for an unknown key, a value of
  /// the wrong type, or a deleted object.
  bool setValue(std::string_view key, ObjectValue value);
  bool setValueAt(std::size_t index, ObjectValue value);

  /// Typed reads: the stored value, or 0 / false / std::nullopt when nil.
  std::int64_t integerValue(std::string_view key) const;
  std::optional<std::int64_t> optionalIntegerValue(std::string_view key) const;
  bool boolValue(std::string_view key) const;
  std::optional<std::string> stringValue(std::string_view key) const;
  std::optional<Bytes> dataValue(std::string_view key) const;

  /// The destination objects of a to-many relationship, as the context sees
  /// them (fetched through it); empty for an unknown relationship (logged),
  /// std::nullopt when the fetch failed (logged) or the context is gone.
  std::optional<std::vector<std::shared_ptr<ManagedObject>>> relatedObjects(
      std::string_view relationship) const;
  /// Makes `object` (of the same context and the destination entity) a
  /// member of the relationship; false (and logged) otherwise.
  bool addRelatedObject(std::string_view relationship, const std::shared_ptr<ManagedObject>& object);
  /// Takes `object` out of the relationship; false if it was not in it.
  bool removeRelatedObject(std::string_view relationship,
                           const std::shared_ptr<ManagedObject>& object);

  State state() const;
  bool isInserted() const { return state() == State::inserted; }
  bool isUpdated() const { return state() == State::updated; }
  bool isDeleted() const { return state() == State::deleted; }
  bool hasChanges() const { return state() != State::unchanged; }

 private:
  friend class ObjectContext;

  std::optional<std::size_t> indexFor(std::string_view key) const;
  const RelationshipDescription* relationshipFor(std::string_view name) const;

  const std::shared_ptr<const EntityDescription> entity_;
  const ObjectID id_;
  const std::weak_ptr<ObjectContext> context_;
  const std::shared_ptr<std::mutex> lock_;
  // Guarded by *lock_.
  std::vector<ObjectValue> values_;
  State state_ = State::unchanged;
};

}  // namespace kestrel::platform
