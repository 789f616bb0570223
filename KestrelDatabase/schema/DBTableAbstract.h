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
// success passed to the completion), the checked write path below, and the
// conversion of field translations to and from their stored text also live
// in this class.
//
// `delete` is a C++ keyword, so the generic pair is named deleteRows() and
// updateRows(); the two behave identically and exist so that callers say
// which kind of statement they run.
//
// ---- Writes: every value stored exactly as given ----------------------------
//
// The SQL builder writes values into the statement text as double-quoted
// words, and SQLite reads such a word as the text only while no column of
// that name is in scope and the word holds no double quote or NUL. So every
// write of every table class whose statement holds a value from outside the
// code (a model field, an ID, a name the server sent) goes through the
// checked path here, which writes each value in a form SQLite can read only
// as that value:
//
//   - A text keeps the double-quoted word wherever SQLite reads the word as
//     the text. Where it would not (the text holds a double quote or a NUL,
//     or in an UPDATE's SET list or a condition it equals one of the table's
//     column names, or "rowid", "oid" or "_rowid_", in any ASCII case), it is
//     written as a literal instead: between single quotes with every single
//     quote doubled, or, when it holds a NUL, as CAST(X'<its bytes>' AS TEXT).
//     In an INSERT's VALUES list no column is in scope, so a column's name
//     stays a word there.
//   - Integers and finite doubles keep their word ("42", "1.5"); an infinite
//     double is written as a literal SQLite reads as infinite (9e999), a blob
//     as X'<its bytes>'. A double written to or compared with a numeric
//     column of the table (TableColumns::isNumeric), other than an integer
//     of at most 53 bits, is written in every place as an exact expression,
//     (CAST(<53-bit integer> AS REAL)/<power of two>...), as SQLite's reading
//     of its decimal text can land one unit in the last place off.
//   - A formatted statement's bare number is written as it is (the null
//     marker as NULL, a text as a literal); a value between single quotes
//     ('%@') as '<value>', or as the CAST form when it holds a NUL.
//
// So a stage whose flag is "id", a team called Club "Atletico", a text with
// NUL bytes, invalid UTF-8 or a megabyte of characters all read back byte
// for byte, from every write path of every table.
//
// Refused, with one log line "ERROR: write to <table> refused: the value of
// <column> <reason>" (the value itself is never logged), no SQL, no row
// changed and a false completion, are only:
//   - a single quote in a value between single quotes: those two statements
//     (the scheduled channels' deletes by country code) keep their text, on
//     which such a value fails;
//   - NaN, which SQLite cannot hold (it would store NULL), and a date, which
//     has no one faithful form in a statement;
//   - the null marker as a condition's value or between quotes (a map leaves
//     it out instead, a bare number writes NULL);
//   - names the code supplies that are not what they claim: a map's keys and
//     a condition's columns must be columns of the table, operators one of
//     = == <> != < <= > >= IS, IS NOT, LIKE, GLOB, conjunctions AND or OR,
//     and a formatted statement's names plain identifiers (letters, digits,
//     "_", with "." between parts).
// A value SQLite itself cannot take (a text beyond its length limit) makes
// the statement fail when it runs: logged by the connection, reported false.
// A column's type still applies as SQLite applies it: an INTEGER column keeps
// a text that reads as a number as that number.
//
// The path in three steps, for the next table class:
//   1. Keep the table's names once (TableColumns.h):
//        static const TableColumns& tableColumns();  // TableColumns::of(description)
//   2. Build a checked statement: checkedInsert(), checkedInsertOrReplace(),
//      checkedUpdate(), checkedDelete() take the builder's arguments;
//      checkedStatement() takes a SplicedStatement (a format with "%@"
//      pieces). Each gives a CheckedStatement or, refused, nothing.
//   3. Run it: runChecked() in a transaction of its own, or
//      db->executeUpdate(statement->text()) inside a transaction block that
//      runs several. The one-call forms insertRow(), insertOrReplaceRow(),
//      updateRows() and deleteRows() with a TableColumns do 2 and 3 together.
// The plain-text deleteRows()/updateRows() remain for statements whose every
// part comes from the code (constant texts, numbers and times it formats).
//
// Completions of the checked forms follow the table rules: a null queue does
// no work and calls nothing; otherwise the completion is called exactly
// once, with false at once (outside the queue) when the write is refused or
// the builder gives no text, else after the transaction has committed (or
// failed to), still inside the queue's block. Every write of every table
// runs through runWrite(): true means committed, so on disk.
//
// ---- Reads and shared mechanics ----------------------------------------------
//
// A read runs its query in one inDatabase block and calls its completion
// exactly once inside it, with what it read (ReadResult.h), or with
// std::nullopt when the read failed: the query could not be prepared, a step
// ended in an error (a lock held past the busy wait, an I/O error; the rows
// read before it are dropped, never delivered as the whole answer), or the
// queue could not reopen its connection. Each failure is logged once where it
// happened. A null queue or an empty completion does nothing. readIDs() collects one integer column
// (with bound arguments for values from outside the code), readRows() maps
// every row into a container, forEachRow() visits the rows of a query inside
// a block the caller already holds, and deleteSelectedRows() deletes, inside
// such a block, every row a selection names (a cascade). allPresent() is the
// required-argument test of the saves (an absent required argument writes
// nothing and calls no completion), and futureOf() gives the future form of a
// completion-form operation, ready on every path.
//
// Thread-safety: the hooks, the checks and the conversions are pure and may
// be called from any thread. The writes block on the queue; one started from
// inside a block of the same queue (a completion included) stops the process
// through platform::fatal, since it would deadlock.
#pragma once

#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/schema/SplicedStatement.h>
#include <KestrelDatabase/schema/TableColumns.h>
#include <KestrelDatabase/sql/ReadResult.h>
#include <KestrelModel/FieldTranslations.h>
#include <KestrelPlatform/FunctionRef.h>

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

class FMDatabase;
class FMDatabaseQueue;
class FMResultSet;

/// A write's completion: the statement's success flag.
using BoolCompletion = std::function<void(bool success)>;

/// A set of entity IDs as the table layer reads and takes them (ascending).
using IDSet = std::set<std::int64_t>;
/// A read's completion with a set of IDs (possibly empty; std::nullopt when
/// the read failed).
using IDSetCompletion = std::function<void(ReadResult<IDSet> ids)>;
/// A read's completion with a row count (std::nullopt when the read failed).
using CountCompletion = std::function<void(ReadResult<int> count)>;

class DBTableAbstract {
 public:
  DBTableAbstract() = delete;

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery() { return ""; }
  static std::vector<std::string> updateTableQueries() { return {}; }
  static std::vector<std::string> createIndexes() { return {}; }

  // ---- Generic delete / update --------------------------------------------

  /// Runs the statement in an exclusive transaction on the queue, commits,
  /// and then passes the outcome to the completion (inside the queue's
  /// block, before returning): true only when the statement succeeded and
  /// the COMMIT did, so a write that reports true is on disk. (The completion
  /// is called after the commit, not inside the open transaction, so that a
  /// COMMIT that fails on a full disk is reported as the failure it is.) A
  /// transaction that cannot begin runs nothing and reports false; a failed
  /// COMMIT is rolled back. A null queue does nothing and calls no
  /// completion; a queue that cannot reopen its connection reports false.
  /// Only for texts made entirely by the code; anything holding an outside
  /// value goes through the checked forms.
  static void deleteRows(const std::string& statement,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});
  /// Word for word the same as deleteRows(), for UPDATE and INSERT statements.
  static void updateRows(const std::string& statement,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});

  // ---- Checked writes (rules above) ------------------------------------------

  /// Statement text that passed the checks for its table. Made only by the
  /// checked*() functions.
  class CheckedStatement {
   public:
    const std::string& text() const { return text_; }
    /// A plain INSERT ("INSERT OR IGNORE"): it succeeds only by adding a row.
    bool needsNewRow() const { return needsNewRow_; }

   private:
    friend class DBTableAbstract;
    CheckedStatement(std::string text, bool needsNewRow)
        : text_(std::move(text)), needsNewRow_(needsNewRow) {}
    std::string text_;
    bool needsNewRow_;
  };

  /// The builder's plain insert ("INSERT OR IGNORE INTO ...") of the map.
  static std::optional<CheckedStatement> checkedInsert(const TableColumns& table,
                                                       const ColumnValueMap& columnsAndValues);
  /// The builder's "INSERT OR REPLACE INTO ..." of the map.
  static std::optional<CheckedStatement> checkedInsertOrReplace(
      const TableColumns& table, const ColumnValueMap& columnsAndValues);
  /// The builder's UPDATE; the map is a SET list (column names refused).
  static std::optional<CheckedStatement> checkedUpdate(
      const TableColumns& table, const ColumnValueMap& columnsAndValues,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);
  /// The builder's DELETE.
  static std::optional<CheckedStatement> checkedDelete(
      const TableColumns& table,
      const std::optional<ConditionList>& columnsOperatorsValuesConjunction);
  /// A formatted statement; the number of "%@" must equal the pieces'.
  static std::optional<CheckedStatement> checkedStatement(const TableColumns& table,
                                                          const SplicedStatement& statement);

  /// Runs a checked statement in a transaction of its own and reports its
  /// success (for a plain INSERT: whether it added a row). Nothing (refused)
  /// reports false at once.
  static void runChecked(const std::optional<CheckedStatement>& statement,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});

  /// checkedInsert() + runChecked(): true only when a row was added, so an
  /// existing row with the same key is left as it is and reports false.
  static void insertRow(const TableColumns& table, const ColumnValueMap& columnsAndValues,
                        const std::shared_ptr<FMDatabaseQueue>& queue,
                        const BoolCompletion& completion = {});
  static void insertOrReplaceRow(const TableColumns& table, const ColumnValueMap& columnsAndValues,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion = {});
  static void updateRows(const TableColumns& table, const ColumnValueMap& columnsAndValues,
                         const std::optional<ConditionList>& columnsOperatorsValuesConjunction,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});
  static void deleteRows(const TableColumns& table,
                         const std::optional<ConditionList>& columnsOperatorsValuesConjunction,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});
  /// A formatted UPDATE or INSERT, checked and run.
  static void updateRows(const TableColumns& table, const SplicedStatement& statement,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});
  /// A formatted DELETE, checked and run.
  static void deleteRows(const TableColumns& table, const SplicedStatement& statement,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion = {});

  // ---- Reads and shared mechanics (rules above) ------------------------------

  /// Runs `sql` and collects `column` of every row into a set, as 64-bit
  /// integers: every ID the layer reads is 64-bit, also where an ID was
  /// once read as a 32-bit integer (which turned an ID above 2^31 into its
  /// low 32 bits). The column is looked up once per result set; a row whose
  /// column is NULL or missing gives 0.
  static void readIDs(const std::string& sql, std::string_view column,
                      const std::shared_ptr<FMDatabaseQueue>& queue,
                      const IDSetCompletion& completion);
  /// The same for a query whose "?" are bound to `arguments`: the form for
  /// a value from outside the code (a slug the server sent), which binding
  /// keeps from ever reading as SQL or as a column.
  static void readIDs(const std::string& sql, const std::vector<Value>& arguments,
                      std::string_view column, const std::shared_ptr<FMDatabaseQueue>& queue,
                      const IDSetCompletion& completion);

  using RowVisitor = platform::FunctionRef<void(const FMResultSet& row)>;
  /// Runs `sql` on a connection the caller holds (inside a queue block) and
  /// visits every row in order. False when the query failed, to prepare or
  /// at any step (then the rows visited are not the whole answer).
  static bool forEachRow(FMDatabase& db, const std::string& sql, RowVisitor visit);
  static bool forEachRow(FMDatabase& db, const std::string& sql,
                         const std::vector<Value>& arguments, RowVisitor visit);

  /// On a connection the caller holds (inside a transaction block, for a
  /// cascade): runs `selection`, reads the first column of every row as a
  /// 64-bit key, then deletes the row of `table` whose `key` column equals
  /// each, one builder delete per key, in selection order. True when the
  /// selection and every delete succeeded (so also when nothing matched);
  /// a failed delete does not stop the others.
  static bool deleteSelectedRows(FMDatabase& db, const std::string& selection,
                                 const TableColumns& table, std::string_view key);

  /// The one write path of every table operation: runs `work` on the
  /// connection in an exclusive transaction (FMDatabase::runWriteTransaction:
  /// what `work` did is committed whatever it reports), then calls the
  /// completion with `work`'s report AND the commit's success, inside the
  /// queue's block. A null queue does nothing and calls no completion.
  static void runWrite(const std::shared_ptr<FMDatabaseQueue>& queue,
                       platform::FunctionRef<bool(FMDatabase& db)> work,
                       const BoolCompletion& completion);

  /// Runs `block` in one inDatabase block of the queue; `db` is null when
  /// the queue could not reopen its connection. Nothing runs without a queue.
  static void readInDatabase(const std::shared_ptr<FMDatabaseQueue>& queue,
                             platform::FunctionRef<void(FMDatabase* db)> block);

  /// Runs `sql`, maps every row with `map` (a callable taking the row, which
  /// may keep state across rows) and hands the container to the completion
  /// (std::nullopt when the read failed): a vector keeps the row order, a
  /// set type inserts. REQUIRES: the completion is non-empty for anything
  /// to run.
  template <class Container, class Map>
  static void readRows(const std::string& sql, const std::shared_ptr<FMDatabaseQueue>& queue,
                       Map map, const std::function<void(ReadResult<Container>)>& completion) {
    if (!queue || !completion) return;
    readInDatabase(queue, [&](FMDatabase* db) {
      Container rows;
      const bool read = db != nullptr && forEachRow(*db, sql, [&](const FMResultSet& row) {
                          if constexpr (requires { rows.push_back(map(row)); }) {
                            rows.push_back(map(row));
                          } else {
                            rows.insert(map(row));
                          }
                        });
      completion(read ? ReadResult<Container>(std::move(rows)) : std::nullopt);
    });
  }
  /// Runs a single-value query (a count) with intForQuery and hands the
  /// value to the completion, or std::nullopt when the query failed.
  static void readCount(const std::string& sql, const std::shared_ptr<FMDatabaseQueue>& queue,
                        const CountCompletion& completion);

  /// Whether every required argument is present (an optional with a value,
  /// a non-null pointer).
  template <class... Args>
  static bool allPresent(const Args&... args) {
    return (static_cast<bool>(args) && ...);
  }

  /// The future form of a completion-form operation: calls `start` with a
  /// completion that fulfils the future; when `start` returns without having
  /// called it (no queue, an absent required argument), the future gets
  /// `fallback`. So the future is ready when it is returned.
  /// REQUIRES: `start` calls its completion before it returns, or never (as
  /// every table operation does).
  template <class T, class Start>
  static std::future<T> futureOf(Start&& start, T fallback) {
    std::promise<T> promise;
    std::future<T> future = promise.get_future();
    bool fulfilled = false;
    std::forward<Start>(start)(std::function<void(T)>([&](T value) {
      if (fulfilled) return;
      fulfilled = true;
      promise.set_value(std::move(value));
    }));
    if (!fulfilled) promise.set_value(std::move(fallback));
    return future;
  }

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
                           const BoolCompletion& completion, bool needsNewRow);
  /// Stops the process when the caller runs inside a block of `queue`.
  static void requireOutsideQueue(const FMDatabaseQueue& queue);
};

}  // namespace kestrel
