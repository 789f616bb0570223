// The fantasy competitions that the user follows, as bare competition IDs
// (full 64-bit values). Saving an ID twice leaves one row; deleting an ID
// that is not stored succeeds.
//
// Each operation comes in two forms: with a completion, and returning a
// std::future that is ready when the call returns (the facade's asynchronous
// operations sit on these). The future always becomes ready: without a queue
// it holds false or std::nullopt.
//
// Completions: a null queue means no work and no completion call. Otherwise a
// given completion is called exactly once, inside the queue's block, before
// the operation returns, a write's once its transaction has committed. The
// read's completion comes on every path, also when the query fails (a
// missing table, a queue that could not reopen its connection): then with
// std::nullopt, never an empty set. The cache of followed competitions
// waits on it.
//
// Thread-safety: all operations are static. The schema hook is pure and may be
// called from any thread. The row operations block on the database queue;
// they must not be called from inside a block of the same queue, and a
// completion must not call back into it.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <cstdint>
#include <future>
#include <memory>
#include <string>

namespace kestrel {

class FMDatabaseQueue;

class DBTableFantasyCompetition : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "FantasyCompetitionTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  /// Follows the competition (insert or replace of its ID).
  static void saveCompetition(std::int64_t id, const std::shared_ptr<FMDatabaseQueue>& queue,
                              const BoolCompletion& completion);
  [[nodiscard]] static std::future<bool> saveCompetition(
      std::int64_t id, const std::shared_ptr<FMDatabaseQueue>& queue);

  /// Unfollows the competition; true also when it was not followed.
  static void deleteCompetition(std::int64_t id, const std::shared_ptr<FMDatabaseQueue>& queue,
                                const BoolCompletion& completion);
  [[nodiscard]] static std::future<bool> deleteCompetition(
      std::int64_t id, const std::shared_ptr<FMDatabaseQueue>& queue);

  /// Every followed competition ID, read as a 64-bit integer; std::nullopt
  /// when the query fails.
  static void getCompetitionIds(const std::shared_ptr<FMDatabaseQueue>& queue,
                                const IDSetCompletion& completion);
  [[nodiscard]] static std::future<ReadResult<IDSet>> getCompetitionIds(
      const std::shared_ptr<FMDatabaseQueue>& queue);
};

}  // namespace kestrel
