// OpenedHome is a home opened as the application opens it at its start:
// the object store loaded, then a facade on it. Dropping it waits for the
// store's queued work and the main queue, then closes both.
//
// Thread-safety: make and drop it on one thread; use the facade by its rules.
// Ownership: owns the facade and the store it made.
#pragma once

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>

#include <filesystem>
#include <memory>
#include <optional>

namespace kestrel::reliability {

class OpenedHome {
 public:
  explicit OpenedHome(const std::filesystem::path& home);
  ~OpenedHome();
  OpenedHome(const OpenedHome&) = delete;
  OpenedHome& operator=(const OpenedHome&) = delete;

  /// Why the store did not load; then there is no facade.
  const std::optional<platform::StoreError>& loadError() const { return loadError_; }
  DataManager& store() const { return *store_; }
  /// REQUIRES: the store loaded (no loadError()).
  StorageManager& facade() const { return *facade_; }

 private:
  std::shared_ptr<DataManager> store_;
  std::optional<platform::StoreError> loadError_;
  std::shared_ptr<StorageManager> facade_;
};

}  // namespace kestrel::reliability
