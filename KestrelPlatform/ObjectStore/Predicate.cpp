#include <KestrelPlatform/ObjectStore/Predicate.h>

#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/ObjectStore/PredicateNode.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>

namespace kestrel::platform {
namespace {

using BoundNode = Predicate::Bound::Node;

bool sameWord(std::string_view text, std::string_view word) {
  if (text.size() != word.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(text[i])) != word[i]) return false;
  }
  return true;
}

std::optional<ObjectValue> numberFromText(const std::string& text) {
  std::int64_t integer = 0;
  const char* first = text.data() + (!text.empty() && text[0] == '+' ? 1 : 0);
  const char* last = text.data() + text.size();
  if (const auto [end, ec] = std::from_chars(first, last, integer); ec == std::errc() && end == last) {
    return ObjectValue(integer);
  }
  if (text.empty() || std::isspace(static_cast<unsigned char>(text[0]))) return std::nullopt;
  char* end = nullptr;
  const double real = std::strtod(text.c_str(), &end);
  if (end != text.c_str() + text.size() || !std::isfinite(real)) return std::nullopt;
  return ObjectValue(real);
}

// The value as the attribute's type stores it, or std::nullopt when it
// cannot stand for a value of that type.
std::optional<ObjectValue> coerce(const ObjectValue& value, AttributeType type) {
  if (value.isNull()) return value;
  // NaN has no place in any order and SQLite binds it as NULL: the fetch
  // and the evaluation in memory would disagree, so it is refused.
  if (const double* real = value.real(); real && std::isnan(*real)) return std::nullopt;
  switch (type) {
    case AttributeType::integer64:
      if (value.integer()) return value;
      if (const double* real = value.real()) {
        if (std::trunc(*real) == *real && std::fabs(*real) < 9.2e18) {
          return ObjectValue(static_cast<std::int64_t>(*real));
        }
        return value;  // compared as a number with the stored integer
      }
      if (const bool* flag = value.boolean()) return ObjectValue(*flag ? 1 : 0);
      if (const std::string* text = value.text()) return numberFromText(*text);
      return std::nullopt;
    case AttributeType::boolean:
      if (value.boolean()) return value;
      if (const std::int64_t* integer = value.integer()) return ObjectValue(*integer != 0);
      if (const double* real = value.real()) return ObjectValue(*real != 0);
      if (const std::string* text = value.text()) {
        if (sameWord(*text, "true") || *text == "1") return ObjectValue(true);
        if (sameWord(*text, "false") || *text == "0") return ObjectValue(false);
      }
      return std::nullopt;
    case AttributeType::string:
      if (value.text()) return value;
      if (const std::int64_t* integer = value.integer()) {
        return std::optional<ObjectValue>(std::in_place, std::to_string(*integer));
      }
      if (const double* real = value.real()) {
        return std::optional<ObjectValue>(std::in_place, formatString("%.17g", *real));
      }
      return std::nullopt;
    case AttributeType::binary:
      if (value.data()) return value;
      if (const std::string* text = value.text()) return ObjectValue(Bytes(text->begin(), text->end()));
      return std::nullopt;
  }
  return std::nullopt;
}

// -1, 0 or 1 for an integer against a real, compared exactly as SQLite
// compares them (through a double, 2^63 - 1 would equal 2^63). No NaN.
int compareIntegerWithReal(std::int64_t integer, double real) {
  if (real >= 9223372036854775808.0) return -1;
  if (real < -9223372036854775808.0) return 1;
  const double whole = std::floor(real);
  const auto wholeInteger = static_cast<std::int64_t>(whole);
  if (integer != wholeInteger) return integer < wholeInteger ? -1 : 1;
  return whole < real ? -1 : 0;
}

// -1, 0 or 1; both values non-null and of comparable kinds after coercion.
int compareValues(const ObjectValue& a, const ObjectValue& b) {
  const auto number = [](const ObjectValue& v, double& out) {
    if (const std::int64_t* i = v.integer()) {
      out = static_cast<double>(*i);
    } else if (const double* r = v.real()) {
      out = *r;
    } else if (const bool* f = v.boolean()) {
      out = *f ? 1 : 0;
    } else {
      return false;
    }
    return true;
  };
  if (a.integer() && b.integer()) return (*a.integer() > *b.integer()) - (*a.integer() < *b.integer());
  if (a.integer() && b.real()) return compareIntegerWithReal(*a.integer(), *b.real());
  if (a.real() && b.integer()) return -compareIntegerWithReal(*b.integer(), *a.real());
  double x = 0;
  double y = 0;
  if (number(a, x) && number(b, y)) return (x > y) - (x < y);
  if (a.text() && b.text()) {
    const int c = a.text()->compare(*b.text());
    return (c > 0) - (c < 0);
  }
  if (a.data() && b.data()) return (*a.data() > *b.data()) - (*a.data() < *b.data());
  return a.kind() == b.kind() ? 0 : 1;  // unreachable after coercion: never equal
}

bool compare(const ObjectValue& stored, Predicate::Operator op, const ObjectValue& value) {
  using Op = Predicate::Operator;
  if (value.isNull() || stored.isNull()) {
    const bool same = value.isNull() && stored.isNull();
    if (op == Op::equal) return same;
    if (op == Op::notEqual) return !same;
    return false;
  }
  const int c = compareValues(stored, value);
  switch (op) {
    case Op::equal:
      return c == 0;
    case Op::notEqual:
      return c != 0;
    case Op::less:
      return c < 0;
    case Op::lessOrEqual:
      return c <= 0;
    case Op::greater:
      return c > 0;
    case Op::greaterOrEqual:
      return c >= 0;
  }
  return false;
}

bool evaluateNode(const BoundNode& node, const std::vector<ObjectValue>& values) {
  switch (node.kind) {
    case PredicateNodeKind::comparison:
      return compare(values[node.attribute], node.op, node.value);
    case PredicateNodeKind::conjunction:
      for (const auto& child : node.children) {
        if (!evaluateNode(child, values)) return false;
      }
      return true;
    case PredicateNodeKind::disjunction:
      for (const auto& child : node.children) {
        if (evaluateNode(child, values)) return true;
      }
      return false;
    case PredicateNodeKind::negation:
      return !evaluateNode(node.children.front(), values);
    case PredicateNodeKind::constant:
      return node.constant;
  }
  return false;
}

void appendNodeSql(const BoundNode& node, const EntityDescription& entity, std::string& sql,
                   std::vector<ObjectValue>& parameters) {
  using Op = Predicate::Operator;
  switch (node.kind) {
    case PredicateNodeKind::comparison: {
      const AttributeDescription& attribute = entity.attributes()[node.attribute];
      const std::string column = "\"" + attribute.name + "\"";
      const bool ordering = node.op != Op::equal && node.op != Op::notEqual;
      if (node.value.isNull()) {
        sql += ordering ? "0" : column + (node.op == Op::equal ? " IS NULL" : " IS NOT NULL");
        return;
      }
      const ObjectValue bound =
          node.value.boolean() ? ObjectValue(*node.value.boolean() ? 1 : 0) : node.value;
      parameters.push_back(bound);
      if (!attribute.optional) {
        sql += column + " " + (node.op == Op::notEqual ? "<>" : predicateOperatorText(node.op)) + " ?";
      } else if (!ordering) {
        sql += column + (node.op == Op::equal ? " IS ?" : " IS NOT ?");
      } else {
        sql += "(" + column + " IS NOT NULL AND " + column + " " + predicateOperatorText(node.op) + " ?)";
      }
      return;
    }
    case PredicateNodeKind::conjunction:
    case PredicateNodeKind::disjunction: {
      const bool all = node.kind == PredicateNodeKind::conjunction;
      if (node.children.empty()) {
        sql += all ? "1" : "0";
        return;
      }
      sql += "(";
      for (std::size_t i = 0; i < node.children.size(); ++i) {
        if (i > 0) sql += all ? " AND " : " OR ";
        appendNodeSql(node.children[i], entity, sql, parameters);
      }
      sql += ")";
      return;
    }
    case PredicateNodeKind::negation:
      sql += "NOT (";
      appendNodeSql(node.children.front(), entity, sql, parameters);
      sql += ")";
      return;
    case PredicateNodeKind::constant:
      sql += node.constant ? "1" : "0";
      return;
  }
}

StoreError predicateError(const std::string& reason, const Predicate& predicate,
                          const EntityDescription& entity) {
  return StoreError{StoreErrorCode::invalidPredicate, "The fetch predicate cannot be used.",
                    {{"reason", reason}, {"predicate", predicate.description()}, {"entity", entity.name()}}};
}

// Compiles a parsed format's node with its arguments.
std::optional<std::string> bindNode(const Predicate::Node& node,
                                    const std::vector<ObjectValue>& arguments,
                                    const EntityDescription& entity, BoundNode& out) {
  out.kind = node.kind;
  out.constant = node.constant;
  if (node.kind == PredicateNodeKind::comparison) {
    const auto index = entity.attributeIndex(node.key);
    if (!index) return "unknown attribute \"" + node.key + "\"";
    const AttributeDescription& attribute = entity.attributes()[*index];
    const ObjectValue& given = node.argument >= 0 ? arguments[static_cast<std::size_t>(node.argument)]
                                                  : node.literal;
    auto value = coerce(given, attribute.type);
    if (!value) {
      return "the value " + given.description() + " cannot be compared with the " +
             attributeTypeName(attribute.type) + " attribute \"" + attribute.name + "\"";
    }
    out.attribute = *index;
    out.op = node.op;
    out.value = std::move(*value);
    return std::nullopt;
  }
  out.children.resize(node.children.size());
  for (std::size_t i = 0; i < node.children.size(); ++i) {
    if (auto error = bindNode(*node.children[i], arguments, entity, out.children[i])) return error;
  }
  return std::nullopt;
}

std::string describeNode(const Predicate::Node& node, const std::vector<ObjectValue>& arguments) {
  switch (node.kind) {
    case PredicateNodeKind::comparison: {
      const ObjectValue& value = node.argument >= 0 && static_cast<std::size_t>(node.argument) < arguments.size()
                                     ? arguments[static_cast<std::size_t>(node.argument)]
                                     : node.literal;
      return node.key + " " + predicateOperatorText(node.op) + " " + value.description();
    }
    case PredicateNodeKind::conjunction:
    case PredicateNodeKind::disjunction: {
      std::string text = "(";
      for (std::size_t i = 0; i < node.children.size(); ++i) {
        if (i > 0) text += node.kind == PredicateNodeKind::conjunction ? " AND " : " OR ";
        text += describeNode(*node.children[i], arguments);
      }
      return text + ")";
    }
    case PredicateNodeKind::negation:
      return "NOT " + describeNode(*node.children.front(), arguments);
    case PredicateNodeKind::constant:
      return node.constant ? "TRUE" : "FALSE";
  }
  return {};
}

}  // namespace

Predicate Predicate::withFormat(std::string_view format, std::vector<ObjectValue> arguments) {
  Predicate predicate;
  const auto parsed = parsePredicateFormat(format);
  predicate.arguments_ = std::move(arguments);
  if (!parsed->error.empty()) {
    predicate.error_ = parsed->error;
  } else if (parsed->argumentCount != predicate.arguments_.size()) {
    predicate.error_ = formatString("the format \"%.*s\" takes %zu arguments, %zu were given",
                                    static_cast<int>(format.size()), format.data(),
                                    parsed->argumentCount, predicate.arguments_.size());
  } else {
    predicate.node_ = parsed->root;
  }
  return predicate;
}

Predicate Predicate::comparison(std::string key, Operator op, ObjectValue value) {
  auto node = std::make_shared<Node>();
  node->kind = PredicateNodeKind::comparison;
  node->key = std::move(key);
  node->op = op;
  node->literal = std::move(value);
  Predicate predicate;
  predicate.node_ = std::move(node);
  return predicate;
}

Predicate Predicate::andPredicate(std::vector<Predicate> subpredicates) {
  Predicate predicate;
  predicate.form_ = Form::conjunction;
  predicate.subpredicates_ = std::move(subpredicates);
  return predicate;
}

Predicate Predicate::orPredicate(std::vector<Predicate> subpredicates) {
  Predicate predicate;
  predicate.form_ = Form::disjunction;
  predicate.subpredicates_ = std::move(subpredicates);
  return predicate;
}

Predicate Predicate::notPredicate(Predicate subpredicate) {
  Predicate predicate;
  predicate.form_ = Form::negation;
  predicate.subpredicates_.push_back(std::move(subpredicate));
  return predicate;
}

Predicate Predicate::truePredicate() {
  Predicate predicate;
  predicate.node_ = std::make_shared<const Node>();
  return predicate;
}

std::optional<std::string> Predicate::formatError() const {
  if (form_ == Form::format) {
    if (!error_.empty()) return error_;
    return std::nullopt;
  }
  for (const auto& sub : subpredicates_) {
    if (auto error = sub.formatError()) return error;
  }
  return std::nullopt;
}

std::string Predicate::description() const {
  if (form_ == Form::format) {
    if (!error_.empty()) return "<malformed format>";
    return node_ ? describeNode(*node_, arguments_) : "TRUE";
  }
  if (form_ == Form::negation) return "NOT " + subpredicates_.front().description();
  std::string text = "(";
  for (std::size_t i = 0; i < subpredicates_.size(); ++i) {
    if (i > 0) text += form_ == Form::conjunction ? " AND " : " OR ";
    text += subpredicates_[i].description();
  }
  return text + ")";
}

std::optional<StoreError> Predicate::bind(const EntityDescription& entity, Bound& out) const {
  auto root = std::make_shared<Bound::Node>();
  if (form_ == Form::format) {
    if (!error_.empty()) return predicateError(error_, *this, entity);
    if (node_) {
      if (auto reason = bindNode(*node_, arguments_, entity, *root)) {
        return predicateError(*reason, *this, entity);
      }
    }
  } else {
    root->kind = form_ == Form::conjunction   ? PredicateNodeKind::conjunction
                 : form_ == Form::disjunction ? PredicateNodeKind::disjunction
                                              : PredicateNodeKind::negation;
    for (const auto& sub : subpredicates_) {
      Bound bound;
      if (auto error = sub.bind(entity, bound)) return error;
      root->children.push_back(*bound.root);
    }
  }
  out.root = std::move(root);
  return std::nullopt;
}

bool Predicate::Bound::evaluate(const std::vector<ObjectValue>& values) const {
  return !root || evaluateNode(*root, values);
}

void Predicate::Bound::appendSql(const EntityDescription& entity, std::string& sql,
                                 std::vector<ObjectValue>& parameters) const {
  if (!root) {
    sql += "1";
    return;
  }
  appendNodeSql(*root, entity, sql, parameters);
}

}  // namespace kestrel::platform
