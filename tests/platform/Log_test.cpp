#include <KestrelPlatform/Log.h>

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace kestrel::platform {
namespace {

TEST(LogTest, SinkGetsWholeFormattedLinesAndEmptySinkMeansStandardError) {
  std::vector<std::string> lines;
  LogSink original = setLogSink([&](std::string_view line) { lines.emplace_back(line); });
  const std::string query(3000, 'q');
  log("DB Error: %d \"%s\"", 1, "near \"SELEC\": syntax error");
  log("DB Query: %s", query.c_str());
  LogSink previous = setLogSink({});  // hands back the sink it replaces
  ::testing::internal::CaptureStderr();
  log("error closing!: %d", 5);
  const std::string written = ::testing::internal::GetCapturedStderr();
  setLogSink(std::move(previous));
  log("three");
  setLogSink(std::move(original));
  EXPECT_EQ(lines, (std::vector<std::string>{"DB Error: 1 \"near \"SELEC\": syntax error\"",
                                             "DB Query: " + query, "three"}));
  EXPECT_EQ(written, "error closing!: 5\n");
}

}  // namespace
}  // namespace kestrel::platform
