// The TV channels that the user chose to show in the schedule, per country.
// KEY is "<channel ID>, <country code>" (one blank after the comma), so one
// row exists per channel and country, and saving the same pair again
// replaces the row.
//
// The two deletes write their values between single quotes, as they always
// have ("... WHERE COUNTRY_CODE = 'DE';"); a channel ID in quotes still
// matches the INTEGER column through SQLite's type affinity. A value holding
// a single quote fails such a statement: the delete is refused with one log
// line and reports false, and nothing is deleted. (A NUL, which the quotes
// cannot hold, is written as CAST(X'..' AS TEXT) and matches exactly.)
//
// Completions: a null queue means no work and no completion call. A save
// without a value writes nothing and calls no completion. Otherwise a given
// completion is called exactly once, inside the queue's block, before the
// operation returns: a refused statement gives false, a write reports once its transaction has
// committed (false when a statement or the commit failed), and a read
// delivers std::nullopt when it failed (also when the queue could not reopen
// its connection), never an empty answer.
//
// Thread-safety: all operations are static. The schema hooks, the mapping and
// the statement texts are pure and may be called from any thread. The row
// operations block on the database queue; they must not be called from inside
// a block of the same queue, and a completion must not call back into it.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelModel/TVScheduleChannelCountry.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

class FMDatabaseQueue;
class FMResultSet;

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

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  using ChannelCountryListCompletion =
      std::function<void(ReadResult<std::vector<model::TVScheduleChannelCountry>> channels)>;

  /// Stores the channel for its country under its key, replacing the row of
  /// the same channel and country. Without a value nothing is written and the
  /// completion is not called.
  static void saveTvChannelCountry(
      const std::optional<model::TVScheduleChannelCountry>& channelCountry,
      const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion = {});
  /// Every stored channel, in the table's row order.
  static void getTvChannelCountryList(const std::shared_ptr<FMDatabaseQueue>& queue,
                                      const ChannelCountryListCompletion& completion);
  /// Deletes every channel of the country.
  static void deleteChannelsWithCountryCode(const std::string& countryCode,
                                            const std::shared_ptr<FMDatabaseQueue>& queue,
                                            const BoolCompletion& completion = {});
  /// Deletes one channel of one country.
  static void deleteChannelWithId(std::int64_t channelID, const std::string& countryCode,
                                  const std::shared_ptr<FMDatabaseQueue>& queue,
                                  const BoolCompletion& completion = {});

  /// The channel of the row: CHANNEL_ID read as a 64-bit integer (not cut to
  /// its low 32 bits: channel INT64_MAX reads back as itself), the name
  /// (absent for NULL) and the country code ("" for NULL).
  static model::TVScheduleChannelCountry mapFromResultSet(const FMResultSet& resultSet);

  // ---- Statement texts ---------------------------------------------------------

  /// "<channel ID>, <country code>".
  static std::string keyOf(const model::TVScheduleChannelCountry& channelCountry);
  /// The checked deletes; nothing (after one log line) when a value holds a
  /// single quote or NUL.
  static std::optional<CheckedStatement> deleteChannelsWithCountryCodeStatement(
      const std::string& countryCode);
  static std::optional<CheckedStatement> deleteChannelWithIdStatement(
      std::int64_t channelID, const std::string& countryCode);
};

}  // namespace kestrel
