#include <KestrelPlatform/Clock.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <iterator>
#include <limits>

namespace kestrel::platform {
namespace {

TEST(ClockTest, LatestOfFixedTimeAndSourceWinsUntilReset) {
  using namespace std::chrono;
  const double wallClock = duration<double>(system_clock::now().time_since_epoch()).count();
  Clock::setFixed(1700000000.25);
  EXPECT_EQ(Clock::now(), 1700000000.25);
  EXPECT_NEAR(Clock::systemNow(), wallClock, 5.0);  // the real clock stays reachable
  double next = 100.0;
  Clock::setSource([&next] { return next += 1.0; });  // asked on every read
  EXPECT_EQ(Clock::now(), 101.0);
  EXPECT_EQ(Clock::now(), 102.0);
  Clock::setFixed(7.0);
  EXPECT_EQ(Clock::now(), 7.0);
  Clock::reset();
  EXPECT_NEAR(Clock::now(), wallClock, 5.0);
  Clock::setSource([] { return 3.0; });
  Clock::setSource({});
  EXPECT_NEAR(Clock::now(), wallClock, 5.0);
}

TEST(ClockTest, RefusesAFixedTimeItCannotHandOutAndKeepsTheOneItHad) {
  // NaN or an infinity written into a statement breaks every time-based
  // query after it; beyond +-9e18 s the windows the layer adds and subtracts
  // leave the 64-bit range of whole seconds.
  testing::LogCapture log;
  const double inf = std::numeric_limits<double>::infinity();
  ASSERT_TRUE(Clock::setFixed(1700000000.0));
  const double refused[] = {std::nan(""),
                            inf,
                            -inf,
                            1e300,
                            -1e300,
                            1e19,
                            -1e19,
                            9223372036854775807.0,
                            -9223372036854775808.0,
                            std::nextafter(Clock::kLatest, inf),
                            std::nextafter(Clock::kEarliest, -inf)};
  for (const double bad : refused) {
    EXPECT_FALSE(Clock::setFixed(bad)) << bad;
    EXPECT_EQ(Clock::now(), 1700000000.0) << bad;
  }
  EXPECT_EQ(log.countContaining("and was ignored"), std::size(refused));
  EXPECT_EQ(log.lines().size(), std::size(refused));
  EXPECT_EQ(log.countContaining("Clock: a fixed time of 1e+300 is not a time between "
                                "-9000000000000000000 and 9000000000000000000 and was ignored"),
            1u);

  // The ends themselves are times, as is every whole second of the windows
  // around them.
  for (const double edge : {Clock::kLatest, Clock::kEarliest, -0.0, 0.5}) {
    EXPECT_TRUE(Clock::setFixed(edge)) << edge;
    EXPECT_EQ(Clock::now(), edge);
  }
  EXPECT_EQ(log.lines().size(), std::size(refused));
  EXPECT_LT(Clock::kLatest + 4838400.0, 9223372036854775807.0);
  EXPECT_GT(Clock::kEarliest - 7776000.0, -9223372036854775808.0);
  Clock::reset();
}

TEST(ClockTest, ASourceThatGivesATimeItCannotHandOutIsAnsweredByTheSystemClock) {
  testing::LogCapture log;
  const double wallClock = Clock::systemNow();
  for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity(), -1e19}) {
    double next = 5.0;
    Clock::setSource([&next, bad] { return next == 5.0 ? next++ : bad; });
    EXPECT_EQ(Clock::now(), 5.0);
    EXPECT_NEAR(Clock::now(), wallClock, 5.0);
    EXPECT_NEAR(Clock::now(), wallClock, 5.0);
  }
  // Logged once per installed source.
  EXPECT_EQ(log.countContaining("; the system clock is used instead"), 3u);
  EXPECT_EQ(log.lines().size(), 3u);
  Clock::setSource([] { return Clock::kEarliest; });
  EXPECT_EQ(Clock::now(), Clock::kEarliest);
  EXPECT_EQ(log.lines().size(), 3u);
  Clock::reset();
}

}  // namespace
}  // namespace kestrel::platform
