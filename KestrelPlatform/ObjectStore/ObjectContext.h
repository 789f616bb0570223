// A managed-object context: a scratch pad of objects served by one serial
// queue. A main-queue context runs its blocks on the platform's main queue;
// a private-queue context has a serial queue of its own.
//
// A context is either a root, connected to a store coordinator, or the
// child of a parent context. Saving a child pushes its changes into the
// parent, in memory; saving a root writes its changes to the store in one
// transaction. A fetch sees the store plus the unsaved changes of the
// context and of each of its ancestors (the nearest one's version of an
// object wins).
//
// Work with a context's objects inside its blocks: perform() queues a block
// and returns; performAndWait() runs the block before it returns (at once
// when the caller is already running on the context's queue, so it may be
// nested). Waiting on a queue that is itself waiting for the caller's queue
// deadlocks, as with any serial queue.
//
// Failures are values: fetches return them in FetchResult (and log them,
// since a failed fetch is otherwise an empty one), saves return them.
//
// Thread-safety: perform() and performAndWait() from any thread; the rest
// belongs to the context's queue. A parent's unsaved changes are read by
// its children under the parent's lock.
// Ownership: shared; a child keeps its parent alive, a root its coordinator.
// Blocks queued with perform() keep the context alive until they have run.
#pragma once

#include <KestrelPlatform/DispatchQueue.h>
#include <KestrelPlatform/FunctionRef.h>
#include <KestrelPlatform/ObjectStore/FetchRequest.h>
#include <KestrelPlatform/ObjectStore/ManagedObject.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kestrel::platform {

class StoreCoordinator;
class SqliteStore;

class ObjectContext : public std::enable_shared_from_this<ObjectContext> {
 public:
  enum class ConcurrencyType { mainQueue, privateQueue };

  static std::shared_ptr<ObjectContext> create(ConcurrencyType type);

  explicit ObjectContext(ConcurrencyType type);
  ~ObjectContext();
  ObjectContext(const ObjectContext&) = delete;
  ObjectContext& operator=(const ObjectContext&) = delete;

  ConcurrencyType concurrencyType() const { return type_; }
  const std::shared_ptr<DispatchQueue>& queue() const { return queue_; }

  /// Makes this context a child of `parent` (set before first use).
  void setParent(std::shared_ptr<ObjectContext> parent);
  std::shared_ptr<ObjectContext> parent() const;
  /// Makes this context a root on `coordinator` (set before first use).
  void setPersistentStoreCoordinator(std::shared_ptr<StoreCoordinator> coordinator);
  /// The coordinator of this context or of its root; nullptr if none.
  std::shared_ptr<StoreCoordinator> persistentStoreCoordinator() const;

  /// Queues the block on the context's queue.
  void perform(std::function<void()> block);
  /// Runs the block on the context's queue before returning.
  void performAndWait(FunctionRef<void()> block);

  /// The entity of that name in the coordinator's model, or nullptr.
  std::shared_ptr<const EntityDescription> entityForName(std::string_view name) const;
  /// A new object of the entity with its defaults, inserted in this context;
  /// nullptr (with `error` set when given) for an unknown entity or without
  /// a loaded store.
  std::shared_ptr<ManagedObject> insertNewObject(std::string_view entityName,
                                                 std::optional<StoreError>* error = nullptr);
  /// Fetches what the request asks for.
  FetchResult execute(const FetchRequest& request);
  /// Receives one record: its key and values (which it may move away).
  using RowVisitor = FunctionRef<void(std::int64_t key, std::span<ObjectValue> values)>;
  /// Streams what the request selects without making objects or keeping
  /// rows: `visit` gets each record's key and the values of the request's
  /// properties (every attribute when it names none), in fetch order. It
  /// runs while the store is being read: it must not fetch or save. A
  /// failure is logged and returned.
  std::optional<StoreError> enumerate(const FetchRequest& request, RowVisitor visit);
  /// How many objects the request would fetch; std::nullopt on failure.
  std::optional<std::size_t> count(const FetchRequest& request);
  /// Marks the object deleted (with the delete rules of its relationships);
  /// an object inserted and not yet saved simply goes. When its related
  /// objects cannot be fetched (the store is busy or unreadable), nothing is
  /// deleted and the fetch's error is returned.
  std::optional<StoreError> deleteObject(const std::shared_ptr<ManagedObject>& object);

  bool hasChanges() const { return changeCount_.load() > 0; }
  /// Pushes the changes to the parent, or writes them to the store; the
  /// changes stay pending when this fails.
  std::optional<StoreError> save();
  /// Forgets every unsaved change; objects changed since the last save are
  /// dropped from the context (fetch them again for their saved values).
  void rollback();

 private:
  friend class ManagedObject;

  struct Pending {
    ManagedObject::State state;
    std::vector<ObjectValue> values;
  };
  using PendingMap = std::unordered_map<ObjectID, Pending, ObjectIDHash>;
  struct Snapshot {
    std::shared_ptr<ManagedObject> object;
    ManagedObject::State state;
    std::vector<ObjectValue> values;
  };

  // Called by ManagedObject with *lock_ held.
  void noteChangeLocked(std::shared_ptr<ManagedObject> object);
  FetchResult relatedObjects(const ManagedObject& owner, const RelationshipDescription& relationship);
  // What a delete changes: the objects to delete (the cascades followed)
  // and the members whose link to nullify, with its attribute position.
  struct DeletionPlan {
    std::vector<std::shared_ptr<ManagedObject>> deleted;
    std::vector<std::pair<std::shared_ptr<ManagedObject>, std::size_t>> nullified;
  };
  std::optional<StoreError> planDeletion(const std::shared_ptr<ManagedObject>& object, DeletionPlan& plan);

  // Visits the matching records' keys and values (`columns` null: every
  // attribute, otherwise just those), then sets the entity and store.
  std::optional<StoreError> visitRows(const FetchRequest& request, const std::vector<std::size_t>* columns,
                                      std::shared_ptr<const EntityDescription>& entity,
                                      std::uint64_t& store, RowVisitor visit);
  // The attribute positions of the request's properties.
  std::optional<StoreError> columnsOf(const FetchRequest& request, std::vector<std::size_t>& columns) const;
  void collectPending(const EntityDescription& entity, std::uint64_t store, PendingMap& out) const;
  std::shared_ptr<ManagedObject> materialize(const std::shared_ptr<const EntityDescription>& entity,
                                             const ObjectID& id, std::vector<ObjectValue> values);
  void absorb(std::vector<Snapshot>& changes);
  std::optional<StoreError> validate(const std::vector<Snapshot>& changes,
                                     const std::shared_ptr<SqliteStore>& store) const;

  const ConcurrencyType type_;
  const std::shared_ptr<DispatchQueue> queue_;
  const std::shared_ptr<std::mutex> lock_;  // guards the maps and the objects' values
  std::shared_ptr<ObjectContext> parent_;
  std::shared_ptr<StoreCoordinator> coordinator_;
  std::unordered_map<ObjectID, std::weak_ptr<ManagedObject>, ObjectIDHash> registered_;
  std::unordered_map<ObjectID, std::shared_ptr<ManagedObject>, ObjectIDHash> changed_;
  std::atomic<std::size_t> changeCount_{0};  // changed_.size(), readable without the lock
  std::size_t sweepAt_;
};

}  // namespace kestrel::platform
