// HomeDump is the canonical content of an application home: every table of
// "kestrel.db" (its schema, then every row with its rowid, every column,
// each value with its SQLite type, in rowid order) and every record of the
// object store file (by content, sorted). Two homes that had the same
// acknowledged operations applied have equal dumps; a row lost, added,
// half written or changed in one value makes them differ.
//
// What the object store keeps for itself and may differ between two runs
// doing the same thing is left out: the "_pk" key of every record (keys
// handed out in memory by a write that was then killed are not reused the
// same way), and a record's link to its owner (a to-many relationship's
// hidden column holds the owner's key) is written as the owner's content.
//
// Files are read with the plain sqlite3 C API, read-only: nothing is
// created, recovered or written. A file with a hot journal is therefore
// reported as unreadable; open it once the usual way first (the next
// start's recovery), then dump it.
//
// Thread-safety: of() may run on any thread; a dump is a plain value.
// Ownership: plain values.
#pragma once

#include <cstddef>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::reliability {

struct HomeDump {
  /// "<file>: <table>" -> rows as text ("<file>: schema" holds the schema;
  /// a missing file is the one entry "<file>" -> {"(no file)"}).
  std::map<std::string, std::vector<std::string>> tables;
  /// Why a file could not be read; a dump with an error equals no other.
  std::optional<std::string> error;

  /// The dump of the home `home` (its "Documents/kestrel.db" and its object
  /// store file).
  static HomeDump of(const std::filesystem::path& home);

  bool operator==(const HomeDump& other) const {
    return !error && !other.error && tables == other.tables;
  }
  bool operator!=(const HomeDump& other) const { return !(*this == other); }

  /// The rows one dump has and the other lacks, per table: "- <table>:
  /// <row>" for this dump's, "+ <table>: <row>" for the other's; at most
  /// `limit` lines.
  std::vector<std::string> differences(const HomeDump& other, std::size_t limit = 20) const;
  /// The rows of `expected` that this dump lacks, per table, as
  /// "<table>: <row>"; with `alsoIn`, only rows that dump holds too.
  std::vector<std::string> missingFrom(const HomeDump& expected,
                                       const HomeDump* alsoIn = nullptr) const;

  /// PRAGMA integrity_check of the SQLite file at `file`, opened read-write
  /// (so that a hot journal is rolled back, as the next start would) but
  /// never created: "ok", or what SQLite reported. A missing file is "ok".
  static std::string integrityCheck(const std::filesystem::path& file);
};

/// The database file and the object store file of a home.
std::filesystem::path databaseFile(const std::filesystem::path& home);
std::filesystem::path storeFile(const std::filesystem::path& home);

}  // namespace kestrel::reliability
