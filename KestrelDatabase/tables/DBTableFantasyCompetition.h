// The fantasy competitions that the user follows, as bare competition IDs.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableFantasyCompetition : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "FantasyCompetitionTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
