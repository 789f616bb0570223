// The cursor executeQuery() returns: steps its prepared statement row by row
// and reads typed column values by index or by name.
//
// A fresh result set stands before the first row; next() moves to the next
// one. Accessors never fail loudly: an index out of range or an unknown name
// reads as 0 or absent, and only an unknown name is logged ("Warning: I could
// not find the column named '...'."). Names match without regard to case,
// through the statement's name map, so by-name reads allocate nothing.
//
// Thread-safety: none; use and close a result set inside the same database
// queue block that made it.
// Ownership: shared (std::shared_ptr). Holds its statement; knows its
// connection without owning it. The connection closes every result set that
// is still open when it closes, so a result set never outlives its
// connection's handle. A result set that is destroyed closes itself.
#pragma once

#include <KestrelDatabase/sql/FMError.h>
#include <KestrelDatabase/sql/FMStatement.h>
#include <KestrelDatabase/sql/Value.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_stmt;

namespace kestrel {

class FMDatabase;

class FMResultSet {
  struct Passkey {};

 public:
  /// A result set over `statement` for `parentDB`. Used by the connection's
  /// executeQuery(), which also records it as open.
  static std::shared_ptr<FMResultSet> resultSetWithStatement(std::shared_ptr<FMStatement> statement,
                                                             FMDatabase* parentDB,
                                                             bool shouldAutoClose);

  FMResultSet(Passkey, std::shared_ptr<FMStatement> statement, FMDatabase* parentDB,
              bool shouldAutoClose);
  ~FMResultSet();
  FMResultSet(const FMResultSet&) = delete;
  FMResultSet& operator=(const FMResultSet&) = delete;

  /// The connection, or nullptr once closed.
  FMDatabase* parentDB() const { return parentDB_; }
  const std::string& query() const { return query_; }
  /// The statement, or nullptr once closed.
  FMStatement* statement() const { return statement_.get(); }

  /// Whether stepping past the last row (or a step error) closes the result
  /// set. On by default for result sets from executeQuery().
  bool shouldAutoClose() const { return shouldAutoClose_; }
  void setShouldAutoClose(bool value) { shouldAutoClose_ = value; }

  /// Steps once; true when a row is available.
  bool next();
  bool nextWithError(FMError* error);
  /// True when the connection's last result code is SQLITE_ROW.
  bool hasAnotherRow() const;

  int columnCount() const;
  std::optional<std::string> columnNameForIndex(int columnIdx) const;
  /// The index of the column (any case), or -1 with a warning line.
  int columnIndexForName(std::string_view columnName) const {
    const int index = statement_ ? statement_->columnIndexForName(columnName) : -1;
    if (index < 0) [[unlikely]]
      warnUnknownColumn(columnName);
    return index;
  }

  int intForColumn(std::string_view columnName) const;
  int intForColumnIndex(int columnIdx) const;
  long longForColumn(std::string_view columnName) const;
  long longForColumnIndex(int columnIdx) const;
  long long longLongIntForColumn(std::string_view columnName) const;
  long long longLongIntForColumnIndex(int columnIdx) const;
  unsigned long long unsignedLongLongIntForColumn(std::string_view columnName) const;
  unsigned long long unsignedLongLongIntForColumnIndex(int columnIdx) const;
  double doubleForColumn(std::string_view columnName) const;
  double doubleForColumnIndex(int columnIdx) const;
  bool boolForColumn(std::string_view columnName) const;
  bool boolForColumnIndex(int columnIdx) const;

  /// Text with every byte the column holds (a NUL inside and invalid UTF-8
  /// included), or absent for NULL or an index out of range. A value SQLite
  /// could not hand out as text (out of memory) is logged and absent.
  std::optional<std::string> stringForColumn(std::string_view columnName) const;
  std::optional<std::string> stringForColumnIndex(int columnIdx) const;
  /// The text in place (no copy), valid until the next step or close; absent
  /// as for stringForColumn().
  std::optional<std::string_view> textNoCopyForColumn(std::string_view columnName) const;
  std::optional<std::string_view> textNoCopyForColumnIndex(int columnIdx) const;
  /// A copy of the blob, or absent for NULL, out of range or an empty blob.
  std::optional<std::vector<std::uint8_t>> dataForColumn(std::string_view columnName) const;
  std::optional<std::vector<std::uint8_t>> dataForColumnIndex(int columnIdx) const;
  /// The blob's bytes in place, valid until the next step or close.
  std::optional<std::span<const std::uint8_t>> dataNoCopyForColumn(
      std::string_view columnName) const;
  std::optional<std::span<const std::uint8_t>> dataNoCopyForColumnIndex(int columnIdx) const;
  /// With a date formatter on the connection the text parsed by it,
  /// otherwise the number of seconds since 1970; absent for NULL.
  std::optional<Value::Date> dateForColumn(std::string_view columnName) const;
  std::optional<Value::Date> dateForColumnIndex(int columnIdx) const;

  /// The value by the column's SQLite type; Value::null() for NULL (and for
  /// an empty blob); absent for an index out of range.
  std::optional<Value> objectForColumn(std::string_view columnName) const;
  std::optional<Value> objectForColumnIndex(int columnIdx) const;
  std::optional<Value> operator[](int columnIdx) const { return objectForColumnIndex(columnIdx); }
  std::optional<Value> operator[](std::string_view columnName) const {
    return objectForColumn(columnName);
  }

  bool columnIsNull(std::string_view columnName) const;
  bool columnIndexIsNull(int columnIdx) const;

  /// Column name -> objectForColumnIndex() for every column of the row.
  std::map<std::string, Value> resultDictionary() const;

  /// The 64-bit integer of the column, or absent when it is NULL (or the
  /// name is unknown). How table rows read optional integer fields.
  std::optional<std::int64_t> getIntegerForColumnName(std::string_view columnName) const;
  std::optional<std::int64_t> getIntegerForColumnIndex(int columnIdx) const;

  /// Rewinds and drops the statement and leaves the connection's set of open
  /// result sets. Safe to call more than once.
  void close();

 private:
  static void warnUnknownColumn(std::string_view columnName);
  bool inRange(int columnIdx) const {
    return static_cast<unsigned>(columnIdx) < static_cast<unsigned>(columnCount_);
  }

  FMDatabase* parentDB_;
  sqlite3_stmt* handle_;  // statement_'s handle, for the row path
  std::shared_ptr<FMStatement> statement_;
  std::string query_;
  int columnCount_;
  bool shouldAutoClose_;
  bool stepped_ = false;
};

}  // namespace kestrel
