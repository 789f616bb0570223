// Unique tournaments that the user pinned to the top of the lists, with enough
// of their category and sport to show them offline, in the order pinned.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTablePinnedUniqueTournaments : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "PinnedUniqueTournamentsTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kName = "NAME";
  static constexpr const char* kCategoryId = "CATEGORY_ID";
  static constexpr const char* kCategoryName = "CATEGORY_NAME";
  static constexpr const char* kCategoryFlag = "CATEGORY_FLAG";
  static constexpr const char* kCategoryPriority = "CATEGORY_PRIORITY";
  static constexpr const char* kSportId = "SPORT_ID";
  static constexpr const char* kSportSlug = "SPORT_SLUG";
  static constexpr const char* kCreatedAtTimestamp = "CREATED_AT_TIMESTAMP";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();
  static std::vector<std::string> updateTableQueries();
  static std::vector<std::string> createIndexes();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
