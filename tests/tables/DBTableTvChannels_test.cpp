#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>

#include "tables/SmallTableFixture.h"

// TV channel contributions: every save adds a row and the read maps them into
// a set; a suggestion without its event or channel is not saved; retention
// seven days after the event's start.
namespace kestrel {
namespace {

using model::TVChannelSuggestion;
using testing::kNowSeconds;
using Suggestions = DBTableTvChannels::SuggestionSet;

class DBTableTvChannelsTest : public testing::SmallTableTest {
 protected:
  std::optional<bool> save(const std::optional<TVChannelSuggestion>& suggestion) {
    return outcome<bool>(
        [&](auto done) { DBTableTvChannels::saveTvChannelSuggestion(suggestion, queue_, done); });
  }
  Suggestions suggestions() {
    return read<Suggestions>(
        [&](auto done) { DBTableTvChannels::getTvChannelTvChannelSuggestions(queue_, done); });
  }
  static TVChannelSuggestion suggestion(std::int64_t channel, std::int64_t event,
                                        std::optional<std::int64_t> start, bool approve) {
    return TVChannelSuggestion{
        .channelId = channel, .eventId = event, .startTimestamp = start, .approve = approve};
  }
};

TEST_F(DBTableTvChannelsTest, EverySaveAddsARowAndTheSetMapsEveryField) {
  const auto yes = suggestion(3, 100, kNowSeconds, true);
  const auto no = suggestion(4, 100, std::nullopt, false);
  ASSERT_EQ(save(yes), true);
  ASSERT_EQ(save(yes), true);
  ASSERT_EQ(save(no), true);
  EXPECT_EQ(rows("SELECT * FROM TvChannelContributedTable"),
            (std::vector<Row>{{"1", "3", "100", "1700000000", "1"},
                              {"2", "3", "100", "1700000000", "1"},
                              {"3", "4", "100", std::nullopt, "0"}}));
  EXPECT_EQ(suggestions(), (Suggestions{yes, no}));
}

TEST_F(DBTableTvChannelsTest, ASuggestionWithoutEventOrChannelIsNotSaved) {
  EXPECT_EQ(save(std::nullopt), std::nullopt);
  EXPECT_EQ(save(TVChannelSuggestion{.eventId = 100, .startTimestamp = kNowSeconds}), std::nullopt);
  EXPECT_EQ(save(TVChannelSuggestion{.channelId = 3, .approve = true}), std::nullopt);
  EXPECT_EQ(suggestions(), Suggestions{});
}

TEST_F(DBTableTvChannelsTest, AContributionIsKeptUntilSevenDaysAfterItsEventsStart) {
  const auto kept = suggestion(1, 1, kNowSeconds - 604800, true);
  const auto gone = suggestion(2, 2, kNowSeconds - 604801, true);
  const auto future = suggestion(3, 3, kNowSeconds + 604801, false);
  const auto noStart = suggestion(4, 4, std::nullopt, false);
  for (const auto& s : {kept, gone, future, noStart}) ASSERT_EQ(save(s), true);

  EXPECT_EQ(outcome<bool>([&](auto done) {
              DBTableTvChannels::deleteTvChannelTvChannelSuggestions(queue_, done);
            }),
            true);
  EXPECT_EQ(suggestions(), (Suggestions{kept, future, noStart}));
}

TEST_F(DBTableTvChannelsTest, PurgeStatementText) {
  EXPECT_EQ(DBTableTvChannels::deleteTvChannelTvChannelSuggestionsStatement(kNowSeconds),
            "DELETE FROM TvChannelContributedTable WHERE (1700000000.000000 - EVENT_TIMESTAMP) > "
            "604800;");
}

}  // namespace
}  // namespace kestrel
