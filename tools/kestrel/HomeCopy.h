// A private copy of an application home's two stores, for a dry run: the
// purge runs on the copy, so it reports exactly what a real purge of the
// home would (upgrades of an older database and migration of an older store
// included) while the home's own files are only read. Each file is copied
// with SQLite's online backup from a read-only connection: a consistent
// snapshot even while the application writes, taken under no more than a
// shared lock.
//
// Ownership: owns the copy's folder (under the temporary directory) and
// removes it with everything in it when destroyed.
#pragma once

#include <filesystem>
#include <string>

namespace kestrel::tool {

class HomeCopy {
 public:
  HomeCopy() = default;
  ~HomeCopy();
  HomeCopy(const HomeCopy&) = delete;
  HomeCopy& operator=(const HomeCopy&) = delete;

  /// Copies "Documents/kestrel.db" of `home` and, when the home has one, its
  /// object store, into a new home; waits at most `wait` seconds for another
  /// process's lock. Both files must be regular files (the caller checks).
  /// False with `error` when a copy fails.
  bool copy(const std::filesystem::path& home, double wait, std::string& error);

  /// The copy's home.
  const std::filesystem::path& root() const { return root_; }

 private:
  std::filesystem::path root_;
};

}  // namespace kestrel::tool
