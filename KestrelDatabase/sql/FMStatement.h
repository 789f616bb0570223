// One prepared SQLite statement with its SQL text, so that a connection can
// cache it and hand it out again.
//
// The statement also keeps the lower-cased column name -> index map of its
// result columns, built on the first lookup by name and reused by every
// result set that runs the statement afterwards (a cached statement never
// builds it twice). When SQLite re-prepares the statement after a schema
// change the map is rebuilt.
//
// Thread-safety: none; used on the thread that uses its connection.
// Ownership: owns the sqlite3_stmt and finalises it on close or destruction.
// Shared (std::shared_ptr) between the connection's statement cache and the
// result set that currently runs it.
// REQUIRES: the connection that prepared it is still open while the handle is
// used; the connection clears its cache and closes its result sets before it
// closes.
#pragma once

#include <KestrelDatabase/sql/ColumnNameMap.h>

#include <memory>
#include <string>
#include <string_view>

struct sqlite3_stmt;

namespace kestrel {

class FMStatement {
 public:
  /// Takes ownership of `handle`.
  FMStatement(sqlite3_stmt* handle, std::string query);
  ~FMStatement();
  FMStatement(const FMStatement&) = delete;
  FMStatement& operator=(const FMStatement&) = delete;

  /// The SQLite statement, or nullptr once closed.
  sqlite3_stmt* statement() const { return handle_.get(); }
  const std::string& query() const { return query_; }

  /// How often the connection handed this statement out.
  long useCount() const { return useCount_; }
  void setUseCount(long count) { useCount_ = count; }

  /// Whether a result set currently runs this statement.
  bool inUse() const { return inUse_; }
  void setInUse(bool inUse) { inUse_ = inUse; }

  /// Rewinds the statement (sqlite3_reset) and marks it not in use.
  void reset();
  /// Finalises the statement and drops the handle.
  void close();

  /// The index of the result column called `name` (any case), or -1.
  int columnIndexForName(std::string_view name) {
    if (!columnMapBuilt_) [[unlikely]]
      buildColumnMap();
    return columnMap_.find(name);
  }

  /// Forgets the column map when SQLite has re-prepared the statement since
  /// the map was built. Cheap; called once per run of the statement.
  void checkColumnMap();

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* handle) const noexcept;
  };

  void buildColumnMap();

  std::unique_ptr<sqlite3_stmt, Finalizer> handle_;
  std::string query_;
  long useCount_ = 0;
  bool inUse_ = false;
  bool columnMapBuilt_ = false;
  int columnMapPrepareCount_ = 0;  // SQLite's re-prepare counter when built
  ColumnNameMap columnMap_;
};

}  // namespace kestrel
