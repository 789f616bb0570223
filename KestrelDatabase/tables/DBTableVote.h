// The user's prediction vote for an event, one row per event, with the event's
// start time and whether the vote was posted to the server (POST_FLAG 0/1).
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableVote : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "VoteTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kVote = "VOTE";
  static constexpr const char* kEventTimestamp = "EVENT_TIMESTAMP";
  static constexpr const char* kPostFlag = "POST_FLAG";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
