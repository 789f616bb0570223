#include <KestrelDatabase/schema/NewSQLBuilder.h>

#include <KestrelPlatform/Log.h>

#include <charconv>
#include <cstdint>

namespace kestrel {
namespace {

bool isValidList(const ConditionList* list) {
  return list == nullptr || (list->size() + 1) % 4 == 0;
}

const ConditionList* listOrNull(const std::optional<ConditionList>& list) {
  return list ? &*list : nullptr;
}

// Appends the value's text form between double quotes, without the
// temporaries of getStringInQuotes (integers and texts are the common case of
// a whole row written in one statement).
void appendQuoted(std::string& sql, const Value& value) {
  sql += '"';
  if (const std::string* text = value.text()) {
    sql += *text;
  } else if (const std::int64_t* integer = value.integer()) {
    char digits[24];
    sql.append(digits, std::to_chars(digits, digits + sizeof digits, *integer).ptr);
  } else {
    sql += value.description();
  }
  sql += '"';
}

// The builder's own value form: the double-quoted word, wherever it stands.
constexpr auto writeQuoted = [](std::string& sql, std::string_view /*column*/, const Value& value,
                                NewSQLBuilder::ValuePlace) {
  appendQuoted(sql, value);
};

void appendConditions(std::string& sql, const ConditionList& list,
                      NewSQLBuilder::ValueWriter writeValue) {
  for (size_t i = 0; i < list.size(); ++i) {
    const Value& element = list[i];
    if (i % 4 == 2) {
      const std::string* column = list[i - 2].text();
      writeValue(sql, column ? std::string_view(*column) : std::string_view(), element,
                 NewSQLBuilder::ValuePlace::Operand);
    } else if (i % 2 == 0) {
      appendQuoted(sql, element);  // a column
    } else {
      sql += ' ';
      sql += element.description();
      sql += ' ';
    }
  }
}

void appendWhere(std::string& sql, const ConditionList* list,
                 NewSQLBuilder::ValueWriter writeValue) {
  if (list) {
    sql += " WHERE ";
    appendConditions(sql, *list, writeValue);
  }
  sql += ";";
}

std::string insertStatement(std::string_view verb, std::string_view tableName,
                            const ColumnValueMap& columnsAndValues,
                            NewSQLBuilder::ValueWriter writeValue) {
  std::string sql(verb);
  sql += tableName;
  sql += " ( ";
  std::string values;
  values.reserve(columnsAndValues.size() * 16);
  values += " ( ";
  bool first = true;
  for (const auto& [column, value] : columnsAndValues) {
    if (value.isNull()) continue;
    if (!first) {
      sql += ", ";
      values += ", ";
    }
    first = false;
    sql += '"';
    sql += column;
    sql += '"';
    writeValue(values, column, value, NewSQLBuilder::ValuePlace::Values);
  }
  sql += " ) VALUES ";
  sql += values;
  sql += " ); ";
  return sql;
}

// Shared by the select-all and delete forms, which differ in head and message.
std::optional<std::string> statementWithConditions(std::string head, std::string_view tableName,
                                                   const ConditionList* list,
                                                   const char* errorMessage,
                                                   NewSQLBuilder::ValueWriter writeValue) {
  if (!isValidList(list)) {
    platform::log("%s", errorMessage);
    return std::nullopt;
  }
  head += tableName;
  appendWhere(head, list, writeValue);
  return head;
}

constexpr const char* kSelectColumnsError =
    "SQL Builder ERROR: Wrong parameter for select columns query.";

}  // namespace

std::string NewSQLBuilder::createTableIfNotExist(const NewEntityTable& table) {
  std::string sql = "CREATE TABLE IF NOT EXISTS ";
  sql += table.tableName().value_or("");
  sql += " ( ";

  const auto primaryKey = table.getPrimaryKey();
  if (primaryKey) {
    sql += primaryKey->columnName() + " " + primaryKey->stringColumnDataType();
  } else {
    sql += " ";
  }
  sql += " PRIMARY KEY";
  if (primaryKey && primaryKey->isAutoIncrement()) sql += " AUTOINCREMENT";

  std::string constraints;
  for (const auto& column : table.columns()) {
    if (column->columnType() == NewEntityColumn::kColumnTypePrimaryKey) continue;
    sql += ", " + column->columnName() + " " + column->stringColumnDataType();
    if (column->isUnique()) constraints += ", UNIQUE (" + column->columnName() + ")";
  }
  sql += constraints;

  if (const auto& foreignKeys = table.getForeignKeys()) {
    for (const auto& column : *foreignKeys) {
      sql += ", FOREIGN KEY (" + column->columnName() + " ) REFERENCES " +
             column->referencedTable().value_or("") + "(" +
             column->referencedColumn().value_or("") + ") " +
             column->referencedOptions().value_or("");
    }
  }
  sql += " );";
  return sql;
}

std::optional<std::string> NewSQLBuilder::insertOrReplaceInTable(
    std::string_view tableName, const ColumnValueMap& columnsAndValues) {
  return insertStatement("INSERT OR REPLACE INTO ", tableName, columnsAndValues, writeQuoted);
}

std::string NewSQLBuilder::insertOrReplaceInTable(std::string_view tableName,
                                                  const ColumnValueMap& columnsAndValues,
                                                  ValueWriter writeValue) {
  return insertStatement("INSERT OR REPLACE INTO ", tableName, columnsAndValues, writeValue);
}

std::optional<std::string> NewSQLBuilder::insertOrReplaceInTable(
    const std::optional<std::string>& tableName,
    const std::optional<ColumnValueMap>& columnsAndValues) {
  if (!tableName || !columnsAndValues) return std::nullopt;
  return insertOrReplaceInTable(std::string_view(*tableName), *columnsAndValues);
}

std::optional<std::string> NewSQLBuilder::insertInTable(std::string_view tableName,
                                                        const ColumnValueMap& columnsAndValues) {
  return insertStatement("INSERT OR IGNORE INTO ", tableName, columnsAndValues, writeQuoted);
}

std::string NewSQLBuilder::insertInTable(std::string_view tableName,
                                         const ColumnValueMap& columnsAndValues,
                                         ValueWriter writeValue) {
  return insertStatement("INSERT OR IGNORE INTO ", tableName, columnsAndValues, writeValue);
}

std::optional<std::string> NewSQLBuilder::insertInTable(
    const std::optional<std::string>& tableName,
    const std::optional<ColumnValueMap>& columnsAndValues) {
  if (!tableName || !columnsAndValues) return std::nullopt;
  return insertInTable(std::string_view(*tableName), *columnsAndValues);
}

std::optional<std::string> NewSQLBuilder::deleteFromTable(
    std::string_view tableName,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  return deleteFromTable(tableName, columnsOperatorsValuesConjunction, writeQuoted);
}

std::optional<std::string> NewSQLBuilder::deleteFromTable(
    std::string_view tableName,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction, ValueWriter writeValue) {
  return statementWithConditions(
      "DELETE FROM ", tableName, listOrNull(columnsOperatorsValuesConjunction),
      "SQL Builder ERROR: Wrong parameter for delete query.", writeValue);
}

std::optional<std::string> NewSQLBuilder::selectAllFromTable(
    std::string_view tableName,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  return statementWithConditions(
      "SELECT * FROM ", tableName, listOrNull(columnsOperatorsValuesConjunction),
      "SQL Builder ERROR: Wrong parameter for select all query.", writeQuoted);
}

std::optional<std::string> NewSQLBuilder::selectColumnsFromTable(
    std::string_view tableName, const std::vector<std::string>& columsToSelect,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  const ConditionList* list = listOrNull(columnsOperatorsValuesConjunction);
  if (!isValidList(list)) {
    platform::log("%s", kSelectColumnsError);
    return std::nullopt;
  }
  std::string sql = "SELECT ";
  for (size_t i = 0; i < columsToSelect.size(); ++i) {
    if (i > 0) sql += ", ";
    sql += columsToSelect[i];
  }
  sql += " FROM ";
  sql += tableName;
  appendWhere(sql, list, writeQuoted);
  return sql;
}

std::optional<std::string> NewSQLBuilder::updateTable(
    std::string_view tableName, const ColumnValueMap& columnsAndValues,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  return updateTable(tableName, columnsAndValues, columnsOperatorsValuesConjunction, writeQuoted);
}

std::optional<std::string> NewSQLBuilder::updateTable(
    std::string_view tableName, const ColumnValueMap& columnsAndValues,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction, ValueWriter writeValue) {
  const ConditionList* list = listOrNull(columnsOperatorsValuesConjunction);
  if (!isValidList(list)) {
    platform::log("%s", kSelectColumnsError);
    return std::nullopt;
  }
  std::string sql = "UPDATE ";
  sql += tableName;
  sql += " SET ";
  bool first = true;
  for (const auto& [column, value] : columnsAndValues) {
    if (value.isNull()) continue;
    if (!first) sql += ", ";
    first = false;
    sql += column;
    sql += " = ";
    writeValue(sql, column, value, ValuePlace::Operand);
  }
  appendWhere(sql, list, writeValue);
  return sql;
}

std::optional<std::string> NewSQLBuilder::updateTable(
    std::string_view tableName, const std::optional<ColumnValueMap>& columnsAndValues,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  if (!columnsAndValues) return std::nullopt;
  return updateTable(tableName, *columnsAndValues, columnsOperatorsValuesConjunction);
}

bool NewSQLBuilder::isValidColumnsOperatorsValuesConjunction(
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  return isValidList(listOrNull(columnsOperatorsValuesConjunction));
}

std::string NewSQLBuilder::getStringInQuotes(const Value& value) {
  std::string quoted;
  appendQuoted(quoted, value);
  return quoted;
}

std::string NewSQLBuilder::buildColumnsOperatorsValuesConjuntionString(
    const ConditionList& columnsOperatorsValuesConjunction) {
  return buildColumnsOperatorsValuesConjuntionString(columnsOperatorsValuesConjunction,
                                                     writeQuoted);
}

std::string NewSQLBuilder::buildColumnsOperatorsValuesConjuntionString(
    const ConditionList& columnsOperatorsValuesConjunction, ValueWriter writeValue) {
  std::string text;
  appendConditions(text, columnsOperatorsValuesConjunction, writeValue);
  return text;
}

}  // namespace kestrel
