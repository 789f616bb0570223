// FMDBHelper opens the system's one SQLite file, "kestrel.db" in the
// application home's Documents folder, wraps it in the one FMDatabaseQueue,
// and creates or upgrades every table in one transaction. Everything else
// obtains the queue from here.
//
// Start path: getFMDBHelper() creates the shared instance once; creation
// opens the file (flags 0x410006) and runs each table class's create,
// upgrade and index statements in a fixed order, in one exclusive
// transaction. Upgrade statements that were applied before fail with
// "duplicate column name" and are only logged; there is no schema version.
//
// A start that cannot work says so (startError()) instead of pretending:
//   - a path that exists but is not a regular file (a folder, a FIFO, a
//     device) is never opened: no queue;
//   - when a start transaction cannot begin (the file is locked by another
//     process, or is not a database), the start stops at once, logged, and
//     leaves the file untouched;
//   - any other failing statement makes the start a failure (what succeeded
//     is still committed, and the rest still runs);
//   - a COMMIT that fails is rolled back, never left open.
// The whole start waits at most `lockWait` seconds (kStartLockWait unless
// given) for another process's lock, in total; after the start the
// connection's own busy wait applies again.
//
// Thread-safety: getFMDBHelper() is safe against concurrent first calls, and
// the queue may be read from any thread while another replaces it. reInitDB()
// and clearDB() are not synchronised against users of the old queue; such a
// user keeps a closed queue, which reopens itself on its next use.
// REQUIRES: the application home is set (platform::AppHome) before the first
// getFMDBHelper(); the shared helper builds its path afresh on every open.
// Ownership: the helper owns the queue; the shared instance is never
// destroyed. Instances made with forHome() close their queue when destroyed.
#pragma once

#include <KestrelDatabase/schema/TableHooks.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

class FMDatabaseQueue;

class FMDBHelper {
 public:
  /// The flag word the queue opens the file with: READWRITE | CREATE |
  /// FULLMUTEX | the file-protection-none bit (ignored by standard SQLite).
  static constexpr int kOpenFlags = 0x410006;
  static constexpr const char* kDatabaseFileName = "kestrel.db";
  /// Seconds the whole start path waits for another process's lock.
  static constexpr double kStartLockWait = 10.0;

  /// The shared instance, created (opened and set up) on the first call.
  static FMDBHelper& getFMDBHelper();

  /// A separate instance for the given application home root (tests, the
  /// tool): the database is <home>/Documents/kestrel.db. Opens and sets up at
  /// once, like the shared instance, waiting at most `lockWait` seconds for
  /// another process's lock.
  static std::unique_ptr<FMDBHelper> forHome(const std::filesystem::path& home,
                                             double lockWait = kStartLockWait);

  ~FMDBHelper();
  FMDBHelper(const FMDBHelper&) = delete;
  FMDBHelper& operator=(const FMDBHelper&) = delete;

  /// Opens the file and replaces dbQueue (null when the open failed), then
  /// asks for foreign keys inside a transaction, where SQLite ignores the
  /// pragma: enforcement stays off.
  void openDB();
  /// Runs every table's create, update and index statements in one
  /// transaction. Does nothing without a queue.
  void createTables();
  /// Closes the current queue, then openDB() and createTables().
  void reInitDB();
  /// Removes the database file (errors ignored) under the open connection,
  /// then reInitDB().
  void clearDB();

  /// Why the last openDB() or createTables() failed (e.g. "the start
  /// transaction could not begin: database is locked"); absent when both
  /// succeeded.
  std::optional<std::string> startError() const;

  /// The current queue; null when the file could not be opened.
  std::shared_ptr<FMDatabaseQueue> getDBQueue() const;
  std::shared_ptr<FMDatabaseQueue> dbQueue() const { return getDBQueue(); }
  void setDbQueue(std::shared_ptr<FMDatabaseQueue> queue);

  /// The database file path, built afresh on every call.
  std::filesystem::path databasePath() const;

  /// The twelve table classes in the order their statements run.
  static const std::vector<TableHooks>& tableClasses();

 private:
  using Deadline = std::chrono::steady_clock::time_point;

  FMDBHelper(std::optional<std::filesystem::path> home, double lockWait);

  Deadline deadlineFromNow() const;
  /// openDB(), then createTables() unless opening failed, within one wait.
  void start();
  void openDB(Deadline deadline);
  void createTables(Deadline deadline);
  void setStartError(std::optional<std::string> error);

  std::optional<std::filesystem::path> home_;  // absent: the application home
  double lockWait_;
  mutable std::mutex mutex_;  // guards dbQueue_ and startError_
  std::shared_ptr<FMDatabaseQueue> dbQueue_;
  std::optional<std::string> startError_;
};

}  // namespace kestrel
