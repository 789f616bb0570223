#include <KestrelPlatform/Clock.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
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

TEST(ClockTest, NeverHandsOutANonFiniteTime) {
  // "nan" written into a statement breaks every time-based query after it.
  testing::LogCapture log;
  const double wallClock = Clock::systemNow();
  Clock::setFixed(1700000000.0);
  for (const double bad : {std::nan(""), std::numeric_limits<double>::infinity(),
                           -std::numeric_limits<double>::infinity()}) {
    Clock::setFixed(bad);
    EXPECT_EQ(Clock::now(), 1700000000.0) << "a non-finite fixed time is ignored";
  }
  EXPECT_EQ(log.countContaining("is not a finite time and was ignored"), 3u);

  // A source that goes bad is answered by the system clock, logged once.
  double next = 5.0;
  Clock::setSource([&next] { return next == 5.0 ? next++ : std::nan(""); });
  EXPECT_EQ(Clock::now(), 5.0);
  EXPECT_NEAR(Clock::now(), wallClock, 5.0);
  EXPECT_NEAR(Clock::now(), wallClock, 5.0);
  EXPECT_EQ(log.countContaining("which is not a finite time; the system clock is used instead"),
            1u);
  Clock::reset();
}

}  // namespace
}  // namespace kestrel::platform
