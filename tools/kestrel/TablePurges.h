// The purges of kestrel.db's tables as `kestrel purge` runs them: events,
// stages, votes, chat upvotes, chat reports and TV channel contributions,
// in that order, each through its table's own operations and between two
// snapshots of the table's IDs, so that its report holds what that run
// deleted (and, for events and stages, hid). Purges of one database take
// turns (PurgeLock), so nothing but the application can change a table in
// between.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelPlatform/Json.h>

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {
class FMDatabaseQueue;
}

namespace kestrel::tool {

struct TablePurge {
  /// The report's name for the table ("events", "stages", "votes", ...).
  std::string name;
  /// Events and stages: finished rows that something keeps are hidden, and
  /// the report lists IDs.
  bool hides = false;
  IDSet deleted;
  /// Rows this run hid and did not delete.
  IDSet hidden;
  std::size_t remaining = 0;
  /// Every statement succeeded.
  bool ok = true;

  /// {"deleted": n, "deletedIDs": [...], "hidden": n, "hiddenIDs": [...],
  /// "remaining": n} for a table that hides, {"deleted": n, "remaining": n}
  /// for the others.
  platform::Json json() const;
  /// "<name>: deleted n, hid n, n remain" (without "hid" for a table that
  /// does not hide), then the deleted and hidden IDs, one line each.
  void print() const;
};

/// Runs the purges in order. std::nullopt, with `error` naming the table,
/// when a table's IDs could not be read (the purges before it have run).
std::optional<std::vector<TablePurge>> purgeTables(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                   std::string& error);

}  // namespace kestrel::tool
