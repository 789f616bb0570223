#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "tables/SmallTableFixture.h"

// Upvoted chat messages: every save adds a row but the read gives each
// message once, per event; retention of exactly seven days; saves without
// their required arguments.
namespace kestrel {
namespace {

using testing::kNowSeconds;

class DBTableChatUpvoteTest : public testing::SmallTableTest {
 protected:
  std::optional<bool> save(std::optional<std::int64_t> message, std::optional<std::int64_t> event,
                           std::optional<std::int64_t> upvote = 1) {
    return outcome<bool>([&](auto done) {
      DBTableChatUpvote::saveUpvotedMessage(message, event, upvote, queue_, done);
    });
  }
  IDSet messages(std::int64_t event) {
    return read<IDSet>(
        [&](auto done) { DBTableChatUpvote::getMessageIDsForEventID(event, queue_, done); });
  }
  std::optional<bool> purge() {
    return outcome<bool>(
        [&](auto done) { DBTableChatUpvote::deleteUpvotedMessages(queue_, done); });
  }
};

TEST_F(DBTableChatUpvoteTest, EverySaveAddsARowButEachMessageIsReadOncePerEvent) {
  ASSERT_EQ(save(10, 1), true);
  ASSERT_EQ(save(10, 1, 0), true);  // the same message again, another value
  ASSERT_EQ(save(11, 1, std::nullopt), true);
  ASSERT_EQ(save(12, 2), true);
  EXPECT_EQ(rows("SELECT ID, TIMESTAMP, EVENT_ID, UPVOTED, LAST_SEEN FROM ChatMessageTable"),
            (std::vector<Row>{{"1", "10", "1", "1", "1700000000"},
                              {"2", "10", "1", "0", "1700000000"},
                              {"3", "11", "1", std::nullopt, "1700000000"},
                              {"4", "12", "2", "1", "1700000000"}}));

  EXPECT_EQ(messages(1), (IDSet{10, 11})) << "whatever the upvote value";
  EXPECT_EQ(messages(2), (IDSet{12}));
  EXPECT_EQ(messages(3), IDSet{});
}

TEST_F(DBTableChatUpvoteTest, AnUpvoteIsKeptForExactlySevenDaysAfterItsSave) {
  setNow(-604800);
  ASSERT_EQ(save(1, 1), true);
  setNow(-604801);
  ASSERT_EQ(save(2, 1), true);
  setNow(-604800.5);
  ASSERT_EQ(save(3, 1), true);
  setNow(0);
  ASSERT_EQ(save(4, 1), true);

  ASSERT_EQ(purge(), true);
  EXPECT_EQ(messages(1), (IDSet{1, 4}));
}

TEST_F(DBTableChatUpvoteTest, SaveWithoutMessageOrEventWritesNothingAndCallsNothing) {
  EXPECT_EQ(save(std::nullopt, 1), std::nullopt);
  EXPECT_EQ(save(1, std::nullopt), std::nullopt);
  EXPECT_EQ(rows("SELECT * FROM ChatMessageTable"), std::vector<Row>{});
}

TEST_F(DBTableChatUpvoteTest, StatementTexts) {
  EXPECT_EQ(DBTableChatUpvote::messageIDsForEventIDQuery(5),
            "SELECT TIMESTAMP FROM ChatMessageTable WHERE \"EVENT_ID\" = \"5\";");
  EXPECT_EQ(DBTableChatUpvote::deleteUpvotedMessagesStatement(kNowSeconds),
            "DELETE FROM ChatMessageTable WHERE (1700000000.000000 - LAST_SEEN) > 604800;");
}

}  // namespace
}  // namespace kestrel
