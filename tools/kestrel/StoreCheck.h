// What `kestrel check` says about the object store: a read-only look
// (DataManager::inspectStore) that creates, migrates and recovers nothing,
// told as a status like the database's.
#pragma once

#include <KestrelPlatform/Json.h>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::tool {

struct StoreFindings {
  std::filesystem::path file;
  /// healthy, needs-migration, no-store, empty (fine: exit status 0);
  /// damaged, incompatible, not-a-database, unreadable (1); busy,
  /// needs-recovery (3).
  std::string status;
  /// The model version the store records, if it could be read.
  std::optional<std::string> modelVersion;
  /// PRAGMA integrity_check, or why it could not run; empty when the file
  /// was not read.
  std::vector<std::string> integrity;
  /// Why the status is not healthy, for the statuses that need one.
  std::optional<std::string> reason;
  int exitStatus = 0;

  /// Nothing is wrong with the store (exit status 0).
  bool healthy() const { return exitStatus == 0; }
  platform::Json json() const;
  /// "object store: <file>", its version, integrity and status, each on its
  /// own line.
  void print() const;
};

StoreFindings checkStore(const std::filesystem::path& home);

}  // namespace kestrel::tool
