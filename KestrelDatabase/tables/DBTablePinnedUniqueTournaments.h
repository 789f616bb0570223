// Unique tournaments that the user pinned to the top of the lists, with enough
// of their category and sport to show them offline, in the order pinned.
//
// The row key is the unique tournament's own ID, always written explicitly
// (the column is declared auto-increment, but no row ever gets a generated
// key). Pinning a tournament again replaces its row and stamps it with the
// current time, so it moves to the end of the order. Rows stored before
// CREATED_AT_TIMESTAMP existed hold 0 there and so come first.
//
// Completions: a null queue means no work and no completion call. Otherwise
// a given completion is called exactly once, inside the queue's block, before
// the operation returns: a write reports once its transaction has
// committed (false when a statement or the commit failed), and a read
// delivers std::nullopt when it failed (also when the queue could not reopen
// its connection), never an empty answer. Every "now" is
// platform::Clock::now().
//
// Thread-safety: all operations are static. The schema hooks and the mapping
// are pure and may be called from any thread. The row operations block on the
// database queue; they must not be called from inside a block of the same
// queue, and a completion must not call back into it.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelModel/UniqueTournament.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace kestrel {

class FMDatabaseQueue;
class FMResultSet;

class DBTablePinnedUniqueTournaments : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "PinnedUniqueTournamentsTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kName = "NAME";
  static constexpr const char* kCategoryId = "CATEGORY_ID";
  static constexpr const char* kCategoryName = "CATEGORY_NAME";
  static constexpr const char* kCategoryFlag = "CATEGORY_FLAG";
  static constexpr const char* kCategoryPriority = "CATEGORY_PRIORITY";
  static constexpr const char* kSportId = "SPORT_ID";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kCreatedAtTimestamp = "CREATED_AT_TIMESTAMP";

  static constexpr const char* kIndexName = "unique_tournaments_index";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();
  static std::vector<std::string> createIndexes();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  using UniqueTournamentListCompletion =
      std::function<void(ReadResult<std::vector<model::UniqueTournament>> tournaments)>;

  /// Pins the tournament: replaces any row with its ID by the nine columns of
  /// the tournament, its category and the category's sport, stamped with the
  /// current time. Values the tournament lacks are stored as NULL, except the
  /// category's priority, which is 0 without a category. Every text is
  /// stored exactly as given.
  static void saveUniqueTournament(const model::UniqueTournament& uniqueTournament,
                                   const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion = {});
  /// Unpins one tournament; true also when it was not pinned.
  static void deleteUniqueTournamentWithID(std::int64_t uniqueTournamentID,
                                           const std::shared_ptr<FMDatabaseQueue>& queue,
                                           const BoolCompletion& completion = {});
  static void deleteAllUniqueTournaments(const std::shared_ptr<FMDatabaseQueue>& queue,
                                         const BoolCompletion& completion = {});

  /// The pinned IDs, read as 64-bit integers (not cut to their low 32 bits,
  /// so an ID above 2^31 reads back as itself).
  static void getAllUniqueTournamentIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const IDSetCompletion& completion);
  /// Every pinned tournament, oldest pin first.
  static void getAllUniqueTournaments(const std::shared_ptr<FMDatabaseQueue>& queue,
                                      const UniqueTournamentListCompletion& completion);

  /// The tournament of the row: ID and name, and always a category (ID, name,
  /// flag, priority) with a sport (ID, slug), also from NULL columns (NULL
  /// numbers read as 0, NULL texts as absent). Nothing else is filled.
  static model::UniqueTournament mapUniqueTournamentFromResultSet(const FMResultSet& resultSet);
};

}  // namespace kestrel
