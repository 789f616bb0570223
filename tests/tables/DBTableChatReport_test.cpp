#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "tables/SmallTableFixture.h"

// Reported chat messages: one row per message (a second report replaces the
// first), the ten-day retention, IDs of every event, and saves without their
// required arguments.
namespace kestrel {
namespace {

using testing::kNowSeconds;

constexpr double kDay = 86400;

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

TEST_F(DBTableChatReportTest, ReportedIDsOfEveryEventWithAll64Bits) {
  const std::int64_t millis = 1'700'000'000'123;
  ASSERT_EQ(save(millis, 1, 1), true);
  ASSERT_EQ(save(7, 2, 1), true);
  ASSERT_EQ(save(-3, 3, 1), true);
  EXPECT_EQ(reported(), (IDSet{-3, 7, millis}));
}

TEST_F(DBTableChatReportTest, AReportIsKeptForTenDays) {
  setNow(-9 * kDay);
  ASSERT_EQ(save(9, 1, 1), true);
  setNow(-10 * kDay);
  ASSERT_EQ(save(10, 1, 1), true);  // exactly ten days: kept
  setNow(-11 * kDay);
  ASSERT_EQ(save(11, 1, 1), true);
  setNow(0);
  EXPECT_EQ(
      outcome<bool>([&](auto done) { DBTableChatReport::deleteReportedMessages(queue_, done); }),
      true);
  EXPECT_EQ(reported(), (IDSet{9, 10}));
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
