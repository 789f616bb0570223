#include <KestrelPlatform/Log.h>

#include <gtest/gtest.h>

#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "support/LogCapture.h"

namespace kestrel::platform {
namespace {

using kestrel::testing::LogCapture;

TEST(LogTest, SinkReceivesEachFormattedLineWithoutNewline) {
  LogCapture capture;
  log("DB Error: %d \"%s\"", 1, "near \"SELEC\": syntax error");
  log("DB Query: %s", "SELEC 1");
  EXPECT_EQ(capture.lines(),
            (std::vector<std::string>{"DB Error: 1 \"near \"SELEC\": syntax error\"",
                                      "DB Query: SELEC 1"}));
}

TEST(LogTest, LongLinesAreNotCut) {
  LogCapture capture;
  const std::string query(3000, 'q');
  log("DB Query: %s", query.c_str());
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.lines()[0], "DB Query: " + query);
}

TEST(LogTest, ReplacingTheSinkReturnsThePreviousOne) {
  std::vector<std::string> first;
  std::vector<std::string> second;
  LogSink original = setLogSink([&](std::string_view line) { first.emplace_back(line); });
  log("one");
  LogSink previous = setLogSink([&](std::string_view line) { second.emplace_back(line); });
  log("two");
  setLogSink(std::move(previous));
  log("three");
  setLogSink(std::move(original));

  EXPECT_EQ(first, (std::vector<std::string>{"one", "three"}));
  EXPECT_EQ(second, (std::vector<std::string>{"two"}));
}

TEST(LogTest, DefaultSinkWritesLinesToStandardError) {
  LogSink saved = setLogSink({});
  ::testing::internal::CaptureStderr();
  log("Closing leaked statement");
  log("error closing!: %d", 5);
  const std::string written = ::testing::internal::GetCapturedStderr();
  setLogSink(std::move(saved));
  EXPECT_EQ(written, "Closing leaked statement\nerror closing!: 5\n");
}

TEST(LogTest, LinesFromManyThreadsArriveWhole) {
  LogCapture capture;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([t] {
      for (int i = 0; i < 200; ++i) log("thread %d line %d", t, i);
    });
  }
  for (auto& thread : threads) thread.join();
  const auto lines = capture.lines();
  ASSERT_EQ(lines.size(), 800u);
  for (int t = 0; t < 4; ++t) {
    EXPECT_EQ(capture.count(formatString("thread %d line %d", t, 199)), 1u);
  }
}

}  // namespace
}  // namespace kestrel::platform
