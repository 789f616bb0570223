// Stages (rounds or races of stage sports) that the user follows, has muted, or
// that are kept for a followed unique stage, with the same favourite,
// entity-owned, hidden and muted flags as the event table.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableStage : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "StageTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kName = "NAME";
  static constexpr const char* kStatusType = "STATUS_TYPE";
  static constexpr const char* kStartTimestamp = "START_TIMESTAMP";
  static constexpr const char* kType = "TYPE";
  static constexpr const char* kHasCompetitors = "HAS_COMPETITORS";
  static constexpr const char* kHasTeams = "HAS_TEAMS";
  static constexpr const char* kFlag = "FLAG";
  static constexpr const char* kWinnerId = "WINNER_ID";
  static constexpr const char* kWinnerName = "WINNER_NAME";
  static constexpr const char* kLastUpdate = "LAST_UPDATE";
  static constexpr const char* kStageId = "STAGE_ID";
  static constexpr const char* kStageName = "STAGE_NAME";
  static constexpr const char* kStageStartTimestamp = "STAGE_START_TIMESTAMP";
  static constexpr const char* kStageHasCompetitor = "STAGE_HAS_COMPETITOR";
  static constexpr const char* kStageHasTeams = "STAGE_HAS_TEAMS";
  static constexpr const char* kStageFlag = "STAGE_FLAG";
  static constexpr const char* kSeasonId = "SEASON_ID";
  static constexpr const char* kSeasonName = "SEASON_NAME";
  static constexpr const char* kSeasonYear = "SEASON_YEAR";
  static constexpr const char* kUniqueId = "UNIQUE_ID";
  static constexpr const char* kUniqueName = "UNIQUE_NAME";
  static constexpr const char* kUniquePrimary = "UNIQUE_PRIMARY";
  static constexpr const char* kUniqueSecondary = "UNIQUE_SECONDARY";
  static constexpr const char* kCategoryName = "CATEGORY_NAME";
  static constexpr const char* kCategoryFlag = "CATEGORY_FLAG";
  static constexpr const char* kCategoryId = "CATEGORY_ID";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kIsMuted = "IS_MUTED";
  static constexpr const char* kIsHidden = "IS_HIDDEN";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
