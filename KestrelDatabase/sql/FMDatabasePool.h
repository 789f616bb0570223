// Hands out several connections to one database file: an idle connection is
// reused, otherwise a new one is opened, up to an optional limit. Part of the
// SQL layer but unused by the rest of the system, which goes through one
// FMDatabaseQueue.
//
// Thread-safety: every member may be called from any thread; each block runs
// on the caller's thread with a connection no other block holds.
// Ownership: shared (std::shared_ptr, created by databasePoolWithPath). Owns
// its connections, idle and handed out; holds its delegate weakly.
#pragma once

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelPlatform/FunctionRef.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

class FMDatabasePool;

/// Asked before a new connection joins the pool and told after it did, with
/// the pool locked (do not call back into the pool). The two methods share
/// their first keyword, so each carries its whole name.
class FMDatabasePoolDelegate {
 public:
  virtual ~FMDatabasePoolDelegate() = default;
  /// False keeps the new connection out: it is closed and not handed out.
  virtual bool databasePoolShouldAddDatabaseToPool(FMDatabasePool& pool, FMDatabase& database) {
    (void)pool;
    (void)database;
    return true;
  }
  virtual void databasePoolDidAddDatabase(FMDatabasePool& pool, FMDatabase& database) {
    (void)pool;
    (void)database;
  }
};

class FMDatabasePool {
  struct Passkey {};

 public:
  using DatabaseBlock = platform::FunctionRef<void(FMDatabase* db)>;
  using TransactionBlock = platform::FunctionRef<void(FMDatabase* db, bool* rollback)>;

  static std::shared_ptr<FMDatabasePool> databasePoolWithPath(
      std::optional<std::string> path, int flags = FMDatabase::kDefaultOpenFlags,
      std::optional<std::string> vfs = std::nullopt);
  static std::shared_ptr<FMDatabasePool> databasePoolWithURL(
      const std::filesystem::path& url, int flags = FMDatabase::kDefaultOpenFlags,
      std::optional<std::string> vfs = std::nullopt);

  FMDatabasePool(Passkey, std::optional<std::string> path, int flags,
                 std::optional<std::string> vfs);
  ~FMDatabasePool();
  FMDatabasePool(const FMDatabasePool&) = delete;
  FMDatabasePool& operator=(const FMDatabasePool&) = delete;

  const std::optional<std::string>& path() const { return path_; }
  int openFlags() const { return openFlags_; }
  const std::optional<std::string>& vfsName() const { return vfsName_; }

  std::shared_ptr<FMDatabasePoolDelegate> delegate() const;
  void setDelegate(std::weak_ptr<FMDatabasePoolDelegate> delegate);

  /// The most connections the pool opens at once; 0 (the default) is no limit.
  std::size_t maximumNumberOfDatabasesToCreate() const;
  void setMaximumNumberOfDatabasesToCreate(std::size_t maximum);

  std::size_t countOfCheckedInDatabases() const;
  std::size_t countOfCheckedOutDatabases() const;
  std::size_t countOfOpenDatabases() const;
  /// Drops every idle and handed-out connection the pool holds.
  void releaseAllDatabases();

  /// Runs the block with a connection of the pool; nullptr when none could
  /// be had (limit reached, open failed or refused by the delegate).
  void inDatabase(DatabaseBlock block);
  void inTransaction(TransactionBlock block);
  void inExclusiveTransaction(TransactionBlock block);
  void inDeferredTransaction(TransactionBlock block);
  void inImmediateTransaction(TransactionBlock block);
  /// Runs the block inside the savepoint "savePoint<n>" (see FMDatabaseQueue).
  std::optional<FMError> inSavePoint(TransactionBlock block);

 private:
  using TransactionKind = FMDatabase::TransactionKind;

  /// An idle connection or a new one; nullptr when none can be had.
  std::shared_ptr<FMDatabase> takeDatabase();
  void pushDatabaseBackInPool(const std::shared_ptr<FMDatabase>& db);
  void runTransaction(TransactionKind kind, TransactionBlock block);

  mutable std::mutex mutex_;
  std::vector<std::shared_ptr<FMDatabase>> databaseInPool_;
  std::vector<std::shared_ptr<FMDatabase>> databaseOutPool_;
  std::size_t maximumNumberOfDatabasesToCreate_ = 0;
  std::weak_ptr<FMDatabasePoolDelegate> delegate_;
  std::optional<std::string> path_;
  int openFlags_;
  std::optional<std::string> vfsName_;
};

}  // namespace kestrel
