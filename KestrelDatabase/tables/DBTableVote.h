// The user's prediction vote for an event, one row per event, with the event's
// start time and whether the vote was posted to the server (POST_FLAG 0/1).
// Votes still to be sent are the unposted ones of events that have not
// started; a vote is purged 90 days after its event's start, posted or not.
//
// Completions: a null queue means no work and no completion call. A save
// without its vote or event ID writes nothing and calls no completion.
// Otherwise a given completion is called exactly once, inside the queue's
// block, before the operation returns: a write reports once its transaction has
// committed (false when a statement or the commit failed), and a read
// delivers std::nullopt when it failed (also when the queue could not reopen
// its connection), never an empty answer. Every
// "now" is platform::Clock::now(), written into statements with "%f".
//
// Thread-safety: all operations are static. The schema hooks and the
// statement texts are pure and may be called from any thread. The row
// operations block on the database queue; they must not be called from inside
// a block of the same queue, and a completion must not call back into it.
#pragma once

#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace kestrel {

class FMDatabaseQueue;

class DBTableVote : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "VoteTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kVote = "VOTE";
  static constexpr const char* kEventTimestamp = "EVENT_TIMESTAMP";
  static constexpr const char* kPostFlag = "POST_FLAG";

  /// How long a vote is kept after its event's start: 90 days, in seconds.
  static constexpr int kRetentionSeconds = 7776000;

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  /// Event ID -> vote; a row whose VOTE is NULL maps to absent.
  using VoteMap = std::map<std::int64_t, std::optional<std::int64_t>>;
  using VoteMapCompletion = std::function<void(ReadResult<VoteMap> votes)>;

  /// Stores the vote for the event as not yet posted (POST_FLAG 0), replacing
  /// any earlier vote for it. The event's start may be absent (NULL). Without
  /// a vote or an event ID nothing is written and the completion is not
  /// called.
  static void saveVote(std::optional<std::int64_t> vote, std::optional<std::int64_t> eventId,
                       std::optional<std::int64_t> timestamp,
                       const std::shared_ptr<FMDatabaseQueue>& queue,
                       const BoolCompletion& completion = {});
  /// Marks the event's vote as posted; true also when there is none.
  static void setVoteFlagForEventId(std::int64_t eventId,
                                    const std::shared_ptr<FMDatabaseQueue>& queue,
                                    const BoolCompletion& completion = {});
  /// Deletes the votes whose event started more than 90 days ago (rows
  /// without a start stay).
  static void deleteVotes(const std::shared_ptr<FMDatabaseQueue>& queue,
                          const BoolCompletion& completion = {});

  /// Every stored vote.
  static void getVotes(const std::shared_ptr<FMDatabaseQueue>& queue,
                       const VoteMapCompletion& completion);
  /// The unposted votes of events that start after now (strictly): a vote
  /// whose event has started is never sent again.
  static void getUnsuccessfulVotes(const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const VoteMapCompletion& completion);

  // ---- Statement texts ---------------------------------------------------------
  // The exact texts the operations run, for callers that need to run or
  // count them themselves. `now` is seconds since 1970, written with "%f".

  static std::string unsuccessfulVotesQuery(double now);
  static std::string deleteVotesStatement(double now);
};

}  // namespace kestrel
