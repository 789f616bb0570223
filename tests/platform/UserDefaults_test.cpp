#include <KestrelPlatform/UserDefaults.h>

#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Log.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <limits>
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
constexpr double kInf = std::numeric_limits<double>::infinity();

class UserDefaultsTest : public ::testing::Test {
 protected:
  auto filesInFolder() const {
    return std::distance(fs::directory_iterator(temp_.path()), fs::directory_iterator());
  }

  TempDir temp_;
  const fs::path file_ = temp_.path() / "defaults.json";
};

TEST_F(UserDefaultsTest, ValuesSurviveARestartInFoldersCreatedOnFirstWrite) {
  const fs::path file = temp_.path() / "Library" / "Preferences" / "defaults.json";
  {
    auto defaults = UserDefaults::create(file);
    defaults->setBool(true, kMigrationKey);
    defaults->setInteger(std::numeric_limits<std::int64_t>::min(), "min");
    defaults->setDouble(-kInf, "-inf");
    defaults->setString("ok\xFFok", "broken");
    defaults->setInteger(3, "removed");
    defaults->removeObjectForKey("removed");
  }
  auto restarted = UserDefaults::create(file);
  EXPECT_TRUE(restarted->boolForKey(kMigrationKey));
  EXPECT_EQ(restarted->integerForKey("min"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(restarted->doubleForKey("-inf"), -kInf);
  EXPECT_EQ(restarted->stringForKey("broken"), "ok\xEF\xBF\xBDok");  // U+FFFD for the bad byte
  EXPECT_FALSE(restarted->containsKey("removed"));
}

TEST_F(UserDefaultsTest, MissingKeysReadAsDefaultsAndOtherKindsConvert) {
  auto defaults = UserDefaults::create(file_);
  EXPECT_FALSE(defaults->boolForKey(kMigrationKey));
  EXPECT_EQ(defaults->stringForKey("nothing"), std::nullopt);
  EXPECT_FALSE(fs::exists(file_)) << "reading alone writes nothing";

  defaults->setDouble(-2.75, "double");
  EXPECT_EQ(defaults->integerForKey("double"), -2);
  for (const auto& [text, truth] :
       {std::pair{"YES", true}, {"  +0012", true}, {"NO", false}, {"abc", false}}) {
    defaults->setString(text, "text");
    EXPECT_EQ(defaults->boolForKey("text"), truth) << text;
  }
}

TEST_F(UserDefaultsTest, CorruptOrUnreadableFileGivesDefaultsAndOneWarning) {
  std::ofstream(file_, std::ios::binary) << std::string("\x00\x9f{garbage\xff", 12);
  LogCapture capture;
  auto defaults = UserDefaults::create(file_);
  EXPECT_FALSE(defaults->boolForKey(kMigrationKey));
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.lines()[0], "WARNING: could not read user defaults at " + file_.string() +
                                    " (not valid JSON); using defaults");

  // The next write replaces the damaged file with a good one.
  defaults->setBool(true, kMigrationKey);
  EXPECT_TRUE(UserDefaults::create(file_)->boolForKey(kMigrationKey));
  EXPECT_EQ(capture.lines().size(), 1u);

  // An empty file or JSON that is not one object counts as corrupt too.
  for (const char* bytes : {"", "[1, 2]", "{\"a\": 1} x"}) {
    std::ofstream(file_, std::ios::binary) << bytes;
    capture.clear();
    EXPECT_EQ(UserDefaults::create(file_)->integerForKey("a"), 0) << bytes;
    EXPECT_EQ(capture.lines().size(), 1u) << bytes;
  }

  // A folder where the file should be: one warning to read, one per failed write, no temporary.
  fs::remove(file_);
  fs::create_directory(file_);
  capture.clear();
  auto blocked = UserDefaults::create(file_);
  blocked->setInteger(5, "count");
  EXPECT_EQ(capture.countContaining("WARNING: could not write user defaults at " + file_.string()),
            1u);
  EXPECT_EQ(capture.lines().size(), 2u);
  EXPECT_EQ(filesInFolder(), 1);
}

TEST_F(UserDefaultsTest, ConcurrentWritersAllPersistWithoutTemporaryFiles) {
  auto defaults = UserDefaults::create(file_);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int k = t * 25; k < t * 25 + 25; ++k) defaults->setInteger(k, formatString("k%d", k));
    });
  }
  for (auto& thread : threads) thread.join();
  auto restarted = UserDefaults::create(file_);
  int persisted = 0;
  for (int k = 0; k < 100; ++k) persisted += restarted->integerForKey(formatString("k%d", k)) == k;
  EXPECT_EQ(persisted, 100);
  EXPECT_EQ(filesInFolder(), 1);
}

TEST(StandardUserDefaultsTest, FollowsTheApplicationHome) {
  TempDir first(true);
  auto defaults = UserDefaults::standard();
  EXPECT_EQ(defaults.get(), UserDefaults::standard().get());
  EXPECT_EQ(defaults->path(), first.path() / "Library" / "Preferences" /
                                  std::string(UserDefaults::kStandardFileName));
  defaults->setBool(true, kMigrationKey);
  {
    TempDir second(true);
    EXPECT_FALSE(UserDefaults::standard()->boolForKey(kMigrationKey));
  }
  // Back in the first home: a fresh store that reads the persisted flag.
  AppHome::setRoot(first.path());
  EXPECT_TRUE(UserDefaults::standard()->boolForKey(kMigrationKey));
}

}  // namespace
}  // namespace kestrel::platform
