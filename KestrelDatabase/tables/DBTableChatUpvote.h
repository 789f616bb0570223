// Chat messages that the user upvoted. The row key is a generated row number;
// TIMESTAMP holds the message identifier (a message is identified by its
// timestamp), LAST_SEEN the time of the save. Every save adds a row, also for
// a message saved before; the read gives a set, so the duplicates never
// show. Rows are purged seven days after they were saved.
//
// Completions: a null queue means no work and no completion call. A save
// without its message identifier or event ID writes nothing and calls no
// completion. Otherwise a given completion is called exactly once, inside the
// queue's block, before the operation returns: a write reports once its transaction has
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
#include <memory>
#include <optional>
#include <string>

namespace kestrel {

class FMDatabaseQueue;

class DBTableChatUpvote : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "ChatMessageTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kTimestamp = "TIMESTAMP";
  static constexpr const char* kEventId = "EVENT_ID";
  static constexpr const char* kUpvoted = "UPVOTED";
  static constexpr const char* kLastSeen = "LAST_SEEN";

  /// How long an upvote is kept after its save: seven days, in seconds.
  static constexpr int kRetentionSeconds = 604800;

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  /// Adds a row for the upvoted message, stamped with the current time. The
  /// upvote value is stored as given (NULL when absent) and never read back.
  /// Without a message identifier or event ID nothing is written and the
  /// completion is not called.
  static void saveUpvotedMessage(std::optional<std::int64_t> messageID,
                                 std::optional<std::int64_t> eventID,
                                 std::optional<std::int64_t> upvote,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion = {});
  /// Deletes the rows saved more than 604800 s ago (exactly 604800 s is kept).
  static void deleteUpvotedMessages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                    const BoolCompletion& completion = {});
  /// The identifiers of the messages upvoted in the event's chat, whatever
  /// their upvote value, read as 64-bit integers.
  static void getMessageIDsForEventID(std::int64_t eventID,
                                      const std::shared_ptr<FMDatabaseQueue>& queue,
                                      const IDSetCompletion& completion);

  // ---- Statement texts ---------------------------------------------------------

  static std::string messageIDsForEventIDQuery(std::int64_t eventID);
  /// `now` is seconds since 1970, written with "%f".
  static std::string deleteUpvotedMessagesStatement(double now);
};

}  // namespace kestrel
