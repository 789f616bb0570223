// The kestrel tool's commands. Each runs against the application home that
// main() has already set (--home), prints its report through the platform's
// print path (errors: see Output.h), and returns the process exit status:
// 0 success, 1 a damaged or missing database or a failed operation, 3 (check
// only) a database that is busy or needs recovery, worth trying again.
#pragma once

#include <KestrelDatabase/schema/FMDBHelper.h>

#include <optional>

namespace kestrel::tool {

/// Exit statuses of the commands.
constexpr int kExitSuccess = 0;
constexpr int kExitFailure = 1;
constexpr int kExitTryAgain = 3;

struct CommonOptions {
  bool json = false;
  std::optional<double> now;  // seconds since 1970; fixes the platform clock
  bool dryRun = false;        // purge: report, change nothing
  // Seconds to wait for another process's lock: the start path's whole wait,
  // check's busy wait, and a purge's wait for an earlier purge.
  double wait = FMDBHelper::kStartLockWait;
};

/// Runs the start path (creating or upgrading "kestrel.db"), then prints the
/// database path, the SQLite version, and each table's row and column count;
/// then loads the object store the same way (creating it, or migrating an
/// older one) and prints its file, model version and records per entity.
/// A start that failed (locked, not a database, not a regular file) is
/// reported with its reason and exit status 1, before the store is touched;
/// a store that does not load is reported after the tables, with 1.
int runInspect(const CommonOptions& options);

/// Integrity check plus a comparison of every table's columns with what the
/// current schema expects, opening only a regular file, read-only. Tells
/// healthy (0), damaged, not a database, unreadable or no file (1), and busy
/// or needing recovery (3) apart. For a database it could read it then
/// looks at the object store, read-only too (its integrity and version),
/// and a store that is damaged or unusable makes the exit status 1 (busy or
/// needing recovery: 3); a missing store, or one that the next load
/// migrates, is fine.
int runCheck(const CommonOptions& options);

/// Retention: the events (deleteFinishedEvents, deleteOldEvents), the
/// stages (deleteFinishedStages, deleteOldStages), the votes, chat upvotes,
/// chat reports and TV channel contributions, then the object store's
/// 90-day vote and 7-day highlight purges; prints what each deleted and
/// hid (with --json, events' and stages' IDs and the store's records too).
/// Needs an existing database: it never creates one, nor an object store.
/// Purges of one database run one at a time (a lock file beside it), so
/// each report holds only its own run's rows. With dryRun it purges a copy
/// of the home instead: the same report, and the home's files unchanged.
int runPurge(const CommonOptions& options);

/// Prints the IDs of the events and of the stages due for a refresh,
/// ascending, as full 64-bit integers. Needs an existing database: it never
/// creates one.
int runRefreshDue(const CommonOptions& options);

/// Plays one match day on a fresh home through the facade and the object
/// store only (see MatchDay.h): follows, favourites, votes and the rest at
/// the start (--now, else the real time), prints what the screens show half
/// an hour later, then moves the clock eight days on, refreshes what is due,
/// cleans, and prints what went away and why, and the screens again. A home
/// that already holds a database or an object store (a file of no bytes
/// counts as none) is refused with exit status 1 and left as it was; so is
/// a step that the storage refuses (the home then holds what came before).
int runDemo(const CommonOptions& options);

}  // namespace kestrel::tool
