// Players that the user follows, with whether notifications are enabled for
// each.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTablePlayer : public DBTableAbstract {
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

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
