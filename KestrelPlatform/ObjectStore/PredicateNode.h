// Internal to Predicate: the parsed form of a format and the compiled form
// of a predicate. Not installed for use by other code.
#pragma once

#include <KestrelPlatform/ObjectStore/Predicate.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

enum class PredicateNodeKind { comparison, conjunction, disjunction, negation, constant };

struct Predicate::Node {
  PredicateNodeKind kind = PredicateNodeKind::constant;
  std::string key;                        // comparison: the attribute
  Operator op = Operator::equal;          // comparison
  int argument = -1;                      // comparison: the %@ it takes, -1 for a literal
  ObjectValue literal;                    // comparison without %@
  bool constant = true;                   // constant
  std::vector<std::shared_ptr<const Node>> children;  // the compound kinds
};

struct Predicate::Bound::Node {
  PredicateNodeKind kind = PredicateNodeKind::constant;
  std::size_t attribute = 0;
  Operator op = Operator::equal;
  ObjectValue value;
  bool constant = true;
  std::vector<Node> children;
};

/// A format as parsed once: its tree and how many %@ it takes, or why it
/// could not be parsed.
struct ParsedFormat {
  std::shared_ptr<const Predicate::Node> root;
  std::size_t argumentCount = 0;
  std::string error;
};

/// The parse of `format`, from a process-wide cache.
std::shared_ptr<const ParsedFormat> parsePredicateFormat(std::string_view format);

/// The format's spelling of an operator ("=", "!=", "<", ...).
const char* predicateOperatorText(Predicate::Operator op);

}  // namespace kestrel::platform
