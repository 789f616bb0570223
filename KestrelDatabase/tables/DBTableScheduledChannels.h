// The TV channels that the user chose to show in the schedule, per country.
// KEY is "<channel ID>, <country code>", so one row exists per channel and
// country.
//
// The schema hooks below are pure: they build SQL text and touch no database.
// Thread-safety: all operations are static; the hooks may be called from any
// thread.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <string>
#include <vector>

namespace kestrel {

class DBTableScheduledChannels : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "ScheduledChannelsTable";

  // Columns, in table order.
  static constexpr const char* kKey = "KEY";
  static constexpr const char* kChannelId = "CHANNEL_ID";
  static constexpr const char* kCountryCode = "COUNTRY_CODE";
  static constexpr const char* kChannelName = "CHANNEL_NAME";

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  // ---- Row operations -------------------------------------------------------
};

}  // namespace kestrel
