#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "tables/SmallTableFixture.h"

// Reported chat messages: one row per message (a second report replaces the
// first), saves without their required arguments, the purge's text. (IDs
// across 64 bits and the ten-day bound are walked by StorageManagerModelTest.)
namespace kestrel {
namespace {

using testing::kNowSeconds;

class DBTableChatReportTest : public testing::SmallTableTest {
 protected:
  std::optional<bool> save(std::optional<std::int64_t> message, std::optional<std::int64_t> event,
                           std::optional<std::int64_t> choice) {
    return outcome<bool>([&](auto done) {
      DBTableChatReport::saveReportedMessage(message, event, choice, queue_, done);
    });
  }
  IDSet reported() {
    return read<IDSet>(
        [&](auto done) { DBTableChatReport::getReportedMessageIDs(queue_, done); });
  }
};

TEST_F(DBTableChatReportTest, ASecondReportReplacesTimeAndChoice) {
  ASSERT_EQ(save(10, 1, 2), true);
  setNow(60);
  ASSERT_EQ(save(10, 1, 3), true);
  EXPECT_EQ(rows("SELECT * FROM ChatReportTable"),
            (std::vector<Row>{{"10", "1700000060", "1", "3"}}));
}

TEST_F(DBTableChatReportTest, SaveWithoutMessageEventOrChoiceWritesNothingAndCallsNothing) {
  EXPECT_EQ(save(std::nullopt, 1, 1), std::nullopt);
  EXPECT_EQ(save(1, std::nullopt, 1), std::nullopt);
  EXPECT_EQ(save(1, 1, std::nullopt), std::nullopt);
  EXPECT_EQ(reported(), IDSet{});
}

TEST_F(DBTableChatReportTest, PurgeStatementText) {
  EXPECT_EQ(DBTableChatReport::deleteReportedMessagesStatement(kNowSeconds),
            "DELETE FROM ChatReportTable WHERE (1700000000.000000 - TIMESTAMP) > 864000;");
}

}  // namespace
}  // namespace kestrel
