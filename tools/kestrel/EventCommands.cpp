#include "Commands.h"
#include "Output.h"

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMError.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <thread>

namespace kestrel::tool {
namespace {

// The home's existing database at `path`, opened through FMDBHelper::forHome
// (which upgrades it). A start that failed is reported with its reason and
// the result is null.
std::unique_ptr<FMDBHelper> openExistingDatabase(const CommonOptions& options,
                                                 const std::filesystem::path& path) {
  auto helper = FMDBHelper::forHome(platform::AppHome::root(), options.wait);
  if (const auto error = helper->startError(); error || !helper->getDBQueue()) {
    reportFailure(options, path, error.value_or("cannot be opened"));
    return nullptr;
  }
  return helper;
}

// Holds the purge lock of one database, a file beside it, while it lives.
// Purges of the same database take it in turn, so each one's before-and-after
// snapshots see only its own deletions. The lock is the kernel's (flock): a
// purge that dies lets go of it at once; the file itself stays.
class PurgeLock {
 public:
  static constexpr const char* kSuffix = ".purge-lock";

  /// Waits at most `wait` seconds for the lock; false when it was not taken
  /// (`error` says why).
  bool acquire(const std::filesystem::path& database, double wait, std::string& error) {
    const std::string path = database.string() + kSuffix;
    // O_NONBLOCK and O_NOFOLLOW: never hang on, or follow, something that is
    // not our lock file.
    fd_ = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, 0644);
    struct stat info {};
    if (fd_ < 0 || ::fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode)) {
      error = "cannot use the purge lock " + path;
      return false;
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(wait);
    while (::flock(fd_, LOCK_EX | LOCK_NB) != 0) {
      if (errno != EWOULDBLOCK && errno != EINTR) {
        error = "cannot take the purge lock " + path;
        return false;
      }
      if (std::chrono::steady_clock::now() >= deadline) {
        error = "another purge of this database is still running";
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return true;
  }

  PurgeLock() = default;
  ~PurgeLock() {
    if (fd_ >= 0) ::close(fd_);  // closing releases the lock
  }
  PurgeLock(const PurgeLock&) = delete;
  PurgeLock& operator=(const PurgeLock&) = delete;

 private:
  int fd_ = -1;
};

// Full 64-bit IDs (the table layer's ID reads are 32-bit); std::nullopt when
// the query cannot be prepared or a step fails (the connection logs why).
std::optional<IDSet> idsFrom(const std::shared_ptr<FMDatabaseQueue>& queue,
                             const std::string& sql) {
  std::optional<IDSet> ids;
  queue->inDatabase([&](FMDatabase* db) {
    if (!db) return;
    auto rs = db->executeQuery(sql);
    if (!rs) return;
    IDSet read;
    FMError error;
    while (rs->nextWithError(&error)) read.insert(rs->longLongIntForColumnIndex(0));
    rs->close();
    if (error.code == 0) ids = std::move(read);
  });
  return ids;
}

IDSet difference(const IDSet& a, const IDSet& b) {
  IDSet out;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(out, out.end()));
  return out;
}

std::string joined(const IDSet& ids) {
  std::string text;
  for (std::int64_t id : ids) text += (text.empty() ? "" : " ") + std::to_string(id);
  return text;
}

}  // namespace

int runPurge(const CommonOptions& options) {
  const std::optional<std::filesystem::path> path = existingDatabaseFile(options);
  if (!path) return kExitFailure;
  PurgeLock lock;
  if (std::string error; !lock.acquire(*path, options.wait, error)) {
    return reportFailure(options, *path, error);
  }
  auto helper = openExistingDatabase(options, *path);
  if (!helper) return kExitFailure;
  const auto queue = helper->getDBQueue();
  const std::string all = std::string("SELECT ID FROM ") + DBTableEvent::kTableName;
  const std::string hidden = all + " WHERE IS_HIDDEN = 1";

  const std::optional<IDSet> before = idsFrom(queue, all);
  const std::optional<IDSet> hiddenBefore = idsFrom(queue, hidden);
  if (!before || !hiddenBefore) {
    return reportFailure(options, helper->databasePath(), "cannot read the events");
  }
  bool finishedOk = false;
  bool oldOk = false;
  DBTableEvent::deleteFinishedEvents(queue, [&](bool ok) { finishedOk = ok; });
  DBTableEvent::deleteOldEvents(queue, [&](bool ok) { oldOk = ok; });
  const std::optional<IDSet> after = idsFrom(queue, all);
  const std::optional<IDSet> hiddenAfter = idsFrom(queue, hidden);
  if (!after || !hiddenAfter) {
    return reportFailure(options, helper->databasePath(), "cannot read the events");
  }
  const IDSet deleted = difference(*before, *after);
  const IDSet newlyHidden = difference(*hiddenAfter, *hiddenBefore);
  const bool ok = finishedOk && oldOk;

  if (options.json) {
    const platform::Json report = {{"events",
                                    {{"deleted", deleted.size()},
                                     {"deletedIDs", deleted},
                                     {"hidden", newlyHidden.size()},
                                     {"hiddenIDs", newlyHidden},
                                     {"remaining", after->size()}}},
                                   {"ok", ok}};
    platform::print("%s\n", jsonText(report).c_str());
  } else {
    platform::print("events: deleted %zu, hid %zu, %zu remain\n", deleted.size(),
                    newlyHidden.size(), after->size());
    if (!deleted.empty()) platform::print("  deleted: %s\n", joined(deleted).c_str());
    if (!newlyHidden.empty()) platform::print("  hidden:  %s\n", joined(newlyHidden).c_str());
    if (!ok) platform::log("kestrel: some purge statements failed (see the log above)");
  }
  return ok ? 0 : 1;
}

int runRefreshDue(const CommonOptions& options) {
  const std::optional<std::filesystem::path> path = existingDatabaseFile(options);
  if (!path) return kExitFailure;
  auto helper = openExistingDatabase(options, *path);
  if (!helper) return kExitFailure;
  const std::optional<IDSet> due =
      idsFrom(helper->getDBQueue(), DBTableEvent::eventIDsToRefreshQuery(platform::Clock::now()));
  if (!due) return reportFailure(options, helper->databasePath(), "cannot read the events");
  if (options.json) {
    platform::print("%s\n", jsonText({{"events", *due}}, -1).c_str());
  } else {
    platform::print("events due for a refresh: %zu\n", due->size());
    if (!due->empty()) platform::print("  %s\n", joined(*due).c_str());
  }
  return 0;
}

}  // namespace kestrel::tool
