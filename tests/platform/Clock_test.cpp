#include <KestrelPlatform/Clock.h>

#include <gtest/gtest.h>

#include <chrono>

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

}  // namespace
}  // namespace kestrel::platform
