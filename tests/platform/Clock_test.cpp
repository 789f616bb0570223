#include <KestrelPlatform/Clock.h>

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>

namespace kestrel::platform {
namespace {

double wallClock() {
  using namespace std::chrono;
  return duration<double>(system_clock::now().time_since_epoch()).count();
}

class ClockTest : public ::testing::Test {
 protected:
  void TearDown() override { Clock::reset(); }
};

TEST_F(ClockTest, FixedTimeIsReturnedExactly) {
  Clock::setFixed(1700000000.25);
  EXPECT_EQ(Clock::now(), 1700000000.25);
  EXPECT_EQ(Clock::now(), 1700000000.25);
  Clock::setFixed(86400.0);
  EXPECT_EQ(Clock::now(), 86400.0);
  // The real clock stays reachable.
  EXPECT_NEAR(Clock::systemNow(), wallClock(), 5.0);
}

TEST_F(ClockTest, SourceIsAskedOnEveryRead) {
  double next = 100.0;
  Clock::setSource([&next] { return next += 1.0; });
  EXPECT_EQ(Clock::now(), 101.0);
  EXPECT_EQ(Clock::now(), 102.0);
}

TEST_F(ClockTest, LatestOfFixedAndSourceWins) {
  Clock::setSource([] { return 5.0; });
  Clock::setFixed(7.0);
  EXPECT_EQ(Clock::now(), 7.0);
  Clock::setSource([] { return 9.0; });
  EXPECT_EQ(Clock::now(), 9.0);
}

TEST_F(ClockTest, ResetAndEmptySourceReturnToTheSystemClock) {
  Clock::setFixed(1.0);
  Clock::reset();
  EXPECT_NEAR(Clock::now(), wallClock(), 5.0);
  Clock::setSource([] { return 3.0; });
  Clock::setSource({});
  EXPECT_NEAR(Clock::now(), wallClock(), 5.0);
}

}  // namespace
}  // namespace kestrel::platform
