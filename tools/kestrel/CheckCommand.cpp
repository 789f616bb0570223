#include "Commands.h"
#include "Output.h"
#include "SchemaReport.h"
#include "StoreCheck.h"

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMError.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

#include <sqlite3.h>

#include <algorithm>
#include <filesystem>
#include <optional>
#include <system_error>

namespace kestrel::tool {
namespace {

// A database created before the American-football columns existed gains five
// of them through the upgrade statements but never this sixth one. It is a
// known property of upgraded files, not damage.
struct KnownGap {
  const char* table;
  const char* column;
};
constexpr KnownGap kKnownGaps[] = {{"EventTable_", "AM_FOOTBALL_CURRENT_TEAM_HALF"}};

bool isKnownGap(const std::string& table, const std::string& column) {
  return std::any_of(std::begin(kKnownGaps), std::end(kKnownGaps), [&](const KnownGap& gap) {
    return table == gap.table && column == gap.column;
  });
}

// What the check could tell about the file. Only a file that could be read is
// healthy or damaged; for the others nothing is said about tables.
enum class Status { Healthy, Damaged, NotADatabase, Busy, NeedsRecovery, Unreadable, NoDatabase };

const char* statusWord(Status status) {
  switch (status) {
    case Status::Healthy:
      return "healthy";
    case Status::Damaged:
      return "damaged";
    case Status::NotADatabase:
      return "not-a-database";
    case Status::Busy:
      return "busy";
    case Status::NeedsRecovery:
      return "needs-recovery";
    case Status::Unreadable:
      return "unreadable";
    case Status::NoDatabase:
      return "no-database";
  }
  return "unreadable";
}

int exitStatus(Status status) {
  switch (status) {
    case Status::Healthy:
      return kExitSuccess;
    case Status::Busy:
    case Status::NeedsRecovery:
      return kExitTryAgain;
    default:
      return kExitFailure;
  }
}

// Why the file could not be read, from the connection's last error.
struct Unread {
  Status status;
  std::string reason;
};

Unread unreadFrom(const FMDatabase& db) {
  const int extended = db.lastExtendedErrorCode();
  const std::string message = db.lastErrorMessage();
  switch (extended & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {Status::Busy, "busy: another process holds the database lock; try again"};
    case SQLITE_NOTADB:
      return {Status::NotADatabase, "not a database: " + message};
    case SQLITE_CORRUPT:
      return {Status::Damaged, message};
    case SQLITE_READONLY:
      if (extended == SQLITE_READONLY_ROLLBACK) {
        return {Status::NeedsRecovery,
                "needs recovery: an interrupted write left a journal that only a read-write "
                "open rolls back (kestrel inspect does); try again"};
      }
      break;
    default:
      break;
  }
  return {Status::Unreadable, "unreadable: " + message};
}

struct TableFinding {
  std::string name;
  bool missing = false;
  std::vector<std::string> missingColumns;
  std::vector<std::string> knownGaps;
};

struct Findings {
  Status status = Status::Healthy;
  std::string reason;                  // when the file could not be read
  std::vector<std::string> integrity;  // PRAGMA integrity_check, or why it failed
  std::vector<TableFinding> tables;
};

// Reads the file inside one read transaction, so that the integrity check and
// the schema comparison see the same state, and another process cannot take
// the file away between them.
Findings examine(FMDatabase& db) {
  // The findings of a file that could not be read (a damaged one included:
  // then the reason is its integrity finding).
  const auto unread = [&db] {
    Unread why = unreadFrom(db);
    Findings findings{why.status, std::move(why.reason), {}, {}};
    if (findings.status == Status::Damaged) findings.integrity = {findings.reason};
    db.rollback();
    return findings;
  };
  // "begin" takes no lock yet; the first read takes the shared lock and
  // keeps it to the end.
  if (!db.executeUpdate("begin deferred transaction")) return unread();
  FMError error;
  if (auto probe = db.executeQuery("SELECT count(*) FROM sqlite_master")) {
    const bool read = probe->nextWithError(&error);
    probe->close();
    if (!read) return unread();
  } else {
    return unread();
  }

  Findings out;

  if (auto rs = db.executeQuery("PRAGMA integrity_check")) {
    while (rs->nextWithError(&error))
      out.integrity.push_back(rs->stringForColumnIndex(0).value_or(""));
    rs->close();
    if (error.code != 0) out.integrity.push_back(error.message);
  } else {
    out.integrity.push_back(db.lastErrorMessage());
  }
  if (!(out.integrity.size() == 1 && out.integrity.front() == "ok")) out.status = Status::Damaged;

  for (const TableReport& expected : expectedSchema()) {
    TableFinding finding{expected.name, false, {}, {}};
    bool failed = false;
    const std::vector<std::string> actual = columnsOf(db, expected.name, &failed);
    // A schema that cannot be read is reported as such, never as "missing".
    if (failed) return unread();
    finding.missing = actual.empty();
    if (finding.missing) out.status = Status::Damaged;
    for (const std::string& column : expected.columns) {
      if (finding.missing || std::find(actual.begin(), actual.end(), column) != actual.end())
        continue;
      if (isKnownGap(expected.name, column)) {
        finding.knownGaps.push_back(column);
      } else {
        finding.missingColumns.push_back(column);
        out.status = Status::Damaged;
      }
    }
    out.tables.push_back(std::move(finding));
  }
  db.rollback();
  return out;
}

int report(const CommonOptions& options, const std::filesystem::path& path, Status status,
           const std::string& reason) {
  reportFailure(options, path, reason,
                {{"status", statusWord(status)}, {"healthy", status == Status::Healthy}});
  return exitStatus(status);
}

// The worse of two exit statuses: a failure over a "try again".
int worse(int a, int b) {
  if (a == kExitFailure || b == kExitFailure) return kExitFailure;
  return a != kExitSuccess ? a : b;
}

int printFindings(const CommonOptions& options, const std::filesystem::path& path,
                  const Findings& findings, const StoreFindings& store) {
  using platform::print;
  const bool healthy = findings.status == Status::Healthy;
  const int status = worse(exitStatus(findings.status), store.exitStatus);
  if (options.json) {
    platform::Json report = {
        {"database", path.string()},         {"status", statusWord(findings.status)},
        {"integrity", findings.integrity},   {"healthy", healthy},
        {"tables", platform::Json::array()}, {"objectStore", store.json()},
    };
    for (const TableFinding& f : findings.tables) {
      report["tables"].push_back({{"name", f.name},
                                  {"missing", f.missing},
                                  {"missingColumns", f.missingColumns},
                                  {"knownGaps", f.knownGaps}});
    }
    print("%s\n", jsonText(report).c_str());
    return status;
  }

  const bool integrityOk = findings.integrity.size() == 1 && findings.integrity.front() == "ok";
  print("database: %s\n", path.c_str());
  print("integrity: %s\n", integrityOk ? "ok" : "FAILED");
  if (!integrityOk) {
    for (const std::string& line : findings.integrity) print("  %s\n", line.c_str());
  }
  for (const TableFinding& f : findings.tables) {
    if (f.missing) {
      print("%s: MISSING TABLE\n", f.name.c_str());
      continue;
    }
    for (const std::string& column : f.missingColumns) {
      print("%s: MISSING COLUMN %s\n", f.name.c_str(), column.c_str());
    }
    for (const std::string& column : f.knownGaps) {
      print("%s: known gap: %s (never added by the upgrade statements)\n", f.name.c_str(),
            column.c_str());
    }
  }
  print("%s\n", healthy ? "healthy" : "DAMAGED");
  store.print();
  return status;
}

}  // namespace

int runCheck(const CommonOptions& options) {
  // The check only reads: it never creates, upgrades or rolls back the file
  // it checks, and opens nothing but a regular file (a FIFO or a device
  // would block the open or the reads for ever). The same holds for the
  // object store, looked at once the database could be read.
  const std::filesystem::path path =
      platform::AppHome::root() / "Documents" / FMDBHelper::kDatabaseFileName;
  std::error_code error;
  const auto file = std::filesystem::status(path, error);
  if (error && error != std::errc::no_such_file_or_directory) {
    return report(options, path, Status::Unreadable, "cannot be read: " + error.message());
  }
  if (!std::filesystem::exists(file)) {
    return report(options, path, Status::NoDatabase, "no database file");
  }
  if (!std::filesystem::is_regular_file(file)) {
    return report(options, path, Status::Unreadable, "unreadable: not a regular file");
  }

  auto db = FMDatabase::databaseWithPath(path.string());
  db->setMaxBusyRetryTimeInterval(options.wait);
  if (!db->openWithFlags(SQLITE_OPEN_READONLY)) {
    return report(options, path, Status::Unreadable, "unreadable: cannot be opened");
  }
  const Findings findings = examine(*db);
  db->close();
  if (findings.status != Status::Healthy && findings.status != Status::Damaged) {
    return report(options, path, findings.status, findings.reason);
  }
  return printFindings(options, path, findings, checkStore(platform::AppHome::root()));
}

}  // namespace kestrel::tool
