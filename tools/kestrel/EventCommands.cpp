#include "Commands.h"

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

#include <algorithm>
#include <iterator>
#include <memory>

namespace kestrel::tool {
namespace {

std::unique_ptr<FMDBHelper> openHome() {
  auto helper = FMDBHelper::forHome(platform::AppHome::root());
  if (!helper->getDBQueue()) {
    platform::log("kestrel: could not open %s", helper->databasePath().c_str());
    return nullptr;
  }
  return helper;
}

// Full 64-bit IDs (the table's own getIDs reads them as 32-bit integers).
IDSet idsFrom(const std::shared_ptr<FMDatabaseQueue>& queue, const std::string& sql) {
  IDSet ids;
  queue->inDatabase([&](FMDatabase* db) {
    if (!db) return;
    auto rs = db->executeQuery(sql);
    while (rs && rs->next()) ids.insert(rs->longLongIntForColumnIndex(0));
    if (rs) rs->close();
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
  auto helper = openHome();
  if (!helper) return 1;
  const auto queue = helper->getDBQueue();
  const std::string all = std::string("SELECT ID FROM ") + DBTableEvent::kTableName;
  const std::string hidden = all + " WHERE IS_HIDDEN = 1";

  const IDSet before = idsFrom(queue, all);
  const IDSet hiddenBefore = idsFrom(queue, hidden);
  bool finishedOk = false;
  bool oldOk = false;
  DBTableEvent::deleteFinishedEvents(queue, [&](bool ok) { finishedOk = ok; });
  DBTableEvent::deleteOldEvents(queue, [&](bool ok) { oldOk = ok; });
  const IDSet after = idsFrom(queue, all);
  const IDSet deleted = difference(before, after);
  const IDSet newlyHidden = difference(idsFrom(queue, hidden), hiddenBefore);

  if (options.json) {
    const platform::Json report = {{"events",
                                    {{"deleted", deleted.size()},
                                     {"deletedIDs", deleted},
                                     {"hidden", newlyHidden.size()},
                                     {"hiddenIDs", newlyHidden},
                                     {"remaining", after.size()}}},
                                   {"ok", finishedOk && oldOk}};
    platform::print("%s\n", report.dump(2).c_str());
  } else {
    platform::print("events: deleted %zu, hid %zu, %zu remain\n", deleted.size(),
                    newlyHidden.size(), after.size());
    if (!deleted.empty()) platform::print("  deleted: %s\n", joined(deleted).c_str());
    if (!newlyHidden.empty()) platform::print("  hidden:  %s\n", joined(newlyHidden).c_str());
    if (!finishedOk || !oldOk) platform::print("some purge statements failed (see the log)\n");
  }
  return finishedOk && oldOk ? 0 : 1;
}

int runRefreshDue(const CommonOptions& options) {
  auto helper = openHome();
  if (!helper) return 1;
  IDSet due;
  DBTableEvent::getEventIDsToRefresh(helper->getDBQueue(),
                                     [&](IDSet ids) { due = std::move(ids); });
  if (options.json) {
    platform::print("%s\n", platform::Json{{"events", due}}.dump().c_str());
  } else {
    platform::print("events due for a refresh: %zu\n", due.size());
    if (!due.empty()) platform::print("  %s\n", joined(due).c_str());
  }
  return 0;
}

}  // namespace kestrel::tool
