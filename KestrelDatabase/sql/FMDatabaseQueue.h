// Owns one connection and one serial dispatch queue, and runs every piece of
// database work as a block on that queue, synchronously for the caller. The
// system's only way to the database.
//
// A block receives the connection, or nullptr when the connection had been
// closed and could not be reopened (the block must then do nothing). After
// close() the next block reopens the database with the stored path, flags
// and VFS name.
//
// Thread-safety: every member may be called from any thread; blocks run one
// at a time. Calling any of the block forms, close() or checkpoint() from
// inside a block of the same queue (also from a block of another queue that
// such a block synced onto) would deadlock; each stops the process instead,
// through platform::fatal, with a message naming the misuse.
// Ownership: shared (std::shared_ptr, created by databaseQueueWithPath). Owns
// the connection and the dispatch queue.
// REQUIRES: result sets made in a block are closed in that block.
#pragma once

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <KestrelPlatform/FunctionRef.h>

#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace kestrel {

class FMDatabaseQueue {
  struct Passkey {};

 public:
  using DatabaseBlock = platform::FunctionRef<void(FMDatabase* db)>;
  using TransactionBlock = platform::FunctionRef<void(FMDatabase* db, bool* rollback)>;

  /// A queue whose connection is already open, or nullptr (after "Could not
  /// create database queue for path ...") when opening fails. An absent path
  /// is an in-memory database.
  static std::shared_ptr<FMDatabaseQueue> databaseQueueWithPath(
      std::optional<std::string> path, int flags = FMDatabase::kDefaultOpenFlags,
      std::optional<std::string> vfs = std::nullopt);
  /// The same for a file URL (its path).
  static std::shared_ptr<FMDatabaseQueue> databaseQueueWithURL(
      const std::filesystem::path& url, int flags = FMDatabase::kDefaultOpenFlags,
      std::optional<std::string> vfs = std::nullopt);

  FMDatabaseQueue(Passkey, std::shared_ptr<FMDatabase> db, std::optional<std::string> path,
                  int flags, std::optional<std::string> vfs);
  ~FMDatabaseQueue();
  FMDatabaseQueue(const FMDatabaseQueue&) = delete;
  FMDatabaseQueue& operator=(const FMDatabaseQueue&) = delete;

  const std::optional<std::string>& path() const { return path_; }
  int openFlags() const { return openFlags_; }
  const std::optional<std::string>& vfsName() const { return vfsName_; }
  /// "<FMDatabaseQueue: 0x...>"; the dispatch queue's label is "fmdb." + this.
  std::string description() const;
  const platform::DispatchQueue& dispatchQueue() const { return *queue_; }

  /// Closes and drops the connection (on the queue).
  void close();
  /// Interrupts the running statement; runs on the caller's thread.
  void interrupt();

  /// Runs the block with the connection; warns afterwards when a result set
  /// is still open. Stops the process when called from one of its own blocks.
  void inDatabase(DatabaseBlock block);
  /// Begins an exclusive transaction, runs the block, then commits, or rolls
  /// back when the block set *rollback. Like every form below, stops the
  /// process when called from one of its own blocks.
  void inTransaction(TransactionBlock block);
  void inExclusiveTransaction(TransactionBlock block);
  void inDeferredTransaction(TransactionBlock block);
  void inImmediateTransaction(TransactionBlock block);
  /// Runs the block inside the savepoint "savePoint<n>"; rolled back to when
  /// the block set *rollback, released in any case. Returns the error of a
  /// failed savepoint statement.
  std::optional<FMError> inSavePoint(TransactionBlock block);

  bool checkpoint(FMDBCheckpointMode mode, FMError* error = nullptr);
  bool checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                  FMError* error = nullptr);
  bool checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                  int* logFrameCount, int* checkpointCount, FMError* error = nullptr);

 private:
  using TransactionKind = FMDatabase::TransactionKind;

  /// The open connection, reopening it when needed; nullptr when that fails.
  /// Only on the queue.
  FMDatabase* database();
  /// Stops the process when the calling thread runs inside one of this
  /// queue's blocks; `operation` names the call in the message.
  void requireOutsideOwnBlock(const char* operation) const;
  void runTransaction(TransactionKind kind, TransactionBlock block);

  std::shared_ptr<platform::DispatchQueue> queue_;
  // Changed only on the queue, under dbMutex_; interrupt() reads it from any
  // thread under the same mutex.
  std::shared_ptr<FMDatabase> db_;
  mutable std::mutex dbMutex_;
  int openFlags_;
  std::optional<std::string> path_;
  std::optional<std::string> vfsName_;
};

}  // namespace kestrel
