// Chat messages that the user reported, one row per message (the key is the
// message's identifier): when it was reported, the event whose chat holds it,
// and the reason chosen. Reporting a message again replaces its row. Rows are
// purged ten days after the report (upvotes after seven: on purpose).
//
// Completions: a null queue means no work and no completion call. A save
// without its message identifier, event ID or choice writes nothing and calls
// no completion. Otherwise a given completion is called exactly once, inside
// the queue's block, before the operation returns: a write reports once its transaction has
// committed (false when a statement or the commit failed), and a read
// delivers std::nullopt when it failed (also when the queue could not reopen
// its connection), never an empty answer.
// Every "now" is platform::Clock::now(), written into statements with "%f".
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

class DBTableChatReport : public DBTableAbstract {
 public:
  static constexpr const char* kTableName = "ChatReportTable";

  // Columns, in table order.
  static constexpr const char* kId = "ID";
  static constexpr const char* kTimestamp = "TIMESTAMP";
  static constexpr const char* kEventId = "EVENT_ID";
  static constexpr const char* kChoice = "CHOICE";

  /// How long a report is kept: ten days, in seconds.
  static constexpr int kRetentionSeconds = 864000;

  // ---- Schema hooks ---------------------------------------------------------

  static std::string createTableQuery();

  /// The table's name and columns, against which every write is checked.
  static const TableColumns& tableColumns();

  // ---- Row operations -------------------------------------------------------

  /// Stores the report stamped with the current time, replacing an earlier
  /// report of the same message. Without a message identifier, event ID or
  /// choice nothing is written and the completion is not called.
  static void saveReportedMessage(std::optional<std::int64_t> messageID,
                                  std::optional<std::int64_t> eventID,
                                  std::optional<std::int64_t> choice,
                                  const std::shared_ptr<FMDatabaseQueue>& queue,
                                  const BoolCompletion& completion = {});
  /// Deletes the reports made more than 864000 s ago.
  static void deleteReportedMessages(const std::shared_ptr<FMDatabaseQueue>& queue,
                                     const BoolCompletion& completion = {});
  /// The identifiers of all reported messages, of every event, read as 64-bit
  /// integers.
  static void getReportedMessageIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                    const IDSetCompletion& completion);

  // ---- Statement texts ---------------------------------------------------------

  /// `now` is seconds since 1970, written with "%f".
  static std::string deleteReportedMessagesStatement(double now);
};

}  // namespace kestrel
