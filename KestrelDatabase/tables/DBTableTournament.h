// Unique tournaments (leagues) that the user follows, one row each, with
// whether notifications are enabled. Removing one also removes the event rows
// stored only because of it.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableTournament : public DBTableAbstract {
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

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
