#include <KestrelDatabase/schema/SplicedStatement.h>

namespace kestrel {

SplicedStatement::Piece SplicedStatement::name(std::string_view identifier) {
  return Piece(Piece::Kind::Name, "", {Value(identifier)});
}

SplicedStatement::Piece SplicedStatement::number(std::string_view column, Value value) {
  return Piece(Piece::Kind::Number, column, {std::move(value)});
}

SplicedStatement::Piece SplicedStatement::numbers(std::string_view column,
                                                  std::vector<Value> values) {
  return Piece(Piece::Kind::Numbers, column, std::move(values));
}

SplicedStatement::Piece SplicedStatement::numbers(std::string_view column,
                                                  const std::set<std::int64_t>& ids) {
  return numbers(column, std::vector<Value>(ids.begin(), ids.end()));
}

SplicedStatement::Piece SplicedStatement::quotedValue(std::string_view column, Value value) {
  return Piece(Piece::Kind::QuotedValue, column, {std::move(value)});
}

SplicedStatement::Piece SplicedStatement::quotedOperand(std::string_view column, Value value) {
  return Piece(Piece::Kind::QuotedOperand, column, {std::move(value)});
}

SplicedStatement::Piece SplicedStatement::singleQuoted(std::string_view column, Value value) {
  return Piece(Piece::Kind::SingleQuoted, column, {std::move(value)});
}

}  // namespace kestrel
