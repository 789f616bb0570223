// Writes complete SQL text: CREATE TABLE from a NewEntityTable, and INSERT,
// UPDATE, DELETE and SELECT from column/value maps and condition lists. Values
// are written into the text as double-quoted words (getStringInQuotes); nothing
// is bound and nothing is escaped, so callers pass values without double
// quotes. A value that is the null marker is left out of a statement entirely.
//
// The INSERT, UPDATE and DELETE forms also come with a ValueWriter: the same
// text, but each value (not the names) is written by the caller's function,
// which is told where the value stands. The table base's checked writes use
// it to keep the double-quoted word wherever SQLite reads it as the value and
// to write an escaped literal where it would not (DBTableAbstract.h).
//
// A condition list is flat: column, operator, value, then for each further
// condition a conjunction, column, operator, value, e.g.
//   ConditionList{"EVENT_ID", "=", 5, "AND", "CHANNEL_ID", "<>", 3}
// gives  "EVENT_ID" = "5" AND "CHANNEL_ID" <> "3". A list is valid when it is
// absent or its length n has (n + 1) divisible by 4; operators and
// conjunctions are not checked. An invalid list is logged and gives no text.
//
// A column/value map keeps its insertion order, which is the order of the
// columns and values in the generated text.
//
// Thread-safety: all operations are static and stateless; call from any thread.
#pragma once

#include <KestrelDatabase/schema/NewEntityTable.h>
#include <KestrelDatabase/sql/Value.h>
#include <KestrelPlatform/FunctionRef.h>

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

using ColumnValueMap = std::vector<std::pair<std::string, Value>>;
using ConditionList = std::vector<Value>;

class NewSQLBuilder {
 public:
  NewSQLBuilder() = delete;

  /// Where a value stands in a statement: in an INSERT's VALUES list, where
  /// no column is in scope, or in a SET list or a condition, where SQLite
  /// reads a double-quoted word that names a column as that column.
  enum class ValuePlace { Values, Operand };
  /// Appends one value to the statement text at the given place; `column`
  /// is the column the value is written to or compared with ("" when a
  /// condition's column is not a text).
  using ValueWriter = platform::FunctionRef<void(std::string& sql, std::string_view column,
                                                 const Value& value, ValuePlace place)>;

  /// "CREATE TABLE IF NOT EXISTS <name> ( <pk> PRIMARY KEY[ AUTOINCREMENT], <col> <type>...
  /// [, UNIQUE (<col>)...][, FOREIGN KEY (<col> ) REFERENCES <t>(<c>) <options>...] );"
  /// A table without a primary-key column is not supported.
  static std::string createTableIfNotExist(const NewEntityTable& table);

  /// "INSERT OR REPLACE INTO <table> ( "c1", "c2" ) VALUES  ( "v1", "v2" ); "
  static std::optional<std::string> insertOrReplaceInTable(std::string_view tableName,
                                                           const ColumnValueMap& columnsAndValues);
  /// An absent table name or map gives no text.
  static std::optional<std::string> insertOrReplaceInTable(
      const std::optional<std::string>& tableName,
      const std::optional<ColumnValueMap>& columnsAndValues);

  /// The same text with every value written by `writeValue`.
  static std::string insertOrReplaceInTable(std::string_view tableName,
                                            const ColumnValueMap& columnsAndValues,
                                            ValueWriter writeValue);

  /// As insertOrReplaceInTable with "INSERT OR IGNORE INTO".
  static std::optional<std::string> insertInTable(std::string_view tableName,
                                                  const ColumnValueMap& columnsAndValues);
  static std::optional<std::string> insertInTable(
      const std::optional<std::string>& tableName,
      const std::optional<ColumnValueMap>& columnsAndValues);
  static std::string insertInTable(std::string_view tableName,
                                   const ColumnValueMap& columnsAndValues, ValueWriter writeValue);

  /// "DELETE FROM <table>[ WHERE <conditions>];"
  static std::optional<std::string> deleteFromTable(
      std::string_view tableName,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);
  /// The same text with every condition value written by `writeValue`.
  static std::optional<std::string> deleteFromTable(
      std::string_view tableName,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction,
      ValueWriter writeValue);

  /// "SELECT * FROM <table>[ WHERE <conditions>];"
  static std::optional<std::string> selectAllFromTable(
      std::string_view tableName,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);

  /// "SELECT c1, c2 FROM <table>[ WHERE <conditions>];" (column names unquoted).
  static std::optional<std::string> selectColumnsFromTable(
      std::string_view tableName, const std::vector<std::string>& columsToSelect,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);

  /// "UPDATE <table> SET c1 = "v1", c2 = "v2"[ WHERE <conditions>];"
  /// An invalid list logs the select-columns message (shared on purpose).
  static std::optional<std::string> updateTable(
      std::string_view tableName, const ColumnValueMap& columnsAndValues,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);
  /// An absent map gives no text and logs nothing.
  static std::optional<std::string> updateTable(
      std::string_view tableName, const std::optional<ColumnValueMap>& columnsAndValues,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);
  /// The same text with every value (SET list and conditions) written by
  /// `writeValue`.
  static std::optional<std::string> updateTable(
      std::string_view tableName, const ColumnValueMap& columnsAndValues,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction,
      ValueWriter writeValue);

  static bool isValidColumnsOperatorsValuesConjunction(
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);

  /// The value's text form between two double quotes, copied unescaped.
  static std::string getStringInQuotes(const Value& value);

  /// Values and columns quoted, operators and conjunctions between blanks;
  /// an empty list gives "".
  static std::string buildColumnsOperatorsValuesConjuntionString(
      const ConditionList& columnsOperatorsValuesConjunction);
  /// The same text with every value written by `writeValue` (at Operand).
  static std::string buildColumnsOperatorsValuesConjuntionString(
      const ConditionList& columnsOperatorsValuesConjunction, ValueWriter writeValue);
};

}  // namespace kestrel
