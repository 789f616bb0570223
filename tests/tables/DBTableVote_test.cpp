#include <KestrelDatabase/tables/DBTableVote.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "tables/SmallTableFixture.h"

// Votes: save, posted flag and re-save; which votes are still to be sent (a
// strict future bound); the 90-day purge; and saves without their required
// arguments.
namespace kestrel {
namespace {

using testing::kNowSeconds;
using VoteMap = DBTableVote::VoteMap;

constexpr std::int64_t kDay = 86400;

class DBTableVoteTest : public testing::SmallTableTest {
 protected:
  std::optional<bool> save(std::optional<std::int64_t> vote, std::optional<std::int64_t> eventId,
                           std::optional<std::int64_t> timestamp) {
    return outcome<bool>(
        [&](auto done) { DBTableVote::saveVote(vote, eventId, timestamp, queue_, done); });
  }
  std::optional<bool> flag(std::int64_t eventId) {
    return outcome<bool>(
        [&](auto done) { DBTableVote::setVoteFlagForEventId(eventId, queue_, done); });
  }
  std::optional<bool> purge() {
    return outcome<bool>([&](auto done) { DBTableVote::deleteVotes(queue_, done); });
  }
  VoteMap votes() {
    return read<VoteMap>([&](auto done) { DBTableVote::getVotes(queue_, done); });
  }
  VoteMap unsent() {
    return read<VoteMap>([&](auto done) { DBTableVote::getUnsuccessfulVotes(queue_, done); });
  }
};

TEST_F(DBTableVoteTest, SaveFlagAndResaveMakeTheVoteUnpostedAgain) {
  const std::int64_t start = kNowSeconds + 3600;
  ASSERT_EQ(save(1, 100, start), true);
  EXPECT_EQ(votes(), (VoteMap{{100, 1}}));
  EXPECT_EQ(unsent(), (VoteMap{{100, 1}}));

  ASSERT_EQ(flag(100), true);
  EXPECT_EQ(rows("SELECT * FROM VoteTable"), (std::vector<Row>{{"100", "1", "1700003600", "1"}}));
  EXPECT_EQ(unsent(), VoteMap{});
  EXPECT_EQ(votes(), (VoteMap{{100, 1}})) << "posted votes are still votes";

  // A new vote for the same event replaces the row and must be sent again.
  ASSERT_EQ(save(2, 100, start), true);
  EXPECT_EQ(rows("SELECT * FROM VoteTable"), (std::vector<Row>{{"100", "2", "1700003600", "0"}}));
  EXPECT_EQ(unsent(), (VoteMap{{100, 2}}));

  EXPECT_EQ(flag(999), true) << "flagging an event without a vote changes nothing";
}

TEST_F(DBTableVoteTest, OnlyUnpostedVotesOfEventsStartingStrictlyAfterNowAreUnsent) {
  ASSERT_EQ(save(1, 1, kNowSeconds - 1), true);
  ASSERT_EQ(save(1, 2, kNowSeconds), true);  // starts this very second
  ASSERT_EQ(save(1, 3, kNowSeconds + 1), true);
  ASSERT_EQ(save(1, 4, kNowSeconds + 1), true);
  ASSERT_EQ(flag(4), true);
  ASSERT_EQ(save(1, 5, std::nullopt), true);  // no start: never sent
  EXPECT_EQ(unsent(), (VoteMap{{3, 1}}));

  // The bound is compared with the fraction of now.
  setNow(0.5);
  EXPECT_EQ(unsent(), (VoteMap{{3, 1}}));
  setNow(1);
  EXPECT_EQ(unsent(), VoteMap{});
  EXPECT_EQ(votes().size(), 5u);
}

TEST_F(DBTableVoteTest, PurgeKeepsNinetyDaysAfterTheStartWhateverTheFlag) {
  ASSERT_EQ(save(1, 89, kNowSeconds - 89 * kDay), true);
  ASSERT_EQ(save(1, 90, kNowSeconds - 90 * kDay), true);  // exactly 90 days: kept
  ASSERT_EQ(save(1, 91, kNowSeconds - 91 * kDay), true);
  ASSERT_EQ(save(1, 92, kNowSeconds - 91 * kDay), true);
  ASSERT_EQ(flag(92), true);
  ASSERT_EQ(save(1, 1, std::nullopt), true);
  ASSERT_EQ(save(1, 2, kNowSeconds + kDay), true);

  ASSERT_EQ(purge(), true);
  EXPECT_EQ(votes(), (VoteMap{{1, 1}, {2, 1}, {89, 1}, {90, 1}}));

  setNow(0.5);  // now half a second later, 90 days are past for event 90
  ASSERT_EQ(purge(), true);
  EXPECT_EQ(votes(), (VoteMap{{1, 1}, {2, 1}, {89, 1}}));
}

TEST_F(DBTableVoteTest, SaveWithoutVoteOrEventWritesNothingAndCallsNothing) {
  EXPECT_EQ(save(std::nullopt, 1, kNowSeconds + 60), std::nullopt);
  EXPECT_EQ(save(1, std::nullopt, kNowSeconds + 60), std::nullopt);
  EXPECT_EQ(save(std::nullopt, std::nullopt, std::nullopt), std::nullopt);
  EXPECT_EQ(votes(), VoteMap{});

  // The event's start is not required: it is stored as NULL.
  ASSERT_EQ(save(0, 7, std::nullopt), true);
  EXPECT_EQ(rows("SELECT * FROM VoteTable"), (std::vector<Row>{{"7", "0", std::nullopt, "0"}}));
}

TEST_F(DBTableVoteTest, AStoredNullVoteReadsAsAbsent) {
  exec(
      "INSERT INTO VoteTable (ID, VOTE, EVENT_TIMESTAMP, POST_FLAG) VALUES (3, NULL, 1800000000, "
      "0)");
  ASSERT_EQ(save(-1, 4294967298, kNowSeconds + 60), true);
  EXPECT_EQ(votes(), (VoteMap{{3, std::nullopt}, {4294967298, -1}}));
  EXPECT_EQ(unsent(), (VoteMap{{3, std::nullopt}, {4294967298, -1}}));
}

TEST_F(DBTableVoteTest, StatementTexts) {
  EXPECT_EQ(DBTableVote::unsuccessfulVotesQuery(1700000000.25),
            "SELECT * FROM VoteTable WHERE POST_FLAG = 0 AND EVENT_TIMESTAMP > 1700000000.250000");
  EXPECT_EQ(DBTableVote::deleteVotesStatement(1700000000.25),
            "DELETE FROM VoteTable WHERE (1700000000.250000 - EVENT_TIMESTAMP) > 7776000;");
}

}  // namespace
}  // namespace kestrel
