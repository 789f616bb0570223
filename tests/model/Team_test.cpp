#include <KestrelModel/Team.h>

#include <gtest/gtest.h>

namespace kestrel::model {
namespace {

TEST(TeamTest, DescriptionIsTheNameOrElseTheId) {
  EXPECT_EQ((Team{.ID = 42, .name = "Kestrels"}).description(), "Kestrels");
  EXPECT_EQ((Team{.ID = 42, .name = ""}).description(), "");
  EXPECT_EQ(Team{.ID = -3}.description(), "-3");
}

}  // namespace
}  // namespace kestrel::model
