#include <KestrelDatabase/tables/DBTableScheduledChannels.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tables/SmallTableFixture.h"

// Scheduled channels: one row per channel and country under the text key,
// the single-quoted deletes (a quote in the code is refused, a column's name
// is only text), and the 32-bit channel read.
namespace kestrel {
namespace {

using model::TVScheduleChannelCountry;
using Channels = std::vector<TVScheduleChannelCountry>;
using Scheduled = DBTableScheduledChannels;

class DBTableScheduledChannelsTest : public testing::SmallTableTest {
 protected:
  std::optional<bool> save(const std::optional<TVScheduleChannelCountry>& channel) {
    return outcome<bool>(
        [&](auto done) { Scheduled::saveTvChannelCountry(channel, queue_, done); });
  }
  std::optional<bool> deleteCountry(const std::string& code) {
    return outcome<bool>(
        [&](auto done) { Scheduled::deleteChannelsWithCountryCode(code, queue_, done); });
  }
  std::optional<bool> deleteChannel(std::int64_t channel, const std::string& code) {
    return outcome<bool>(
        [&](auto done) { Scheduled::deleteChannelWithId(channel, code, queue_, done); });
  }
  Channels channels() {
    return read<Channels>([&](auto done) { Scheduled::getTvChannelCountryList(queue_, done); });
  }
  std::vector<Row> keys() { return rows("SELECT KEY FROM ScheduledChannelsTable ORDER BY KEY"); }
};

TEST_F(DBTableScheduledChannelsTest, OneRowPerChannelAndCountryUnderTheTextKey) {
  ASSERT_EQ(save(TVScheduleChannelCountry(123, "Das Erste", "DE")), true);
  ASSERT_EQ(save(TVScheduleChannelCountry(123, "ORF 1", "AT")), true);
  ASSERT_EQ(save(TVScheduleChannelCountry(123, "ARD", "DE")), true);  // replaces the name
  ASSERT_EQ(save(TVScheduleChannelCountry(7, std::nullopt, "DE")), true);

  EXPECT_EQ(rows("SELECT * FROM ScheduledChannelsTable ORDER BY KEY"),
            (std::vector<Row>{{"123, AT", "123", "AT", "ORF 1"},
                              {"123, DE", "123", "DE", "ARD"},
                              {"7, DE", "7", "DE", std::nullopt}}));
  EXPECT_EQ(channels(), (Channels{TVScheduleChannelCountry(123, "ORF 1", "AT"),
                                  TVScheduleChannelCountry(123, "ARD", "DE"),
                                  TVScheduleChannelCountry(7, std::nullopt, "DE")}))
      << "in row order: a replaced row is a new row";

  EXPECT_EQ(save(std::nullopt), std::nullopt);
  EXPECT_EQ(keys().size(), 3u);
}

TEST_F(DBTableScheduledChannelsTest, DeletesByCountryOrByChannelAndCountry) {
  const std::pair<std::int64_t, const char*> stored[] = {
      {1, "DE"}, {2, "DE"}, {1, "AT"}, {3, "FR"}};
  for (const auto& [channel, code] : stored) {
    ASSERT_EQ(save(TVScheduleChannelCountry(channel, "name", code)), true);
  }
  // The quoted channel ID still matches the INTEGER column.
  EXPECT_EQ(deleteChannel(1, "DE"), true);
  EXPECT_EQ(keys(), (std::vector<Row>{{"1, AT"}, {"2, DE"}, {"3, FR"}}));
  EXPECT_EQ(deleteChannel(3, "DE"), true) << "nothing matched, still a success";

  EXPECT_EQ(deleteCountry("DE"), true);
  EXPECT_EQ(keys(), (std::vector<Row>{{"1, AT"}, {"3, FR"}}));

  // Between single quotes a column's name is plain text and matches no row.
  EXPECT_EQ(deleteCountry("COUNTRY_CODE"), true);
  EXPECT_EQ(deleteChannel(1, "COUNTRY_CODE"), true);
  EXPECT_EQ(keys().size(), 2u);
}

TEST_F(DBTableScheduledChannelsTest, AQuoteInACountryCodeFailsTheDeleteAndDeletesNothing) {
  ASSERT_EQ(save(TVScheduleChannelCountry(1, "name", "DE")), true);
  logs_.clear();
  EXPECT_EQ(deleteCountry("DE' OR '1' = '1"), false);
  EXPECT_EQ(deleteChannel(1, "x' OR 'a' = 'a"), false);
  EXPECT_EQ(logs_.count("ERROR: write to ScheduledChannelsTable refused: the value of "
                        "COUNTRY_CODE holds a single quote"),
            2u);
  EXPECT_EQ(keys(), (std::vector<Row>{{"1, DE"}}));

  // A save stores quotes of either kind as they are.
  ASSERT_EQ(save(TVScheduleChannelCountry(2, "O'Brien TV", "IE")), true);
  EXPECT_EQ(save(TVScheduleChannelCountry(3, "\"Sky\"", "IE")), true);
  EXPECT_EQ(channels(), (Channels{TVScheduleChannelCountry(1, "name", "DE"),
                                  TVScheduleChannelCountry(2, "O'Brien TV", "IE"),
                                  TVScheduleChannelCountry(3, "\"Sky\"", "IE")}));
}

TEST_F(DBTableScheduledChannelsTest, ChannelIDsReadBackWholeAcrossThe64BitRange) {
  const std::int64_t max = std::numeric_limits<std::int64_t>::max();
  ASSERT_EQ(save(TVScheduleChannelCountry(4294967298, "wide", "DE")), true);
  ASSERT_EQ(save(TVScheduleChannelCountry(max, "max", "AT")), true);
  EXPECT_EQ(keys(), (std::vector<Row>{{"4294967298, DE"}, {std::to_string(max) + ", AT"}}));
  EXPECT_EQ(channels(), (Channels{TVScheduleChannelCountry(4294967298, "wide", "DE"),
                                  TVScheduleChannelCountry(max, "max", "AT")}));
}

TEST_F(DBTableScheduledChannelsTest, StatementTexts) {
  EXPECT_EQ(Scheduled::keyOf(TVScheduleChannelCountry(123, "x", "DE")), "123, DE");
  EXPECT_EQ(Scheduled::deleteChannelsWithCountryCodeStatement("DE")->text(),
            "DELETE FROM ScheduledChannelsTable WHERE COUNTRY_CODE = 'DE';");
  EXPECT_EQ(Scheduled::deleteChannelWithIdStatement(123, "DE")->text(),
            "DELETE FROM ScheduledChannelsTable WHERE CHANNEL_ID='123' AND COUNTRY_CODE='DE';");
  EXPECT_FALSE(Scheduled::deleteChannelsWithCountryCodeStatement("D'E").has_value());
}

}  // namespace
}  // namespace kestrel
