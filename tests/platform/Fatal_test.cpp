#include <KestrelPlatform/Fatal.h>

#include <KestrelPlatform/Log.h>

#include <gtest/gtest.h>

namespace kestrel::platform {
namespace {

TEST(FatalDeathTest, WritesTheReasonToStandardErrorAndAborts) {
  EXPECT_DEATH(fatal("queue %s re-entered from its own block", "kestrel.db"),
               "FATAL: queue kestrel\\.db re-entered from its own block");
}

TEST(FatalDeathTest, ReasonReachesStandardErrorEvenWithAReplacedSink) {
  EXPECT_DEATH(
      {
        setLogSink([](std::string_view) {});  // swallows every line
        fatal("missing object model %s", "KestrelDatabaseModel");
      },
      "FATAL: missing object model KestrelDatabaseModel");
}

}  // namespace
}  // namespace kestrel::platform
