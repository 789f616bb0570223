// The kestrel tool's commands. Each runs against the application home that
// main() has already set (--home), prints its report through the platform's
// print path (errors: see Output.h), and returns the process exit status:
// 0 success, 1 a damaged or missing database or a failed operation.
#pragma once

#include <optional>

namespace kestrel::tool {

struct CommonOptions {
  bool json = false;
  std::optional<double> now;  // seconds since 1970; fixes the platform clock
};

/// Runs the start path (creating or upgrading "kestrel.db"), then prints the
/// database path, the SQLite version, and each table's row and column count.
int runInspect(const CommonOptions& options);

/// Integrity check plus a comparison of every table's columns with what the
/// current schema expects, opening the file read-only. 0 when healthy, 1 when
/// damaged, missing or not openable.
int runCheck(const CommonOptions& options);

/// Event retention: deleteFinishedEvents, then deleteOldEvents; prints how
/// many rows were deleted and hidden (with --json, also their IDs). Needs an
/// existing database: it never creates one.
int runPurge(const CommonOptions& options);

/// Prints the IDs of the events due for a refresh, ascending, as full 64-bit
/// integers. Needs an existing database: it never creates one.
int runRefreshDue(const CommonOptions& options);

}  // namespace kestrel::tool
