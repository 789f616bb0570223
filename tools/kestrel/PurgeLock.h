// The purge lock of one database: a file beside it ("kestrel.db.purge-lock")
// that purges lock while they run. A purge holds it exclusively, so purges
// of the same database take turns and each one's before-and-after snapshots
// see only its own deletions; a dry run holds it shared, so it never looks
// at a database in the middle of a purge, and never creates the file. The
// lock is the kernel's (flock): a process that dies lets go of it at once;
// the file itself stays.
//
// Ownership: owns the file descriptor; destroying the lock releases it.
#pragma once

#include <filesystem>
#include <string>

namespace kestrel::tool {

class PurgeLock {
 public:
  static constexpr const char* kSuffix = ".purge-lock";

  PurgeLock() = default;
  ~PurgeLock();
  PurgeLock(const PurgeLock&) = delete;
  PurgeLock& operator=(const PurgeLock&) = delete;

  /// Waits at most `wait` seconds for the exclusive lock, creating the file
  /// if needed; false when it was not taken (`error` says why).
  bool acquire(const std::filesystem::path& database, double wait, std::string& error);
  /// Waits at most `wait` seconds for the shared lock. Without a lock file
  /// no purge has ever run: true, with nothing held.
  bool acquireShared(const std::filesystem::path& database, double wait, std::string& error);

 private:
  bool take(const std::filesystem::path& database, bool exclusive, double wait, std::string& error);

  int fd_ = -1;
};

}  // namespace kestrel::tool
