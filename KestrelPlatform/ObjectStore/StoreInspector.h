// A look at a store file without loading it: the file is opened read-only,
// nothing is created, migrated or recovered, and nothing is written. Tools
// use it to report a store's model version, its integrity and how many
// records each entity holds.
//
// Thread-safety: inspect() may run on any thread; it opens its own
// connection.
#pragma once

#include <KestrelPlatform/ObjectStore/ObjectModel.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::platform {

struct StoreInspection {
  std::filesystem::path location;
  bool exists = false;
  /// The version the store records (absent for a file that holds none).
  std::optional<std::string> modelVersion;
  /// The model knows that version (with the same layout).
  bool knownVersion = false;
  /// It is the model's current version: loading changes nothing.
  bool currentVersion = false;
  /// Every line of PRAGMA integrity_check ("ok" alone when healthy).
  std::vector<std::string> integrity;
  /// Records per entity of the store's version (per table when the version
  /// is unknown), in model order.
  std::vector<std::pair<std::string, std::int64_t>> recordCounts;
  /// A save was cut short (its rollback journal is still there): a
  /// read-only look cannot read the file, the next load recovers it.
  bool needsRecovery = false;
  /// Why the file could not be read (missing files are not an error).
  std::optional<StoreError> error;

  bool integrityOk() const { return integrity.size() == 1 && integrity.front() == "ok"; }
  /// A load would migrate it.
  bool needsMigration() const { return knownVersion && !currentVersion; }
};

class StoreInspector {
 public:
  StoreInspector() = delete;

  static StoreInspection inspect(const std::filesystem::path& location, const ObjectModel& model);
};

}  // namespace kestrel::platform
