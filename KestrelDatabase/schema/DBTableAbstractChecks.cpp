// The checks of the table base's write path: every name, operator and
// conjunction of a statement is checked, and every value is written so that
// SQLite reads exactly that value: as the double-quoted word of the builder
// wherever SQLite reads that word as the text, and as an escaped literal
// where it would read something else. The few values nothing can write are
// refused, and the refusal is logged once, naming the table and the column.
#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <KestrelPlatform/Log.h>

#include <algorithm>
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

Place placeOf(NewSQLBuilder::ValuePlace place) {
  return place == NewSQLBuilder::ValuePlace::Values ? Place::Values : Place::Operand;
}

// Why `value` cannot be written at `place` so that SQLite reads exactly it,
// or nullptr when it can. The null marker is the caller's business (left out
// of maps, NULL when bare).
const char* refusalReason(const Value& value, Place place) {
  switch (value.type()) {
    case Value::Type::Null:
      return place == Place::Bare ? nullptr : "is the null marker, which has no quoted form";
    case Value::Type::Integer:
    case Value::Type::Blob:
      return nullptr;
    case Value::Type::Double:
      return std::isnan(*value.real()) ? "is not a number, which SQLite cannot hold" : nullptr;
    case Value::Type::Text:
      // The statements that keep their values between single quotes fail on
      // such a value, as they always have; they are refused before they run.
      if (place == Place::SingleQuoted && value.text()->find('\'') != std::string::npos) {
        return "holds a single quote";
      }
      return nullptr;
    case Value::Type::Date:
      return "is a date, which has no one faithful form in a statement";
  }
  return "has an unknown type";
}

void appendHex(std::string& out, const std::uint8_t* bytes, std::size_t size) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  out.reserve(out.size() + 2 * size + 16);
  for (std::size_t i = 0; i < size; ++i) {
    out += kHex[bytes[i] >> 4];
    out += kHex[bytes[i] & 0xF];
  }
}

// A text as a literal SQLite reads as exactly these bytes: between single
// quotes with each single quote doubled, or, when it holds a NUL (which ends
// the statement text for SQLite's reader), as its bytes cast to text.
void appendTextLiteral(std::string& out, std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {
    out += "CAST(X'";
    appendHex(out, reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    out += "' AS TEXT)";
    return;
  }
  out.reserve(out.size() + text.size() + 2);
  out += '\'';
  for (const char c : text) {
    if (c == '\'') out += '\'';
    out += c;
  }
  out += '\'';
}

// A number's text: integers in decimal, finite doubles with the fewest digits
// that read back exactly, infinities as a literal SQLite reads as infinite.
void appendNumberText(std::string& out, const Value& value) {
  if (const std::int64_t* integer = value.integer()) {
    char digits[24];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, *integer).ptr);
  } else if (std::isinf(*value.real())) {
    out += *value.real() > 0 ? "9e999" : "-9e999";
  } else {
    out += value.description();
  }
}

// Whether SQLite turns the text of `real` written above into exactly `real`
// in a numeric column: for the integers a real holds exactly (|x| <= 2^53).
// Another real's text can come back a unit in the last place off: SQLite
// scales its decimal digits in extended precision and rounds twice.
bool textReadsExactly(double real) {
  return std::trunc(real) == real && std::fabs(real) <= 9007199254740992.0;
}

// A finite real as an expression SQLite evaluates to exactly it, with no
// decimal conversion: an integer of at most 53 bits made a real, then
// multiplied or divided by powers of two of at most 2^62 (each step exact,
// as every intermediate lies between the integer and the result).
void appendExactReal(std::string& out, double real) {
  int exponent = 0;
  const double fraction = std::frexp(real, &exponent);  // real = fraction * 2^exponent
  auto mantissa = static_cast<std::int64_t>(std::ldexp(fraction, 53));
  exponent -= 53;
  while (mantissa != 0 && mantissa % 2 == 0) {
    mantissa /= 2;
    ++exponent;
  }
  char digits[24];
  out += "(CAST(";
  out.append(digits, std::to_chars(digits, digits + sizeof digits, mantissa).ptr);
  out += " AS REAL)";
  for (int remaining = exponent < 0 ? -exponent : exponent; remaining > 0;) {
    const int step = std::min(remaining, 62);
    out += exponent < 0 ? '/' : '*';
    out.append(digits,
               std::to_chars(digits, digits + sizeof digits, std::int64_t{1} << step).ptr);
    remaining -= step;
  }
  out += ')';
}

// Whether SQLite reads the double-quoted word of `text` at `place` as that
// text: a double quote or NUL would end the word early, and in a SET list or
// a condition a word naming a column (or a row id alias) reads that column.
bool readsAsQuotedWord(const TableColumns& table, std::string_view text, Place place) {
  if (text.find_first_of(std::string_view("\"\0", 2)) != std::string_view::npos) return false;
  return place != Place::Operand || !table.isColumnReference(text);
}

// Appends a value that passed refusalReason() at `place`, written to or
// compared with `column`.
void appendValue(std::string& out, const TableColumns& table, std::string_view column,
                 const Value& value, Place place) {
  if (value.isNull()) {
    out += "NULL";
    return;
  }
  // In a numeric column the text of a real is turned into a real by SQLite;
  // where that could miss, the real is written as an exact expression.
  if (const double* real = value.real();
      real && std::isfinite(*real) && !textReadsExactly(*real) && table.isNumeric(column)) {
    appendExactReal(out, *real);
    return;
  }
  if (const Value::Blob* blob = value.blob()) {
    out += "X'";
    appendHex(out, blob->data(), blob->size());
    out += '\'';
    return;
  }
  const std::string* text = value.text();
  const bool infinite = value.real() && std::isinf(*value.real());
  switch (place) {
    case Place::Values:
    case Place::Operand:
      if (text && !readsAsQuotedWord(table, *text, place)) {
        appendTextLiteral(out, *text);
      } else if (infinite) {
        appendNumberText(out, value);
      } else {
        out += '"';
        if (text) {
          out += *text;
        } else {
          appendNumberText(out, value);
        }
        out += '"';
      }
      return;
    case Place::SingleQuoted:
      if (text) {
        appendTextLiteral(out, *text);  // no single quote: refused before
      } else if (infinite) {
        appendNumberText(out, value);
      } else {
        out += '\'';
        appendNumberText(out, value);
        out += '\'';
      }
      return;
    case Place::Bare:
      if (text) {
        appendTextLiteral(out, *text);
      } else {
        appendNumberText(out, value);
      }
      return;
  }
}

// The builder's value writer for the table's statements.
auto faithfulWriter(const TableColumns& table) {
  return [&table](std::string& sql, std::string_view column, const Value& value,
                  NewSQLBuilder::ValuePlace place) {
    appendValue(sql, table, column, value, placeOf(place));
  };
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
    if (const char* reason = refusalReason(value, place)) {
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
        if (const char* reason = refusalReason(element, Place::Operand)) {
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
    if (const char* reason = refusalReason(value, place)) {
      logRefusal(table, piece.column(), reason);
      return false;
    }
    if (!first) out += ", ";
    first = false;
    appendValue(out, table, piece.column(), value, place);
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
  return CheckedStatement(
      NewSQLBuilder::insertInTable(table.tableName(), columnsAndValues, faithfulWriter(table)),
      /*needsNewRow=*/true);
}

std::optional<DBTableAbstract::CheckedStatement> DBTableAbstract::checkedInsertOrReplace(
    const TableColumns& table, const ColumnValueMap& columnsAndValues) {
  if (!checkMap(table, columnsAndValues, Place::Values)) return std::nullopt;
  return CheckedStatement(NewSQLBuilder::insertOrReplaceInTable(table.tableName(), columnsAndValues,
                                                                faithfulWriter(table)),
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
                                        columnsOperatorsValuesConjunction, faithfulWriter(table));
  if (!sql) return std::nullopt;
  return CheckedStatement(std::move(*sql), /*needsNewRow=*/false);
}

std::optional<DBTableAbstract::CheckedStatement> DBTableAbstract::checkedDelete(
    const TableColumns& table,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction) {
  if (!checkConditions(table, columnsOperatorsValuesConjunction)) return std::nullopt;
  auto sql = NewSQLBuilder::deleteFromTable(table.tableName(), columnsOperatorsValuesConjunction,
                                            faithfulWriter(table));
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
