// The parser of predicate formats, and the cache of parsed formats.
#include <KestrelPlatform/ObjectStore/PredicateNode.h>

#include <KestrelPlatform/Log.h>

#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <mutex>
#include <unordered_map>

namespace kestrel::platform {
namespace {

using Node = Predicate::Node;
using Operator = Predicate::Operator;

// Deeper nesting (parentheses and NOT) than this is refused rather than
// risking the stack, and so that the SQL a predicate compiles to stays well
// inside what SQLite's parser takes (it refuses about 30 nested groups).
constexpr int kMaxDepth = 24;
// Parsed formats kept; the table starts afresh when it is full.
constexpr std::size_t kCacheCapacity = 512;

struct Token {
  enum class Kind { end, word, placeholder, number, text, op, open, close };
  Kind kind = Kind::end;
  std::string spelling;  // word, op; the text of a quoted text
  ObjectValue number;
  std::size_t offset = 0;
};

bool equalsIgnoringCase(std::string_view a, std::string_view b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (std::tolower(static_cast<unsigned char>(a[i])) !=
        std::tolower(static_cast<unsigned char>(b[i]))) {
      return false;
    }
  }
  return true;
}

class Parser {
 public:
  explicit Parser(std::string_view format) : format_(format) {}

  ParsedFormat parse() {
    ParsedFormat result;
    if (tokenize()) {
      auto root = compound(0, false);
      if (root && current().kind != Token::Kind::end) {
        fail("unexpected \"" + describe(current()) + "\"");
        root = nullptr;
      }
      result.root = std::move(root);
    }
    result.argumentCount = static_cast<std::size_t>(placeholders_);
    if (!error_.empty()) {
      result.root = nullptr;
      result.error = error_;
    }
    return result;
  }

 private:
  const Token& current() const { return tokens_[position_]; }
  void advance() {
    if (position_ + 1 < tokens_.size()) ++position_;
  }
  std::nullptr_t fail(const std::string& what) { return failAt(current().offset, what); }
  std::nullptr_t failAt(std::size_t offset, const std::string& what) {
    if (error_.empty()) {
      error_ = formatString("%s at offset %zu of \"%.*s\"", what.c_str(), offset,
                            static_cast<int>(format_.size()), format_.data());
    }
    return nullptr;
  }
  static std::string describe(const Token& token) {
    switch (token.kind) {
      case Token::Kind::end:
        return "end of format";
      case Token::Kind::placeholder:
        return "%@";
      case Token::Kind::number:
        return token.number.description();
      case Token::Kind::text:
        return "'" + token.spelling + "'";
      case Token::Kind::open:
        return "(";
      case Token::Kind::close:
        return ")";
      default:
        return token.spelling;
    }
  }
  bool isKeyword(const Token& token, std::string_view word) const {
    return token.kind == Token::Kind::word && equalsIgnoringCase(token.spelling, word);
  }
  bool isOperator(const Token& token, std::string_view spelling) const {
    return token.kind == Token::Kind::op && token.spelling == spelling;
  }

  bool tokenize();
  bool readNumber(std::size_t& i, Token& token);
  bool readText(std::size_t& i, Token& token);
  std::shared_ptr<const Node> compound(int depth, bool conjunction);
  std::shared_ptr<const Node> unary(int depth);
  std::shared_ptr<const Node> primary(int depth);
  std::shared_ptr<const Node> comparison();
  // A value operand: %@, number, text or literal keyword.
  bool value(const Token& token, Node& node);
  std::optional<Operator> comparisonOperator(const Token& token) const;

  std::string_view format_;
  std::vector<Token> tokens_;
  std::size_t position_ = 0;
  int placeholders_ = 0;
  std::string error_;
};

bool Parser::readNumber(std::size_t& i, Token& token) {
  const std::size_t start = i;
  if (format_[i] == '-' || format_[i] == '+') ++i;
  while (i < format_.size() &&
         (std::isalnum(static_cast<unsigned char>(format_[i])) || format_[i] == '.' ||
          ((format_[i] == '-' || format_[i] == '+') &&
           (format_[i - 1] == 'e' || format_[i - 1] == 'E')))) {
    ++i;
  }
  const std::string spelling(format_.substr(start, i - start));
  std::int64_t integer = 0;
  const char* first = spelling.data() + (spelling[0] == '+' ? 1 : 0);
  const char* last = spelling.data() + spelling.size();
  if (const auto [end, ec] = std::from_chars(first, last, integer); ec == std::errc() && end == last) {
    token.number = integer;
    return true;
  }
  char* end = nullptr;
  const double real = std::strtod(spelling.c_str(), &end);
  if (end != spelling.c_str() + spelling.size() || !std::isfinite(real)) {
    failAt(token.offset, "malformed number \"" + spelling + "\"");
    return false;
  }
  token.number = real;
  return true;
}

bool Parser::readText(std::size_t& i, Token& token) {
  const char quote = format_[i++];
  while (i < format_.size() && format_[i] != quote) {
    char c = format_[i++];
    if (c == '\\') {
      if (i >= format_.size()) break;
      c = format_[i++];
      if (c == 'n') c = '\n';
      if (c == 't') c = '\t';
    }
    token.spelling.push_back(c);
  }
  if (i >= format_.size()) {
    failAt(token.offset, "unterminated text");
    return false;
  }
  ++i;  // the closing quote
  return true;
}

bool Parser::tokenize() {
  std::size_t i = 0;
  while (true) {
    while (i < format_.size() && std::isspace(static_cast<unsigned char>(format_[i]))) ++i;
    Token token;
    token.offset = i;
    if (i >= format_.size()) {
      tokens_.push_back(token);
      return true;
    }
    const char c = format_[i];
    const char next = i + 1 < format_.size() ? format_[i + 1] : '\0';
    if (std::isalpha(static_cast<unsigned char>(c)) || c == '_') {
      token.kind = Token::Kind::word;
      while (i < format_.size() &&
             (std::isalnum(static_cast<unsigned char>(format_[i])) || format_[i] == '_')) {
        token.spelling.push_back(format_[i++]);
      }
    } else if (c == '%') {
      if (next != '@') {
        failAt(token.offset, next == '\0' ? std::string("a lone %") : "unsupported placeholder %" + std::string(1, next));
        return false;
      }
      token.kind = Token::Kind::placeholder;
      i += 2;
    } else if (std::isdigit(static_cast<unsigned char>(c)) ||
               ((c == '-' || c == '+') && std::isdigit(static_cast<unsigned char>(next)))) {
      token.kind = Token::Kind::number;
      if (!readNumber(i, token)) return false;
    } else if (c == '\'' || c == '"') {
      token.kind = Token::Kind::text;
      if (!readText(i, token)) return false;
    } else if (c == '(' || c == ')') {
      token.kind = c == '(' ? Token::Kind::open : Token::Kind::close;
      ++i;
    } else {
      static constexpr std::string_view kOperators[] = {"==", "!=", "<>", "<=", "=<", ">=", "=>",
                                                        "&&", "||", "=",  "<",  ">",  "!"};
      token.kind = Token::Kind::op;
      for (std::string_view op : kOperators) {
        if (format_.substr(i, op.size()) == op) {
          token.spelling = std::string(op);
          break;
        }
      }
      if (token.spelling.empty()) {
        failAt(token.offset, formatString("unexpected character '%c'", c));
        return false;
      }
      i += token.spelling.size();
    }
    tokens_.push_back(std::move(token));
  }
}

// OR of ANDs: `conjunction` parses one AND group (of unary terms),
// otherwise the OR of such groups.
std::shared_ptr<const Node> Parser::compound(int depth, bool conjunction) {
  const auto term = [&] { return conjunction ? unary(depth) : compound(depth, true); };
  const char* keyword = conjunction ? "AND" : "OR";
  const char* symbol = conjunction ? "&&" : "||";
  auto first = term();
  if (!first) return nullptr;
  auto node = std::make_shared<Node>();
  node->kind = conjunction ? PredicateNodeKind::conjunction : PredicateNodeKind::disjunction;
  node->children.push_back(std::move(first));
  while (isKeyword(current(), keyword) || isOperator(current(), symbol)) {
    advance();
    auto next = term();
    if (!next) return nullptr;
    node->children.push_back(std::move(next));
  }
  if (node->children.size() == 1) return node->children.front();
  return node;
}

std::shared_ptr<const Node> Parser::unary(int depth) {
  if (depth > kMaxDepth) return fail("nested too deeply");
  if (isKeyword(current(), "NOT") || isOperator(current(), "!")) {
    advance();
    auto child = unary(depth + 1);
    if (!child) return nullptr;
    auto node = std::make_shared<Node>();
    node->kind = PredicateNodeKind::negation;
    node->children.push_back(std::move(child));
    return node;
  }
  return primary(depth);
}

std::shared_ptr<const Node> Parser::primary(int depth) {
  if (current().kind == Token::Kind::open) {
    advance();
    auto inner = compound(depth + 1, false);
    if (!inner) return nullptr;
    if (current().kind != Token::Kind::close) return fail("missing \")\"");
    advance();
    return inner;
  }
  return comparison();
}

bool Parser::value(const Token& token, Node& node) {
  switch (token.kind) {
    case Token::Kind::placeholder:
      node.argument = placeholders_++;
      return true;
    case Token::Kind::number:
      node.literal = token.number;
      return true;
    case Token::Kind::text:
      node.literal = token.spelling;
      return true;
    case Token::Kind::word:
      if (isKeyword(token, "TRUE")) {
        node.literal = true;
      } else if (isKeyword(token, "FALSE")) {
        node.literal = false;
      } else if (isKeyword(token, "NIL") || isKeyword(token, "NULL")) {
        node.literal = ObjectValue::null();
      } else {
        return false;
      }
      return true;
    default:
      return false;
  }
}

std::optional<Operator> Parser::comparisonOperator(const Token& token) const {
  if (token.kind != Token::Kind::op) return std::nullopt;
  const std::string& s = token.spelling;
  if (s == "=" || s == "==") return Operator::equal;
  if (s == "!=" || s == "<>") return Operator::notEqual;
  if (s == "<") return Operator::less;
  if (s == "<=" || s == "=<") return Operator::lessOrEqual;
  if (s == ">") return Operator::greater;
  if (s == ">=" || s == "=>") return Operator::greaterOrEqual;
  return std::nullopt;
}

std::shared_ptr<const Node> Parser::comparison() {
  static const char* kReserved[] = {"AND", "OR", "NOT", "TRUE", "FALSE", "NIL", "NULL"};
  const auto isKey = [&](const Token& token) {
    if (token.kind != Token::Kind::word) return false;
    for (const char* word : kReserved) {
      if (isKeyword(token, word)) return false;
    }
    return true;
  };
  auto node = std::make_shared<Node>();
  node->kind = PredicateNodeKind::comparison;
  const Token left = current();
  if (left.kind == Token::Kind::end) return fail("a comparison is missing");
  advance();
  const auto op = comparisonOperator(current());
  if (!op) return fail("expected a comparison operator, found \"" + describe(current()) + "\"");
  advance();
  const Token right = current();
  advance();
  if (isKey(left) && !isKey(right)) {
    node->key = left.spelling;
    node->op = *op;
    if (!value(right, *node)) return fail("expected a value, found \"" + describe(right) + "\"");
  } else if (isKey(right) && !isKey(left)) {
    // `value op key` reads as `key op' value` with the operator mirrored.
    node->key = right.spelling;
    switch (*op) {
      case Operator::less:
        node->op = Operator::greater;
        break;
      case Operator::lessOrEqual:
        node->op = Operator::greaterOrEqual;
        break;
      case Operator::greater:
        node->op = Operator::less;
        break;
      case Operator::greaterOrEqual:
        node->op = Operator::lessOrEqual;
        break;
      default:
        node->op = *op;
    }
    if (!value(left, *node)) return fail("expected a value, found \"" + describe(left) + "\"");
  } else {
    return fail("a comparison needs one attribute and one value");
  }
  return node;
}

}  // namespace

const char* predicateOperatorText(Predicate::Operator op) {
  switch (op) {
    case Operator::equal:
      return "=";
    case Operator::notEqual:
      return "!=";
    case Operator::less:
      return "<";
    case Operator::lessOrEqual:
      return "<=";
    case Operator::greater:
      return ">";
    case Operator::greaterOrEqual:
      return ">=";
  }
  return "?";
}

std::shared_ptr<const ParsedFormat> parsePredicateFormat(std::string_view format) {
  static std::mutex mutex;
  static std::unordered_map<std::string, std::shared_ptr<const ParsedFormat>> cache;
  const std::string key(format);
  {
    std::lock_guard lock(mutex);
    if (const auto it = cache.find(key); it != cache.end()) return it->second;
  }
  auto parsed = std::make_shared<const ParsedFormat>(Parser(format).parse());
  std::lock_guard lock(mutex);
  if (cache.size() >= kCacheCapacity) cache.clear();
  cache.emplace(key, parsed);
  return parsed;
}

}  // namespace kestrel::platform
