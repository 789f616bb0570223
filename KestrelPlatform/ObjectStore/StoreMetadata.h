// What a store file says about itself: whether it holds an object store at
// all, and the model and version it was written with (the "_metadata"
// table).
//
// Thread-safety: a plain value; read() and write() use the caller's
// connection.
#pragma once

#include <KestrelPlatform/ObjectStore/ModelVersion.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

#include <optional>
#include <string>
#include <vector>

namespace kestrel::platform {

class SqliteConnection;

struct StoreMetadata {
  /// The file has the metadata table.
  bool present = false;
  /// The file has tables of its own (other than SQLite's and the metadata).
  std::vector<std::string> tables;
  std::string model;
  std::string version;
  std::string versionHash;

  static std::optional<StoreError> read(SqliteConnection& connection, StoreMetadata& out);
  /// Creates the table if needed and records the model and version.
  static std::optional<StoreError> write(SqliteConnection& connection, const std::string& model,
                                         const ModelVersion& version);
};

}  // namespace kestrel::platform
