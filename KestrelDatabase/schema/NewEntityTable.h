// The description of one SQLite table: its name, its columns in order, and a
// key map with the primary-key column ("PK") and the ordered foreign-key
// columns ("FK"). Table classes build one in their createTableQuery() and hand
// it to NewSQLBuilder::createTableIfNotExist().
//
//   auto table = NewEntityTable::initWithTable("T");
//   table->addColumn("ID", NewEntityColumn::kColumnTypePrimaryKey,
//                    NewEntityColumn::kDataTypeInteger, /*autoIncrement=*/true);
//   table->addColumn("NAME", NewEntityColumn::kDataTypeText);
//
// Thread-safety: none; a description is built and read on one thread.
// Ownership: tables are held through std::shared_ptr (the columns point back
// to their table weakly, so a table made on the stack gives its columns no
// parent). The table owns its columns.
#pragma once

#include <KestrelDatabase/schema/NewEntityColumn.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

class NewEntityTable : public std::enable_shared_from_this<NewEntityTable> {
 public:
  using Columns = std::vector<std::shared_ptr<NewEntityColumn>>;

  /// Names of the two entries of the key map.
  static constexpr const char* kPrimaryKeyEntry = "PK";
  static constexpr const char* kForeignKeysEntry = "FK";

  /// No name, no columns, empty key map.
  NewEntityTable() = default;
  explicit NewEntityTable(std::string tableName) : tableName_(std::move(tableName)) {}
  NewEntityTable(const NewEntityTable&) = delete;
  NewEntityTable& operator=(const NewEntityTable&) = delete;

  static std::shared_ptr<NewEntityTable> init() { return std::make_shared<NewEntityTable>(); }
  static std::shared_ptr<NewEntityTable> initWithTable(std::string tableName) {
    return std::make_shared<NewEntityTable>(std::move(tableName));
  }

  /// A data column, not auto-increment.
  void addColumn(const std::string& name, int dataType);
  /// A data column whose isUnique is the given flag.
  void addColumn(const std::string& name, int dataType, bool unique);
  void addColumn(const std::string& name, int columnType, int dataType);
  void addColumn(const std::string& name, int columnType, int dataType, bool autoIncrement);
  /// A foreign-key column (type 1) with its REFERENCES target.
  void addColumn(const std::string& name, int dataType, const std::string& referencedTable,
                 const std::string& referencedColumn);
  void addColumn(const std::string& name, int dataType, const std::string& referencedTable,
                 const std::string& referencedColumn,
                 const std::optional<std::string>& referencedOptions);

  /// Gives the column its index (the current column count, also when the
  /// column is then refused) and files it by its column type. A second
  /// primary key or an unknown column type is logged and dropped.
  void insertColumn(const std::shared_ptr<NewEntityColumn>& column);

  /// The "PK" entry; null when the table has none.
  std::shared_ptr<NewEntityColumn> getPrimaryKey() const { return primaryKey_; }
  /// The "FK" entry; absent until a foreign-key column was inserted.
  const std::optional<Columns>& getForeignKeys() const { return foreignKeys_; }
  const std::optional<std::string>& tableName() const { return tableName_; }
  const Columns& columns() const { return columns_; }
  void setColumns(Columns columns) { columns_ = std::move(columns); }

 private:
  // The key map: "PK" -> primaryKey_, "FK" -> foreignKeys_.
  std::shared_ptr<NewEntityColumn> primaryKey_;
  std::optional<Columns> foreignKeys_;
  std::optional<std::string> tableName_;
  Columns columns_;
};

}  // namespace kestrel
