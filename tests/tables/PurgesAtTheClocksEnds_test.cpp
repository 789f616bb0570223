// Every table purge with the clock at either end of its range deletes
// exactly the rows beyond its windows: none more because the time is huge,
// none fewer. (Near 9e18 s a double holds whole multiples of 1024 s, so the
// rows stand 100 * 1024 s inside or beyond each window.)
#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelDatabase/tables/DBTableVote.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tables/DBTableEventFixture.h"

namespace kestrel {
namespace {

using Queue = std::shared_ptr<FMDatabaseQueue>;
using testing::Captured;
using Purge = void (*)(const Queue&, const BoolCompletion&);

// One purge: the table, its key and time columns, what an inserted row
// needs besides them, and how far back (and, where it has one, ahead) a row
// may lie.
struct RetentionRule {
  const char* name;
  const char* table;
  const char* key;
  const char* time;
  const char* otherColumns;  // ", COLUMN, ..." with their values below
  const char* otherValues;
  std::int64_t past;
  std::int64_t ahead;  // 0: none (else 4838400)
  Purge purge;
};

const RetentionRule kRules[] = {
    {"votes", "VoteTable", "ID", "EVENT_TIMESTAMP", ", VOTE, POST_FLAG", ", 1, 0", 7776000, 0,
     &DBTableVote::deleteVotes},
    {"chat upvotes", "ChatMessageTable", "TIMESTAMP", "LAST_SEEN", ", EVENT_ID", ", 1", 604800, 0,
     &DBTableChatUpvote::deleteUpvotedMessages},
    {"chat reports", "ChatReportTable", "ID", "TIMESTAMP", ", EVENT_ID, CHOICE", ", 1, 2", 864000,
     0, &DBTableChatReport::deleteReportedMessages},
    {"TV channel answers", "TvChannelContributedTable", "EVENT_ID", "EVENT_TIMESTAMP",
     ", CHANNEL_ID, APPROVE", ", 1, 1", 604800, 0,
     &DBTableTvChannels::deleteTvChannelTvChannelSuggestions},
    {"events", "EventTable_", "ID", "START_DATE", ", IS_MUTED", ", 0", 604800, 0,
     &DBTableEvent::deleteOldEvents},
    {"stages", "StageTable", "ID", "START_TIMESTAMP", ", IS_MUTED", ", 0", 604800, 4838400,
     &DBTableStage::deleteOldStages},
};

constexpr std::int64_t kMargin = 100 * 1024;

class PurgesAtTheClocksEndsTest : public testing::DBTableEventTest {
 protected:
  /// Stores rows 1... at these times; returns the keys of those the rule
  /// keeps at `now`.
  std::vector<std::int64_t> store(const RetentionRule& rule, std::int64_t now) {
    constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
    constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
    struct Row {
      std::int64_t time;
      bool kept;
    };
    const std::vector<Row> rows = {
        {kMin, false},
        {now - rule.past - kMargin, false},
        {now - rule.past + kMargin, true},
        {now, true},
        {now + 4838400 - kMargin, true},  // the stages' limit ahead
        {now + 4838400 + kMargin, rule.ahead == 0},
        {kMax, rule.ahead == 0},
    };
    std::vector<std::int64_t> kept;
    std::int64_t key = 0;
    for (const Row& row : rows) {
      ++key;
      exec(std::string("INSERT INTO ") + rule.table + " (" + rule.key + ", " + rule.time +
           rule.otherColumns + ") VALUES (" + std::to_string(key) + ", " +
           std::to_string(row.time) + rule.otherValues + ")");
      if (row.kept) kept.push_back(key);
    }
    return kept;
  }

  std::vector<std::int64_t> keys(const RetentionRule& rule) {
    std::vector<std::int64_t> out;
    queue_->inDatabase([&](FMDatabase* db) {
      auto rs = db->executeQuery(std::string("SELECT ") + rule.key + " FROM " + rule.table +
                                 " ORDER BY " + rule.key);
      while (rs && rs->next()) out.push_back(rs->longLongIntForColumnIndex(0));
    });
    return out;
  }
};

TEST_F(PurgesAtTheClocksEndsTest, EachPurgeDeletesExactlyTheRowsBeyondItsWindows) {
  for (const double now : {platform::Clock::kEarliest, platform::Clock::kLatest}) {
    ASSERT_TRUE(platform::Clock::setFixed(now));
    for (const RetentionRule& rule : kRules) {
      SCOPED_TRACE(std::string(rule.name) + (now < 0 ? " at the earliest time" : " at the latest"));
      exec(std::string("DELETE FROM ") + rule.table);
      const std::vector<std::int64_t> kept = store(rule, static_cast<std::int64_t>(now));
      Captured<bool> done;
      rule.purge(queue_, done.completion());
      EXPECT_EQ(done.value, true);
      EXPECT_EQ(keys(rule), kept);
    }
  }
  EXPECT_TRUE(logs_.lines().empty()) << logs_.lines().front();
}

}  // namespace
}  // namespace kestrel
