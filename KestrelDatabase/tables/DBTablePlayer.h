// Players that the user follows, with whether notifications are enabled for
// each. A player row keeps of the player's team only its ID and name, and of
// the sport only its slug.
//
// Completions follow the table rules (DBTableFollowedAbstract.h): a null
// queue does no work and calls nothing; otherwise a given completion is
// called exactly once before the operation returns. The future forms are
// ready when they are returned, on every path: false or std::nullopt when
// there is no queue or the statement (or its commit) failed.
//
// Thread-safety: all operations are static. The schema hooks and statement
// texts are pure; the row operations block while they hold the database
// queue and must not be called from inside a block of that queue.
#pragma once

#include <KestrelDatabase/tables/DBTableFollowedAbstract.h>
#include <KestrelModel/Player.h>

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace kestrel {

class DBTablePlayer : public DBTableFollowedAbstract {
 public:
  static constexpr const char* kTableName = "MyPlayerTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kPlayerName = "PLAYER_NAME";
  static constexpr const char* kPlayerFieldTranslations = "PLAYER_FIELD_TRANSLATIONS";
  static constexpr const char* kPlayerTeamId = "PLAYER_TEAM_ID";
  static constexpr const char* kPlayerTeamNameId = "PLAYER_TEAM_NAME_ID";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kUserCount = "USER_COUNT";
  static constexpr const char* kNotificationsEnabled = "NOTIFICATIONS_ENABLED";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  using PlayerSetCompletion =
      std::function<void(ReadResult<std::unordered_set<model::Player>> players)>;

  static void deletePlayerWithID(std::int64_t playerID,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion = {});
  /// "DELETE FROM MyPlayerTable WHERE ID IN (...)" (no IDs: nothing, true).
  static void deletePlayersWithIDs(const IDSet& playerIDs,
                                   const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion = {});
  /// Every followed player (a set: no order).
  static void getPlayers(const std::shared_ptr<FMDatabaseQueue>& queue,
                         const PlayerSetCompletion& completion);
  /// Sets NOTIFICATIONS_ENABLED of the players with these IDs.
  static void setNotificationsEnabled(bool enabled, const IDSet& playerIDs,
                                      const std::shared_ptr<FMDatabaseQueue>& queue,
                                      const BoolCompletion& completion = {});
  /// IDs (64-bit) of the players with notifications enabled.
  static void getNotificationPlayerIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const IDSetCompletion& completion);

  /// Stores the player with every column, or, when its ID is followed
  /// already, updates that row in place, notification flag included.
  [[nodiscard]] static std::future<bool> savePlayer(const model::Player& player,
                                                    bool enableNotifications,
                                                    const std::shared_ptr<FMDatabaseQueue>& queue);
  static void savePlayer(const model::Player& player, bool enableNotifications,
                         const std::shared_ptr<FMDatabaseQueue>& queue,
                         const BoolCompletion& completion);
  /// "UPDATE MyPlayerTable\nSET NOTIFICATIONS_ENABLED = <0|1>\nWHERE ID IN (...)".
  [[nodiscard]] static std::future<bool> setPlayerNotificationsEnabled(
      bool enabled, const IDSet& playerIDs, const std::shared_ptr<FMDatabaseQueue>& queue);
  static void setPlayerNotificationsEnabled(bool enabled, const IDSet& playerIDs,
                                            const std::shared_ptr<FMDatabaseQueue>& queue,
                                            const BoolCompletion& completion);
  /// IDs (64-bit) of the players with notifications enabled, read with
  /// "SELECT ID\nFROM MyPlayerTable\nWHERE NOTIFICATIONS_ENABLED = 1".
  [[nodiscard]] static std::future<ReadResult<IDSet>> getNotificationEnabledPlayerIds(
      const std::shared_ptr<FMDatabaseQueue>& queue);
  static void getNotificationEnabledPlayerIds(const std::shared_ptr<FMDatabaseQueue>& queue,
                                              const IDSetCompletion& completion);

  // ---- Row mapping ---------------------------------------------------------------

  /// Every column, from the player (the team's ID and name, the sport's slug).
  static ColumnValueMap mapAllPropertiesToColumns(const model::Player& player,
                                                  bool enableNotifications);
  /// A player of the result set's current row: a team when its ID or name is
  /// stored, a sport (slug only) when the slug is.
  static model::Player mapPlayerFromResultSet(const FMResultSet& row);
};

}  // namespace kestrel
