// Teams that the user follows, in the user's order (SORT_ORDER), with whether
// notifications are enabled for each. Removing a team also removes the event
// rows stored only because of it.
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
#include <KestrelModel/Team.h>

#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <unordered_set>
#include <vector>

namespace kestrel {

class DBTableTeam : public DBTableFollowedAbstract {
 public:
  static constexpr const char* kTableName = "MyTeamTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kSortOrder = "SORT_ORDER";
  static constexpr const char* kTeamName = "TEAM_NAME";
  static constexpr const char* kTeamFieldTranslations = "TEAM_FIELD_TRANSLATIONS";
  static constexpr const char* kSportId = "SPORT_ID";
  static constexpr const char* kSportName = "SPORT_NAME";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kSportRows = "SPORT_ROWS";
  static constexpr const char* kUserCount = "USER_COUNT";
  static constexpr const char* kGender = "GENDER";
  static constexpr const char* kIsDisabled = "IS_DISABLED";
  static constexpr const char* kNotificationsEnabled = "NOTIFICATIONS_ENABLED";
  static constexpr const char* kType = "TYPE";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  using TeamSetCompletion = std::function<void(ReadResult<std::unordered_set<model::Team>> teams)>;

  /// In one transaction: deletes the event rows that exist only because of
  /// this team (ownedEventsQuery()), then the team's row. True only when every
  /// delete succeeded; a partly failed cascade still commits what succeeded.
  static void deleteTeamWithID(std::int64_t teamID, const std::shared_ptr<FMDatabaseQueue>& queue,
                               const BoolCompletion& completion = {});
  /// Every followed team (a set: no order).
  static void getTeams(const std::shared_ptr<FMDatabaseQueue>& queue,
                       const TeamSetCompletion& completion);
  /// Sets NOTIFICATIONS_ENABLED of the teams with these IDs.
  static void setNotificationsEnabled(bool enabled, const IDSet& teamIDs,
                                      const std::shared_ptr<FMDatabaseQueue>& queue,
                                      const BoolCompletion& completion = {});
  /// IDs (64-bit) of the teams with notifications enabled.
  static void getNotificationTeamIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const IDSetCompletion& completion);
  /// IDs of the followed teams of the sport with this slug.
  static void getTeamIDsForSport(const std::string& slug,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const IDSetCompletion& completion);

  /// Stores the team with every column, or, when its ID is followed already,
  /// updates that row in place, notification flag included. A new team gets
  /// SORT_ORDER one past the largest stored (0 for the first); an update
  /// keeps the row's SORT_ORDER.
  [[nodiscard]] static std::future<bool> saveTeam(const model::Team& team, bool enableNotifications,
                                                  const std::shared_ptr<FMDatabaseQueue>& queue);
  static void saveTeam(const model::Team& team, bool enableNotifications,
                       const std::shared_ptr<FMDatabaseQueue>& queue,
                       const BoolCompletion& completion);
  /// "UPDATE MyTeamTable\nSET NOTIFICATIONS_ENABLED = <0|1>\nWHERE ID IN (...)".
  [[nodiscard]] static std::future<bool> setTeamNotificationsEnabled(
      bool enabled, const IDSet& teamIDs, const std::shared_ptr<FMDatabaseQueue>& queue);
  static void setTeamNotificationsEnabled(bool enabled, const IDSet& teamIDs,
                                          const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const BoolCompletion& completion);
  /// IDs (64-bit) of the teams with notifications enabled.
  [[nodiscard]] static std::future<ReadResult<IDSet>> getNotificationEnabledTeamIds(
      const std::shared_ptr<FMDatabaseQueue>& queue);
  static void getNotificationEnabledTeamIds(const std::shared_ptr<FMDatabaseQueue>& queue,
                                            const IDSetCompletion& completion);

  // ---- Statement texts and row mapping ----------------------------------------

  /// The IDs of the event rows kept only by this team: rows of "EventTable_"
  /// of no followed league in which the team plays (also as a sub-team) and
  /// no other followed team does. Favourite and mute flags are not looked at.
  static std::string ownedEventsQuery(std::int64_t teamID);
  /// "SELECT ID\nFROM MyTeamTable\nWHERE NOTIFICATIONS_ENABLED = 1".
  static std::string notificationEnabledTeamIdsQuery();

  /// Every column but SORT_ORDER, from the team (SPORT_ROWS is always 0).
  static ColumnValueMap mapAllPropertiesToColumns(const model::Team& team,
                                                  bool enableNotifications);
  /// A team of the result set's current row (no sub-teams).
  static model::Team mapTeamFromResultSet(const FMResultSet& row);
};

}  // namespace kestrel
