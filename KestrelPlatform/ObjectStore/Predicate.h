// Fetch predicates: a format string whose %@ placeholders take arguments in
// order, and compounds of predicates (AND, OR, NOT).
//
//   Predicate::withFormat("eventId = %@ AND type = %@", {"123", "fullTime"})
//
// The format language: comparisons `key op value` (or `value op key`) with
// op one of = == != <> < <= =< > >= =>; AND/&&, OR/||, NOT/! and
// parentheses. A value is %@, a number, a quoted text ('..' or ".." with
// backslash escapes), TRUE, FALSE or NIL/NULL.
// Keywords are case-insensitive. Values never become part of SQL text: a
// predicate is compiled against an entity (bind()) into SQL with bound
// parameters, and evaluated in memory on unsaved objects with the same
// meaning.
//
// Compiling coerces each value to its attribute's type: the text "123" is
// the integer 123 against an integer attribute; "true"/"false" (in any
// case) and "1"/"0" are booleans against a boolean attribute; numbers are their
// decimal text against a text attribute. Comparisons are two-valued: an
// attribute holding nil equals only nil, differs from every other value and
// is neither less nor greater than anything.
//
// A malformed format, an unknown attribute or a value that cannot be
// coerced (NaN never can) makes the predicate unusable; fetching with it fails with an
// invalidPredicate error (and fetches nothing).
//
// Thread-safety: a predicate is an immutable value; parsed formats are
// cached in a process-wide, locked table.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityDescription.h>
#include <KestrelPlatform/ObjectStore/ObjectValue.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

class Predicate {
 public:
  enum class Operator { equal, notEqual, less, lessOrEqual, greater, greaterOrEqual };

  /// The predicate written by `format`, each %@ taking the next argument.
  static Predicate withFormat(std::string_view format, std::vector<ObjectValue> arguments = {});
  /// `key op value`, without parsing.
  static Predicate comparison(std::string key, Operator op, ObjectValue value);
  /// True when every subpredicate is (true when there is none).
  static Predicate andPredicate(std::vector<Predicate> subpredicates);
  /// True when any subpredicate is (false when there is none).
  static Predicate orPredicate(std::vector<Predicate> subpredicates);
  static Predicate notPredicate(Predicate subpredicate);
  static Predicate truePredicate();

  /// Why the format (or one inside a compound) could not be used, if so.
  std::optional<std::string> formatError() const;
  /// A readable form for messages, with the arguments in place.
  std::string description() const;

  /// A predicate compiled against one entity: attributes resolved to their
  /// positions, values coerced to their types.
  class Bound {
   public:
    /// Whether an object with these attribute values (in the entity's
    /// attribute order) satisfies the predicate.
    bool evaluate(const std::vector<ObjectValue>& values) const;
    /// Appends the SQL condition to `sql` and its parameters to `parameters`.
    void appendSql(const EntityDescription& entity, std::string& sql,
                   std::vector<ObjectValue>& parameters) const;

    struct Node;
    std::shared_ptr<const Node> root;
  };

  /// Compiles against `entity`; std::nullopt with `out` filled, or the error.
  std::optional<StoreError> bind(const EntityDescription& entity, Bound& out) const;

  struct Node;  // a parsed format, shared by every predicate made from it

 private:
  enum class Form { format, conjunction, disjunction, negation };

  Form form_ = Form::format;
  std::shared_ptr<const Node> node_;  // Form::format
  std::vector<ObjectValue> arguments_;
  std::string error_;                    // a format that did not parse
  std::vector<Predicate> subpredicates_;  // the compound forms
};

}  // namespace kestrel::platform
