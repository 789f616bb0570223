#include "HomeCopy.h"

#include "Output.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/schema/FMDBHelper.h>

#include <sqlite3.h>
#include <stdlib.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <system_error>
#include <thread>

namespace kestrel::tool {
namespace {

struct ConnectionCloser {
  void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
};
using Connection = std::unique_ptr<sqlite3, ConnectionCloser>;

Connection openConnection(const std::filesystem::path& path, int flags) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, flags, nullptr);  // a failed open still gives a handle
  Connection connection(db);
  if (db != nullptr) sqlite3_extended_result_codes(db, 1);
  return connection;
}

std::string reason(int code, sqlite3* db) {
  if (code == SQLITE_READONLY_ROLLBACK) {
    return "needs recovery: an interrupted write left a journal that only a read-write open "
           "rolls back (kestrel inspect or a purge does); a dry run changes nothing";
  }
  const char* message = db != nullptr ? sqlite3_errmsg(db) : nullptr;
  return message != nullptr && sqlite3_errcode(db) != SQLITE_OK ? message : sqlite3_errstr(code);
}

// Copies the database at `source` page by page into `destination` (a new
// file). The source connection only reads.
bool backup(const std::filesystem::path& source, const std::filesystem::path& destination,
            double wait, std::string& error) {
  Connection from = openConnection(source, SQLITE_OPEN_READONLY);
  Connection to = openConnection(destination, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (!from || sqlite3_errcode(from.get()) != SQLITE_OK) {
    error = reason(from ? sqlite3_errcode(from.get()) : SQLITE_NOMEM, from.get());
    return false;
  }
  if (!to || sqlite3_errcode(to.get()) != SQLITE_OK) {
    error = "cannot make a copy for the dry run: " + reason(SQLITE_CANTOPEN, to.get());
    return false;
  }
  sqlite3_busy_timeout(from.get(), static_cast<int>(std::min(wait * 1000, 1e9)));
  sqlite3_backup* run = sqlite3_backup_init(to.get(), "main", from.get(), "main");
  if (run == nullptr) {
    error = "cannot make a copy for the dry run: " + reason(sqlite3_errcode(to.get()), to.get());
    return false;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(wait);
  int code = sqlite3_backup_step(run, -1);
  // One step copies every page under one read lock, so the copy is one
  // consistent state. The source's busy handler waits for that lock; a lock
  // still held after it is tried again until the deadline.
  while ((code == SQLITE_BUSY || code == SQLITE_LOCKED) &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    code = sqlite3_backup_step(run, -1);
  }
  sqlite3_backup_finish(run);
  if (code != SQLITE_DONE) {
    error = reason(code, from.get());
    return false;
  }
  return true;
}

}  // namespace

HomeCopy::~HomeCopy() {
  if (root_.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(root_, ignored);
}

bool HomeCopy::copy(const std::filesystem::path& home, double wait, std::string& error) {
  std::error_code failure;
  std::string pattern = (std::filesystem::temp_directory_path(failure) / "kestrel-dry-run-XXXXXX");
  if (failure || ::mkdtemp(pattern.data()) == nullptr) {
    error = "cannot make a folder for the dry run's copy";
    return false;
  }
  root_ = pattern;
  const std::filesystem::path database =
      std::filesystem::path("Documents") / FMDBHelper::kDatabaseFileName;
  const std::filesystem::path store = DataManager::storePath(home);
  const std::filesystem::path storeCopy = DataManager::storePath(root_);
  const bool hasStore = fileState(store) == FileState::regularFile;
  std::filesystem::create_directories(root_ / database.parent_path(), failure);
  if (!failure && hasStore) {
    std::filesystem::create_directories(storeCopy.parent_path(), failure);
  }
  if (failure) {
    error = "cannot make a folder for the dry run's copy: " + failure.message();
    return false;
  }
  if (!backup(home / database, root_ / database, wait, error)) return false;
  if (hasStore && !backup(store, storeCopy, wait, error)) {
    error = "object store: " + error;
    return false;
  }
  return true;
}

}  // namespace kestrel::tool
