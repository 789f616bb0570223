// One row per match ("event") that the user follows, has muted, or that is
// stored for a followed team or league. The key is the event's own server ID,
// never a generated row id. kColumns lists all columns in table order with
// their data type code, for the row mapping.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

namespace kestrel {

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
  struct ColumnSpec {
    const char* name;
    int dataType;
  };
  static constexpr std::size_t kColumnCount = 127;
  /// All columns in table order; the first is the primary key.
  static constexpr std::array<ColumnSpec, kColumnCount> kColumns{{
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

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
