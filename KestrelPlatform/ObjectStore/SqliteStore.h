// A persistent store on one SQLite file, written with one model version.
//
// Opening loads the store: a new file gets the current version's layout; a
// file of the current version is used as it is; a file of an older version
// is migrated to the current one (StoreMigrator) when the description
// allows it. Creation and migration each run in one transaction, so a
// process killed meanwhile leaves the file as it was before the load.
//
// Every save is one transaction of bound INSERT, UPDATE and DELETE
// statements; the file runs with a rollback journal and synchronous=EXTRA,
// so a save that returned is on disk and a save cut short leaves nothing
// (EXTRA, not FULL: the journal's deletion, which commits, is synced too,
// so a power cut just after a save cannot bring the journal back and roll
// the save back).
// A statement waits for a lock another connection holds as long as the
// description allows (busyTimeout), then fails as busy: a fetch that fails
// is an error, never an empty result.
// Primary keys are handed out from memory (one past the largest stored),
// so objects have their final identity from the moment they are inserted.
//
// Thread-safety: every member may be called from any thread; statements are
// serialised by one lock.
// Ownership: owned by the coordinator that loaded it (shared with running
// operations); owns its connection. close() makes every later call fail.
#pragma once

#include <KestrelPlatform/FunctionRef.h>
#include <KestrelPlatform/ObjectStore/EntityMigrationPolicy.h>
#include <KestrelPlatform/ObjectStore/ObjectModel.h>
#include <KestrelPlatform/ObjectStore/Predicate.h>
#include <KestrelPlatform/ObjectStore/StoreDescription.h>
#include <KestrelPlatform/ObjectStore/ValueRows.h>

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

namespace kestrel::platform {

class SqliteConnection;

/// The changes of one save, in the form the store writes them.
struct StoreChanges {
  struct Write {
    std::shared_ptr<const EntityDescription> entity;
    std::int64_t primaryKey = 0;
    std::vector<ObjectValue> values;  // in attribute order
  };
  struct Removal {
    std::shared_ptr<const EntityDescription> entity;
    std::int64_t primaryKey = 0;
  };
  std::vector<Write> inserted;
  std::vector<Write> updated;
  std::vector<Removal> deleted;

  bool empty() const { return inserted.empty() && updated.empty() && deleted.empty(); }
};

class SqliteStore {
 public:
  struct Query {
    const EntityDescription* entity = nullptr;
    const Predicate::Bound* predicate = nullptr;        // nullptr: every row
    std::vector<std::pair<std::size_t, bool>> sort;     // attribute index, ascending
    std::size_t limit = 0;                              // 0: no limit
    const std::vector<std::size_t>* columns = nullptr;  // nullptr: every attribute
  };

  /// Loads the store at `location` (creating or migrating it as described).
  static std::shared_ptr<SqliteStore> open(const std::filesystem::path& location,
                                           std::shared_ptr<const ObjectModel> model,
                                           const StoreDescription& description,
                                           const MigrationPolicies& policies,
                                           std::optional<StoreError>& error);

  /// Removes the file and every side file SQLite may have made beside it
  /// ("-journal", "-wal", "-shm"). Missing files are no error.
  static std::optional<StoreError> destroyFiles(const std::filesystem::path& location);

  ~SqliteStore();
  SqliteStore(const SqliteStore&) = delete;
  SqliteStore& operator=(const SqliteStore&) = delete;

  /// Unique in the process: tells objects of this store from those of a
  /// store loaded later at the same place.
  std::uint64_t identifier() const { return identifier_; }
  const std::filesystem::path& location() const { return location_; }
  const std::shared_ptr<const ModelVersion>& version() const { return version_; }

  /// A primary key no object of the entity has had in this store.
  std::int64_t allocatePrimaryKey(const EntityDescription& entity);

  /// Receives one row: its key and its values (which it may move away).
  using RowVisitor = FunctionRef<void(std::int64_t key, std::span<ObjectValue> values)>;

  /// Reads the rows the query selects, ordered by the sort, then by key:
  /// every attribute, or the requested columns. The visitor runs with the
  /// store locked: it must not use the store.
  std::optional<StoreError> fetch(const Query& query, RowVisitor visit);
  /// The same rows, kept (`rows` gets the query's width).
  std::optional<StoreError> fetch(const Query& query, ValueRows& rows);
  /// Writes the changes in one transaction; on failure nothing is written.
  std::optional<StoreError> save(const StoreChanges& changes);

  /// Closes the connection; every later call fails with storeRemoved.
  void close();

 private:
  SqliteStore(std::filesystem::path location, std::unique_ptr<SqliteConnection> connection,
              std::shared_ptr<const ModelVersion> version);
  std::optional<StoreError> load(const ObjectModel& model, const StoreDescription& description,
                                 const MigrationPolicies& policies);
  std::optional<StoreError> readKeys();
  StoreError removedError() const;

  const std::uint64_t identifier_;
  const std::filesystem::path location_;
  std::shared_ptr<const ModelVersion> version_;
  std::mutex mutex_;
  std::unique_ptr<SqliteConnection> connection_;  // guarded by mutex_; null once closed
  std::unique_ptr<std::atomic<std::int64_t>[]> nextKeys_;
  // Statement texts per entity, made once.
  std::vector<std::string> selectSql_, insertSql_, updateSql_, deleteSql_;
};

}  // namespace kestrel::platform
