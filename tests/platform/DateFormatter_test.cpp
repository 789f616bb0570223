#include <KestrelPlatform/DateFormatter.h>

#include <KestrelPlatform/Clock.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

namespace kestrel::platform {
namespace {

using namespace std::chrono;
using TimePoint = DateFormatter::TimePoint;

TimePoint at(year_month_day date, hours h = hours{0}, minutes m = minutes{0},
             seconds s = seconds{0}, milliseconds ms = milliseconds{0}) {
  return sys_days{date} + h + m + s + ms;
}

// 2024-02-29 13:05:09.123 GMT, a Thursday in a leap year.
const TimePoint kLeapDay = at(2024y / February / 29, 13h, 5min, 9s, 123ms);

TEST(DateFormatterTest, FormatsInGmtWithEnglishNames) {
  EXPECT_EQ(DateFormatter("EEE, dd MMM yyyy HH:mm:ss Z").stringFromDate(kLeapDay),
            "Thu, 29 Feb 2024 13:05:09 +0000");
  EXPECT_EQ(DateFormatter("EEEE d MMMM yy 'o''clock' ZZZZZ").stringFromDate(kLeapDay),
            "Thursday 29 February 24 o'clock Z");
  const DateFormatter twelveHour("hh:mm a|K|k");
  EXPECT_EQ(twelveHour.stringFromDate(at(2024y / January / 1, 0h, 30min)), "12:30 AM|0|24");
  EXPECT_EQ(twelveHour.stringFromDate(at(2024y / January / 1, 12h, 30min)), "12:30 PM|0|12");
  EXPECT_EQ(DateFormatter("yyyy-MM-dd HH:mm:ss.SSS EEE").stringFromDate(TimePoint{} - 1ms),
            "1969-12-31 23:59:59.999 Wed");
}

TEST(DateFormatterTest, ParsingGivesBackTheFormattedInstant) {
  const TimePoint instants[] = {kLeapDay, TimePoint{} - milliseconds{1},
                                at(2100y / March / 1, 12h)};
  for (const char* pattern : {"yyyy-MM-dd HH:mm:ss.SSS", "EEE, dd MMM yyyy hh:mm:ss.SSS a Z",
                              "EEEE, MMMM d, yyyy 'at' h:mm:ss.SSS a ZZZZ"}) {
    const DateFormatter formatter(pattern);
    for (const TimePoint instant : instants) {
      const std::string text = formatter.stringFromDate(instant);
      EXPECT_EQ(formatter.dateFromString(text), instant) << pattern << " / " << text;
    }
  }
  // Missing fields default to the start of 1970; names match without regard to case.
  EXPECT_EQ(DateFormatter("HH:mm").dateFromString("10:30"), at(1970y / January / 1, 10h, 30min));
  EXPECT_EQ(DateFormatter("EEE dd MMM yyyy hh a").dateFromString("thu 29 FEB 2024 01 pm"),
            at(2024y / February / 29, 13h));
}

TEST(DateFormatterTest, GmtWhateverTheProcessTimeZoneAndParsedOffsetsHonoured) {
  const std::string saved = std::getenv("TZ") ? std::getenv("TZ") : "";
  ::setenv("TZ", "Asia/Kolkata", 1);
  ::tzset();
  const DateFormatter formatter("yyyy-MM-dd HH:mm:ss Z");
  const TimePoint expected = at(2024y / February / 29, 13h, 5min, 9s);
  EXPECT_EQ(formatter.stringFromDate(expected), "2024-02-29 13:05:09 +0000");
  EXPECT_EQ(formatter.dateFromString("2024-02-29 13:05:09 +0000"), expected);
  EXPECT_EQ(formatter.dateFromString("2024-02-29 14:35:09 +0130"), expected);
  EXPECT_EQ(DateFormatter("yyyy-MM-dd'T'HH:mm:ssZZZZZ").dateFromString("2024-02-29T08:05:09-05:00"),
            expected);
  EXPECT_EQ(
      DateFormatter("yyyy-MM-dd HH:mm:ss ZZZZ").dateFromString("2024-02-29 15:05:09 GMT+02:00"),
      expected);
  saved.empty() ? ::unsetenv("TZ") : ::setenv("TZ", saved.c_str(), 1);
  ::tzset();
}

TEST(DateFormatterTest, TwoDigitYearsFallInTheCenturyStarting80YearsAgo) {
  Clock::setFixed(duration<double>(sys_days{2024y / June / 1}.time_since_epoch()).count());
  const DateFormatter formatter("dd/MM/yy");
  EXPECT_EQ(formatter.dateFromString("01/01/43"), at(2043y / January / 1));
  EXPECT_EQ(formatter.dateFromString("01/01/44"), at(1944y / January / 1));
  Clock::reset();
}

TEST(DateFormatterTest, InvalidTextGivesNoDate) {
  const DateFormatter formatter("yyyy-MM-dd HH:mm:ss");
  for (const char* text :
       {"", "2023-02-29 10:00:00", "2024-13-01 10:00:00", "2024-01-01 24:00:00",
        "2024-1-01 10:00:00", "2024-01-01 10:00:00 ", "2024-01-01 10:00", "2024/01/01 10:00:00"}) {
    EXPECT_EQ(formatter.dateFromString(text), std::nullopt) << text;
  }
  EXPECT_EQ(DateFormatter("EEE dd MMM yyyy").dateFromString("Fri 29 Feb 2024"), std::nullopt)
      << "weekday disagrees with the date";
  EXPECT_EQ(DateFormatter("h a").dateFromString("13 PM"), std::nullopt);
}

}  // namespace
}  // namespace kestrel::platform
