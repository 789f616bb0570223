// FMDBHelper opens the system's one SQLite file, "kestrel.db" in the
// application home's Documents folder, wraps it in the one FMDatabaseQueue,
// and creates or upgrades every table in one transaction. Everything else
// obtains the queue from here.
//
// Start path: getFMDBHelper() creates the shared instance once; creation
// opens the file (flags 0x410006) and runs each table class's create,
// upgrade and index statements in a fixed order. Upgrade statements that
// were applied before fail and are only logged; there is no schema version.
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

  /// The shared instance, created (opened and set up) on the first call.
  static FMDBHelper& getFMDBHelper();

  /// A separate instance for the given application home root (tests, the
  /// tool): the database is <home>/Documents/kestrel.db. Opens and sets up at
  /// once, like the shared instance.
  static std::unique_ptr<FMDBHelper> forHome(const std::filesystem::path& home);

  ~FMDBHelper();
  FMDBHelper(const FMDBHelper&) = delete;
  FMDBHelper& operator=(const FMDBHelper&) = delete;

  /// Opens the file and replaces dbQueue; null queue when the open failed.
  void openDB();
  /// Runs every table's create, update and index statements in one
  /// transaction that always commits. Does nothing without a queue.
  void createTables();
  /// Closes the current queue, then openDB() and createTables().
  void reInitDB();
  /// Removes the database file (errors ignored) under the open connection,
  /// then reInitDB().
  void clearDB();

  /// The current queue; null when the file could not be opened.
  std::shared_ptr<FMDatabaseQueue> getDBQueue() const;
  std::shared_ptr<FMDatabaseQueue> dbQueue() const { return getDBQueue(); }
  void setDbQueue(std::shared_ptr<FMDatabaseQueue> queue);

  /// The database file path, built afresh on every call.
  std::filesystem::path databasePath() const;

  /// The twelve table classes in the order their statements run.
  static const std::vector<TableHooks>& tableClasses();

 private:
  explicit FMDBHelper(std::optional<std::filesystem::path> home);

  std::optional<std::filesystem::path> home_;  // absent: the application home
  mutable std::mutex queueMutex_;              // guards dbQueue_ only
  std::shared_ptr<FMDatabaseQueue> dbQueue_;
};

}  // namespace kestrel
