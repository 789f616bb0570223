// The quick form of the race stress, run by the debug suite and under
// ThreadSanitizer, and the watchdog that turns a hang into a report.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <memory>
#include <string>

#include "reliability/races/RaceStress.h"
#include "reliability/races/Watchdog.h"
#include "support/TempDir.h"

namespace kestrel::reliability {
namespace {

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define KESTREL_UNDER_TSAN 1
#endif
#endif
#if defined(__SANITIZE_THREAD__)
#define KESTREL_UNDER_TSAN 1
#endif

#ifdef KESTREL_UNDER_TSAN
constexpr int kQuickOperations = 300;  // ThreadSanitizer runs several times slower
#else
constexpr int kQuickOperations = 500;
#endif

TEST(RaceStressTest, EightThreadsLoseNothingAndLeaveEveryCacheAsItsStore) {
  for (const std::uint64_t seed : {1u, 2u}) {
    const testing::TempDir home;
    RaceOptions options;
    options.home = home.path();
    options.seed = seed;
    options.operationsPerThread = kQuickOperations;
    const RaceReport report = runRaceStress(options);
    std::string faults;
    for (const std::string& line : report.faults) faults += "\n  " + line;
    EXPECT_TRUE(report.clean()) << report.summary(options) << faults;
    EXPECT_GT(report.acknowledged, 0u) << report.summary(options);
  }
}

TEST(WatchdogTest, AnOperationPastItsLimitIsReportedWithItsThreadAndName) {
  struct Seen {
    std::promise<std::string> hang;
  };
  auto seen = std::make_shared<Seen>();
  auto reported = seen->hang.get_future();
  {
    Watchdog watchdog(2, std::chrono::milliseconds(50),
                      [seen](int thread, const std::string& operation, std::chrono::milliseconds) {
                        seen->hang.set_value(std::to_string(thread) + " " + operation);
                      });
    watchdog.begin(0, "quick");
    watchdog.end(0);
    watchdog.begin(1, "followTeam 7");
    ASSERT_EQ(reported.wait_for(std::chrono::seconds(30)), std::future_status::ready);
    watchdog.end(1);
  }
  EXPECT_EQ(reported.get(), "1 followTeam 7");
}

}  // namespace
}  // namespace kestrel::reliability
