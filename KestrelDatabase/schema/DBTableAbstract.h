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
// Thread-safety: the hooks are pure and may be called from any thread.
#pragma once

#include <string>
#include <vector>

namespace kestrel {

class DBTableAbstract {
 public:
  DBTableAbstract() = delete;

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery() { return ""; }
  static std::vector<std::string> updateTableQueries() { return {}; }
  static std::vector<std::string> createIndexes() { return {}; }

  // ---- Generic delete / update and field-translation conversions -----------
  // (to be added here: they run through the database queue and use the model)
};

}  // namespace kestrel
