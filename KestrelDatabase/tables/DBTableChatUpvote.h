// Chat messages that the user upvoted. The row key is a generated row number;
// TIMESTAMP holds the message identifier, LAST_SEEN the time of the save.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableChatUpvote : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "ChatMessageTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kTimestamp = "TIMESTAMP";
  static constexpr const char* kEventId = "EVENT_ID";
  static constexpr const char* kUpvoted = "UPVOTED";
  static constexpr const char* kLastSeen = "LAST_SEEN";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
