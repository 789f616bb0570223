// Unique tournaments (leagues) that the user follows, one row each, with
// whether notifications are enabled. Removing one also removes the event rows
// stored only because of it.
//
// The key is the unique tournament's ID (Tournament::uniqueId); TOURNAMENT_ID
// keeps the tournament's own ID. A tournament without a unique ID cannot be
// saved: the save logs an error and reports false.
//
// Completions follow the table rules (DBTableFollowedAbstract.h): a null
// queue does no work and calls nothing; otherwise a given completion is
// called exactly once before the operation returns. The future forms are
// ready when they are returned, on every path: false or an empty set when
// there is no queue or the statement failed.
//
// Thread-safety: all operations are static. The schema hooks and statement
// texts are pure; the row operations block while they hold the database
// queue and must not be called from inside a block of that queue.
#pragma once

#include <KestrelDatabase/tables/DBTableFollowedAbstract.h>
#include <KestrelModel/CategoryModel.h>
#include <KestrelModel/Tournament.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>
#include <vector>

namespace kestrel {

class DBTableTournament : public DBTableFollowedAbstract {
 public:
  static constexpr const char* kTableName = "MyLeagueTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kTournamentUniqueName = "TOURNAMENT_UNIQUE_NAME";
  static constexpr const char* kTournamentId = "TOURNAMENT_ID";
  static constexpr const char* kTournamentName = "TOURNAMENT_NAME";
  static constexpr const char* kTournamentFieldTranslations = "TOURNAMENT_FIELD_TRANSLATIONS";
  static constexpr const char* kTournamentUniqueFieldTranslations =
      "TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kSportId = "SPORT_ID";
  static constexpr const char* kSportName = "SPORT_NAME";
  static constexpr const char* kCategoryId = "CATEGORY_ID";
  static constexpr const char* kCategoryName = "CATEGORY_NAME";
  static constexpr const char* kTournamentCategoryFieldTranslations =
      "TOURNAMENT_CATEGORY_FIELD_TRANSLATIONS";
  static constexpr const char* kCategoryFlag = "CATEGORY_FLAG";
  static constexpr const char* kUserCount = "USER_COUNT";
  static constexpr const char* kNotificationsEnabled = "NOTIFICATIONS_ENABLED";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  /// Followed tournaments keyed as the table keys them, by unique tournament
  /// ID: two rows never collapse into one, whatever their tournament IDs
  /// (which Tournament's own equality compares).
  struct UniqueIdHash {
    std::size_t operator()(const model::Tournament& tournament) const noexcept {
      return std::hash<std::int64_t>{}(tournament.uniqueId.value_or(0));
    }
  };
  struct SameUniqueId {
    bool operator()(const model::Tournament& a, const model::Tournament& b) const noexcept {
      return a.uniqueId == b.uniqueId;
    }
  };
  using TournamentSet = std::unordered_set<model::Tournament, UniqueIdHash, SameUniqueId>;
  using TournamentSetCompletion = std::function<void(ReadResult<TournamentSet> tournaments)>;

  /// In one transaction: deletes the event rows of this unique tournament in
  /// which no followed team plays (ownedEventsQuery()), then its row. True
  /// only when every delete succeeded; a partly failed cascade still commits
  /// what succeeded.
  static void deleteTournamentWithID(std::int64_t uniqueTournamentID,
                                     const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const BoolCompletion& completion = {});
  /// Every followed unique tournament (a set keyed by uniqueId: no order).
  static void getTournaments(const std::shared_ptr<FMDatabaseQueue>& queue,
                             const TournamentSetCompletion& completion);
  /// Sets NOTIFICATIONS_ENABLED of the rows with these unique tournament IDs.
  static void setNotificationsEnabled(bool enabled, const IDSet& uniqueTournamentIDs,
                                      const std::shared_ptr<FMDatabaseQueue>& queue,
                                      const BoolCompletion& completion = {});
  /// Unique tournament IDs (64-bit) with notifications enabled.
  static void getNotificationTournamentIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                           const IDSetCompletion& completion);
  /// Unique tournament IDs of the sport with this slug.
  static void getTournamentIDsForSport(const std::string& slug,
                                       const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const IDSetCompletion& completion);

  /// Stores the tournament with every column, or, when its unique ID is
  /// followed already, updates that row in place, notification flag included.
  [[nodiscard]] static std::future<bool> saveTournament(
      const model::Tournament& tournament, bool enableNotifications,
      const std::shared_ptr<FMDatabaseQueue>& queue);
  static void saveTournament(const model::Tournament& tournament, bool enableNotifications,
                             const std::shared_ptr<FMDatabaseQueue>& queue,
                             const BoolCompletion& completion);
  /// "UPDATE MyLeagueTable\nSET NOTIFICATIONS_ENABLED = <0|1>\nWHERE ID IN (...)".
  [[nodiscard]] static std::future<bool> setTournamentNotificationsEnabled(
      bool enabled, const IDSet& uniqueTournamentIDs,
      const std::shared_ptr<FMDatabaseQueue>& queue);
  static void setTournamentNotificationsEnabled(bool enabled, const IDSet& uniqueTournamentIDs,
                                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                                const BoolCompletion& completion);
  /// Unique tournament IDs (64-bit) with notifications enabled.
  [[nodiscard]] static std::future<ReadResult<IDSet>> getNotificationEnabledTournamentUniqueIds(
      const std::shared_ptr<FMDatabaseQueue>& queue);
  static void getNotificationEnabledTournamentUniqueIds(
      const std::shared_ptr<FMDatabaseQueue>& queue, const IDSetCompletion& completion);

  // ---- Statement texts and row mapping ----------------------------------------

  /// The IDs of the event rows of this unique tournament in which no followed
  /// team plays (also as a sub-team).
  static std::string ownedEventsQuery(std::int64_t uniqueTournamentID);
  /// "SELECT ID\nFROM MyLeagueTable\nWHERE NOTIFICATIONS_ENABLED = 1".
  static std::string notificationEnabledTournamentUniqueIdsQuery();

  /// Every column, from the tournament, its category and the category's
  /// sport; ID is the unique ID (the null marker when it has none).
  static ColumnValueMap mapAllPropertiesToColumns(const model::Tournament& tournament,
                                                  bool enableNotifications);
  static model::Tournament mapTournamentFromResultSet(const FMResultSet& row);
  /// The category of a row, with its sport; absent when none of its columns
  /// and none of the sport's holds a value.
  static std::optional<model::CategoryModel> mapCategoryFromResultSet(const FMResultSet& row);
};

}  // namespace kestrel
