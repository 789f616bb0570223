// The user's answers on whether an event is shown on a TV channel (channel,
// event, event start, approved or not). The row key is a generated row
// number and no other column is unique, so every save adds a row; the read
// gives a set, in which equal answers appear once. A contribution is purged
// seven days after its event's start.
//
// Completions: a null queue means no work and no completion call. A save
// without a suggestion, or of one without its event or channel, writes
// nothing and calls no completion. Otherwise a given completion is called
// exactly once, inside the queue's block, before the operation returns: a write reports once its transaction has
// committed (false when a statement or the commit failed), and a read
// delivers std::nullopt when it failed (also when the queue could not reopen
// its connection), never an empty answer. Every "now" is platform::Clock::now(), written into
// statements with "%f".
//
// Thread-safety: all operations are static. The schema hooks, the mapping and
// the statement texts are pure and may be called from any thread. The row
// operations block on the database queue; they must not be called from inside
// a block of the same queue, and a completion must not call back into it.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelModel/TVChannelSuggestion.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_set>

namespace kestrel {

class FMDatabaseQueue;
class FMResultSet;

class DBTableTvChannels : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "TvChannelContributedTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kChannelId = "CHANNEL_ID";
  static constexpr const char* kEventId = "EVENT_ID";
  static constexpr const char* kEventTimestamp = "EVENT_TIMESTAMP";
  static constexpr const char* kApprove = "APPROVE";

  /// How long a contribution is kept after its event's start: seven days.
  static constexpr int kRetentionSeconds = 604800;

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  using SuggestionSet = std::unordered_set<model::TVChannelSuggestion>;
  using SuggestionSetCompletion = std::function<void(ReadResult<SuggestionSet> suggestions)>;

  /// Adds a row for the answer: channel, event, event start (NULL when
  /// absent) and approve as 0 or 1. Without a suggestion, an event ID or a
  /// channel ID nothing is written and the completion is not called.
  static void saveTvChannelSuggestion(const std::optional<model::TVChannelSuggestion>& suggestion,
                                      const std::shared_ptr<FMDatabaseQueue>& queue,
                                      const BoolCompletion& completion = {});
  /// Deletes the answers whose event started more than 604800 s ago (rows
  /// without a start stay).
  static void deleteTvChannelTvChannelSuggestions(const std::shared_ptr<FMDatabaseQueue>& queue,
                                                  const BoolCompletion& completion = {});
  /// Every stored answer.
  static void getTvChannelTvChannelSuggestions(const std::shared_ptr<FMDatabaseQueue>& queue,
                                               const SuggestionSetCompletion& completion);

  /// The answer of the row (NULL numbers read as absent, APPROVE as a
  /// boolean). The name is the one this mapping has always had.
  static model::TVChannelSuggestion mapCategoryFromResultSet(const FMResultSet& resultSet);

  // ---- Statement texts ---------------------------------------------------------

  /// `now` is seconds since 1970, written with "%f".
  static std::string deleteTvChannelTvChannelSuggestionsStatement(double now);
};

}  // namespace kestrel
