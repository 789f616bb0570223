#include <KestrelPlatform/AppHome.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

#include "support/TempDir.h"

namespace kestrel::platform {
namespace {

namespace fs = std::filesystem;

// Sets or unsets an environment variable for the test, restoring it after.
class ScopedEnv {
 public:
  ScopedEnv(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) saved_ = old;
    if (value) {
      ::setenv(name, value, 1);
    } else {
      ::unsetenv(name);
    }
  }
  ~ScopedEnv() {
    if (saved_) {
      ::setenv(name_, saved_->c_str(), 1);
    } else {
      ::unsetenv(name_);
    }
  }
  ScopedEnv(const ScopedEnv&) = delete;
  ScopedEnv& operator=(const ScopedEnv&) = delete;

 private:
  const char* name_;
  std::optional<std::string> saved_;
};

class AppHomeTest : public ::testing::Test {
 protected:
  void SetUp() override { AppHome::setRoot(std::nullopt); }
  void TearDown() override { AppHome::setRoot(std::nullopt); }

  testing::TempDir temp_;
  const std::string a_ = (temp_.path() / "a").string();
  const std::string b_ = (temp_.path() / "b").string();
  const std::string c_ = (temp_.path() / "c").string();
};

TEST_F(AppHomeTest, RootSetInProcessWinsOverTheEnvironment) {
  ScopedEnv kestrel("KESTREL_HOME", a_.c_str());
  ScopedEnv xdg("XDG_DATA_HOME", b_.c_str());
  AppHome::setRoot(fs::path(c_));
  EXPECT_EQ(AppHome::root(), fs::path(c_));
  AppHome::setRoot(std::nullopt);
  EXPECT_EQ(AppHome::root(), fs::path(a_));
}

TEST_F(AppHomeTest, AnEmptyRootIsLoggedNotThrown) {
  kestrel::testing::LogCapture log;
  AppHome::setRoot(fs::path());
  EXPECT_NO_THROW(EXPECT_EQ(AppHome::root(), fs::path()));
  EXPECT_EQ(log.countContaining("Could not resolve the application home"), 1u);
}

TEST_F(AppHomeTest, KestrelHomeWinsOverXdgDataHome) {
  ScopedEnv kestrel("KESTREL_HOME", a_.c_str());
  ScopedEnv xdg("XDG_DATA_HOME", b_.c_str());
  EXPECT_EQ(AppHome::root(), fs::path(a_));
}

TEST_F(AppHomeTest, XdgDataHomeGetsAKestrelFolder) {
  ScopedEnv kestrel("KESTREL_HOME", nullptr);
  ScopedEnv xdg("XDG_DATA_HOME", b_.c_str());
  EXPECT_EQ(AppHome::root(), fs::path(b_) / "kestrel");
}

TEST_F(AppHomeTest, FallsBackToTheUsersLocalShare) {
  ScopedEnv kestrel("KESTREL_HOME", "");  // empty counts as unset
  ScopedEnv xdg("XDG_DATA_HOME", nullptr);
  ScopedEnv home("HOME", c_.c_str());
  EXPECT_EQ(AppHome::root(), fs::path(c_) / ".local" / "share" / "kestrel");
}

TEST_F(AppHomeTest, RelativeRootIsMadeAbsolute) {
  AppHome::setRoot(fs::path("relative-home"));
  EXPECT_TRUE(AppHome::root().is_absolute());
  EXPECT_EQ(AppHome::root(), fs::current_path() / "relative-home");
}

TEST_F(AppHomeTest, FoldersAreCreatedOnlyWhenAskedFor) {
  const fs::path root = temp_.path() / "home";
  AppHome::setRoot(root);
  EXPECT_FALSE(fs::exists(AppHome::root()));

  EXPECT_EQ(AppHome::documents(), root / "Documents");
  EXPECT_TRUE(fs::is_directory(root / "Documents"));
  EXPECT_FALSE(fs::exists(root / "Library"));

  EXPECT_EQ(AppHome::preferences(), root / "Library" / "Preferences");
  EXPECT_EQ(AppHome::applicationSupport(), root / "Library" / "Application Support");
  EXPECT_TRUE(fs::is_directory(root / "Library" / "Preferences"));
  EXPECT_TRUE(fs::is_directory(root / "Library" / "Application Support"));
  // Asking again for an existing folder is fine.
  EXPECT_EQ(AppHome::documents(), root / "Documents");
}

}  // namespace
}  // namespace kestrel::platform
