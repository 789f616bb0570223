#include <KestrelPlatform/AppHome.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>
#include <utility>

#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace kestrel::platform {
namespace {

namespace fs = std::filesystem;

std::optional<std::string> env(const char* name) {
  const char* value = std::getenv(name);
  return value ? std::optional<std::string>(value) : std::nullopt;
}

class AppHomeTest : public ::testing::Test {
 protected:
  void TearDown() override {
    AppHome::setRoot(std::nullopt);
    for (const auto& [name, value] : saved_) {
      value ? ::setenv(name, value->c_str(), 1) : ::unsetenv(name);
    }
  }

  const std::pair<const char*, std::optional<std::string>> saved_[3] = {
      {"KESTREL_HOME", env("KESTREL_HOME")},
      {"XDG_DATA_HOME", env("XDG_DATA_HOME")},
      {"HOME", env("HOME")}};
  testing::TempDir temp_;
};

TEST_F(AppHomeTest, RootComesFromTheProcessThenKestrelHomeThenXdgThenHome) {
  ::setenv("KESTREL_HOME", "/a", 1);
  ::setenv("XDG_DATA_HOME", "/b", 1);
  ::setenv("HOME", "/c", 1);
  AppHome::setRoot(fs::path("relative-home"));
  EXPECT_EQ(AppHome::root(), fs::current_path() / "relative-home");
  AppHome::setRoot(std::nullopt);
  EXPECT_EQ(AppHome::root(), fs::path("/a"));
  ::setenv("KESTREL_HOME", "", 1);  // empty counts as unset
  EXPECT_EQ(AppHome::root(), fs::path("/b/kestrel"));
  ::unsetenv("XDG_DATA_HOME");
  EXPECT_EQ(AppHome::root(), fs::path("/c/.local/share/kestrel"));

  kestrel::testing::LogCapture log;  // a root that cannot be resolved is logged, not thrown
  AppHome::setRoot(fs::path());
  EXPECT_NO_THROW(EXPECT_EQ(AppHome::root(), fs::path()));
  EXPECT_EQ(log.countContaining("Could not resolve the application home"), 1u);
}

TEST_F(AppHomeTest, FoldersAreCreatedOnlyWhenAskedFor) {
  const fs::path root = temp_.path() / "home";
  AppHome::setRoot(root);
  EXPECT_FALSE(fs::exists(AppHome::root()));
  EXPECT_EQ(AppHome::documents(), root / "Documents");
  EXPECT_TRUE(fs::is_directory(root / "Documents"));
  EXPECT_FALSE(fs::exists(root / "Library"));
  EXPECT_EQ(AppHome::applicationSupport(), root / "Library" / "Application Support");
  EXPECT_TRUE(fs::is_directory(root / "Library" / "Application Support"));
}

}  // namespace
}  // namespace kestrel::platform
