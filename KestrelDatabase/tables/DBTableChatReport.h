// Chat messages that the user reported, one row per message: when it was
// reported, the event whose chat holds it, and the reason chosen.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableChatReport : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "ChatReportTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kTimestamp = "TIMESTAMP";
  static constexpr const char* kEventId = "EVENT_ID";
  static constexpr const char* kChoice = "CHOICE";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
