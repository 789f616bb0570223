#include <KestrelPlatform/DateFormatter.h>

#include <KestrelPlatform/Clock.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
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

class DateFormatterTest : public ::testing::Test {
 protected:
  void TearDown() override { Clock::reset(); }
};

TEST_F(DateFormatterTest, FormatsEveryFieldInGmtWithEnglishNames) {
  const struct {
    const char* pattern;
    const char* text;
  } cases[] = {
      {"yyyy-MM-dd HH:mm:ss.SSS", "2024-02-29 13:05:09.123"},
      {"EEE, dd MMM yyyy HH:mm:ss Z", "Thu, 29 Feb 2024 13:05:09 +0000"},
      {"EEEE d MMMM yy", "Thursday 29 February 24"},
      {"yyyy-MM-dd'T'HH:mm:ssZZZZZ", "2024-02-29T13:05:09Z"},
      {"h:mm a", "1:05 PM"},
      {"hh 'o''clock' K k ZZZZ", "01 o'clock 1 13 GMT"},
      {"M/d/y S SSSSSS", "2/29/2024 1 123000"},
      {"'yyyy' yyyy", "yyyy 2024"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(DateFormatter(c.pattern).stringFromDate(kLeapDay), c.text) << c.pattern;
  }
}

TEST_F(DateFormatterTest, TwelveHourClockAroundMidnightAndNoon) {
  const DateFormatter formatter("hh:mm a|K|k");
  EXPECT_EQ(formatter.stringFromDate(at(2024y / January / 1, 0h, 30min)), "12:30 AM|0|24");
  EXPECT_EQ(formatter.stringFromDate(at(2024y / January / 1, 12h, 30min)), "12:30 PM|0|12");
  EXPECT_EQ(formatter.stringFromDate(at(2024y / January / 1, 23h, 59min)), "11:59 PM|11|23");
}

TEST_F(DateFormatterTest, FormatsInstantsBefore1970) {
  const DateFormatter formatter("yyyy-MM-dd HH:mm:ss.SSS EEE");
  const TimePoint lastMilliOf1969 = TimePoint{} - milliseconds{1};
  EXPECT_EQ(formatter.stringFromDate(lastMilliOf1969), "1969-12-31 23:59:59.999 Wed");
  EXPECT_EQ(formatter.stringFromDate(TimePoint{}), "1970-01-01 00:00:00.000 Thu");
}

TEST_F(DateFormatterTest, ParsingGivesBackTheFormattedInstant) {
  const TimePoint instants[] = {
      kLeapDay,
      TimePoint{},
      TimePoint{} - milliseconds{1},
      at(1999y / December / 31, 23h, 59min, 59s, 999ms),
      at(2038y / January / 19, 3h, 14min, 8s),
      at(2100y / March / 1, 12h),
  };
  for (const char* pattern :
       {"yyyy-MM-dd HH:mm:ss.SSS", "EEE, dd MMM yyyy hh:mm:ss.SSS a Z", "yyyyMMddHHmmssSSS",
        "EEEE, MMMM d, yyyy 'at' h:mm:ss.SSS a ZZZZ", "yyyy-MM-dd'T'HH:mm:ss.SSSZZZZZ"}) {
    const DateFormatter formatter(pattern);
    EXPECT_EQ(formatter.pattern(), pattern);
    for (const TimePoint instant : instants) {
      const std::string text = formatter.stringFromDate(instant);
      EXPECT_EQ(formatter.dateFromString(text), instant) << pattern << " / " << text;
    }
  }
}

TEST_F(DateFormatterTest, ParsesTheCommonStoredForm) {
  const DateFormatter formatter("yyyy-MM-dd HH:mm:ss");
  EXPECT_EQ(formatter.dateFromString("2024-02-29 13:05:09"),
            at(2024y / February / 29, 13h, 5min, 9s));
  // Missing fields default to the start of 1970.
  EXPECT_EQ(DateFormatter("HH:mm").dateFromString("10:30"), at(1970y / January / 1, 10h, 30min));
  EXPECT_EQ(DateFormatter("").dateFromString(""), TimePoint{});
}

TEST_F(DateFormatterTest, GmtWhateverTheProcessTimeZone) {
  const char* saved = std::getenv("TZ");
  const std::optional<std::string> previous =
      saved ? std::optional<std::string>(saved) : std::nullopt;
  const DateFormatter formatter("yyyy-MM-dd HH:mm:ss Z");
  for (const char* zone : {"America/New_York", "Asia/Kolkata", "UTC"}) {
    ::setenv("TZ", zone, 1);
    ::tzset();
    EXPECT_EQ(formatter.stringFromDate(kLeapDay - 123ms), "2024-02-29 13:05:09 +0000") << zone;
    EXPECT_EQ(formatter.dateFromString("2024-02-29 13:05:09 +0000"), kLeapDay - 123ms) << zone;
  }
  if (previous) {
    ::setenv("TZ", previous->c_str(), 1);
  } else {
    ::unsetenv("TZ");
  }
  ::tzset();
}

TEST_F(DateFormatterTest, ParsedOffsetsAreHonoured) {
  const TimePoint expected = at(2024y / February / 29, 13h, 5min, 9s);
  EXPECT_EQ(DateFormatter("yyyy-MM-dd HH:mm:ss Z").dateFromString("2024-02-29 14:35:09 +0130"),
            expected);
  EXPECT_EQ(DateFormatter("yyyy-MM-dd'T'HH:mm:ssZZZZZ").dateFromString("2024-02-29T08:05:09-05:00"),
            expected);
  EXPECT_EQ(
      DateFormatter("yyyy-MM-dd HH:mm:ss ZZZZ").dateFromString("2024-02-29 15:05:09 GMT+02:00"),
      expected);
  EXPECT_EQ(DateFormatter("yyyy-MM-dd HH:mm:ss ZZZZ").dateFromString("2024-02-29 13:05:09 GMT"),
            expected);
}

TEST_F(DateFormatterTest, NamesMatchWithoutRegardToCase) {
  const DateFormatter formatter("EEE dd MMM yyyy hh a");
  EXPECT_EQ(formatter.dateFromString("thu 29 FEB 2024 01 pm"), at(2024y / February / 29, 13h));
  EXPECT_EQ(DateFormatter("h:mm a").dateFromString("12:30 AM"), at(1970y / January / 1, 0h, 30min));
  EXPECT_EQ(DateFormatter("h:mm a").dateFromString("12:30 PM"),
            at(1970y / January / 1, 12h, 30min));
}

TEST_F(DateFormatterTest, TwoDigitYearsFallInTheCenturyStarting80YearsAgo) {
  Clock::setFixed(duration<double>(sys_days{2024y / June / 1}.time_since_epoch()).count());
  const DateFormatter formatter("dd/MM/yy");
  EXPECT_EQ(formatter.dateFromString("01/01/24"), at(2024y / January / 1));
  EXPECT_EQ(formatter.dateFromString("01/01/43"), at(2043y / January / 1));
  EXPECT_EQ(formatter.dateFromString("01/01/44"), at(1944y / January / 1));
  EXPECT_EQ(formatter.dateFromString("01/01/99"), at(1999y / January / 1));
  EXPECT_EQ(formatter.dateFromString("01/01/2024"), std::nullopt);
}

TEST_F(DateFormatterTest, InvalidTextGivesNoDate) {
  const DateFormatter formatter("yyyy-MM-dd HH:mm:ss");
  for (const char* text : {
           "",
           "2024-02-30 10:00:00",   // no such day
           "2023-02-29 10:00:00",   // not a leap year
           "2024-13-01 10:00:00",   // no such month
           "2024-00-10 10:00:00",   //
           "2024-01-01 24:00:00",   // HH stops at 23
           "2024-01-01 10:60:00",   //
           "2024-01-01 10:00:60",   //
           "2024-1-01 10:00:00",    // MM needs two digits
           "2024-01-01 10:00:00 ",  // trailing text
           "2024-01-01 10:00",      // text ends early
           "2024/01/01 10:00:00",   // wrong literal
           "2024-01-01T10:00:00",   //
           "2024-0a-01 10:00:00",   //
           "+2024-01-01 10:00:00",  //
       }) {
    EXPECT_EQ(formatter.dateFromString(text), std::nullopt) << text;
  }
  EXPECT_EQ(DateFormatter("EEE dd MMM yyyy").dateFromString("Fri 29 Feb 2024"), std::nullopt)
      << "weekday disagrees with the date";
  EXPECT_EQ(DateFormatter("dd MMM yyyy").dateFromString("29 Fev 2024"), std::nullopt);
  EXPECT_EQ(DateFormatter("h a").dateFromString("13 PM"), std::nullopt);
  EXPECT_EQ(DateFormatter("HH:mm Z").dateFromString("10:00 +01"), std::nullopt);
  EXPECT_EQ(DateFormatter("HH:mm ZZZZZ").dateFromString("10:00 +0100"), std::nullopt);
}

}  // namespace
}  // namespace kestrel::platform
