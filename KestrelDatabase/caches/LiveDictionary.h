// What a cache's getObjectDictionary() hands out: not a copy but the cache's
// own dictionary, reached through this handle. Reads see what the cache holds
// at that moment, and writes through it change the cache.
//
// The handle stays bound to the dictionary that was current when it was made:
// after the cache's invalidate() the cache holds a new dictionary (once it
// refills) and the handle's writes no longer reach it. A handle made while
// the dictionary was absent is absent (false): it reads as empty and its
// writes do nothing.
//
// Thread-safety: every member takes the cache's lock, so the handle may be
// used from any thread alongside the cache's operations.
// Ownership: shares the dictionary and the cache's lock; it may outlive the
// cache.
// REQUIRES: not used from inside a block of the database queue (the cache's
// lock may be held by a thread waiting for that block).
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <unordered_map>
#include <utility>

namespace kestrel {

template <class Key, class Value>
class LiveDictionary {
 public:
  using Map = std::unordered_map<Key, Value>;

  /// An absent dictionary.
  LiveDictionary() = default;
  LiveDictionary(std::shared_ptr<std::recursive_mutex> lock, std::shared_ptr<Map> map)
      : lock_(std::move(lock)), map_(std::move(map)) {}

  /// False when the cache had no dictionary.
  explicit operator bool() const { return map_ != nullptr; }
  /// Whether both handles reach the same dictionary.
  bool refersToSameDictionary(const LiveDictionary& other) const { return map_ == other.map_; }

  std::optional<Value> get(const Key& key) const {
    if (!map_) return std::nullopt;
    const std::lock_guard lock(*lock_);
    const auto it = map_->find(key);
    if (it == map_->end()) return std::nullopt;
    return it->second;
  }
  bool contains(const Key& key) const {
    if (!map_) return false;
    const std::lock_guard lock(*lock_);
    return map_->contains(key);
  }
  std::size_t size() const {
    if (!map_) return 0;
    const std::lock_guard lock(*lock_);
    return map_->size();
  }
  /// A copy of the whole dictionary, to iterate over.
  Map snapshot() const {
    if (!map_) return {};
    const std::lock_guard lock(*lock_);
    return *map_;
  }

  /// Stores the value under the key, replacing what was there.
  void set(const Key& key, Value value) {
    if (!map_) return;
    const std::lock_guard lock(*lock_);
    map_->insert_or_assign(key, std::move(value));
  }
  /// Removes the key; false when it was not there.
  bool erase(const Key& key) {
    if (!map_) return false;
    const std::lock_guard lock(*lock_);
    return map_->erase(key) > 0;
  }

 private:
  std::shared_ptr<std::recursive_mutex> lock_;
  std::shared_ptr<Map> map_;
};

}  // namespace kestrel
