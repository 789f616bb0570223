// The checks of the table base's write path: every value, name, operator and
// conjunction of a statement is checked before the builder or the format
// writes it, and a refusal is logged once, naming the table and the column.
#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <KestrelPlatform/Log.h>

#include <charconv>
#include <cmath>

namespace kestrel {
namespace {

// Where a value ends up in the statement text.
enum class Place {
  Values,        // a double-quoted word of an INSERT's VALUES list
  Operand,       // a double-quoted word of a SET list or a condition
  SingleQuoted,  // between single quotes
  Bare,          // a number written as it is
};

// Why `value` has no faithful form at `place`, or nullptr when it has one.
// The null marker is the caller's business (left out of maps, NULL when bare).
const char* refusalReason(const TableColumns& table, const Value& value, Place place) {
  switch (value.type()) {
    case Value::Type::Null:
      return place == Place::Bare ? nullptr : "is the null marker, which has no quoted form";
    case Value::Type::Integer:
      return nullptr;
    case Value::Type::Double:
      return std::isfinite(*value.real()) ? nullptr : "is not a finite number";
    case Value::Type::Text: {
      const std::string& text = *value.text();
      if (place == Place::Bare) return "is text where a number belongs";
      if (place == Place::SingleQuoted) {
        if (text.find('\'') != std::string::npos) return "holds a single quote";
      } else if (text.find('"') != std::string::npos) {
        return "holds a double quote";
      }
      if (text.find('\0') != std::string::npos) return "holds a NUL character";
      if (place == Place::Operand && table.isColumnReference(text)) {
        return "is the name of a column, which SQLite would read instead of the text";
      }
      return nullptr;
    }
    case Value::Type::Blob:
      return "is a blob, which has no faithful form as a word";
    case Value::Type::Date:
      return "is a date, which has no faithful form as a word";
  }
  return "has an unknown type";
}

void logRefusal(const TableColumns& table, std::string_view column, const char* reason) {
  platform::log("ERROR: write to %s refused: the value of %.*s %s", table.tableName().c_str(),
                static_cast<int>(column.size()), column.data(), reason);
}

void logRefusal(const TableColumns& table, const std::string& what) {
  platform::log("ERROR: write to %s refused: %s", table.tableName().c_str(), what.c_str());
}

// A name as the code writes them: letters, digits and "_", not starting with a
// digit, parts joined by ".".
bool isPlainIdentifier(std::string_view name) {
  bool partStart = true;
  for (const char c : name) {
    const bool letter = (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
    const bool digit = c >= '0' && c <= '9';
    if (c == '.' && !partStart) {
      partStart = true;
    } else if (letter || (digit && !partStart)) {
      partStart = false;
    } else {
      return false;
    }
  }
  return !partStart;
}

// A name for the log: only a plain identifier is repeated there.
std::string shown(const Value& name) {
  const std::string* text = name.text();
  return text && isPlainIdentifier(*text) ? *text : std::string("(not a plain name)");
}

bool isOneOf(const Value& word, std::initializer_list<std::string_view> allowed) {
  const std::string* text = word.text();
  if (text == nullptr) return false;
  for (const std::string_view candidate : allowed) {
    if (TableColumns::FoldedEqual{}(*text, candidate)) return true;
  }
  return false;
}

bool isTableColumn(const TableColumns& table, const Value& name) {
  const std::string* text = name.text();
  return text != nullptr && table.hasColumn(*text);
}

// The keys must be columns of the table; values that are the null marker are
// left out by the builder and need no check.
bool checkMap(const TableColumns& table, const ColumnValueMap& columnsAndValues, Place place) {
  for (const auto& [column, value] : columnsAndValues) {
    if (!table.hasColumn(column)) {
      logRefusal(table, "it has no column " + shown(Value(column)));
      return false;
    }
    if (value.isNull()) continue;
    if (const char* reason = refusalReason(table, value, place)) {
      logRefusal(table, column, reason);
      return false;
    }
  }
  return true;
}

// column, operator, value [, conjunction, column, operator, value ...]. An
// invalid length is left to the builder, which logs it and gives no text.
bool checkConditions(const TableColumns& table, const std::optional<ConditionList>& list) {
  if (!list || !NewSQLBuilder::isValidColumnsOperatorsValuesConjunction(list)) return true;
  for (std::size_t i = 0; i < list->size(); ++i) {
    const Value& element = (*list)[i];
    switch (i % 4) {
      case 0:
        if (!isTableColumn(table, element)) {
          logRefusal(table, "a condition names " + shown(element) + ", which is not a column");
          return false;
        }
        break;
      case 1:
        if (!isOneOf(element, {"=", "==", "<>", "!=", "<", "<=", ">", ">=", "IS", "IS NOT", "LIKE",
                               "GLOB"})) {
          logRefusal(table, "a condition has an operator that is not allowed");
          return false;
        }
        break;
      case 2:
        if (const char* reason = refusalReason(table, element, Place::Operand)) {
          logRefusal(table, *(*list)[i - 2].text(), reason);
          return false;
        }
        break;
      default:
        if (!isOneOf(element, {"AND", "OR"})) {
          logRefusal(table, "conditions are joined by a word that is not AND or OR");
          return false;
        }
        break;
    }
  }
  return true;
}

// A checked value's text form: integers in decimal, doubles as the builder
// writes them, text as it is.
void appendValueText(std::string& out, const Value& value) {
  if (const std::int64_t* integer = value.integer()) {
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, *integer).ptr);
  } else if (const std::string* text = value.text()) {
    out += *text;
  } else {
    out += value.description();
  }
}

// Appends one piece of a formatted statement, or logs why it cannot be.
bool appendPiece(std::string& out, const TableColumns& table,
                 const SplicedStatement::Piece& piece) {
  using Kind = SplicedStatement::Piece::Kind;
  const auto place = [&] {
    switch (piece.kind()) {
      case Kind::QuotedValue:
        return Place::Values;
      case Kind::QuotedOperand:
        return Place::Operand;
      case Kind::SingleQuoted:
        return Place::SingleQuoted;
      default:
        return Place::Bare;
    }
  }();
  if (piece.kind() == Kind::Name) {
    const Value& name = piece.values().front();
    if (!name.text() || !isPlainIdentifier(*name.text())) {
      logRefusal(table, "the statement names something that is not a plain name");
      return false;
    }
    out += *name.text();
    return true;
  }
  bool first = true;
  for (const Value& value : piece.values()) {
    if (const char* reason = refusalReason(table, value, place)) {
      logRefusal(table, piece.column(), reason);
      return false;
    }
    if (!first) out += ", ";
    first = false;
    if (place == Place::Bare) {
      if (value.isNull()) {
        out += "NULL";
      } else {
        appendValueText(out, value);
      }
      continue;
    }
    const char quote = place == Place::SingleQuoted ? '\'' : '"';
    out += quote;
    appendValueText(out, value);
    out += quote;
  }
  return true;
}

std::size_t placeholderCount(std::string_view format) {
  std::size_t count = 0;
  for (std::size_t at = format.find(SplicedStatement::kPlaceholder); at != std::string_view::npos;
       at = format.find(SplicedStatement::kPlaceholder,
                        at + SplicedStatement::kPlaceholder.size())) {
    ++count;
  }
  return count;
}

}  // namespace

std::optional<DBTableAbstract::CheckedStatement> DBTableAbstract::checkedInsert(
    const TableColumns& table, const ColumnValueMap& columnsAndValues) {
  if (!checkMap(table, columnsAndValues, Place::Values)) return std::nullopt;
  return CheckedStatement(*NewSQLBuilder::insertInTable(table.tableName(), columnsAndValues),
                          /*needsNewRow=*/true);
}

std::optional<DBTableAbstract::CheckedStatement> DBTableAbstract::checkedInsertOrReplace(
    const TableColumns& table, const ColumnValueMap& columnsAndValues) {
  if (!checkMap(table, columnsAndValues, Place::Values)) return std::nullopt;
  return CheckedStatement(
      *NewSQLBuilder::insertOrReplaceInTable(table.tableName(), columnsAndValues),
      /*needsNewRow=*/false);
}

std::optional<DBTableAbstract::CheckedStatement> DBTableAbstract::checkedUpdate(
    const TableColumns& table, const ColumnValueMap& columnsAndValues,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  if (!checkMap(table, columnsAndValues, Place::Operand) ||
      !checkConditions(table, columnsOperatorsValuesConjunction)) {
    return std::nullopt;
  }
  auto sql = NewSQLBuilder::updateTable(table.tableName(), columnsAndValues,
                                        columnsOperatorsValuesConjunction);
  if (!sql) return std::nullopt;
  return CheckedStatement(std::move(*sql), /*needsNewRow=*/false);
}

std::optional<DBTableAbstract::CheckedStatement> DBTableAbstract::checkedDelete(
    const TableColumns& table,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  if (!checkConditions(table, columnsOperatorsValuesConjunction)) return std::nullopt;
  auto sql = NewSQLBuilder::deleteFromTable(table.tableName(), columnsOperatorsValuesConjunction);
  if (!sql) return std::nullopt;
  return CheckedStatement(std::move(*sql), /*needsNewRow=*/false);
}

std::optional<DBTableAbstract::CheckedStatement> DBTableAbstract::checkedStatement(
    const TableColumns& table, const SplicedStatement& statement) {
  const std::string& format = statement.format();
  const std::size_t places = placeholderCount(format);
  if (places != statement.pieces().size()) {
    logRefusal(table, platform::formatString("the statement has %zu places for %zu pieces", places,
                                             statement.pieces().size()));
    return std::nullopt;
  }
  std::string sql;
  sql.reserve(format.size() + 16 * places);
  std::size_t from = 0;
  for (const SplicedStatement::Piece& piece : statement.pieces()) {
    const std::size_t at = format.find(SplicedStatement::kPlaceholder, from);
    sql.append(format, from, at - from);
    if (!appendPiece(sql, table, piece)) return std::nullopt;
    from = at + SplicedStatement::kPlaceholder.size();
  }
  sql.append(format, from, std::string::npos);
  return CheckedStatement(std::move(sql), /*needsNewRow=*/false);
}

}  // namespace kestrel
