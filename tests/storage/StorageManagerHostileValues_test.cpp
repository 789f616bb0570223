// Texts the server sends that read like SQL names or hold double quotes, end
// to end through the facade: stored, answered from memory, read back from
// the tables, and all of it again by a facade made afresh on the same home.
#include <KestrelDatabase/storage/StorageManager.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "storage/StorageFixture.h"

namespace kestrel {
namespace {

// A stage flagged for Indonesia: its flag is the name of the key column.
constexpr const char* kIndonesia = "id";
// A team whose name holds double quotes.
constexpr const char* kClub = "Club \"Atl\xC3\xA9tico\"";

class StorageManagerHostileValuesTest : public testing::StorageTest {
 protected:
  static model::Stage indonesianStage() {
    model::Stage out = stage(3);
    out.desc = "Id";
    out.flag = kIndonesia;
    return out;
  }
  static model::Team club() {
    model::Team out = team(4);
    out.name = kClub;
    out.gender = "ID";
    return out;
  }

  /// What the facade answers for stage 3 and team 4, from memory and from
  /// the tables.
  void expectEverywhere(const std::string& step) {
    SCOPED_TRACE(step);
    const std::vector<model::Stage> cachedStages = storage_->getFavoriteStages();
    const auto cachedStage = std::find(cachedStages.begin(), cachedStages.end(), stage(3));
    ASSERT_NE(cachedStage, cachedStages.end());
    EXPECT_EQ(cachedStage->flag, kIndonesia);
    EXPECT_EQ(cachedStage->desc, "Id");
    const ReadResult<std::optional<model::Stage>> read = storage_->getStage(3).get();
    ASSERT_TRUE(read.has_value()) << "the stage could not be read";
    const std::optional<model::Stage>& stored = *read;
    ASSERT_TRUE(stored.has_value());
    EXPECT_EQ(stored->flag, kIndonesia);
    EXPECT_EQ(stored->desc, "Id");

    ASSERT_TRUE(storage_->isFavoriteTeam(4));
    const std::vector<model::Team> teams = storage_->getFavoriteTeams();
    const auto cachedTeam = std::find(teams.begin(), teams.end(), club());
    ASSERT_NE(cachedTeam, teams.end());
    EXPECT_EQ(cachedTeam->name, kClub);
    EXPECT_EQ(cachedTeam->gender, "ID");
    EXPECT_TRUE(storage_->isTeamNotificationEnabled(4));
    expectCachesAgreeWithStores(step);
  }
};

TEST_F(StorageManagerHostileValuesTest, AStageFlaggedIdAndAClubInQuotesAreStoredAndSurviveAReopen) {
  model::Stage plain = stage(3);
  plain.flag = "gb";
  ASSERT_TRUE(storage_->insertStage(plain).get());
  // The update writes the flag in a SET list, where "id" names the key.
  EXPECT_TRUE(storage_->updateStage(indonesianStage()).get());
  EXPECT_TRUE(storage_->followTeam(club(), /*enableNotifications=*/true).get());
  // Followed again: the row is updated in place, with the same texts.
  EXPECT_TRUE(storage_->followTeam(club(), /*enableNotifications=*/true).get());
  settleStore();
  expectEverywhere("as stored");

  // The rows stay as they are when the stage is inserted again as a favourite.
  EXPECT_TRUE(storage_->insertStage(indonesianStage()).get());
  expectEverywhere("inserted again");

  storage_.reset();
  storage_ = StorageManager::forHome(home_.path(), dataManager_);
  settleStore();
  expectEverywhere("after a reopen");

  storage_->reInit();
  settleStore();
  expectEverywhere("after reInit");
}

}  // namespace
}  // namespace kestrel
