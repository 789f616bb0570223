// The user's answers on whether an event is shown on a TV channel. The row
// key is a generated row number, so every save adds a row.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableTvChannels : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "TvChannelContributedTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kChannelId = "CHANNEL_ID";
  static constexpr const char* kEventId = "EVENT_ID";
  static constexpr const char* kEventTimestamp = "EVENT_TIMESTAMP";
  static constexpr const char* kApprove = "APPROVE";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
