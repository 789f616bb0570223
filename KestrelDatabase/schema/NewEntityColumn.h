// The description of one column of a SQLite table: its name, its role in the
// table (primary key, foreign key or plain data), its data type code, and the
// constraints that the CREATE TABLE text writes for it. A column belongs to a
// NewEntityTable, which gives it its position when the column is inserted.
//
// Column type codes: 0 primary key ("PK"), 1 foreign key ("FK"), 2 data
// ("DATA"). Data type codes: 0 "INTEGER", 1 "TEXT", 2 "INTEGER" (two codes
// render as the same SQL word on purpose).
//
// Thread-safety: none; a description is built and read on one thread.
// Ownership: columns are held through std::shared_ptr by their table; the
// column holds its parent table weakly.
#pragma once

#include <memory>
#include <optional>
#include <string>

namespace kestrel {

class NewEntityTable;

class NewEntityColumn {
 public:
  static constexpr int kColumnTypePrimaryKey = 0;
  static constexpr int kColumnTypeForeignKey = 1;
  static constexpr int kColumnTypeData = 2;

  static constexpr int kDataTypeInteger = 0;
  static constexpr int kDataTypeText = 1;
  /// A second integer code; it renders as "INTEGER" like kDataTypeInteger.
  static constexpr int kDataTypeIntegerAlt = 2;

  /// The base initialiser: isUnique starts as (columnType == primary key).
  NewEntityColumn(std::weak_ptr<NewEntityTable> parentTable, std::string name, int columnType,
                  int dataType, bool autoIncrement);
  NewEntityColumn(const NewEntityColumn&) = delete;
  NewEntityColumn& operator=(const NewEntityColumn&) = delete;

  /// A data column (type 2), not auto-increment.
  static std::shared_ptr<NewEntityColumn> initColumn(std::weak_ptr<NewEntityTable> parentTable,
                                                     std::string name, int dataType);
  /// Not auto-increment.
  static std::shared_ptr<NewEntityColumn> initColumn(std::weak_ptr<NewEntityTable> parentTable,
                                                     std::string name, int columnType,
                                                     int dataType);
  static std::shared_ptr<NewEntityColumn> initColumn(std::weak_ptr<NewEntityTable> parentTable,
                                                     std::string name, int columnType, int dataType,
                                                     bool autoIncrement);
  /// A column with a REFERENCES target, not auto-increment; isForeignKeyColumn is set.
  static std::shared_ptr<NewEntityColumn> initColumn(std::weak_ptr<NewEntityTable> parentTable,
                                                     std::string name, int columnType, int dataType,
                                                     std::string referencedTable,
                                                     std::string referencedColumn);
  static std::shared_ptr<NewEntityColumn> initColumn(std::weak_ptr<NewEntityTable> parentTable,
                                                     std::string name, int columnType, int dataType,
                                                     std::string referencedTable,
                                                     std::string referencedColumn,
                                                     std::optional<std::string> referencedOptions);

  /// "INTEGER" or "TEXT"; an unknown code logs a warning and gives "TEXT".
  std::string stringColumnDataType() const;
  /// "PK", "FK" or "DATA"; an unknown code logs a warning and gives "DATA".
  std::string stringColumnType() const;
  /// True only for another column with an equal name; a null pointer gives false.
  bool isEqual(const std::shared_ptr<const NewEntityColumn>& other) const;

  bool isAutoIncrement() const { return isAutoIncrement_; }
  bool isUnique() const { return isUnique_; }
  void setIsUnique(bool isUnique) { isUnique_ = isUnique; }
  bool isForeignKeyColumn() const { return isForeignKeyColumn_; }
  std::shared_ptr<NewEntityTable> parentTable() const { return parentTable_.lock(); }
  int columnType() const { return columnType_; }
  int columnDataType() const { return columnDataType_; }
  const std::string& columnName() const { return columnName_; }
  int columnIndex() const { return columnIndex_; }
  void setColumnIndex(int columnIndex) { columnIndex_ = columnIndex; }
  const std::optional<std::string>& referencedTable() const { return referencedTable_; }
  const std::optional<std::string>& referencedColumn() const { return referencedColumn_; }
  const std::optional<std::string>& referencedOptions() const { return referencedOptions_; }

 private:
  bool isAutoIncrement_ = false;
  bool isUnique_ = false;
  bool isForeignKeyColumn_ = false;
  std::weak_ptr<NewEntityTable> parentTable_;
  int columnType_ = kColumnTypeData;
  int columnDataType_ = kDataTypeInteger;
  std::string columnName_;
  int columnIndex_ = 0;
  std::optional<std::string> referencedTable_;
  std::optional<std::string> referencedColumn_;
  std::optional<std::string> referencedOptions_;
};

/// Short names for the codes, as the table classes' schema hooks write them
/// (`using namespace column_codes;` in a table's source file).
namespace column_codes {
inline constexpr int kPrimaryKey = NewEntityColumn::kColumnTypePrimaryKey;
inline constexpr int kInteger = NewEntityColumn::kDataTypeInteger;
inline constexpr int kText = NewEntityColumn::kDataTypeText;
inline constexpr int kIntegerAlt = NewEntityColumn::kDataTypeIntegerAlt;
}  // namespace column_codes

}  // namespace kestrel
