#include "reliability/support/FacadeSnapshot.h"

#include "support/TempDir.h"

#include <KestrelPlatform/Clock.h>

#include <gtest/gtest.h>

namespace kestrel::reliability {
namespace {

class FacadeSnapshotTest : public ::testing::Test {
 protected:
  void SetUp() override {
    platform::Clock::setFixed(1.7e9);
    store_ = DataManager::forHome(home_.path());
    ASSERT_FALSE(store_->loadStore());
    facade_ = StorageManager::forHome(home_.path(), store_);
  }
  void TearDown() override {
    settle(*store_);
    facade_.reset();
    platform::Clock::reset();
  }

  testing::TempDir home_;
  std::shared_ptr<DataManager> store_;
  std::shared_ptr<StorageManager> facade_;
};

TEST_F(FacadeSnapshotTest, AFacadeAgreesWithItsFilesAfterWritesOfBothStores) {
  model::Team team;
  team.ID = 4;
  team.name = "Kestrels";
  ASSERT_TRUE(facade_->followTeam(team, true).get());
  ASSERT_TRUE(facade_->saveFantasyCompetition(9).get());
  ASSERT_TRUE(facade_->followUniqueStage(12).get());
  ASSERT_TRUE(facade_->save(model::NMEventVoteValue(1), model::NMEventVoteType(0), 77, 1.7e9, false)
                  .get());

  const FacadeSnapshot snapshot = FacadeSnapshot::of(*facade_, *store_);
  EXPECT_EQ(snapshot.answers.at("favourite team IDs"), "4");
  EXPECT_EQ(snapshot.answers.at("followed unique stages"), "12");
  EXPECT_NE(snapshot.answers.at("votes"), "");
  EXPECT_EQ(memoryDisagreements(*facade_, *store_, home_.path()), std::vector<std::string>{});
}

TEST_F(FacadeSnapshotTest, AnEntryTheFilesDoNotHoldIsNamedWithBothAnswers) {
  ASSERT_TRUE(facade_->saveFantasyCompetition(9).get());
  for (DBCacheAbstract* cache : facade_->allCaches()) {
    if (std::string(cache->cacheName()).find("Fantasy") != std::string::npos) cache->cacheID(5);
  }
  const std::vector<std::string> lines = memoryDisagreements(*facade_, *store_, home_.path());
  ASSERT_FALSE(lines.empty());
  EXPECT_NE(lines.front().find("[5 9] vs [9]"), std::string::npos) << lines.front();
}

}  // namespace
}  // namespace kestrel::reliability
