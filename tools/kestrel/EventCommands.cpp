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

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>

namespace kestrel::tool {
namespace {

// The home's existing database, opened through FMDBHelper::forHome (which
// upgrades it). A home without "Documents/kestrel.db" gets no new file: the
// event commands report why and the result is null.
std::unique_ptr<FMDBHelper> openExistingDatabase(const CommonOptions& options) {
  const std::optional<std::filesystem::path> path = existingDatabaseFile(options);
  if (!path) return nullptr;
  auto helper = FMDBHelper::forHome(platform::AppHome::root());
  if (!helper->getDBQueue()) {
    reportFailure(options, *path, "cannot be opened");
    return nullptr;
  }
  return helper;
}

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
  auto helper = openExistingDatabase(options);
  if (!helper) return 1;
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
  auto helper = openExistingDatabase(options);
  if (!helper) return 1;
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
