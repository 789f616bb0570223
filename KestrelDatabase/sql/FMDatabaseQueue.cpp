#include <KestrelDatabase/sql/FMDatabaseQueue.h>

#include <KestrelPlatform/Fatal.h>
#include <KestrelPlatform/Log.h>

#include <atomic>

namespace kestrel {
namespace {

// The key under which each queue registers itself as its dispatch queue's
// specific value.
const char kDispatchQueueSpecificKey = 0;

std::string pathText(const std::optional<std::string>& path) {
  return path ? *path : std::string("(null)");
}

}  // namespace

std::shared_ptr<FMDatabaseQueue> FMDatabaseQueue::databaseQueueWithPath(
    std::optional<std::string> path, int flags, std::optional<std::string> vfs) {
  auto db = FMDatabase::databaseWithPath(path);
  if (!db->openWithFlags(flags, vfs)) {
    platform::log("Could not create database queue for path %s", pathText(path).c_str());
    return nullptr;
  }
  return std::make_shared<FMDatabaseQueue>(Passkey{}, std::move(db), std::move(path), flags,
                                           std::move(vfs));
}

std::shared_ptr<FMDatabaseQueue> FMDatabaseQueue::databaseQueueWithURL(
    const std::filesystem::path& url, int flags, std::optional<std::string> vfs) {
  return databaseQueueWithPath(url.string(), flags, std::move(vfs));
}

FMDatabaseQueue::FMDatabaseQueue(Passkey, std::shared_ptr<FMDatabase> db,
                                 std::optional<std::string> path, int flags,
                                 std::optional<std::string> vfs)
    : db_(std::move(db)), openFlags_(flags), path_(std::move(path)), vfsName_(std::move(vfs)) {
  queue_ = platform::DispatchQueue::create("fmdb." + description());
  queue_->setSpecific(&kDispatchQueueSpecificKey, this);
}

FMDatabaseQueue::~FMDatabaseQueue() {
  queue_->setSpecific(&kDispatchQueueSpecificKey, nullptr);
}

std::string FMDatabaseQueue::description() const {
  return platform::formatString("<FMDatabaseQueue: %p>", static_cast<const void*>(this));
}

FMDatabase* FMDatabaseQueue::database() {
  if (db_ && db_->isOpen()) return db_.get();
  std::lock_guard lock(dbMutex_);
  if (!db_) db_ = FMDatabase::databaseWithPath(path_);
  if (!db_->openWithFlags(openFlags_, vfsName_)) {
    platform::log("FMDatabaseQueue could not reopen database for path %s", pathText(path_).c_str());
    db_.reset();
    return nullptr;
  }
  return db_.get();
}

void FMDatabaseQueue::close() {
  requireOutsideOwnBlock("close");
  queue_->sync([this] {
    std::lock_guard lock(dbMutex_);
    if (db_) db_->close();
    db_.reset();
  });
}

void FMDatabaseQueue::interrupt() {
  std::lock_guard lock(dbMutex_);
  if (db_) db_->interrupt();
}

void FMDatabaseQueue::requireOutsideOwnBlock(const char* operation) const {
  // Asked of every enclosing block, not only the innermost: a block of this
  // queue that syncs onto another queue and comes back would deadlock too.
  if (queue_->isCurrent()) {
    platform::fatal(
        "%s was called reentrantly on the same queue, which would lead to a deadlock: a table "
        "or cache operation must not be started from inside a block of the database queue or a "
        "completion it runs",
        operation);
  }
}

void FMDatabaseQueue::inDatabase(DatabaseBlock block) {
  requireOutsideOwnBlock("inDatabase:");
  queue_->sync([&] {
    FMDatabase* db = database();
    block(db);
    if (db != nullptr && db->hasOpenResultSets()) {
      platform::log(
          "Warning: there is at least one open result set around after performing "
          "[FMDatabaseQueue inDatabase:]");
    }
  });
}

void FMDatabaseQueue::runTransaction(TransactionKind kind, TransactionBlock block) {
  requireOutsideOwnBlock(kind == TransactionKind::Deferred    ? "inDeferredTransaction:"
                         : kind == TransactionKind::Immediate ? "inImmediateTransaction:"
                                                              : "inTransaction:");
  queue_->sync([&] {
    FMDatabase* db = database();
    if (db == nullptr) {
      bool ignored = false;
      block(nullptr, &ignored);
      return;
    }
    db->runInTransaction(kind, [&](bool* rollback) { block(db, rollback); });
  });
}

void FMDatabaseQueue::inTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Exclusive, block);
}

void FMDatabaseQueue::inExclusiveTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Exclusive, block);
}

void FMDatabaseQueue::inDeferredTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Deferred, block);
}

void FMDatabaseQueue::inImmediateTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Immediate, block);
}

std::optional<FMError> FMDatabaseQueue::inSavePoint(TransactionBlock block) {
  static std::atomic<long> savePointIndex{0};
  requireOutsideOwnBlock("inSavePoint:");
  std::optional<FMError> failure;
  queue_->sync([&] {
    const std::string name = "savePoint" + std::to_string(savePointIndex++);
    FMDatabase* db = database();
    if (db == nullptr) {
      bool ignored = false;
      block(nullptr, &ignored);
      return;
    }
    failure = db->runInSavePoint(name, [&](bool* rollback) { block(db, rollback); });
  });
  return failure;
}

bool FMDatabaseQueue::checkpoint(FMDBCheckpointMode mode, FMError* error) {
  return checkpoint(mode, std::nullopt, nullptr, nullptr, error);
}

bool FMDatabaseQueue::checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                                 FMError* error) {
  return checkpoint(mode, name, nullptr, nullptr, error);
}

bool FMDatabaseQueue::checkpoint(FMDBCheckpointMode mode, const std::optional<std::string>& name,
                                 int* logFrameCount, int* checkpointCount, FMError* error) {
  requireOutsideOwnBlock("checkpoint:");
  bool ok = false;
  queue_->sync([&] {
    FMDatabase* db = database();
    ok = db != nullptr && db->checkpoint(mode, name, logFrameCount, checkpointCount, error);
  });
  return ok;
}

}  // namespace kestrel
