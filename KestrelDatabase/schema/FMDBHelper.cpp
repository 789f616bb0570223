#include <KestrelDatabase/schema/FMDBHelper.h>

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableScheduledChannels.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelDatabase/tables/DBTableVote.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Log.h>

#include <sqlite3.h>

#include <system_error>

namespace kestrel {

namespace {

using Deadline = std::chrono::steady_clock::time_point;

// What an upgrade statement that was applied before fails with.
bool isDuplicateColumn(const FMError& error) {
  return error.code == SQLITE_ERROR && error.message.rfind("duplicate column name", 0) == 0;
}

// Runs `work` in one exclusive transaction on the queue's connection, waiting
// for another process's lock only until `deadline`. Returns why it failed, or
// nothing: a transaction that cannot begin runs nothing; one whose COMMIT
// fails is rolled back.
std::optional<std::string> inStartTransaction(
    FMDatabaseQueue& queue, Deadline deadline,
    platform::FunctionRef<std::optional<std::string>(FMDatabase& db)> work) {
  std::optional<std::string> failure;
  queue.inDatabase([&](FMDatabase* db) {
    if (db == nullptr) {
      failure = "no connection";
      return;
    }
    const double busyWait = db->maxBusyRetryTimeInterval();
    const std::chrono::duration<double> left = deadline - std::chrono::steady_clock::now();
    db->setMaxBusyRetryTimeInterval(left.count());  // 0 or less: no wait at all
    const bool begun = db->beginTransaction();
    db->setMaxBusyRetryTimeInterval(busyWait);
    if (!begun) {
      failure = "the start transaction could not begin: " + db->lastErrorMessage();
      return;
    }
    failure = work(*db);
    if (!db->commit()) {
      const std::string reason = db->lastErrorMessage();
      // Rolled back (unless SQLite already ended it), never left open for
      // the statements that come after the start.
      if (db->hasOpenTransaction()) db->rollback();
      if (!failure) failure = "the start transaction could not commit: " + reason;
    }
  });
  return failure;
}

}  // namespace

FMDBHelper& FMDBHelper::getFMDBHelper() {
  // Never destroyed: the queue must outlive every user until process end.
  static FMDBHelper* const instance = new FMDBHelper(std::nullopt, kStartLockWait);
  return *instance;
}

std::unique_ptr<FMDBHelper> FMDBHelper::forHome(const std::filesystem::path& home,
                                                double lockWait) {
  return std::unique_ptr<FMDBHelper>(new FMDBHelper(home, lockWait));
}

FMDBHelper::FMDBHelper(std::optional<std::filesystem::path> home, double lockWait)
    : home_(std::move(home)), lockWait_(lockWait) {
  start();
}

FMDBHelper::~FMDBHelper() {
  if (const auto queue = getDBQueue()) queue->close();
}

std::shared_ptr<FMDatabaseQueue> FMDBHelper::getDBQueue() const {
  std::lock_guard lock(mutex_);
  return dbQueue_;
}

void FMDBHelper::setDbQueue(std::shared_ptr<FMDatabaseQueue> queue) {
  std::lock_guard lock(mutex_);
  dbQueue_ = std::move(queue);
}

std::optional<std::string> FMDBHelper::startError() const {
  std::lock_guard lock(mutex_);
  return startError_;
}

void FMDBHelper::setStartError(std::optional<std::string> error) {
  if (error) platform::log("ERROR: DB START FAILED: %s", error->c_str());
  std::lock_guard lock(mutex_);
  startError_ = std::move(error);
}

const std::vector<TableHooks>& FMDBHelper::tableClasses() {
  static const std::vector<TableHooks> classes = {
      tableHooksOf<DBTableChatReport>("DBTableChatReport"),
      tableHooksOf<DBTableChatUpvote>("DBTableChatUpvote"),
      tableHooksOf<DBTableEvent>("DBTableEvent"),
      tableHooksOf<DBTablePinnedUniqueTournaments>("DBTablePinnedUniqueTournaments"),
      tableHooksOf<DBTablePlayer>("DBTablePlayer"),
      tableHooksOf<DBTableTeam>("DBTableTeam"),
      tableHooksOf<DBTableTournament>("DBTableTournament"),
      tableHooksOf<DBTableTvChannels>("DBTableTvChannels"),
      tableHooksOf<DBTableVote>("DBTableVote"),
      tableHooksOf<DBTableStage>("DBTableStage"),
      tableHooksOf<DBTableScheduledChannels>("DBTableScheduledChannels"),
      tableHooksOf<DBTableFantasyCompetition>("DBTableFantasyCompetition"),
  };
  return classes;
}

std::filesystem::path FMDBHelper::databasePath() const {
  if (home_) {
    const std::filesystem::path documents = *home_ / "Documents";
    std::error_code ignored;
    std::filesystem::create_directories(documents, ignored);
    return documents / kDatabaseFileName;
  }
  return platform::AppHome::documents() / kDatabaseFileName;
}

FMDBHelper::Deadline FMDBHelper::deadlineFromNow() const {
  return std::chrono::steady_clock::now() +
         std::chrono::duration_cast<std::chrono::steady_clock::duration>(
             std::chrono::duration<double>(lockWait_));
}

void FMDBHelper::start() {
  const Deadline deadline = deadlineFromNow();
  openDB(deadline);
  if (!startError()) createTables(deadline);
}

void FMDBHelper::openDB() {
  openDB(deadlineFromNow());
}

void FMDBHelper::createTables() {
  createTables(deadlineFromNow());
}

void FMDBHelper::openDB(Deadline deadline) {
  setStartError(std::nullopt);
  const std::filesystem::path path = databasePath();
  // A FIFO or a device would block or misbehave under SQLite: only a regular
  // file (or none yet) is opened.
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
    setDbQueue(nullptr);
    platform::log("ERROR: %s is not a regular file; it is not opened", path.c_str());
    platform::log("ERROR: DB OPENING FAILED. NO CONNECTION TO DATABASE.");
    setStartError("not a regular file");
    return;
  }
  const auto queue = FMDatabaseQueue::databaseQueueWithPath(path.string(), kOpenFlags);
  setDbQueue(queue);
  if (!queue) {
    platform::log("ERROR: DB OPENING FAILED. NO CONNECTION TO DATABASE.");
    setStartError("cannot be opened");
    return;
  }
  // Foreign keys are asked for inside a transaction, where SQLite ignores the
  // pragma: enforcement stays off, and nothing may rely on it. The cursor is
  // dropped without being stepped.
  auto failure = inStartTransaction(*queue, deadline, [](FMDatabase& db) {
    db.executeQuery("PRAGMA foreign_keys = ON");
    return std::optional<std::string>();
  });
  if (failure) setStartError(std::move(failure));
}

void FMDBHelper::createTables(Deadline deadline) {
  const auto queue = getDBQueue();
  if (!queue) return;
  setStartError(inStartTransaction(*queue, deadline, [](FMDatabase& db) {
    std::optional<std::string> failed;
    const auto run = [&](const std::string& statement) {
      // An upgrade that was applied before fails (and is logged by the
      // connection); that is how upgrades stay idempotent. Any other failure
      // is one of the start, and the rest still runs.
      FMError error;
      if (!db.executeUpdate(statement, &error) && !isDuplicateColumn(error) && !failed) {
        failed = "a start statement failed: " + error.message;
      }
    };
    for (const TableHooks& table : tableClasses()) {
      const std::string create = table.createTableQuery();
      const std::vector<std::string> updates = table.updateTableQueries();
      const std::vector<std::string> indexes = table.createIndexes();
      run(create);
      for (const std::string& statement : updates) run(statement);
      for (const std::string& statement : indexes) run(statement);
    }
    return failed;
  }));
}

void FMDBHelper::reInitDB() {
  if (const auto queue = getDBQueue()) queue->close();
  start();
}

void FMDBHelper::clearDB() {
  std::error_code ignored;
  std::filesystem::remove(databasePath(), ignored);
  reInitDB();
}

}  // namespace kestrel
