// The common base of the tables of followed entities: teams ("MyTeamTable"),
// players ("MyPlayerTable") and unique tournaments ("MyLeagueTable"). Each row
// is one followed entity keyed by its server ID, with NOTIFICATIONS_ENABLED 1
// when the user gets notifications for it. The three tables share their
// notification writes and reads, the read of IDs by sport slug, the upsert
// of a saved entity and the cascading delete of a followed team or league;
// those live here once, each taking the table's TableColumns, and the table
// classes name them for their entity.
//
// Column names the shared operations use are the same in all three tables:
// "ID", "NOTIFICATIONS_ENABLED", "SPORT_ID", "SPORT_NAME", "SPORT_SLUG".
//
// Completions: as for every table, a null queue means no work and no
// completion; otherwise a given completion is called exactly once, inside the
// queue's block, before the operation returns: a write reports once its transaction has committed
// (false when a statement or the commit failed), and a read delivers std::nullopt when it failed
// (also when the queue could not reopen its connection), never an empty answer.
//
// Thread-safety: all operations are static. Reads and writes block while they
// hold the database queue; never call one from inside a block of that queue.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelModel/Sport.h>

#include <cstdint>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kestrel {

class FMDatabaseQueue;
class FMResultSet;

class DBTableFollowedAbstract : public DBTableAbstract {
 public:
  /// The sport of a row from SPORT_ID, SPORT_NAME and SPORT_SLUG; absent
  /// when all three are NULL (or missing from the result set).
  static std::optional<model::Sport> mapSportFromResultSet(const FMResultSet& row);

 protected:
  using Queue = std::shared_ptr<FMDatabaseQueue>;

  /// A column whose inserted value is SQL text of the code (a sub-select),
  /// written as it is, and which an update of an existing row leaves alone.
  struct InsertedExpression {
    const char* column;
    const char* sql;
  };

  /// "UPDATE %@ SET %@ = %d WHERE %@ IN (%@)" with the table, the flag as 1
  /// or 0 and the IDs joined by ", " (no IDs: nothing matches, true).
  static void setNotificationsFlag(const TableColumns& table, bool enabled, const IDSet& ids,
                                   const Queue& queue, const BoolCompletion& completion);
  /// The builder's select of ID where NOTIFICATIONS_ENABLED "=" 1; IDs read
  /// as 64-bit integers (an ID above 2^31 reads back as itself).
  static void readNotificationIDs(const TableColumns& table, const Queue& queue,
                                  const IDSetCompletion& completion);
  /// IDs of the rows whose SPORT_SLUG equals `slug` (bound, never spliced
  /// into the text), read as 64-bit integers.
  static void readIDsForSport(const TableColumns& table, const std::string& slug,
                              const Queue& queue, const IDSetCompletion& completion);

  /// The statement texts of the asynchronous operations: "UPDATE <table>\nSET
  /// NOTIFICATIONS_ENABLED = <0|1>\nWHERE ID IN (<ids>)" and "SELECT ID\nFROM
  /// <table>\nWHERE NOTIFICATIONS_ENABLED = 1".
  static void setNotificationsEnabledLines(const TableColumns& table, bool enabled,
                                           const IDSet& ids, const Queue& queue,
                                           const BoolCompletion& completion);
  static std::string notificationEnabledIDsLines(const TableColumns& table);
  /// Reads notificationEnabledIDsLines() as 64-bit IDs.
  static void readNotificationEnabledIDs(const TableColumns& table, const Queue& queue,
                                         const IDSetCompletion& completion);
  /// The future forms of the two: ready when returned, with false or an
  /// empty set when nothing ran.
  static std::future<bool> setNotificationsEnabledLines(const TableColumns& table, bool enabled,
                                                        const IDSet& ids, const Queue& queue);
  static std::future<ReadResult<IDSet>> readNotificationEnabledIDs(const TableColumns& table,
                                                                   const Queue& queue);

  /// One INSERT of every column of the map (and of `expressions`) that, when
  /// a row with the same ID exists, updates that row in place instead: "...
  /// ON CONFLICT(ID) DO UPDATE SET\n" followed by every mapped column but ID,
  /// each set to its new value. Values are written by the table base's rules
  /// (every text stored exactly as given); the null marker is written as
  /// NULL. A map with a key that is not a column is refused.
  static std::optional<CheckedStatement> checkedUpsert(
      const TableColumns& table, const ColumnValueMap& columnsAndValues,
      const std::vector<InsertedExpression>& expressions = {});

  /// In one transaction: deletes every event row that `ownedEvents` selects
  /// (one builder delete each), then the table's row with this ID. Never rolls
  /// back: a partly failed cascade commits what succeeded and reports false.
  static void deleteWithOwnedEvents(const TableColumns& table, std::int64_t id,
                                    const std::string& ownedEvents, const Queue& queue,
                                    const BoolCompletion& completion);

  /// The six event team columns an owned-event selection tests, each compared
  /// with `value` and joined by " OR ": "ID = HOME_TEAM_ID OR ID = ..." or,
  /// column first, "HOME_TEAM_ID = 7 OR ...". Order: home, away, home
  /// sub-team 1 and 2, away sub-team 1 and 2.
  static std::string eventTeamColumnsEqual(std::string_view value, bool columnFirst);
};

}  // namespace kestrel
