// The database every SQL benchmark case runs on: one file per row count in a
// temporary folder, holding one table shaped like the event table (an
// integer key and 126 columns, two thirds INTEGER and one third short TEXT)
// filled with deterministic values. Each row count's file is made once, on
// first use, and the folder is removed when the process ends.
//
// Cases open their own connections on path(). Writing cases rewrite existing
// rows with their own values (insertSql), so the contents never change and
// every case sees the same rows.
//
// Thread-safety: none; benchmarks run on one thread.
// Ownership: forRows() keeps each database for the life of the process.
#pragma once

#include "ReadSink.h"

#include <sqlite3.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace kestrel::bench {

class BenchDatabase {
 public:
  /// The key column and the 126 value columns.
  static constexpr int kColumnCount = 127;
  static constexpr const char* kTableName = "bench_event";
  static constexpr const char* kSelectAllSql = "SELECT * FROM bench_event";
  static constexpr const char* kPointQuerySql = "SELECT * FROM bench_event WHERE id = ?";

  struct RawCloser {
    void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
  };
  using RawHandle = std::unique_ptr<sqlite3, RawCloser>;

  /// The database with `rows` rows (keys 1...rows), made on first use. Stops
  /// the process when the file cannot be made.
  static const BenchDatabase& forRows(int rows);

  BenchDatabase(const BenchDatabase&) = delete;
  BenchDatabase& operator=(const BenchDatabase&) = delete;

  const std::string& path() const { return path_; }
  int rows() const { return rows_; }

  /// Column names as declared (mixed case), the key "id" first.
  const std::vector<std::string>& columnNames() const { return columnNames_; }
  /// Whether column `column` (0 is the key) is a TEXT column.
  static bool isText(int column) { return column > 0 && column % 3 == 0; }

  /// The value of an INTEGER column of row `id` (the key column is the id).
  static std::int64_t integerValue(std::int64_t id, int column);
  /// The value of a TEXT column of row `id`: a short word, at most 10 bytes.
  static std::string textValue(std::int64_t id, int column);

  /// The key the i-th iteration of a point case uses: walks every key once
  /// per `rows` iterations, in a scattered order.
  std::int64_t keyForIteration(std::int64_t iteration) const;

  /// The text-built "INSERT OR REPLACE" of row `id` with its own values, the
  /// way the table layer writes a row: every value as a double-quoted word.
  std::string insertSql(std::int64_t id) const;

  /// What a ReadSink holds after reading every column of every row.
  const ReadSink& expectedAll() const { return expectedAll_; }
  /// What a ReadSink holds after reading every column of row `id`.
  static ReadSink expectedRow(std::int64_t id);

  /// A raw connection on `path` with double-quoted string literals on, as
  /// the library's connections have them. Stops the process on failure.
  static RawHandle openRaw(const std::string& path);

 private:
  BenchDatabase(std::string path, int rows);
  void create() const;

  std::string path_;
  int rows_;
  std::vector<std::string> columnNames_;
  std::string insertPrefix_;  // "INSERT OR REPLACE INTO ... VALUES ("
  ReadSink expectedAll_;
};

}  // namespace kestrel::bench
