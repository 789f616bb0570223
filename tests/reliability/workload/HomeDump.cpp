#include "reliability/workload/HomeDump.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/schema/FMDBHelper.h>
#include <sqlite3.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <set>
#include <utility>

namespace kestrel::reliability {
namespace {

using Rows = std::vector<std::string>;

struct CloseDatabase {
  void operator()(sqlite3* db) const { sqlite3_close_v2(db); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;
struct FinalizeStatement {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

std::string quoted(const std::string& name) {
  std::string text = "\"";
  for (char c : name) {
    text += c;
    if (c == '"') text += '"';
  }
  return text + "\"";
}

// A value with its SQLite type: NULL, 12, r1.5, 'text' (bytes outside
// printable ASCII, the quote and the backslash as \xNN), x'0aff'.
std::string valueText(sqlite3_stmt* statement, int column) {
  char buffer[64];
  switch (sqlite3_column_type(statement, column)) {
    case SQLITE_NULL:
      return "NULL";
    case SQLITE_INTEGER:
      return std::to_string(sqlite3_column_int64(statement, column));
    case SQLITE_FLOAT:
      std::snprintf(buffer, sizeof buffer, "r%.17g", sqlite3_column_double(statement, column));
      return buffer;
    case SQLITE_TEXT: {
      const auto* bytes = sqlite3_column_text(statement, column);
      const int size = sqlite3_column_bytes(statement, column);
      std::string text = "'";
      for (int i = 0; i < size; ++i) {
        const unsigned char c = bytes[i];
        if (c < 0x20 || c >= 0x7f || c == '\'' || c == '\\') {
          std::snprintf(buffer, sizeof buffer, "\\x%02x", c);
          text += buffer;
        } else {
          text += static_cast<char>(c);
        }
      }
      return text + "'";
    }
    default: {
      const auto* bytes = static_cast<const unsigned char*>(sqlite3_column_blob(statement, column));
      const int size = sqlite3_column_bytes(statement, column);
      std::string text = "x'";
      for (int i = 0; i < size; ++i) {
        std::snprintf(buffer, sizeof buffer, "%02x", bytes[i]);
        text += buffer;
      }
      return text + "'";
    }
  }
}

// One row: the columns by name, in the statement's order.
using Row = std::vector<std::pair<std::string, std::string>>;

// Runs `sql` and hands each row to `visit`; the error text, or nothing.
template <class Visit>
std::optional<std::string> query(sqlite3* db, const std::string& sql, Visit visit) {
  sqlite3_stmt* raw = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &raw, nullptr) != SQLITE_OK) {
    return std::string(sqlite3_errmsg(db)) + " in " + sql;
  }
  Statement statement(raw);
  const int columns = sqlite3_column_count(raw);
  for (;;) {
    const int rc = sqlite3_step(raw);
    if (rc == SQLITE_DONE) return std::nullopt;
    if (rc != SQLITE_ROW) return std::string(sqlite3_errmsg(db)) + " in " + sql;
    Row row;
    for (int c = 0; c < columns; ++c) row.emplace_back(sqlite3_column_name(raw, c), valueText(raw, c));
    visit(std::move(row));
  }
}

std::string joined(const Row& row, const std::string& skip = {}) {
  std::string text;
  for (const auto& [name, value] : row) {
    if (name == skip) continue;
    if (!text.empty()) text += ", ";
    text += name + "=" + value;
  }
  return text;
}

// Opens `file` read-only, or says why not; a missing file is no error and
// no database.
std::optional<std::string> openReadOnly(const std::filesystem::path& file, Database& db) {
  std::error_code ignored;
  if (!std::filesystem::exists(file, ignored)) return std::nullopt;
  sqlite3* raw = nullptr;
  const int rc = sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
  db.reset(raw);
  if (rc != SQLITE_OK) return "cannot open " + file.string() + ": " + sqlite3_errstr(rc);
  // A reader waits briefly for a writer that is still finishing.
  sqlite3_busy_timeout(raw, 2000);
  return std::nullopt;
}

// The schema and the table names of an open database.
std::optional<std::string> readSchema(sqlite3* db, Rows& schema, std::vector<std::string>& tables) {
  return query(db, "SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY type, name",
               [&](Row row) {
                 if (row[0].second == "'table'") {
                   const std::string& quotedName = row[1].second;
                   tables.push_back(quotedName.substr(1, quotedName.size() - 2));
                 }
                 schema.push_back(joined(row));
               });
}

// kestrel.db: every table's rows with their rowid, in rowid order (or, for
// a table without one, sorted).
std::optional<std::string> dumpDatabase(const std::filesystem::path& file, HomeDump& dump) {
  const std::string label = "kestrel.db";
  Database db;
  if (auto error = openReadOnly(file, db)) return error;
  if (!db) {
    dump.tables[label] = {"(no file)"};
    return std::nullopt;
  }
  std::vector<std::string> tables;
  Rows& schema = dump.tables[label + ": schema"];
  if (auto error = readSchema(db.get(), schema, tables)) return label + ": " + *error;
  for (const std::string& table : tables) {
    Rows& rows = dump.tables[label + ": " + table];
    const auto add = [&rows](Row row) { rows.push_back(joined(row)); };
    if (query(db.get(), "SELECT rowid AS \"(rowid)\", * FROM " + quoted(table) + " ORDER BY rowid", add)) {
      rows.clear();
      if (auto error = query(db.get(), "SELECT * FROM " + quoted(table), add)) return label + ": " + *error;
      std::sort(rows.begin(), rows.end());
    }
  }
  return std::nullopt;
}

// The object store: records by content, sorted; "_pk" left out, owner
// links written as the owner's content.
std::optional<std::string> dumpStore(const std::filesystem::path& file, HomeDump& dump) {
  const std::string label = "object store";
  Database db;
  if (auto error = openReadOnly(file, db)) return error;
  if (!db) {
    dump.tables[label] = {"(no file)"};
    return std::nullopt;
  }
  std::vector<std::string> tables;
  Rows& schema = dump.tables[label + ": schema"];
  if (auto error = readSchema(db.get(), schema, tables)) return label + ": " + *error;

  // Every record, then each record's content by its key, for the links.
  std::map<std::string, std::vector<Row>> records;
  std::map<std::string, std::map<std::string, std::string>> contentByKey;
  for (const std::string& table : tables) {
    std::vector<Row>& rows = records[table];
    if (auto error = query(db.get(), "SELECT * FROM " + quoted(table), [&](Row row) { rows.push_back(std::move(row)); })) {
      return label + ": " + *error;
    }
    for (const Row& row : rows) {
      for (const auto& [name, value] : row) {
        if (name == "_pk") contentByKey[table][value] = joined(row, "_pk");
      }
    }
  }
  for (const auto& [table, rows] : records) {
    Rows& texts = dump.tables[label + ": " + table];
    for (Row row : rows) {
      for (auto& [name, value] : row) {
        if (name.size() < 2 || name[0] != '_' || name == "_pk" || value == "NULL") continue;
        // "_<Owner>_<relationship>": the owner is the longest table that fits.
        std::string owner;
        for (const std::string& candidate : tables) {
          if (name.rfind("_" + candidate + "_", 0) == 0 && candidate.size() > owner.size()) owner = candidate;
        }
        if (owner.empty()) continue;
        const auto& keys = contentByKey[owner];
        const auto found = keys.find(value);
        value = found == keys.end() ? "(no owner)" : "{" + found->second + "}";
      }
      texts.push_back(joined(row, "_pk"));
    }
    std::sort(texts.begin(), texts.end());
  }
  return std::nullopt;
}

}  // namespace

std::filesystem::path databaseFile(const std::filesystem::path& home) {
  return home / "Documents" / FMDBHelper::kDatabaseFileName;
}

std::filesystem::path storeFile(const std::filesystem::path& home) { return DataManager::storePath(home); }

HomeDump HomeDump::of(const std::filesystem::path& home) {
  HomeDump dump;
  if (auto error = dumpDatabase(databaseFile(home), dump)) {
    dump.error = error;
  } else if (auto storeError = dumpStore(storeFile(home), dump)) {
    dump.error = storeError;
  }
  return dump;
}

std::vector<std::string> HomeDump::differences(const HomeDump& other, std::size_t limit) const {
  std::vector<std::string> lines;
  if (error) lines.push_back("this dump: " + *error);
  if (other.error) lines.push_back("the other dump: " + *other.error);
  std::set<std::string> names;
  for (const auto& [name, unused] : tables) names.insert(name);
  for (const auto& [name, unused] : other.tables) names.insert(name);
  static const Rows kNone;
  for (const std::string& name : names) {
    const auto mine = tables.find(name);
    const auto theirs = other.tables.find(name);
    const Rows& a = mine == tables.end() ? kNone : mine->second;
    const Rows& b = theirs == other.tables.end() ? kNone : theirs->second;
    if (a == b) continue;
    const std::multiset<std::string> left(a.begin(), a.end()), right(b.begin(), b.end());
    Rows onlyLeft, onlyRight;
    std::set_difference(left.begin(), left.end(), right.begin(), right.end(), std::back_inserter(onlyLeft));
    std::set_difference(right.begin(), right.end(), left.begin(), left.end(), std::back_inserter(onlyRight));
    if (onlyLeft.empty() && onlyRight.empty()) lines.push_back("  " + name + ": the same rows in another order");
    for (const std::string& row : onlyLeft) lines.push_back("- " + name + ": " + row);
    for (const std::string& row : onlyRight) lines.push_back("+ " + name + ": " + row);
  }
  if (lines.size() > limit) {
    const std::size_t more = lines.size() - limit;
    lines.resize(limit);
    lines.push_back("... and " + std::to_string(more) + " more");
  }
  return lines;
}

std::vector<std::string> HomeDump::missingFrom(const HomeDump& expected, const HomeDump* alsoIn) const {
  std::vector<std::string> lines;
  static const Rows kNone;
  const auto rowsOf = [](const HomeDump& dump, const std::string& name) -> const Rows& {
    const auto found = dump.tables.find(name);
    return found == dump.tables.end() ? kNone : found->second;
  };
  for (const auto& [name, rows] : expected.tables) {
    const Rows& mine = rowsOf(*this, name);
    const std::multiset<std::string> have(mine.begin(), mine.end());
    const Rows& also = alsoIn ? rowsOf(*alsoIn, name) : kNone;
    const std::multiset<std::string> kept(also.begin(), also.end());
    for (const std::string& row : rows) {
      if (have.count(row) == 0 && (!alsoIn || kept.count(row) > 0)) lines.push_back(name + ": " + row);
    }
  }
  return lines;
}

std::string HomeDump::integrityCheck(const std::filesystem::path& file) {
  std::error_code ignored;
  if (!std::filesystem::exists(file, ignored)) return "ok";
  sqlite3* raw = nullptr;
  const int rc = sqlite3_open_v2(file.c_str(), &raw, SQLITE_OPEN_READWRITE, nullptr);
  Database db(raw);
  if (rc != SQLITE_OK) return std::string("cannot open: ") + sqlite3_errstr(rc);
  sqlite3_busy_timeout(raw, 2000);
  std::string result;
  if (auto error = query(raw, "PRAGMA integrity_check", [&](Row row) {
        if (!result.empty()) result += "; ";
        result += row.at(0).second;
      })) {
    return *error;
  }
  return result == "'ok'" ? "ok" : result;
}

}  // namespace kestrel::reliability
