#include <KestrelPlatform/Fatal.h>

#include <KestrelPlatform/Log.h>

#include <gtest/gtest.h>

namespace kestrel::platform {
namespace {

TEST(FatalDeathTest, WritesTheReasonToStandardErrorEvenWithAReplacedSinkAndAborts) {
  EXPECT_DEATH(
      {
        setLogSink([](std::string_view) {});  // swallows every line
        fatal("queue %s re-entered from its own block", "kestrel.db");
      },
      "FATAL: queue kestrel\\.db re-entered from its own block");
}

}  // namespace
}  // namespace kestrel::platform
