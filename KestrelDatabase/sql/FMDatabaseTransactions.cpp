// Transactions, savepoints and WAL checkpoints of the connection.
#include <KestrelDatabase/sql/FMDatabase.h>

#include <KestrelPlatform/Log.h>

#include <atomic>

namespace kestrel {
namespace {

// 'name' with every single quote doubled, inside single quotes.
std::string quotedSavePointName(std::string_view name) {
  std::string quoted = "'";
  for (const char c : name) {
    if (c == '\'') quoted.push_back('\'');
    quoted.push_back(c);
  }
  quoted.push_back('\'');
  return quoted;
}

}  // namespace

bool FMDatabase::beginTransaction() {
  return beginExclusiveTransaction();
}

bool FMDatabase::beginDeferredTransaction() {
  const bool ok = executeUpdate("begin deferred transaction");
  if (ok) isInTransaction_ = true;
  return ok;
}

bool FMDatabase::beginImmediateTransaction() {
  const bool ok = executeUpdate("begin immediate transaction");
  if (ok) isInTransaction_ = true;
  return ok;
}

bool FMDatabase::beginExclusiveTransaction() {
  const bool ok = executeUpdate("begin exclusive transaction");
  if (ok) isInTransaction_ = true;
  return ok;
}

bool FMDatabase::commit() {
  const bool ok = executeUpdate("commit transaction");
  if (ok) isInTransaction_ = false;
  return ok;
}

bool FMDatabase::rollback() {
  const bool ok = executeUpdate("rollback transaction");
  if (ok) isInTransaction_ = false;
  return ok;
}

bool FMDatabase::startSavePointWithName(std::string_view name, FMError* error) {
  return executeUpdate("savepoint " + quotedSavePointName(name) + ";", error);
}

bool FMDatabase::releaseSavePointWithName(std::string_view name, FMError* error) {
  return executeUpdate("release savepoint " + quotedSavePointName(name) + ";", error);
}

bool FMDatabase::rollbackToSavePointWithName(std::string_view name, FMError* error) {
  return executeUpdate("rollback transaction to savepoint " + quotedSavePointName(name) + ";",
                       error);
}

std::optional<FMError> FMDatabase::inSavePoint(platform::FunctionRef<void(bool* rollback)> block) {
  static std::atomic<long> savePointIndex{0};
  return runInSavePoint("dbSavePoint" + std::to_string(savePointIndex++), block);
}

std::optional<FMError> FMDatabase::runInSavePoint(
    std::string_view name, platform::FunctionRef<void(bool* rollback)> block) {
  FMError error;
  if (!startSavePointWithName(name, &error)) return error;
  bool shouldRollback = false;
  block(&shouldRollback);
  std::optional<FMError> failure;
  // A rollback to the savepoint leaves it open, so it is released either way.
  if (shouldRollback && !rollbackToSavePointWithName(name, &error)) failure = error;
  if (!releaseSavePointWithName(name, &error) && !failure) failure = error;
  return failure;
}

bool FMDatabase::hasOpenTransaction() const {
  return db_ && sqlite3_get_autocommit(db_.get()) == 0;
}

bool FMDatabase::commitOrRollBack() {
  if (!hasOpenTransaction()) {
    // Never begun, or ended by SQLite itself on an error (a full disk, an
    // I/O error, an interrupt): nothing of it is on disk.
    isInTransaction_ = false;
    return false;
  }
  if (commit()) return true;
  // A failed COMMIT can leave the transaction open; every later statement
  // of the connection would then join it and never reach the disk.
  if (hasOpenTransaction() && !rollback()) {
    platform::log("DB Error: the transaction could not be rolled back after a failed commit");
  }
  isInTransaction_ = hasOpenTransaction();
  return false;
}

bool FMDatabase::runInTransaction(TransactionKind kind,
                                  platform::FunctionRef<void(bool* rollback)> block) {
  switch (kind) {
    case TransactionKind::Exclusive:
      beginTransaction();
      break;
    case TransactionKind::Deferred:
      beginDeferredTransaction();
      break;
    case TransactionKind::Immediate:
      beginImmediateTransaction();
      break;
  }
  bool shouldRollback = false;
  block(&shouldRollback);
  if (shouldRollback) {
    if (hasOpenTransaction()) rollback();
    isInTransaction_ = hasOpenTransaction();
    return false;
  }
  return commitOrRollBack();
}

bool FMDatabase::runWriteTransaction(platform::FunctionRef<bool()> work) {
  if (!beginTransaction()) return false;
  const bool succeeded = work();
  return commitOrRollBack() && succeeded;
}

bool FMDatabase::checkpoint(FMDBCheckpointMode mode, FMError* error) {
  return checkpoint(mode, std::nullopt, nullptr, nullptr, error);
}

bool FMDatabase::checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                            FMError* error) {
  return checkpoint(mode, name, nullptr, nullptr, error);
}

bool FMDatabase::checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                            int* logFrameCount, int* checkpointCount, FMError* error) {
  if (!databaseExists()) return false;
  const int rc = sqlite3_wal_checkpoint_v2(db_.get(), name ? name->c_str() : nullptr,
                                           static_cast<int>(mode), logFrameCount, checkpointCount);
  if (rc != SQLITE_OK && error != nullptr) *error = lastError();
  return rc == SQLITE_OK;
}

}  // namespace kestrel
