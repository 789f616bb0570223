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
  // Seconds to wait for another process's lock: the start path's whole wait,
  // check's busy wait, and a purge's wait for an earlier purge.
  double wait = FMDBHelper::kStartLockWait;
};

/// Runs the start path (creating or upgrading "kestrel.db"), then prints the
/// database path, the SQLite version, and each table's row and column count.
/// A start that failed (locked, not a database, not a regular file) is
/// reported with its reason and exit status 1.
int runInspect(const CommonOptions& options);

/// Integrity check plus a comparison of every table's columns with what the
/// current schema expects, opening only a regular file, read-only. Tells
/// healthy (0), damaged, not a database, unreadable or no file (1), and busy
/// or needing recovery (3) apart.
int runCheck(const CommonOptions& options);

/// Event retention: deleteFinishedEvents, then deleteOldEvents; prints how
/// many rows were deleted and hidden (with --json, also their IDs). Needs an
/// existing database: it never creates one. Purges of one database run one
/// at a time (a lock file beside it), so each report holds only its own
/// run's rows.
int runPurge(const CommonOptions& options);

/// Prints the IDs of the events due for a refresh, ascending, as full 64-bit
/// integers. Needs an existing database: it never creates one.
int runRefreshDue(const CommonOptions& options);

}  // namespace kestrel::tool
