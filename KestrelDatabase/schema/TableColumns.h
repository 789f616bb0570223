// The names a table's writes are checked against: the table's own name and
// its column names, taken once from the table's description. The checked
// write path of DBTableAbstract asks two questions of it: is a name one of
// the table's columns (a column/value map's key, a condition's column), and
// would a text, written as a double-quoted word, read as a column instead of
// as text (it names a column of the table or one of SQLite's row id aliases
// "rowid", "oid" and "_rowid_"). Both compare without regard to ASCII case,
// as SQLite compares identifiers. It also knows which columns are numeric,
// for the form of a real written to one.
//
// A table class keeps one instance for the life of the process:
//   const TableColumns& DBTableX::tableColumns() {
//     static const TableColumns columns = TableColumns::of(*tableDescription());
//     return columns;
//   }
//
// Thread-safety: immutable after construction; read from any thread.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

namespace kestrel {

class NewEntityTable;

class TableColumns {
 public:
  /// `numericColumns` are the columns declared with a numeric type (a
  /// subset of `columnNames`); a real written to one of them is written in a
  /// form SQLite reads as exactly that real.
  TableColumns(std::string tableName, const std::vector<std::string>& columnNames,
               const std::vector<std::string>& numericColumns = {});

  /// The name and columns of a table description (an unnamed one gives ""),
  /// the INTEGER columns as its numeric ones.
  static TableColumns of(const NewEntityTable& description);

  const std::string& tableName() const { return tableName_; }

  /// Whether `name` is one of the table's columns.
  bool hasColumn(std::string_view name) const;

  /// Whether `text` names a column of the table or a row id alias, so that
  /// SQLite would read the double-quoted word "text" as that column.
  bool isColumnReference(std::string_view text) const;

  /// Whether `name` is one of the columns declared with a numeric type.
  bool isNumeric(std::string_view name) const;

  /// Hashing and equality of names without regard to ASCII case, usable
  /// with any string_view (no folded copy is made).
  struct FoldedHash {
    using is_transparent = void;
    std::size_t operator()(std::string_view name) const;
  };
  struct FoldedEqual {
    using is_transparent = void;
    bool operator()(std::string_view a, std::string_view b) const;
  };

 private:
  using NameSet = std::unordered_set<std::string, FoldedHash, FoldedEqual>;

  std::string tableName_;
  NameSet columns_;
  NameSet numeric_;
  NameSet references_;  // the columns and the row id aliases
  std::size_t longestReference_ = 0;
};

}  // namespace kestrel
