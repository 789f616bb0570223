// The typed layer of the caches: above DBCacheAbstract's IDs, an ordered set
// of model objects and a dictionary, with the base operations on them. Each
// cache picks its element types; a cache uses one, two or all three
// containers, and the ones it does not fill stay absent (operations on an
// absent container do nothing).
//
// Objects: insertion order is kept and an object is present at most once,
// by `Equal` (the model type's equality, by ID, unless a cache keys its
// objects otherwise). getObjects() hands out a copy. Dictionary: Key ->
// Value; getObjectDictionary() hands out the cache's own dictionary through
// a LiveDictionary handle, so writes through it change the cache.
//
// Thread-safety and the plain accessors: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelDatabase/caches/LiveDictionary.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

namespace kestrel {

/// The object type of a cache that keeps no objects.
struct NoCachedObject {
  bool operator==(const NoCachedObject&) const = default;
};

template <class Object, class Key = std::int64_t, class Value = std::int64_t,
          class Equal = std::equal_to<Object>, class Hash = std::hash<Object>>
class DBCache : public DBCacheAbstract {
 public:
  /// An ordered set: in insertion order, no two elements equal by `Equal`.
  using Objects = std::vector<Object>;
  using Dictionary = std::unordered_map<Key, Value>;
  using DictionaryHandle = LiveDictionary<Key, Value>;

  // ---- Objects ------------------------------------------------------------------------

  /// Appends the object unless an equal one is present.
  void cacheObject(const Object& object) {
    const Lock lock = enter("cacheObject");
    fill();
    if (objects_ && find(object) == objects_->end()) objects_->push_back(object);
  }
  /// Removes the equal object.
  void removeObjectFromCache(const Object& object) {
    const Lock lock = enter("removeObjectFromCache");
    fill();
    if (!objects_) return;
    if (const auto it = find(object); it != objects_->end()) objects_->erase(it);
  }
  /// A copy of the objects in order; empty when they are absent.
  Objects getObjects() {
    const Lock lock = enter("getObjects");
    fill();
    return objects_ ? *objects_ : Objects{};
  }

  // ---- Dictionary ---------------------------------------------------------------------

  /// Stores the object under the key; an absent object or key is ignored.
  void cacheObject(const std::optional<Value>& object, const std::optional<Key>& key) {
    const Lock lock = enter("cacheObject:forKey:");
    fill();
    if (!object || !key || !dictionary_) return;
    dictionary_->insert_or_assign(*key, *object);
  }
  /// The object stored under the key, or nothing.
  std::optional<Value> getObjectForKey(const Key& key) {
    const Lock lock = enter("getObjectForKey");
    fill();
    if (!dictionary_) return std::nullopt;
    const auto it = dictionary_->find(key);
    if (it == dictionary_->end()) return std::nullopt;
    return it->second;
  }
  /// The cache's own dictionary (not a copy); absent when it is absent.
  DictionaryHandle getObjectDictionary() {
    const Lock lock = enter("getObjectDictionary");
    fill();
    return DictionaryHandle(sharedLock(), dictionary_);
  }

  // ---- Plain accessors (no lock) --------------------------------------------------------

  const std::optional<Objects>& objects() const { return objects_; }
  /// REQUIRES: no two objects equal.
  void setObjects(std::optional<Objects> objects) { objects_ = std::move(objects); }
  const std::shared_ptr<Dictionary>& dictionary() const { return dictionary_; }
  /// Installs a new dictionary (handles to the old one no longer reach the cache).
  void setDictionary(std::optional<Dictionary> dictionary) {
    dictionary_ = dictionary ? std::make_shared<Dictionary>(std::move(*dictionary)) : nullptr;
  }

 protected:
  DBCache(const char* name, WeakQueue queue) : DBCacheAbstract(name, std::move(queue)) {}

  void dropContainers() override {
    DBCacheAbstract::dropContainers();
    objects_.reset();
    dictionary_.reset();
  }

  /// The elements of `range` in order, each at most once (the first of
  /// equal ones is kept): the ordered set a fill installs. The elements of
  /// a range given as an rvalue are moved, when they can be.
  template <class Range>
  static Objects orderedSet(Range&& range) {
    struct PointeeHash {
      std::size_t operator()(const Object* object) const { return Hash{}(*object); }
    };
    struct PointeeEqual {
      bool operator()(const Object* a, const Object* b) const { return Equal{}(*a, *b); }
    };
    // First which elements stay, then the copies (or moves): an element
    // moved from must not be hashed or compared again.
    std::unordered_set<const Object*, PointeeHash, PointeeEqual> seen;
    seen.reserve(std::size(range));
    std::vector<bool> kept;
    kept.reserve(std::size(range));
    for (const Object& object : range) kept.push_back(seen.insert(&object).second);
    Objects out;
    out.reserve(seen.size());
    std::size_t index = 0;
    for (auto&& object : range) {
      if (!kept[index++]) continue;
      if constexpr (std::is_rvalue_reference_v<Range&&>) {
        out.push_back(std::move(object));
      } else {
        out.push_back(object);
      }
    }
    return out;
  }

  /// The install of a fill that keeps objects and IDs: first the objects,
  /// then a new set of IDs with the key of every object read (`keyOf`
  /// returns the ID, or nothing for an object without one). The keys are
  /// taken from everything read, also from an object the ordered set leaves
  /// out as equal to an earlier one, so the IDs are the store's.
  template <class Range, class KeyOf>
  void installObjectsWithIDs(Range&& range, KeyOf keyOf) {
    IDSet ids;
    for (const Object& object : range) {
      if (const std::optional<std::int64_t> id = keyOf(object)) ids.insert(*id);
    }
    setObjects(orderedSet(std::forward<Range>(range)));
    setIDs(std::move(ids));
  }

  /// The waiting fill of a cache that keeps objects and IDs: the objects
  /// `read` delivers (in its order), and their keys as the IDs. A read that
  /// failed installs nothing: the containers stay absent, and the next
  /// operation reads again.
  template <class Result, class KeyOf>
  void fillObjectsWithIDsAndWait(void (*read)(const Queue&,
                                              const std::function<void(ReadResult<Result>)>&),
                                 KeyOf keyOf) {
    fillAndWait([this, read, keyOf](const Queue& queue, const Signal& done) {
      read(queue, [this, &done, keyOf](ReadResult<Result> result) {
        if (result) installObjectsWithIDs(std::move(*result), keyOf);
        done();
      });
    });
  }

  /// Adds `id` to the IDs, then upserts the object by equality. Lock held.
  void cacheWithID(std::int64_t id, const Object& object) {
    if (IDSet* ids = mutableIDs()) ids->insert(id);
    upsertObject(object);
  }
  /// Removes `id` from the IDs and the first object whose `keyOf` is `id`.
  /// Lock held.
  template <class KeyOf>
  void removeWithID(std::int64_t id, KeyOf keyOf) {
    if (IDSet* ids = mutableIDs()) ids->erase(id);
    removeFirstObject([&](const Object& object) { return keyOf(object) == id; });
  }

  /// Upsert by equality: replaces the equal object at its index (the order
  /// is kept), or appends. Lock held.
  void upsertObject(const Object& object) {
    if (!objects_) return;
    if (const auto it = find(object); it != objects_->end()) {
      *it = object;
    } else {
      objects_->push_back(object);
    }
  }
  /// Removes the first object that `matches`. Lock held.
  template <class Matches>
  void removeFirstObject(Matches matches) {
    if (!objects_) return;
    if (const auto it = std::find_if(objects_->begin(), objects_->end(), matches);
        it != objects_->end()) {
      objects_->erase(it);
    }
  }
  /// The mutable containers, for the typed operations. Lock held.
  std::optional<Objects>& mutableObjects() { return objects_; }
  Dictionary* mutableDictionary() { return dictionary_.get(); }

 private:
  typename Objects::iterator find(const Object& object) {
    return std::find_if(objects_->begin(), objects_->end(),
                        [&](const Object& cached) { return Equal{}(cached, object); });
  }

  std::optional<Objects> objects_;
  std::shared_ptr<Dictionary> dictionary_;
};

}  // namespace kestrel
