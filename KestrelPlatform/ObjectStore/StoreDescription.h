// How a container loads one persistent store: where the file is, its type,
// whether an older store may be migrated (automatically, and with mappings
// inferred where the model declares none), and how long its statements wait
// for another connection's lock.
//
// Thread-safety: a plain value.
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace kestrel::platform {

struct StoreDescription {
  static constexpr const char* kSQLiteType = "SQLite";

  /// The store file; absent: the container's default (<directory>/<name>.sqlite).
  std::optional<std::filesystem::path> location;
  /// The only type there is: one SQLite file.
  std::string type = kSQLiteType;
  /// Off: a store written by an older model version fails to load.
  bool shouldMigrateStoreAutomatically = true;
  /// Off: a migration needs a declared mapping for every entity it keeps.
  bool shouldInferMappingModelAutomatically = true;
  /// How long a statement of the loaded store (the load's included) waits
  /// for a lock another connection holds before it fails as busy.
  std::chrono::milliseconds busyTimeout{5000};

  void setShouldMigrateStoreAutomatically(bool value) { shouldMigrateStoreAutomatically = value; }
  void setShouldInferMappingModelAutomatically(bool value) {
    shouldInferMappingModelAutomatically = value;
  }
};

}  // namespace kestrel::platform
