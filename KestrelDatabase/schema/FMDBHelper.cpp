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

#include <system_error>

namespace kestrel {

FMDBHelper& FMDBHelper::getFMDBHelper() {
  // Never destroyed: the queue must outlive every user until process end.
  static FMDBHelper* const instance = new FMDBHelper(std::nullopt);
  return *instance;
}

std::unique_ptr<FMDBHelper> FMDBHelper::forHome(const std::filesystem::path& home) {
  return std::unique_ptr<FMDBHelper>(new FMDBHelper(home));
}

FMDBHelper::FMDBHelper(std::optional<std::filesystem::path> home) : home_(std::move(home)) {
  openDB();
  createTables();
}

FMDBHelper::~FMDBHelper() {
  if (const auto queue = getDBQueue()) queue->close();
}

std::shared_ptr<FMDatabaseQueue> FMDBHelper::getDBQueue() const {
  std::lock_guard lock(queueMutex_);
  return dbQueue_;
}

void FMDBHelper::setDbQueue(std::shared_ptr<FMDatabaseQueue> queue) {
  std::lock_guard lock(queueMutex_);
  dbQueue_ = std::move(queue);
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

void FMDBHelper::openDB() {
  const auto queue = FMDatabaseQueue::databaseQueueWithPath(databasePath().string(), kOpenFlags);
  setDbQueue(queue);
  if (!queue) {
    platform::log("ERROR: DB OPENING FAILED. NO CONNECTION TO DATABASE.");
    return;
  }
  // Foreign keys are asked for inside a transaction, where SQLite ignores the
  // pragma: enforcement stays off, and nothing may rely on it. The cursor is
  // dropped without being stepped.
  queue->inTransaction([](FMDatabase* db, bool*) {
    if (db) db->executeQuery("PRAGMA foreign_keys = ON");
  });
}

void FMDBHelper::createTables() {
  const auto queue = getDBQueue();
  if (!queue) return;
  queue->inTransaction([](FMDatabase* db, bool*) {
    if (!db) return;
    for (const TableHooks& table : tableClasses()) {
      const std::string create = table.createTableQuery();
      const std::vector<std::string> updates = table.updateTableQueries();
      const std::vector<std::string> indexes = table.createIndexes();
      // Every result is ignored: an upgrade that was applied before fails
      // (and is logged by the connection), and the rest still runs.
      db->executeUpdate(create);
      for (const std::string& statement : updates) db->executeUpdate(statement);
      for (const std::string& statement : indexes) db->executeUpdate(statement);
    }
  });
}

void FMDBHelper::reInitDB() {
  if (const auto queue = getDBQueue()) queue->close();
  openDB();
  createTables();
}

void FMDBHelper::clearDB() {
  std::error_code ignored;
  std::filesystem::remove(databasePath(), ignored);
  reInitDB();
}

}  // namespace kestrel
