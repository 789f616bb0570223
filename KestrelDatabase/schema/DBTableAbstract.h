// The common base of every SQLite table class. A table class is a class of
// static operations only; FMDBHelper calls its three schema hooks at start:
//   createTableQuery()    one CREATE TABLE statement ("" by default)
//   updateTableQueries()  ALTER statements that bring an older table up to
//                         date, run on every start; those already applied
//                         fail and are ignored (none by default)
//   createIndexes()       CREATE INDEX statements (none by default)
// A table class hides the hooks it needs with its own static functions of the
// same signature; the others fall through to the defaults here.
//
// The generic delete and update operations (one statement in a transaction,
// success passed to the completion) and the conversion of field translations
// to and from their stored text also live in this class.
//
// `delete` is a C++ keyword, so the generic pair is named deleteRows() and
// updateRows(); the two behave identically and exist so that callers say
// which kind of statement they run.
//
// Thread-safety: the hooks and conversions are pure and may be called from
// any thread. deleteRows()/updateRows() block on the queue; they must not be
// called from inside a block of the same queue.
#pragma once

#include <KestrelModel/FieldTranslations.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace kestrel {

class FMDatabaseQueue;

/// A write's completion: the statement's success flag.
using BoolCompletion = std::function<void(bool success)>;

/// A set of entity IDs as the table layer reads and takes them (ascending).
using IDSet = std::set<std::int64_t>;
/// A read's completion with a set of IDs (possibly empty).
using IDSetCompletion = std::function<void(IDSet ids)>;
/// A read's completion with a row count.
using CountCompletion = std::function<void(int count)>;

class DBTableAbstract {
 public:
  DBTableAbstract() = delete;

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery() { return ""; }
  static std::vector<std::string> updateTableQueries() { return {}; }
  static std::vector<std::string> createIndexes() { return {}; }

  // ---- Generic delete / update --------------------------------------------

  /// Runs the statement in a transaction on the queue and passes its success
  /// to the completion, inside the still open transaction, before returning.
  /// The transaction commits even when the statement failed. A null queue
  /// does nothing and calls no completion; a queue that cannot reopen its
  /// connection reports false.
  static void deleteRows(const std::string& statement,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});
  /// Word for word the same as deleteRows(), for UPDATE and INSERT statements.
  static void updateRows(const std::string& statement,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});

  // ---- Field translations as stored text -----------------------------------

  /// Base64 of the value's JSON; absent for an absent value.
  static std::optional<std::string> convertFieldTranslationsToString(
      const std::optional<model::FieldTranslations>& translations);
  /// The reverse; any invalid Base64 (whitespace included) or JSON gives absent.
  static std::optional<model::FieldTranslations> convertStringToFieldTranslations(
      const std::optional<std::string>& text);

 private:
  static void runStatement(const std::string& statement,
                           const std::shared_ptr<FMDatabaseQueue>& queue,
                           const BoolCompletion& completion);
};

}  // namespace kestrel
