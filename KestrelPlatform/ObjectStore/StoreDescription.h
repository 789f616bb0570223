// How a container loads one persistent store: where the file is, its type,
// and whether an older store may be migrated (automatically, and with
// mappings inferred where the model declares none).
//
// Thread-safety: a plain value.
#pragma once

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

  void setShouldMigrateStoreAutomatically(bool value) { shouldMigrateStoreAutomatically = value; }
  void setShouldInferMappingModelAutomatically(bool value) {
    shouldInferMappingModelAutomatically = value;
  }
};

}  // namespace kestrel::platform
