// The base of every in-memory cache: the answers to questions the facade asks
// many times a second ("is this event a favourite?", "are notifications on
// for this team?") kept in memory, so that they cost no SQL.
//
// A cache has up to three containers: a set of 64-bit IDs (held here), and,
// in the typed layer above (DBCache), an ordered set of model objects and a
// dictionary. Absent and empty differ: absent means "not filled yet" and
// makes the next operation fill the cache from its store; empty means
// filled, with nothing in it. invalidate() makes all three absent again.
//
// Filling. Every operation except invalidate() first fills the absent
// containers (fill(), overridden by each cache). Most caches read their
// table through the database queue and wait for the answer on a counting
// semaphore, without a time-out (fillAndWait()); three ask the object store
// and return at once, their containers arriving later. A read that fails
// (the file locked by another process past the busy wait, an I/O error)
// installs nothing: the containers stay absent, the cache answers as an
// unfilled one (no IDs), and the next operation reads again, so an empty set
// is never taken for the store's contents. A cache whose queue is gone (the
// queue is held weakly) sends no request and does not wait: its containers
// stay absent.
//
// Thread-safety: every operation may be called from any thread. Each cache
// has one recursive lock, held for the whole of every operation (fills
// included, so a filling thread holds it while it waits for the queue); the
// lock is recursive because operations call one another. The getters take
// it too (getIDs(), getObjects() for their copy, getObjectDictionary() to
// hand out its handle): a copy made while another thread inserts would be a
// data race. A fill's completion runs on the
// database queue while the filling thread holds the lock and waits, and
// installs the containers with the plain setters; the semaphore orders those
// writes before the filling thread goes on. No operation may be started from
// inside a block of the cache's database queue (a table completion
// included): a fill would wait for ever for the block it runs in, and the
// lock could be held by a thread waiting for that block. Each operation
// stops the process instead, through platform::fatal, naming the misuse.
// Ownership: the owner (the facade) holds the caches and the queue; a cache
// holds its queue weakly (std::weak_ptr).
// REQUIRES: the plain accessors of the containers (IDs(), setIDs()) take no
// lock: they are for fill completions (whose filling thread holds the lock)
// and for a cache that no other thread uses yet.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelPlatform/DispatchQueue.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_set>

namespace kestrel {

class FMDatabaseQueue;

class DBCacheAbstract {
 public:
  using IDSet = std::unordered_set<std::int64_t>;
  using Queue = std::shared_ptr<FMDatabaseQueue>;
  using WeakQueue = std::weak_ptr<FMDatabaseQueue>;

  virtual ~DBCacheAbstract();
  DBCacheAbstract(const DBCacheAbstract&) = delete;
  DBCacheAbstract& operator=(const DBCacheAbstract&) = delete;

  /// The class name, as messages name the cache ("DBCacheEvent").
  const char* cacheName() const { return name_; }

  // ---- Filling ------------------------------------------------------------------

  /// Fills the containers that are absent; does nothing when they are
  /// present. A waiting cache returns once its store has answered.
  void initCache();
  /// Makes all three containers absent (without filling), so that the next
  /// operation fills the cache again from its store.
  void invalidate();

  // ---- IDs ------------------------------------------------------------------------

  /// Adds the ID (no effect while the IDs stay absent after the fill).
  void cacheID(std::int64_t id);
  /// Removes the ID; an ID that is not cached changes nothing.
  void removeIDFromCache(std::int64_t id);
  /// A copy of the IDs; the empty set when they are absent.
  IDSet getIDs();
  /// The same snapshot, under the name the facade uses.
  IDSet ids() { return getIDs(); }
  /// Whether the ID is cached: one lookup under the lock, no copy. False
  /// while the IDs are absent. The facade's membership questions use this,
  /// so it is inline and skips fill() where that has nothing to do.
  bool containsID(std::int64_t id) {
    const Lock lock = enter("containsID");
    if (!ids_ || fillNeed_ == FillNeed::everyOperation) fill();
    return ids_ && ids_->contains(id);
  }

  // ---- Plain accessors (no lock; see REQUIRES above) --------------------------------

  const std::optional<IDSet>& IDs() const { return ids_; }
  void setIDs(std::optional<IDSet> ids) { ids_ = std::move(ids); }
  /// The queue the cache fills from (held weakly). Unlike the containers'
  /// accessors these two may be used from any thread at any time: the
  /// facade points its caches at the new queue when the database is reopened.
  WeakQueue dbQueue() const {
    const std::lock_guard guard(queueMutex_);
    return dbQueue_;
  }
  void setDbQueue(WeakQueue queue) {
    const std::lock_guard guard(queueMutex_);
    dbQueue_ = std::move(queue);
  }

 protected:
  using Lock = std::unique_lock<std::recursive_mutex>;
  using Signal = std::function<void()>;
  /// Sends one read with the queue; its completion must call `done` once.
  using Request = std::function<void(const Queue& queue, const Signal& done)>;
  /// A table read of a set of IDs.
  using ReadIDs = void (*)(const Queue& queue, const IDSetCompletion& completion);

  /// When fill() may have work to do: at every operation (a cache with
  /// more containers than the IDs, or whose answers arrive from another
  /// thread), or only while the IDs are absent (a cache of IDs alone read
  /// from its table).
  enum class FillNeed { everyOperation, whileIDsAbsent };

  /// Stores the queue weakly; fills nothing (a C++ base cannot call its
  /// derived fill while it is being built): each cache's constructor ends
  /// with initCache().
  DBCacheAbstract(const char* name, WeakQueue queue,
                  FillNeed fillNeed = FillNeed::everyOperation);

  /// Fills the absent containers from the store, with the lock held. The
  /// base fills nothing.
  virtual void fill();
  /// Makes the containers absent, with the lock held; a cache with more
  /// state to drop adds it.
  virtual void dropContainers();

  /// The entry of every operation: stops the process when called from a
  /// block of the database queue, then takes the lock.
  [[nodiscard]] Lock enter(const char* operation) const {
    requireOutsideDatabaseQueue(operation);
    return Lock(*lock_);
  }
  /// The IDs to change in place, or nullptr while absent. Lock held.
  IDSet* mutableIDs() { return ids_ ? &*ids_ : nullptr; }
  /// The lock shared with what hands out live access (the dictionary handle).
  const std::shared_ptr<std::recursive_mutex>& sharedLock() const { return lock_; }

  /// The waiting fill: creates the semaphore, asks `stillNeeded` (when given)
  /// whether the fill is still to be done, sends the request and waits for
  /// its `done` without a time-out. Without a queue nothing is sent and
  /// nothing awaited. From a block of the queue it stops the process.
  void fillAndWait(const Request& request, const std::function<bool()>& stillNeeded = {});
  /// The waiting fill of an ID-only cache: the IDs that `read` delivers.
  void fillIDsAndWait(ReadIDs read);

 private:
  /// Stops the process when the calling thread runs inside a block of this
  /// cache's database queue; `operation` names the call. Outside every queue
  /// block (the usual caller) one thread-local read decides.
  void requireOutsideDatabaseQueue(const char* operation) const {
    if (platform::DispatchQueue::isInsideAnyBlock()) requireOutsideOwnQueue(operation);
  }
  void requireOutsideOwnQueue(const char* operation) const;

  const char* const name_;
  const FillNeed fillNeed_;
  const std::shared_ptr<std::recursive_mutex> lock_;
  // A plain mutex, not std::atomic<WeakQueue>: the standard library's
  // atomic weak pointer lets go of its lock after a load without release
  // ordering, so a load racing with reInit's store is a data race.
  mutable std::mutex queueMutex_;
  WeakQueue dbQueue_;
  std::optional<IDSet> ids_;
};

}  // namespace kestrel
