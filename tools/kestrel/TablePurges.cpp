#include "TablePurges.h"

#include "DatabaseAccess.h"

#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelDatabase/tables/DBTableVote.h>
#include <KestrelPlatform/Log.h>

#include <algorithm>
#include <iterator>

namespace kestrel::tool {
namespace {

using Purge = void (*)(const std::shared_ptr<FMDatabaseQueue>& queue,
                       const BoolCompletion& completion);

struct Table {
  const char* name;
  const char* table;
  bool hides;
  std::vector<Purge> purges;  // run in this order
};

// What `kestrel purge` runs, in order.
const std::vector<Table>& tables() {
  static const std::vector<Table> kTables = {
      {"events",
       DBTableEvent::kTableName,
       true,
       {&DBTableEvent::deleteFinishedEvents, &DBTableEvent::deleteOldEvents}},
      {"stages",
       DBTableStage::kTableName,
       true,
       {&DBTableStage::deleteFinishedStages, &DBTableStage::deleteOldStages}},
      {"votes", DBTableVote::kTableName, false, {&DBTableVote::deleteVotes}},
      {"chatUpvotes",
       DBTableChatUpvote::kTableName,
       false,
       {&DBTableChatUpvote::deleteUpvotedMessages}},
      {"chatReports",
       DBTableChatReport::kTableName,
       false,
       {&DBTableChatReport::deleteReportedMessages}},
      {"tvChannelContributions",
       DBTableTvChannels::kTableName,
       false,
       {&DBTableTvChannels::deleteTvChannelTvChannelSuggestions}},
  };
  return kTables;
}

IDSet difference(const IDSet& a, const IDSet& b) {
  IDSet out;
  std::set_difference(a.begin(), a.end(), b.begin(), b.end(), std::inserter(out, out.end()));
  return out;
}

// The table's IDs, and those of its hidden rows (for a table that hides).
struct Snapshot {
  IDSet all;
  IDSet hidden;
};

std::optional<Snapshot> snapshot(const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const Table& table) {
  const std::string all = std::string("SELECT ID FROM ") + table.table;
  std::optional<IDSet> ids = idsFrom(queue, all);
  std::optional<IDSet> hidden =
      table.hides ? idsFrom(queue, all + " WHERE IS_HIDDEN = 1") : IDSet();
  if (!ids || !hidden) return std::nullopt;
  return Snapshot{std::move(*ids), std::move(*hidden)};
}

}  // namespace

platform::Json TablePurge::json() const {
  if (!hides) return {{"deleted", deleted.size()}, {"remaining", remaining}};
  return {{"deleted", deleted.size()},
          {"deletedIDs", deleted},
          {"hidden", hidden.size()},
          {"hiddenIDs", hidden},
          {"remaining", remaining}};
}

void TablePurge::print() const {
  if (!hides) {
    platform::print("%s: deleted %zu, %zu remain\n", name.c_str(), deleted.size(), remaining);
    return;
  }
  platform::print("%s: deleted %zu, hid %zu, %zu remain\n", name.c_str(), deleted.size(),
                  hidden.size(), remaining);
  if (!deleted.empty()) platform::print("  deleted: %s\n", joined(deleted).c_str());
  if (!hidden.empty()) platform::print("  hidden:  %s\n", joined(hidden).c_str());
}

std::optional<std::vector<TablePurge>> purgeTables(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                   std::string& error) {
  std::vector<TablePurge> purges;
  for (const Table& table : tables()) {
    const std::optional<Snapshot> before = snapshot(queue, table);
    if (!before) {
      error = std::string("cannot read the ") + table.name;
      return std::nullopt;
    }
    TablePurge purge{table.name, table.hides, {}, {}, 0, true};
    for (Purge run : table.purges) {
      bool ok = false;
      run(queue, [&ok](bool success) { ok = success; });
      purge.ok = purge.ok && ok;
    }
    const std::optional<Snapshot> after = snapshot(queue, table);
    if (!after) {
      error = std::string("cannot read the ") + table.name;
      return std::nullopt;
    }
    purge.deleted = difference(before->all, after->all);
    purge.hidden = difference(after->hidden, before->hidden);
    purge.remaining = after->all.size();
    purges.push_back(std::move(purge));
  }
  return purges;
}

}  // namespace kestrel::tool
