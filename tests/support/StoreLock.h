// Holds a lock on an SQLite file from a connection of its own, as another
// process would, until release() or the end of its life. A writer's lock
// (BEGIN IMMEDIATE) lets the file's other connections read but not write;
// an exclusive lock (BEGIN EXCLUSIVE) lets them do neither. Their
// statements wait for it as long as their busy timeout allows, then fail as
// busy. Header-only, for the test folders that link SQLite.
//
// Thread-safety: one thread at a time.
// Ownership: owns its connection.
#pragma once

#include <sqlite3.h>

#include <filesystem>

namespace kestrel::testing {

class StoreLock {
 public:
  enum class Kind { writer, exclusive };

  StoreLock(const std::filesystem::path& file, Kind kind) {
    if (sqlite3_open_v2(file.c_str(), &db_, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) return;
    // Waits for a save of the store under test to end, never for ever.
    sqlite3_busy_timeout(db_, 10000);
    held_ = sqlite3_exec(db_, kind == Kind::writer ? "BEGIN IMMEDIATE" : "BEGIN EXCLUSIVE", nullptr,
                         nullptr, nullptr) == SQLITE_OK;
  }
  ~StoreLock() {
    release();
    sqlite3_close_v2(db_);
  }
  StoreLock(const StoreLock&) = delete;
  StoreLock& operator=(const StoreLock&) = delete;

  /// Whether the lock was taken (and not yet released).
  bool held() const { return held_; }
  /// Lets the lock go; later calls do nothing.
  void release() {
    if (held_) sqlite3_exec(db_, "ROLLBACK", nullptr, nullptr, nullptr);
    held_ = false;
  }

 private:
  sqlite3* db_ = nullptr;
  bool held_ = false;
};

}  // namespace kestrel::testing
