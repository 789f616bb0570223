#include <KestrelDatabase/sql/FMDatabasePool.h>

#include <KestrelPlatform/Log.h>

#include <algorithm>
#include <atomic>

namespace kestrel {

std::shared_ptr<FMDatabasePool> FMDatabasePool::databasePoolWithPath(
    std::optional<std::string> path, int flags, std::optional<std::string> vfs) {
  return std::make_shared<FMDatabasePool>(Passkey{}, std::move(path), flags, std::move(vfs));
}

std::shared_ptr<FMDatabasePool> FMDatabasePool::databasePoolWithURL(
    const std::filesystem::path& url, int flags, std::optional<std::string> vfs) {
  return databasePoolWithPath(url.string(), flags, std::move(vfs));
}

FMDatabasePool::FMDatabasePool(Passkey, std::optional<std::string> path, int flags,
                               std::optional<std::string> vfs)
    : path_(std::move(path)), openFlags_(flags), vfsName_(std::move(vfs)) {}

FMDatabasePool::~FMDatabasePool() = default;

std::shared_ptr<FMDatabasePoolDelegate> FMDatabasePool::delegate() const {
  std::lock_guard lock(mutex_);
  return delegate_.lock();
}

void FMDatabasePool::setDelegate(std::weak_ptr<FMDatabasePoolDelegate> delegate) {
  std::lock_guard lock(mutex_);
  delegate_ = std::move(delegate);
}

std::size_t FMDatabasePool::maximumNumberOfDatabasesToCreate() const {
  std::lock_guard lock(mutex_);
  return maximumNumberOfDatabasesToCreate_;
}

void FMDatabasePool::setMaximumNumberOfDatabasesToCreate(std::size_t maximum) {
  std::lock_guard lock(mutex_);
  maximumNumberOfDatabasesToCreate_ = maximum;
}

std::size_t FMDatabasePool::countOfCheckedInDatabases() const {
  std::lock_guard lock(mutex_);
  return databaseInPool_.size();
}

std::size_t FMDatabasePool::countOfCheckedOutDatabases() const {
  std::lock_guard lock(mutex_);
  return databaseOutPool_.size();
}

std::size_t FMDatabasePool::countOfOpenDatabases() const {
  std::lock_guard lock(mutex_);
  return databaseInPool_.size() + databaseOutPool_.size();
}

void FMDatabasePool::releaseAllDatabases() {
  std::lock_guard lock(mutex_);
  databaseInPool_.clear();
  databaseOutPool_.clear();
}

std::shared_ptr<FMDatabase> FMDatabasePool::takeDatabase() {
  std::lock_guard lock(mutex_);
  std::shared_ptr<FMDatabase> db;
  bool isNew = false;
  if (!databaseInPool_.empty()) {
    db = std::move(databaseInPool_.back());
    databaseInPool_.pop_back();
  } else {
    const std::size_t total = databaseInPool_.size() + databaseOutPool_.size();
    if (maximumNumberOfDatabasesToCreate_ > 0 && total >= maximumNumberOfDatabasesToCreate_) {
      platform::log("Maximum number of databases (%ld) has already been reached!",
                    static_cast<long>(maximumNumberOfDatabasesToCreate_));
      return nullptr;
    }
    db = FMDatabase::databaseWithPath(path_);
    isNew = true;
  }

  if (!db->openWithFlags(openFlags_, vfsName_)) {
    platform::log("Could not open up the database at path %s", path_ ? path_->c_str() : "(null)");
    return nullptr;
  }
  const auto delegate = delegate_.lock();
  if (isNew && delegate && !delegate->databasePoolShouldAddDatabaseToPool(*this, *db)) {
    db->close();
    return nullptr;
  }
  databaseOutPool_.push_back(db);
  db->setCheckedOut(true);
  if (isNew && delegate) delegate->databasePoolDidAddDatabase(*this, *db);
  return db;
}

void FMDatabasePool::pushDatabaseBackInPool(const std::shared_ptr<FMDatabase>& db) {
  if (!db) return;
  std::lock_guard lock(mutex_);
  if (std::find(databaseInPool_.begin(), databaseInPool_.end(), db) != databaseInPool_.end()) {
    platform::log("The FMDatabase being put back into the pool is already present in the pool");
    return;
  }
  const auto out = std::find(databaseOutPool_.begin(), databaseOutPool_.end(), db);
  if (out == databaseOutPool_.end()) return;  // released meanwhile
  databaseOutPool_.erase(out);
  if (db->hasOpenResultSets()) db->closeOpenResultSets();
  db->setCheckedOut(false);
  databaseInPool_.push_back(db);
}

void FMDatabasePool::inDatabase(DatabaseBlock block) {
  const auto db = takeDatabase();
  block(db.get());
  pushDatabaseBackInPool(db);
}

void FMDatabasePool::runTransaction(TransactionKind kind, TransactionBlock block) {
  const auto db = takeDatabase();
  if (db) {
    db->runInTransaction(kind, [&](bool* rollback) { block(db.get(), rollback); });
  } else {
    bool ignored = false;
    block(nullptr, &ignored);
  }
  pushDatabaseBackInPool(db);
}

void FMDatabasePool::inTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Exclusive, block);
}

void FMDatabasePool::inExclusiveTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Exclusive, block);
}

void FMDatabasePool::inDeferredTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Deferred, block);
}

void FMDatabasePool::inImmediateTransaction(TransactionBlock block) {
  runTransaction(TransactionKind::Immediate, block);
}

std::optional<FMError> FMDatabasePool::inSavePoint(TransactionBlock block) {
  static std::atomic<long> savePointIndex{0};
  const std::string name = "savePoint" + std::to_string(savePointIndex++);
  const auto db = takeDatabase();
  std::optional<FMError> failure;
  if (db) {
    failure = db->runInSavePoint(name, [&](bool* rollback) { block(db.get(), rollback); });
  } else {
    bool ignored = false;
    block(nullptr, &ignored);
  }
  pushDatabaseBackInPool(db);
  return failure;
}

}  // namespace kestrel
