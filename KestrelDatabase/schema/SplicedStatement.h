// A write statement made from a format, for the texts the builder does not
// write ("DELETE FROM %@ WHERE %@ IN (%@)", "UPDATE %@ SET %@ = 1 WHERE %@ =
// %@", "... WHERE %@ = '%@'"). Each "%@" of the format is filled, in order,
// with one piece, and the piece says how its value is written:
//
//   name(identifier)              a table or column name of the code, as it
//                                 is ("EventTable_", "ID", "T.ID")
//   number(column, value)         a number, bare: 42, -1.5 (the null marker
//                                 as NULL; a text as a literal)
//   numbers(column, values)       numbers joined with ", " (an IN list)
//   quotedValue(column, value)    a double-quoted word in a VALUES list,
//                                 where no column is in scope
//   quotedOperand(column, value)  a double-quoted word in a SET list or a
//                                 condition, where a word that names a
//                                 column would read that column
//   singleQuoted(column, value)   a value between single quotes
//
// A statement is only text to be checked: DBTableAbstract::checkedStatement()
// writes every piece by the rules of the table base (see DBTableAbstract.h):
// a value keeps the form above wherever SQLite reads that form as the value,
// and becomes an escaped literal where it would not (a double-quoted word
// holding a double quote, or naming a column as an operand). It refuses the
// few values those rules refuse, and names that are not plain identifiers.
// `column` names the column the value belongs to; it is what a refusal logs
// (never the value). Everything else in the format (keywords, numbers the
// code formatted itself) is written as it is.
//
//   SplicedStatement("UPDATE %@ SET %@ = 1 WHERE %@ = %@",
//                    {SplicedStatement::name("VoteTable"), SplicedStatement::name("POST_FLAG"),
//                     SplicedStatement::name("ID"), SplicedStatement::number("ID", eventID)});
//
// Thread-safety: a plain value type.
#pragma once

#include <KestrelDatabase/sql/Value.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

class SplicedStatement {
 public:
  /// One filling of a "%@".
  class Piece {
   public:
    enum class Kind { Name, Number, Numbers, QuotedValue, QuotedOperand, SingleQuoted };

    Kind kind() const { return kind_; }
    /// The column the value belongs to ("" for a name).
    const std::string& column() const { return column_; }
    /// The value(s): one for every kind but Numbers; a name as text.
    const std::vector<Value>& values() const { return values_; }

   private:
    friend class SplicedStatement;
    Piece(Kind kind, std::string_view column, std::vector<Value> values)
        : kind_(kind), column_(column), values_(std::move(values)) {}

    Kind kind_;
    std::string column_;
    std::vector<Value> values_;
  };

  /// The placeholder each piece fills.
  static constexpr std::string_view kPlaceholder = "%@";

  SplicedStatement(std::string format, std::vector<Piece> pieces)
      : format_(std::move(format)), pieces_(std::move(pieces)) {}

  static Piece name(std::string_view identifier);
  static Piece number(std::string_view column, Value value);
  static Piece numbers(std::string_view column, std::vector<Value> values);
  static Piece numbers(std::string_view column, const std::set<std::int64_t>& ids);
  static Piece quotedValue(std::string_view column, Value value);
  static Piece quotedOperand(std::string_view column, Value value);
  static Piece singleQuoted(std::string_view column, Value value);

  const std::string& format() const { return format_; }
  const std::vector<Piece>& pieces() const { return pieces_; }

 private:
  std::string format_;
  std::vector<Piece> pieces_;
};

}  // namespace kestrel
