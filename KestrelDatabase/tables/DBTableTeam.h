// Teams that the user follows, in the user's order, with whether notifications
// are enabled for each. Removing a team also removes the event rows stored
// only because of it.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableTeam : public DBTableAbstract {
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

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
