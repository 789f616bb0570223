// One row per match ("event") that the user follows, has muted, or that is
// stored for a followed team or league. The key is the event's own server ID,
// never a generated row id. kColumns lists all columns in table order with
// their data type code, for the row mapping.
//
// Row flags: a favourite is written by insertEvent() with an explicit mute
// flag (IS_MUTED 0 or 1); an entity-owned row is written by
// insertEntityOwnedEvent() and keeps IS_MUTED NULL; a hidden row
// (IS_HIDDEN 1) is a finished event kept only because a followed team or
// league owns it, and no longer counts as a favourite; a muted row has
// IS_MUTED 1. Status types: 1 finished, 2 in progress, 3 not started; 4, 5
// and 6 count as finished once the start has passed; 8, 9, 10 are live.
//
// The row mapping (Event <-> column values) lives in DBTableEventMapper.cpp.
// Every "now" is platform::Clock::now(), written into statements with "%f".
//
// Completions: a null queue means no work and no completion call (except for
// deleteEvents() with an empty set, which always reports false). Otherwise
// a given completion is called exactly once, inside the queue's block, before
// the operation returns: a write's once its transaction has committed (true
// means on disk), a read's with what it read or std::nullopt when the read
// failed (also when the queue could not reopen its connection). IDs are read
// as 64-bit integers everywhere, the ID sets included.
//
// Thread-safety: all operations are static. The schema hooks, the mapping and
// the statement texts are pure and may be called from any thread. The row
// operations block while they hold the database queue (the block runs on the
// calling thread when the queue is idle); they must not be called from inside
// a block of the same queue, and a completion must not call back into it.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelModel/Event.h>

#include <array>
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

class FMDatabaseQueue;
class FMResultSet;

class DBTableEvent : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "EventTable_";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kStartDate = "START_DATE";
  static constexpr const char* kVisible = "VISIBLE";
  static constexpr const char* kHashighlights = "HASHIGHLIGHTS";
  static constexpr const char* kWeburl = "WEBURL";
  static constexpr const char* kCardsCode = "CARDS_CODE";
  static constexpr const char* kStatusDescription = "STATUS_DESCRIPTION";
  static constexpr const char* kStatusType = "STATUS_TYPE";
  static constexpr const char* kLastPeriod = "LAST_PERIOD";
  static constexpr const char* kFirst2serve = "FIRST2SERVE";
  static constexpr const char* kLastUpdate = "LAST_UPDATE";
  static constexpr const char* kWinnerCode = "WINNER_CODE";
  static constexpr const char* kAggregatedWinnerCode = "AGGREGATED_WINNER_CODE";
  static constexpr const char* kCrowdsourcingEnabled = "CROWDSOURCING_ENABLED";
  static constexpr const char* kCrowdsourcingDataDisplayEnabled =
      "CROWDSOURCING_DATA_DISPLAY_ENABLED";
  static constexpr const char* kSportId = "SPORT_ID";
  static constexpr const char* kSportName = "SPORT_NAME";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kSportRows = "SPORT_ROWS";
  static constexpr const char* kTournamentId = "TOURNAMENT_ID";
  static constexpr const char* kTournamentName = "TOURNAMENT_NAME";
  static constexpr const char* kTournamentFieldTranslations = "TOURNAMENT_FIELD_TRANSLATIONS";
  static constexpr const char* kTournamentUniqueId = "TOURNAMENT_UNIQUE_ID";
  static constexpr const char* kTournamentUniqueFieldTranslations =
      "TOURNAMENT_UNIQUE_FIELD_TRANSLATIONS";
  static constexpr const char* kCategoryId = "CATEGORY_ID";
  static constexpr const char* kCategoryName = "CATEGORY_NAME";
  static constexpr const char* kCategoryFlag = "CATEGORY_FLAG";
  static constexpr const char* kCategoryFieldTranslations = "CATEGORY_FIELD_TRANSLATIONS";
  static constexpr const char* kSeasonId = "SEASON_ID";
  static constexpr const char* kSeasonName = "SEASON_NAME";
  static constexpr const char* kSeasonYear = "SEASON_YEAR";
  static constexpr const char* kHomeTeamId = "HOME_TEAM_ID";
  static constexpr const char* kHomeTeamName = "HOME_TEAM_NAME";
  static constexpr const char* kHomeTeamShortName = "HOME_TEAM_SHORT_NAME";
  static constexpr const char* kHomeTeamFlag = "HOME_TEAM_FLAG";
  static constexpr const char* kHomeTeamSubteams = "HOME_TEAM_SUBTEAMS";
  static constexpr const char* kHomeTeamNameCode = "HOME_TEAM_NAME_CODE";
  static constexpr const char* kHomeTeamFieldTranslations = "HOME_TEAM_FIELD_TRANSLATIONS";
  static constexpr const char* kAwayTeamId = "AWAY_TEAM_ID";
  static constexpr const char* kAwayTeamName = "AWAY_TEAM_NAME";
  static constexpr const char* kAwayTeamShortName = "AWAY_TEAM_SHORT_NAME";
  static constexpr const char* kAwayTeamFlag = "AWAY_TEAM_FLAG";
  static constexpr const char* kAwayTeamSubteams = "AWAY_TEAM_SUBTEAMS";
  static constexpr const char* kAwayTeamNameCode = "AWAY_TEAM_NAME_CODE";
  static constexpr const char* kAwayTeamFieldTranslations = "AWAY_TEAM_FIELD_TRANSLATIONS";
  static constexpr const char* kTimeCurrent = "TIME_CURRENT";
  static constexpr const char* kTimePeriodTimes = "TIME_PERIOD_TIMES";
  static constexpr const char* kHomeCurrent = "HOME_CURRENT";
  static constexpr const char* kHomeNormaltime = "HOME_NORMALTIME";
  static constexpr const char* kHomeAggregated = "HOME_AGGREGATED";
  static constexpr const char* kHomePenalties = "HOME_PENALTIES";
  static constexpr const char* kHomePoint = "HOME_POINT";
  static constexpr const char* kHomePeriods = "HOME_PERIODS";
  static constexpr const char* kHomePeriod1 = "HOME_PERIOD1";
  static constexpr const char* kHomePeriod2 = "HOME_PERIOD2";
  static constexpr const char* kHomePeriod3 = "HOME_PERIOD3";
  static constexpr const char* kHomePeriod4 = "HOME_PERIOD4";
  static constexpr const char* kHomePeriod5 = "HOME_PERIOD5";
  static constexpr const char* kHomePeriod6 = "HOME_PERIOD6";
  static constexpr const char* kHomePeriod7 = "HOME_PERIOD7";
  static constexpr const char* kHomeTieBreakPeriods = "HOME_TIE_BREAK_PERIODS";
  static constexpr const char* kScoreDescriptionHome = "SCORE_DESCRIPTION_HOME";
  static constexpr const char* kAwayCurrent = "AWAY_CURRENT";
  static constexpr const char* kAwayNormaltime = "AWAY_NORMALTIME";
  static constexpr const char* kAwayAggregated = "AWAY_AGGREGATED";
  static constexpr const char* kAwayPenalties = "AWAY_PENALTIES";
  static constexpr const char* kAwayPoint = "AWAY_POINT";
  static constexpr const char* kAwayPeriods = "AWAY_PERIODS";
  static constexpr const char* kAwayPeriod1 = "AWAY_PERIOD1";
  static constexpr const char* kAwayPeriod2 = "AWAY_PERIOD2";
  static constexpr const char* kAwayPeriod3 = "AWAY_PERIOD3";
  static constexpr const char* kAwayPeriod4 = "AWAY_PERIOD4";
  static constexpr const char* kAwayPeriod5 = "AWAY_PERIOD5";
  static constexpr const char* kAwayPeriod6 = "AWAY_PERIOD6";
  static constexpr const char* kAwayPeriod7 = "AWAY_PERIOD7";
  static constexpr const char* kAwayTieBreakPeriods = "AWAY_TIE_BREAK_PERIODS";
  static constexpr const char* kScoreDescriptionAway = "SCORE_DESCRIPTION_AWAY";
  static constexpr const char* kHomeSubteam1ColId = "HOME_SUBTEAM1_COL_ID";
  static constexpr const char* kHomeSubteam1ColName = "HOME_SUBTEAM1_COL_NAME";
  static constexpr const char* kHomeSubteam1ColFieldTranslations =
      "HOME_SUBTEAM1_COL_FIELD_TRANSLATIONS";
  static constexpr const char* kHomeSubteam2ColId = "HOME_SUBTEAM2_COL_ID";
  static constexpr const char* kHomeSubteam2ColName = "HOME_SUBTEAM2_COL_NAME";
  static constexpr const char* kHomeSubteam2ColFieldTranslations =
      "HOME_SUBTEAM2_COL_FIELD_TRANSLATIONS";
  static constexpr const char* kAwaySubteam1ColId = "AWAY_SUBTEAM1_COL_ID";
  static constexpr const char* kAwaySubteam1ColName = "AWAY_SUBTEAM1_COL_NAME";
  static constexpr const char* kAwaySubteam1ColFieldTranslations =
      "AWAY_SUBTEAM1_COL_FIELD_TRANSLATIONS";
  static constexpr const char* kAwaySubteam2ColId = "AWAY_SUBTEAM2_COL_ID";
  static constexpr const char* kAwaySubteam2ColName = "AWAY_SUBTEAM2_COL_NAME";
  static constexpr const char* kAwaySubteam2ColFieldTranslations =
      "AWAY_SUBTEAM2_COL_FIELD_TRANSLATIONS";
  static constexpr const char* kChangesTimestamp = "CHANGES_TIMESTAMP";
  static constexpr const char* kChangesCarray = "CHANGES_CARRAY";
  static constexpr const char* kChangesHasChanges = "CHANGES_HAS_CHANGES";
  static constexpr const char* kStatusCode = "STATUS_CODE";
  static constexpr const char* kStatistics = "STATISTICS";
  static constexpr const char* kTournamentUniqueName = "TOURNAMENT_UNIQUE_NAME";
  static constexpr const char* kEndDate = "END_DATE";
  static constexpr const char* kIsMuted = "IS_MUTED";
  static constexpr const char* kIsHidden = "IS_HIDDEN";
  static constexpr const char* kTournamentPlayerHeatmap = "TOURNAMENT_PLAYER_HEATMAP";
  static constexpr const char* kTournamentPlayerStatistics = "TOURNAMENT_PLAYER_STATISTICS";
  static constexpr const char* kCurrentBattingTeamId = "CURRENT_BATTING_TEAM_ID";
  static constexpr const char* kHasHighlightsStream = "HAS_HIGHLIGHTS_STREAM";
  static constexpr const char* kTournamentBoxScore = "TOURNAMENT_BOX_SCORE";
  static constexpr const char* kStatusInitial = "STATUS_INITIAL";
  static constexpr const char* kStatusMax = "STATUS_MAX";
  static constexpr const char* kStatusExtra = "STATUS_EXTRA";
  static constexpr const char* kStatusTimestamp = "STATUS_TIMESTAMP";
  static constexpr const char* kStatusPrefix = "STATUS_PREFIX";
  static constexpr const char* kTimeinfoPlayed = "TIMEINFO_PLAYED";
  static constexpr const char* kTimeinfoPeriodLength = "TIMEINFO_PERIOD_LENGTH";
  static constexpr const char* kTimeinfoOvertimeLength = "TIMEINFO_OVERTIME_LENGTH";
  static constexpr const char* kTimeinfoTotalPeriodCount = "TIMEINFO_TOTAL_PERIOD_COUNT";
  static constexpr const char* kFinalRound = "FINAL_ROUND";
  static constexpr const char* kTournamentDisplayInverseHomeAwayTeams =
      "TOURNAMENT_DISPLAY_INVERSE_HOME_AWAY_TEAMS";
  static constexpr const char* kTournamentGroundType = "TOURNAMENT_GROUND_TYPE";
  static constexpr const char* kTournamentTennisPoints = "TOURNAMENT_TENNIS_POINTS";
  static constexpr const char* kAmFootballYardsToFirstDown = "AM_FOOTBALL_YARDS_TO_FIRST_DOWN";
  static constexpr const char* kAmFootballCurrentDown = "AM_FOOTBALL_CURRENT_DOWN";
  static constexpr const char* kAmFootballCurrentYardline = "AM_FOOTBALL_CURRENT_YARDLINE";
  static constexpr const char* kAmFootballIsGoalPossession = "AM_FOOTBALL_IS_GOAL_POSSESSION";
  static constexpr const char* kAmFootballCurrentPossession = "AM_FOOTBALL_CURRENT_POSSESSION";
  static constexpr const char* kAmFootballCurrentTeamHalf = "AM_FOOTBALL_CURRENT_TEAM_HALF";
  static constexpr const char* kStreamContentId = "STREAM_CONTENT_ID";
  static constexpr const char* kStreamContentGeoRestrictions = "STREAM_CONTENT_GEO_RESTRICTIONS";
  static constexpr const char* kBestOfSets = "BEST_OF_SETS";
  static constexpr const char* kVarInProgressHome = "VAR_IN_PROGRESS_HOME";
  static constexpr const char* kVarInProgressAway = "VAR_IN_PROGRESS_AWAY";

  /// One column of the table: its name and data type code (0 INTEGER, 1 TEXT,
  /// 2 INTEGER, as in NewEntityColumn).
  struct ColumnDefinition {
    const char* name;
    int dataType;
  };
  static constexpr std::size_t kColumnCount = 127;
  /// All columns in table order; the first is the primary key.
  static constexpr std::array<ColumnDefinition, kColumnCount> kColumns{{
      {kId, 0},
      {kStartDate, 0},
      {kVisible, 0},
      {kHashighlights, 0},
      {kWeburl, 1},
      {kCardsCode, 1},
      {kStatusDescription, 1},
      {kStatusType, 0},
      {kLastPeriod, 1},
      {kFirst2serve, 0},
      {kLastUpdate, 0},
      {kWinnerCode, 0},
      {kAggregatedWinnerCode, 0},
      {kCrowdsourcingEnabled, 0},
      {kCrowdsourcingDataDisplayEnabled, 0},
      {kSportId, 0},
      {kSportName, 1},
      {kSportSlug, 1},
      {kSportRows, 0},
      {kTournamentId, 0},
      {kTournamentName, 1},
      {kTournamentFieldTranslations, 1},
      {kTournamentUniqueId, 0},
      {kTournamentUniqueFieldTranslations, 1},
      {kCategoryId, 0},
      {kCategoryName, 1},
      {kCategoryFlag, 1},
      {kCategoryFieldTranslations, 1},
      {kSeasonId, 0},
      {kSeasonName, 1},
      {kSeasonYear, 1},
      {kHomeTeamId, 0},
      {kHomeTeamName, 1},
      {kHomeTeamShortName, 1},
      {kHomeTeamFlag, 1},
      {kHomeTeamSubteams, 1},
      {kHomeTeamNameCode, 1},
      {kHomeTeamFieldTranslations, 1},
      {kAwayTeamId, 0},
      {kAwayTeamName, 1},
      {kAwayTeamShortName, 1},
      {kAwayTeamFlag, 1},
      {kAwayTeamSubteams, 1},
      {kAwayTeamNameCode, 1},
      {kAwayTeamFieldTranslations, 1},
      {kTimeCurrent, 0},
      {kTimePeriodTimes, 1},
      {kHomeCurrent, 0},
      {kHomeNormaltime, 0},
      {kHomeAggregated, 0},
      {kHomePenalties, 0},
      {kHomePoint, 1},
      {kHomePeriods, 1},
      {kHomePeriod1, 0},
      {kHomePeriod2, 0},
      {kHomePeriod3, 0},
      {kHomePeriod4, 0},
      {kHomePeriod5, 0},
      {kHomePeriod6, 0},
      {kHomePeriod7, 0},
      {kHomeTieBreakPeriods, 1},
      {kScoreDescriptionHome, 1},
      {kAwayCurrent, 0},
      {kAwayNormaltime, 0},
      {kAwayAggregated, 0},
      {kAwayPenalties, 0},
      {kAwayPoint, 1},
      {kAwayPeriods, 1},
      {kAwayPeriod1, 0},
      {kAwayPeriod2, 0},
      {kAwayPeriod3, 0},
      {kAwayPeriod4, 0},
      {kAwayPeriod5, 0},
      {kAwayPeriod6, 0},
      {kAwayPeriod7, 0},
      {kAwayTieBreakPeriods, 1},
      {kScoreDescriptionAway, 1},
      {kHomeSubteam1ColId, 0},
      {kHomeSubteam1ColName, 1},
      {kHomeSubteam1ColFieldTranslations, 1},
      {kHomeSubteam2ColId, 0},
      {kHomeSubteam2ColName, 1},
      {kHomeSubteam2ColFieldTranslations, 1},
      {kAwaySubteam1ColId, 0},
      {kAwaySubteam1ColName, 1},
      {kAwaySubteam1ColFieldTranslations, 1},
      {kAwaySubteam2ColId, 0},
      {kAwaySubteam2ColName, 1},
      {kAwaySubteam2ColFieldTranslations, 1},
      {kChangesTimestamp, 0},
      {kChangesCarray, 1},
      {kChangesHasChanges, 0},
      {kStatusCode, 0},
      {kStatistics, 0},
      {kTournamentUniqueName, 1},
      {kEndDate, 0},
      {kIsMuted, 0},
      {kIsHidden, 0},
      {kTournamentPlayerHeatmap, 0},
      {kTournamentPlayerStatistics, 0},
      {kCurrentBattingTeamId, 2},
      {kHasHighlightsStream, 0},
      {kTournamentBoxScore, 0},
      {kStatusInitial, 0},
      {kStatusMax, 0},
      {kStatusExtra, 0},
      {kStatusTimestamp, 0},
      {kStatusPrefix, 1},
      {kTimeinfoPlayed, 0},
      {kTimeinfoPeriodLength, 0},
      {kTimeinfoOvertimeLength, 0},
      {kTimeinfoTotalPeriodCount, 0},
      {kFinalRound, 0},
      {kTournamentDisplayInverseHomeAwayTeams, 0},
      {kTournamentGroundType, 1},
      {kTournamentTennisPoints, 0},
      {kAmFootballYardsToFirstDown, 0},
      {kAmFootballCurrentDown, 0},
      {kAmFootballCurrentYardline, 0},
      {kAmFootballIsGoalPossession, 0},
      {kAmFootballCurrentPossession, 0},
      {kAmFootballCurrentTeamHalf, 0},
      {kStreamContentId, 0},
      {kStreamContentGeoRestrictions, 1},
      {kBestOfSets, 0},
      {kVarInProgressHome, 0},
      {kVarInProgressAway, 0},
  }};

  static constexpr const char* kHomeTeamIndex = "home_team_index";
  static constexpr const char* kAwayTeamIndex = "away_team_index";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();
  static std::vector<std::string> createIndexes();

  /// The table's name and columns (from the same description as the CREATE
  /// text), against which every write's values are checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------
  //
  // Every operation takes the queue to run on. A null queue means no work and
  // no completion call. Write completions may be empty; otherwise they are
  // called exactly once with the success flag, after the commit. Read
  // completions receive the result (an empty one when nothing matched,
  // std::nullopt when the read failed); an empty read completion makes the
  // operation do nothing.
  //
  // Writes go through the table base's checked path, which stores every value
  // exactly as given (a text with a double quote or NUL, or in an update a
  // text that names a column, is written as an escaped literal).

  /// The event, no event (no such row), or std::nullopt (the read failed).
  using EventCompletion = std::function<void(ReadResult<std::optional<model::Event>> event)>;
  using EventListCompletion = std::function<void(ReadResult<std::vector<model::Event>> events)>;
  using EventSetCompletion =
      std::function<void(ReadResult<std::unordered_set<model::Event>> events)>;

  /// Stores an event for a followed team or league (IS_MUTED stays NULL). The
  /// builder's insert text is "INSERT OR IGNORE INTO", so an existing row with
  /// the same ID is left untouched; the completion then receives false: it
  /// gets true only when the statement ran and inserted a row. This is what
  /// protects favourites from being overwritten.
  static void insertEntityOwnedEvent(const model::Event& event,
                                     const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const BoolCompletion& completion = {});
  /// Stores a favourite with the given mute flag, replacing any row with the
  /// same ID (which also clears IS_HIDDEN).
  static void insertEvent(const model::Event& event, bool isMuted,
                          const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  /// Rewrites the row of the event's ID with the mapped values. Values the
  /// event lacks are left out of the statement, so their columns keep what
  /// they held. Succeeds (true) even when no row has that ID.
  static void updateEvent(const model::Event& event, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  /// Sets IS_MUTED 1 on the event's row. Takes an Event, while unmuteEvent()
  /// takes a bare ID.
  static void muteEvent(const model::Event& event, const std::shared_ptr<FMDatabaseQueue>& queue,
                        const BoolCompletion& completion = {});
  /// Sets IS_MUTED 0 on the row with this ID.
  static void unmuteEvent(std::int64_t eventID, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  static void deleteEvent(std::int64_t eventID, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});
  /// Deletes the rows of all the IDs in one statement. An empty set runs no
  /// SQL and reports false at once, with or without a queue.
  static void deleteEvents(const IDSet& eventIDs, const std::shared_ptr<FMDatabaseQueue>& queue,
                           const BoolCompletion& completion = {});

  /// The event of that ID, or absent.
  static void getEvent(std::int64_t eventID, const std::shared_ptr<FMDatabaseQueue>& queue,
                       const EventCompletion& completion);
  /// Non-hidden rows that started at most 604800 s ago (future ones
  /// included), oldest start first.
  static void getAllFavoriteEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const EventListCompletion& completion);
  /// IDs of all non-hidden rows, entity-owned ones included.
  static void getAllFavoriteEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const IDSetCompletion& completion);
  /// IDs of every row.
  static void getAllEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                             const IDSetCompletion& completion);
  /// IDs of non-hidden favourites (IS_MUTED not NULL, muted ones included).
  static void getFavoriteEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                  const IDSetCompletion& completion);
  /// IDs of the muted rows.
  static void getMutedEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                               const IDSetCompletion& completion);
  /// IDs whose data is old enough for a refresh, by status and start time.
  static void getEventIDsToRefresh(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const IDSetCompletion& completion);
  /// The number of non-hidden finished rows.
  static void getFinishedEventsCount(const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const CountCompletion& completion);
  /// Runs `sql` and collects the ID column of every row, as 64-bit integers
  /// (not cut to 32 bits: an ID above 2^31 reads back as itself).
  static void getIDs(const std::string& sql, const std::shared_ptr<FMDatabaseQueue>& queue,
                     const IDSetCompletion& completion);
  /// The same, reading the named column.
  static void getIntColumn(const std::string& column, const std::string& sql,
                           const std::shared_ptr<FMDatabaseQueue>& queue,
                           const IDSetCompletion& completion);
  /// Runs `sql` and maps every row; rows with equal IDs collapse into one.
  static void getAllEventsWithQuery(const std::string& sql,
                                    const std::shared_ptr<FMDatabaseQueue>& queue,
                                    const EventSetCompletion& completion);

  /// In one transaction: deletes the finished rows that no followed team
  /// (also as a sub-team) or league owns, then hides the finished rows left
  /// (with "now" read afresh). True only when both statements succeed; never
  /// rolls back, so a failed delete still lets the hiding commit.
  static void deleteFinishedEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion = {});
  /// Deletes rows that started more than 604800 s ago, rows of a followed
  /// team or league that start more than 4838400 s ahead, and rows without a
  /// start.
  static void deleteOldEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                              const BoolCompletion& completion = {});

  /// One-time conversion of old favourites: unmuted favourites already covered
  /// by a followed team or league become entity-owned (IS_MUTED NULL), and
  /// entity-owned rows without a followed owner become unmuted favourites
  /// (IS_MUTED 0). Muted rows stay as they are. Runs the two statements of
  /// migrationStatements() in order on another thread; the future is ready
  /// when both have run (at once for a null queue).
  [[nodiscard]] static std::future<void> migrateFavoriteNotificationEvents(
      const std::shared_ptr<FMDatabaseQueue>& queue);
  /// The same on the calling thread, both statements in one transaction;
  /// the completion gets true once both succeeded and were committed.
  static void migrateFavoriteNotificationEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                const BoolCompletion& completion);

  // ---- Statement texts ---------------------------------------------------------
  // The exact texts the operations run, for callers that need to run or
  // count them themselves. `now` is seconds since 1970, written with "%f".

  static std::string allFavoriteEventsQuery(double now);
  static std::string allFavoriteEventIDsQuery();
  static std::string allEventIDsQuery();
  static std::string favoriteEventIDsQuery();
  static std::string mutedEventIDsQuery();
  static std::string finishedEventsCountQuery(double now);
  /// Sixteen clauses of status, time to/since start and age of the row's
  /// data, all with strict bounds, behind "START_DATE >= 604800".
  static std::string eventIDsToRefreshQuery(double now);
  /// "DELETE FROM EventTable_ WHERE ID IN (1, 2, 3)"; absent for no IDs.
  static std::optional<std::string> deleteEventsStatement(const IDSet& eventIDs);
  static std::string finishedEventsDeleteStatement(double now);
  static std::string hideFinishedEventsStatement(double now);
  static std::string oldEventsDeleteStatement(double now);
  /// The two UPDATE statements of the favourite migration, in run order.
  static std::array<std::string, 2> migrationStatements();

  // ---- Row mapping (DBTableEventMapper.cpp) -----------------------------------
  //
  // Both directions are total: any event gives a full map, and any row, with
  // NULLs, text in integer columns or columns missing from an old table,
  // gives an Event (missing or unreadable values read as absent or 0).
  //
  // Both directions also run inside a guard: when the C++ runtime throws
  // while they work (an allocation failure, a failed conversion), the write
  // side returns the columns mapped so far and the read side logs
  // "DB: Event mapper exception caught." and returns the event built so far.
  // Nothing is thrown to the caller.
  //
  // Empty parts: the read side always builds two sub-teams on each side's
  // team, a current batting team and the video-review state, also from NULL
  // columns (a NULL ID reads as 0, a NULL flag as false). A sub-team or
  // batting team whose ID is 0 and that has neither a name nor field
  // translations is such an empty part: the write side stores its columns as
  // NULL and leaves it out of the joined sub-team text, so re-writing an event
  // that was read back keeps those NULL columns NULL. (The two VAR columns,
  // once read back, are written as 0: false and NULL read the same.)

  /// Where each column of kColumns sits in the rows of one result set (-1 when
  /// it has no such column, or the mapping does not read it). Build it after
  /// the first next(); looking a missing column up logs the result set's
  /// warning once, instead of once per row.
  struct RowLayout {
    std::array<int, kColumnCount> indexes{};
  };
  static RowLayout rowLayoutForResultSet(const FMResultSet& resultSet);

  /// Every mapped column (all but IS_MUTED and IS_HIDDEN), in a fixed order,
  /// each present even when the event lacks its value (the null marker).
  /// Lists are joined with ","; an empty list is the null marker. LAST_UPDATE
  /// is Clock::now() as a double; SPORT_ROWS is always 0. Values under an
  /// absent part (tournament, team, score, ...) are the null marker, but
  /// boolean columns are always 0 or 1 (0 under an absent tournament or
  /// change set); only the VAR flags are NULL, when the event has no
  /// video-review state.
  static ColumnValueMap mapAllPropertiesToColumns(const model::Event& event);

  /// The event of the result set's current row. Builds the row layout on each
  /// call; mapping many rows, build it once and use the second form. Each
  /// side's team has exactly two sub-teams (see "Empty parts" above).
  static model::Event mapEventFromResultSet(const FMResultSet& resultSet);
  static model::Event mapEventFromResultSet(const FMResultSet& resultSet, const RowLayout& layout);

 private:
  /// Positions in kColumns of the columns one sub-mapper reads.
  struct SubteamColumns {
    std::size_t id, name, fieldTranslations;
  };
  struct TeamColumns {
    std::size_t id, name, shortName, flag, nameCode, fieldTranslations;
    SubteamColumns subteam1, subteam2;
  };
  struct ScoreColumns {
    std::size_t current, normalTime, aggregated, penalties, point, scoreDescription, periods;
    std::array<std::size_t, 7> period;
    std::size_t tieBreaks;
  };
  struct ChangesColumns {
    std::size_t changes, timestamp, hasChanges;
  };

  // The two directions' work, run inside their guards.
  static void putColumns(const model::Event& event, ColumnValueMap& map);
  static void readColumns(const FMResultSet& resultSet, const RowLayout& layout,
                          model::Event& event);

  // The read sub-mappers, in the order mapEventFromResultSet() uses them.
  static model::Tournament mapTournamentModelFromResultSet(const FMResultSet& resultSet,
                                                           const RowLayout& layout);
  static model::Sport mapSportModelFromResultSet(const FMResultSet& resultSet,
                                                 const RowLayout& layout);
  static model::Team mapTeamFromResultSet(const FMResultSet& resultSet, const RowLayout& layout,
                                          const TeamColumns& columns);
  /// From NULL columns: ID 0, no name, no field translations (empty).
  static model::Team mapSubteamFromsResultSet(const FMResultSet& resultSet, const RowLayout& layout,
                                              const SubteamColumns& columns);
  static model::EventTime mapTimeFromResultSet(const FMResultSet& resultSet,
                                               const RowLayout& layout);
  static model::EventScore mapScoreFromResultSet(const FMResultSet& resultSet,
                                                 const RowLayout& layout,
                                                 const ScoreColumns& columns);
  static model::EventChanges mapChangesFromResultSet(const FMResultSet& resultSet,
                                                     const RowLayout& layout,
                                                     const ChangesColumns& columns);
  static model::StatusTime mapStatusTimeFromResultSet(const FMResultSet& resultSet,
                                                      const RowLayout& layout);
  static model::TimeInfo mapTimeinfoFromResultSet(const FMResultSet& resultSet,
                                                  const RowLayout& layout);
  static model::YardDistance mapYardDistanceFromResultSet(const FMResultSet& resultSet,
                                                          const RowLayout& layout);
};

}  // namespace kestrel
