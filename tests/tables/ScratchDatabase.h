// An in-memory SQLite database on the raw C API, for checking the schema
// statements of the table classes without the rest of the SQL layer.
#pragma once

#include <sqlite3.h>

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace kestrel::testing {

class ScratchDatabase {
 public:
  struct ColumnInfo {
    std::string name;
    std::string type;
    std::optional<std::string> defaultValue;
    bool primaryKey = false;
  };

  ScratchDatabase() { sqlite3_open(":memory:", &db_); }
  ~ScratchDatabase() { sqlite3_close(db_); }
  ScratchDatabase(const ScratchDatabase&) = delete;
  ScratchDatabase& operator=(const ScratchDatabase&) = delete;

  /// Runs one statement; true on success. The error text stays in lastError().
  bool exec(const std::string& sql) {
    return sqlite3_exec(db_, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  std::string lastError() const { return sqlite3_errmsg(db_); }

  /// Every row's columns as text (NULL as nullopt).
  std::vector<std::vector<std::optional<std::string>>> rows(const std::string& sql) {
    std::vector<std::vector<std::optional<std::string>>> out;
    sqlite3_stmt* stmt = nullptr;
    if (sqlite3_prepare_v2(db_, sql.c_str(), -1, &stmt, nullptr) != SQLITE_OK) {
      throw std::runtime_error(sql + ": " + lastError());
    }
    while (sqlite3_step(stmt) == SQLITE_ROW) {
      std::vector<std::optional<std::string>> row;
      for (int i = 0; i < sqlite3_column_count(stmt); ++i) {
        const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(stmt, i));
        row.push_back(text ? std::optional<std::string>(text) : std::nullopt);
      }
      out.push_back(std::move(row));
    }
    sqlite3_finalize(stmt);
    return out;
  }

  std::vector<ColumnInfo> tableInfo(const std::string& table) {
    std::vector<ColumnInfo> out;
    for (auto& row : rows("PRAGMA table_info(" + table + ")")) {
      out.push_back({row[1].value_or(""), row[2].value_or(""), row[4], row[5] != "0"});
    }
    return out;
  }

 private:
  sqlite3* db_ = nullptr;
};

}  // namespace kestrel::testing
