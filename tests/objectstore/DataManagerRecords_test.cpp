// The records other than votes: each one's round trip and purge bound.
#include "DataManagerFixture.h"

#include <KestrelPlatform/Clock.h>

#include <future>

namespace kestrel {
namespace {

using testing::DataManagerTest;

class DataManagerRecordsTest : public DataManagerTest {
 protected:
  static constexpr std::int64_t kNowSeconds = static_cast<std::int64_t>(kNow);

  void setNow(std::int64_t seconds) { platform::Clock::setFixed(static_cast<double>(seconds)); }

  /// What a read delivered, failing the test when the read itself failed.
  template <class T>
  static T read(std::future<ReadResult<T>> future) {
    ReadResult<T> result = future.get();
    EXPECT_TRUE(result) << "the read failed";
    return result ? std::move(*result) : T{};
  }
};

TEST_F(DataManagerRecordsTest, HighlightsAreUpsertedByIdAndPurgedSevenDaysAfterTheLastWatch) {
  loaded();
  setNow(kNowSeconds - 604801);
  EXPECT_TRUE(manager_->markHighlightWatched(1, "https://a", 10).get());  // purged
  setNow(kNowSeconds - 604800);
  EXPECT_TRUE(manager_->markHighlightWatched(2, "https://b", 20).get());  // exactly 7 days: kept
  setNow(kNowSeconds - 900000);
  EXPECT_TRUE(manager_->markHighlightWatched(3, std::nullopt, 0).get());
  setNow(kNowSeconds);
  EXPECT_TRUE(manager_->markHighlightWatched(3, "https://c", 30).get());  // watched again now
  EXPECT_TRUE(manager_->markHighlightWatched(4, "https://d", 40).get());
  std::promise<void> zero;
  manager_->saveContext(
      [&] { MOHighlight(manager_->backgroundContext()->insertNewObject("MOHighlight")).setId(5); },
      [&] { zero.set_value(); });  // never watched (lastWatching 0): kept
  zero.get_future().get();

  const auto highlight = read(manager_->fetchHighlight(3));
  ASSERT_TRUE(highlight);
  EXPECT_EQ(highlight->lastWatching(), kNowSeconds);
  EXPECT_EQ(highlight->url(), "https://c");
  EXPECT_EQ(highlight->urlCreated(), 30);
  EXPECT_FALSE(read(manager_->fetchHighlight(9)));
  EXPECT_EQ(manager_->getHighlightsForCacheWithCompletion().get(), (DataManager::IDSet{1, 2, 3, 4, 5}));

  EXPECT_EQ(manager_->purgeHighlightsOlderThan7Days(true).get().records, std::vector<std::int64_t>{1});
  std::vector<DataManager::StoreChange> changes;
  manager_->setStoreChangeHandler([&](DataManager::StoreChange change) { changes.push_back(change); });
  EXPECT_TRUE(manager_->deleteHiglightsOlderThan7Days().get());
  EXPECT_EQ(changes, std::vector<DataManager::StoreChange>{DataManager::StoreChange::highlights});
  EXPECT_EQ(manager_->getHighlightsForCacheWithCompletion().get(), (DataManager::IDSet{2, 3, 4, 5}));
}

TEST_F(DataManagerRecordsTest, UniqueStagesAreFollowedOnceAndUnfollowed) {
  loaded();
  EXPECT_TRUE(manager_->followUniqueStage(10).get());
  EXPECT_TRUE(manager_->followUniqueStage(10).get());
  EXPECT_TRUE(manager_->followUniqueStage(11).get());
  EXPECT_EQ(countOnDisk("MOUniqueStage"), 2);
  EXPECT_TRUE(manager_->unfollowUniqueStage(10).get());
  EXPECT_TRUE(manager_->unfollowUniqueStage(12).get());
  EXPECT_EQ(manager_->getUniqueStagesForCacheWithCompletion().get(), DataManager::IDSet{11});

  std::vector<DataManager::StoreChange> changes;
  manager_->setStoreChangeHandler([&](DataManager::StoreChange change) { changes.push_back(change); });
  EXPECT_TRUE(manager_->deleteUniqueStages().get());
  EXPECT_EQ(changes, std::vector<DataManager::StoreChange>{DataManager::StoreChange::uniqueStages});
  EXPECT_EQ(manager_->getUniqueStagesForCacheWithCompletion().get(), DataManager::IDSet{});
}

TEST_F(DataManagerRecordsTest, RecentSearchesComeNewestFirstUpToTheLimit) {
  loaded();
  const auto order = [&] {
    std::vector<std::string> found;
    for (const MORecentSearch& search : read(manager_->getRecentSearches())) {
      found.push_back(search.type().value_or("") + std::to_string(search.id()));
    }
    return found;
  };
  EXPECT_TRUE(manager_->saveRecentSearch(1, "team", {0x7b, 0x7d}).get());
  EXPECT_TRUE(manager_->saveRecentSearch(1, "player", {}).get());  // same second, later: first
  setNow(kNowSeconds + 5);
  EXPECT_TRUE(manager_->saveRecentSearch(2, "team", {2}).get());
  EXPECT_EQ(order(), (std::vector<std::string>{"team2", "player1", "team1"}));

  setNow(kNowSeconds + 6);
  EXPECT_TRUE(manager_->saveRecentSearch(1, "team", {9}).get());  // searched again: to the front
  EXPECT_EQ(order(), (std::vector<std::string>{"team1", "team2", "player1"}));
  const auto searches = read(manager_->getRecentSearches());
  EXPECT_EQ(searches.front().searchEntity(), platform::Bytes{9});
  EXPECT_EQ(searches.front().timestamp(), kNowSeconds + 6);
  EXPECT_EQ(searches.back().searchEntity(), platform::Bytes{});

  EXPECT_TRUE(manager_->deleteRecentSearch(2, "team").get());
  EXPECT_EQ(order(), (std::vector<std::string>{"team1", "player1"}));

  for (int i = 0; i < 25; ++i) {
    setNow(kNowSeconds + 100 + i);
    ASSERT_TRUE(manager_->saveRecentSearch(100 + i, "league", {}).get());
  }
  const auto kept = order();
  ASSERT_EQ(kept.size(), DataManager::kRecentSearchLimit);
  EXPECT_EQ(kept.front(), "league124");
  EXPECT_EQ(kept.back(), "league105");
  EXPECT_EQ(countOnDisk("MORecentSearch"), 20);

  EXPECT_TRUE(manager_->deleteRecentSearches().get());
  EXPECT_TRUE(order().empty());
}

TEST_F(DataManagerRecordsTest, AScoreSuggestionIsReplacedWithItsItemsAndPurgedAfterSevenDays) {
  loaded();
  MOEventScoreItem::Values goal;
  goal.id = 1;
  goal.teamId = 44;
  goal.homeScore = 1;
  goal.isHomeScoreSuggested = true;
  goal.scorerId = 9;
  goal.scorerName = "Player Nine";
  goal.scorerJerseyNumber = "9";
  goal.scoreType = "goal";
  MOEventScoreItem::Values second = goal;
  second.id = 2;
  second.awayScore = 1;
  second.scorerId = std::nullopt;
  second.assistId = 3;

  setNow(kNowSeconds - 604801);
  EXPECT_TRUE(manager_->saveScoreSuggestion("old", 1, {goal}).get());
  setNow(kNowSeconds - 604800);
  EXPECT_TRUE(manager_->saveScoreSuggestion("edge", 2, {goal}).get());
  setNow(kNowSeconds);
  EXPECT_TRUE(manager_->saveScoreSuggestion("first", 3, {goal}).get());
  EXPECT_TRUE(manager_->saveScoreSuggestion("second", 3, {goal, second}).get());
  EXPECT_EQ(countOnDisk("MOEventScoreSuggestion"), 3);
  EXPECT_EQ(countOnDisk("MOEventScoreItem"), 4);  // the replaced suggestion's item went with it

  const auto suggestion = read(manager_->getScoreSuggestion(3));
  ASSERT_TRUE(suggestion);
  EXPECT_EQ(suggestion->id(), "second");
  EXPECT_EQ(suggestion->timestamp(), kNowSeconds);
  std::vector<MOEventScoreItem::Values> items;
  manager_->backgroundContext()->performAndWait([&] {
    const auto scores = suggestion->eventScores();
    ASSERT_TRUE(scores);
    for (const MOEventScoreItem& item : *scores) items.push_back(item.values());
  });
  EXPECT_EQ(items, (std::vector<MOEventScoreItem::Values>{goal, second}));
  EXPECT_FALSE(read(manager_->getScoreSuggestion(4)));

  EXPECT_TRUE(manager_->deleteScoreSuggestionsOlderThan7Days().get());
  EXPECT_FALSE(read(manager_->getScoreSuggestion(1)));
  EXPECT_TRUE(read(manager_->getScoreSuggestion(2)));
  EXPECT_EQ(countOnDisk("MOEventScoreItem"), 3);
}

TEST_F(DataManagerRecordsTest, PlayerValueVotesAndReadNewsItemsRoundTrip) {
  loaded();
  EXPECT_FALSE(read(manager_->getPlayerValueVote(5)));
  EXPECT_TRUE(manager_->savePlayerValueVote(5, true, 1'500'000).get());
  EXPECT_TRUE(manager_->savePlayerValueVote(5, false, 2'000'000).get());
  const auto vote = read(manager_->getPlayerValueVote(5));
  ASSERT_TRUE(vote);
  EXPECT_FALSE(vote->isValueHigher());
  EXPECT_EQ(vote->value(), 2'000'000);
  EXPECT_EQ(countOnDisk("MOPlayerValueUserVote"), 1);

  EXPECT_EQ(manager_->isNewsItemRead("n-1").get(), false);
  EXPECT_TRUE(manager_->markNewsItemAsRead("n-1").get());
  EXPECT_TRUE(manager_->markNewsItemAsRead("n-1").get());
  EXPECT_EQ(manager_->isNewsItemRead("n-1").get(), true);
  EXPECT_EQ(manager_->isNewsItemRead("n-1' OR '1'='1").get(), false);
  EXPECT_EQ(countOnDisk("MONewsItem"), 1);
}

}  // namespace
}  // namespace kestrel
