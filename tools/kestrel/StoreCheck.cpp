#include "StoreCheck.h"

#include "Commands.h"
#include "Output.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelPlatform/Log.h>

#include <sqlite3.h>

#include <charconv>

namespace kestrel::tool {
namespace {

// SQLite's primary result code behind a store error, or SQLITE_OK.
int sqliteCode(const platform::StoreError& error) {
  const auto found = error.userInfo.find("sqliteCode");
  if (found == error.userInfo.end()) return SQLITE_OK;
  int code = SQLITE_OK;
  std::from_chars(found->second.data(), found->second.data() + found->second.size(), code);
  return code & 0xff;
}

void set(StoreFindings& findings, const char* status, int exitStatus,
         std::optional<std::string> reason = std::nullopt) {
  findings.status = status;
  findings.exitStatus = exitStatus;
  findings.reason = std::move(reason);
}

}  // namespace

StoreFindings checkStore(const std::filesystem::path& home) {
  StoreFindings findings;
  findings.file = DataManager::storePath(home);
  if (std::optional<std::string> why = whyNotUsable(findings.file)) {
    set(findings, "unreadable", kExitFailure, std::move(why));
    return findings;
  }
  if (fileState(findings.file) == FileState::missing) {
    set(findings, "no-store", kExitSuccess, "no object store yet; the first load creates it");
    return findings;
  }

  const platform::StoreInspection inspection = DataManager::inspectStore(home);
  findings.modelVersion = inspection.modelVersion;
  findings.integrity = inspection.integrity;
  if (inspection.needsRecovery) {
    set(findings, "needs-recovery", kExitTryAgain,
        "an interrupted save left a journal that only a read-write open rolls back (kestrel "
        "inspect does, as the application would); try again");
    return findings;
  }
  if (inspection.error) {
    const std::string text = describe(*inspection.error);
    switch (sqliteCode(*inspection.error)) {
      case SQLITE_BUSY:
      case SQLITE_LOCKED:
        set(findings, "busy", kExitTryAgain,
            "another process holds the object store's lock; try again");
        break;
      case SQLITE_NOTADB:
        set(findings, "not-a-database", kExitFailure, text);
        break;
      case SQLITE_CORRUPT:
      case SQLITE_ERROR:  // a table of its own version that cannot be read
        set(findings, "damaged", kExitFailure, text);
        if (findings.integrity.empty()) findings.integrity.push_back(text);
        break;
      case SQLITE_OK:  // readable, but not a store of this model
        set(findings, "incompatible", kExitFailure, text);
        break;
      default:
        set(findings, "unreadable", kExitFailure, text);
        break;
    }
    return findings;
  }
  if (!inspection.integrityOk()) {
    set(findings, "damaged", kExitFailure);
  } else if (!inspection.modelVersion) {
    set(findings, "empty", kExitSuccess, "an empty file; the first load makes it a store");
  } else if (!inspection.knownVersion) {
    set(findings, "incompatible", kExitFailure,
        "written by a model version this one does not know (or with another layout)");
  } else if (inspection.needsMigration()) {
    set(findings, "needs-migration", kExitSuccess,
        "an older model version; the next load (kestrel inspect, a purge, the application) "
        "migrates it");
  } else {
    set(findings, "healthy", kExitSuccess);
  }
  return findings;
}

platform::Json StoreFindings::json() const {
  platform::Json json = {{"file", file.string()},
                         {"status", status},
                         {"healthy", healthy()},
                         {"modelVersion", modelVersion ? platform::Json(*modelVersion) : nullptr},
                         {"integrity", integrity}};
  if (reason) json["reason"] = *reason;
  return json;
}

void StoreFindings::print() const {
  using platform::print;
  print("object store: %s\n", file.c_str());
  if (modelVersion) print("  version:   %s\n", modelVersion->c_str());
  if (!integrity.empty()) {
    const bool ok = integrity.size() == 1 && integrity.front() == "ok";
    print("  integrity: %s\n", ok ? "ok" : "FAILED");
    if (!ok) {
      for (const std::string& line : integrity) print("    %s\n", line.c_str());
    }
  }
  print("  status:    %s\n", status.c_str());
  if (reason) print("  (%s)\n", reason->c_str());
}

}  // namespace kestrel::tool
