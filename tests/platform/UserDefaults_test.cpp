#include <KestrelPlatform/UserDefaults.h>

#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Log.h>

#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <thread>
#include <vector>

#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace kestrel::platform {
namespace {

namespace fs = std::filesystem;
using kestrel::testing::LogCapture;
using kestrel::testing::TempDir;

constexpr const char* kMigrationKey =
    "storage_manager_has_finished_favorite_notification_migration";

class UserDefaultsTest : public ::testing::Test {
 protected:
  void writeFile(const std::string& bytes) const {
    std::ofstream out(file_, std::ios::binary);
    out << bytes;
  }
  std::string readFile() const {
    std::ifstream in(file_, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }
  std::vector<std::string> filesInFolder() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(temp_.path())) {
      names.push_back(entry.path().filename().string());
    }
    return names;
  }

  TempDir temp_;
  const fs::path file_ = temp_.path() / "defaults.json";
};

TEST_F(UserDefaultsTest, ValuesSurviveARestart) {
  const std::string text = "Quote \" backslash \\ newline \n and Fußball ⚽";
  {
    auto defaults = UserDefaults::create(file_);
    defaults->setBool(true, kMigrationKey);
    defaults->setInteger(std::numeric_limits<std::int64_t>::min(), "min");
    defaults->setInteger(std::numeric_limits<std::int64_t>::max(), "max");
    defaults->setDouble(0.1, "tenth");
    defaults->setString(text, "text");
    defaults->setString("", "empty");
  }
  auto restarted = UserDefaults::create(file_);
  EXPECT_TRUE(restarted->boolForKey(kMigrationKey));
  EXPECT_EQ(restarted->integerForKey("min"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(restarted->integerForKey("max"), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(restarted->doubleForKey("tenth"), 0.1);
  EXPECT_EQ(restarted->stringForKey("text"), text);
  EXPECT_EQ(restarted->stringForKey("empty"), "");
}

TEST_F(UserDefaultsTest, FileIsAJsonObjectOfTheValues) {
  auto defaults = UserDefaults::create(file_);
  defaults->setBool(true, kMigrationKey);
  defaults->setInteger(7, "count");
  const auto json = parseJson(readFile());
  ASSERT_TRUE(json.has_value());
  EXPECT_EQ(*json, (Json{{kMigrationKey, true}, {"count", 7}}));
}

TEST_F(UserDefaultsTest, MissingKeysReadAsDefaults) {
  auto defaults = UserDefaults::create(file_);
  EXPECT_FALSE(defaults->boolForKey(kMigrationKey));
  EXPECT_EQ(defaults->integerForKey("nothing"), 0);
  EXPECT_EQ(defaults->doubleForKey("nothing"), 0.0);
  EXPECT_EQ(defaults->stringForKey("nothing"), std::nullopt);
  EXPECT_FALSE(defaults->containsKey("nothing"));
  EXPECT_FALSE(fs::exists(file_)) << "reading alone writes nothing";
}

TEST_F(UserDefaultsTest, RemovedKeyStaysRemovedAfterARestart) {
  auto defaults = UserDefaults::create(file_);
  defaults->setBool(true, kMigrationKey);
  defaults->setInteger(3, "kept");
  defaults->removeObjectForKey(kMigrationKey);
  defaults->removeObjectForKey("never set");
  EXPECT_FALSE(defaults->containsKey(kMigrationKey));

  auto restarted = UserDefaults::create(file_);
  EXPECT_FALSE(restarted->containsKey(kMigrationKey));
  EXPECT_EQ(restarted->integerForKey("kept"), 3);
}

TEST_F(UserDefaultsTest, ValuesConvertBetweenKinds) {
  auto defaults = UserDefaults::create(file_);
  defaults->setInteger(2, "int");
  EXPECT_TRUE(defaults->boolForKey("int"));
  EXPECT_EQ(defaults->doubleForKey("int"), 2.0);
  EXPECT_EQ(defaults->stringForKey("int"), "2");

  defaults->setDouble(-2.75, "double");
  EXPECT_EQ(defaults->integerForKey("double"), -2);
  EXPECT_TRUE(defaults->boolForKey("double"));
  EXPECT_EQ(defaults->stringForKey("double"), "-2.75");

  defaults->setBool(true, "bool");
  EXPECT_EQ(defaults->integerForKey("bool"), 1);
  EXPECT_EQ(defaults->stringForKey("bool"), "1");

  for (const char* yes : {"YES", "true", "  +0012", "t"}) {
    defaults->setString(yes, "text");
    EXPECT_TRUE(defaults->boolForKey("text")) << yes;
  }
  for (const char* no : {"NO", "false", "0", "", "abc"}) {
    defaults->setString(no, "text");
    EXPECT_FALSE(defaults->boolForKey("text")) << no;
  }
  defaults->setString("42 apples", "text");
  EXPECT_EQ(defaults->integerForKey("text"), 42);
  EXPECT_EQ(defaults->doubleForKey("text"), 42.0);

  // Overwriting with another kind replaces the value.
  defaults->setString("x", "int");
  EXPECT_EQ(defaults->integerForKey("int"), 0);
}

TEST_F(UserDefaultsTest, NonFiniteDoublesAndBrokenTextReadTheSameAfterARestart) {
  auto defaults = UserDefaults::create(file_);
  defaults->setDouble(std::numeric_limits<double>::infinity(), "inf");
  defaults->setDouble(-std::numeric_limits<double>::infinity(), "-inf");
  defaults->setDouble(std::nan(""), "nan");
  defaults->setString("ok\xFFok", "broken");
  const auto brokenBefore = defaults->stringForKey("broken");

  auto restarted = UserDefaults::create(file_);
  EXPECT_EQ(restarted->doubleForKey("inf"), std::numeric_limits<double>::infinity());
  EXPECT_EQ(restarted->doubleForKey("-inf"), -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(restarted->doubleForKey("nan")));
  EXPECT_EQ(restarted->stringForKey("broken"), brokenBefore);
  EXPECT_EQ(brokenBefore, "ok\xEF\xBF\xBDok");  // U+FFFD in place of the bad byte
}

TEST_F(UserDefaultsTest, CorruptFileGivesDefaultsAndOneWarning) {
  writeFile(std::string("\x00\x9f{garbage\xff", 12));
  LogCapture capture;
  auto defaults = UserDefaults::create(file_);
  EXPECT_FALSE(defaults->boolForKey(kMigrationKey));
  EXPECT_EQ(defaults->stringForKey("anything"), std::nullopt);
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.lines()[0], "WARNING: could not read user defaults at " + file_.string() +
                                    " (not valid JSON); using defaults");

  // The next write replaces the damaged file with a good one.
  defaults->setBool(true, kMigrationKey);
  EXPECT_EQ(capture.lines().size(), 1u);
  capture.clear();
  auto restarted = UserDefaults::create(file_);
  EXPECT_TRUE(restarted->boolForKey(kMigrationKey));
  EXPECT_TRUE(capture.lines().empty());
}

TEST_F(UserDefaultsTest, EmptyOrNonObjectFileCountsAsCorrupt) {
  for (const std::string& bytes : {std::string(), std::string("[1, 2]"), std::string("true"),
                                   std::string("{\"a\": 1"), std::string("{\"a\": 1} x")}) {
    writeFile(bytes);
    LogCapture capture;
    auto defaults = UserDefaults::create(file_);
    EXPECT_EQ(defaults->integerForKey("a"), 0) << bytes;
    EXPECT_EQ(capture.lines().size(), 1u) << bytes;
  }
}

TEST_F(UserDefaultsTest, UnreadablePathWarnsOnceAndWritesFailQuietly) {
  fs::create_directory(file_);  // a folder where the file should be
  LogCapture capture;
  auto defaults = UserDefaults::create(file_);
  EXPECT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.countContaining("could not read user defaults"), 1u);

  defaults->setInteger(5, "count");  // cannot replace a folder, but no crash
  EXPECT_EQ(defaults->integerForKey("count"), 5);
  EXPECT_EQ(capture.countContaining("WARNING: could not write user defaults at " + file_.string()),
            1u);
  EXPECT_FALSE(defaults->synchronize());
  EXPECT_EQ(filesInFolder(), std::vector<std::string>{"defaults.json"}) << "no temporary left";
}

TEST_F(UserDefaultsTest, WritesLeaveNoTemporaryFilesBehind) {
  auto defaults = UserDefaults::create(file_);
  for (int i = 0; i < 20; ++i) defaults->setInteger(i, formatString("key%d", i % 3));
  defaults->removeObjectForKey("key0");
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_EQ(filesInFolder(), std::vector<std::string>{"defaults.json"});
}

TEST_F(UserDefaultsTest, SynchronizeRestoresAFileRemovedBehindTheStoresBack) {
  auto defaults = UserDefaults::create(file_);
  defaults->setBool(true, kMigrationKey);
  fs::remove(file_);
  EXPECT_TRUE(defaults->synchronize());
  EXPECT_TRUE(UserDefaults::create(file_)->boolForKey(kMigrationKey));
}

TEST_F(UserDefaultsTest, MissingFoldersAreCreatedOnFirstWrite) {
  const fs::path nested = temp_.path() / "Library" / "Preferences" / "defaults.json";
  auto defaults = UserDefaults::create(nested);
  defaults->setBool(true, kMigrationKey);
  EXPECT_TRUE(UserDefaults::create(nested)->boolForKey(kMigrationKey));
}

TEST_F(UserDefaultsTest, ConcurrentWritersAllPersist) {
  auto defaults = UserDefaults::create(file_);
  constexpr int kThreads = 4;
  constexpr int kKeysPerThread = 25;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kKeysPerThread; ++i) {
        const std::string key = formatString("t%dk%d", t, i);
        defaults->setInteger(t * 1000 + i, key);
        EXPECT_EQ(defaults->integerForKey(key), t * 1000 + i);
      }
    });
  }
  for (auto& thread : threads) thread.join();

  auto restarted = UserDefaults::create(file_);
  for (int t = 0; t < kThreads; ++t) {
    for (int i = 0; i < kKeysPerThread; ++i) {
      EXPECT_EQ(restarted->integerForKey(formatString("t%dk%d", t, i)), t * 1000 + i);
    }
  }
  EXPECT_EQ(filesInFolder(), std::vector<std::string>{"defaults.json"});
}

TEST(StandardUserDefaultsTest, FollowsTheApplicationHome) {
  TempDir first(true);
  auto defaults = UserDefaults::standard();
  EXPECT_EQ(defaults.get(), UserDefaults::standard().get());
  EXPECT_EQ(defaults->path(), AppHome::preferences() / UserDefaults::kStandardFileName);
  EXPECT_EQ(defaults->path().parent_path(), first.path() / "Library" / "Preferences");
  defaults->setBool(true, kMigrationKey);

  {
    TempDir second(true);
    auto other = UserDefaults::standard();
    EXPECT_NE(other.get(), defaults.get());
    EXPECT_FALSE(other->boolForKey(kMigrationKey));
  }

  // Back in the first home: a fresh store that reads the persisted flag.
  AppHome::setRoot(first.path());
  auto again = UserDefaults::standard();
  EXPECT_TRUE(again->boolForKey(kMigrationKey));
  EXPECT_EQ(again->path(), defaults->path());
}

}  // namespace
}  // namespace kestrel::platform
