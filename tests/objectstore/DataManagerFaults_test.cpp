// The store under real faults: another connection holding the file's lock
// past the busy wait (nothing can be read), another connection writing (the
// reads work, the saves do not), a file that cannot be written. Every
// operation reports its failure, a failed fetch is never taken for "no
// record" (no second record, no change notice), and everything that was
// acknowledged is on disk, as a fresh manager reads it.
#include "DataManagerFixture.h"
#include "support/LogCapture.h"
#include "support/ReadOnlyFile.h"
#include "support/StoreLock.h"

#include <KestrelPlatform/Clock.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace kestrel {
namespace {

using namespace std::chrono_literals;
using testing::StdoutCapture;
using testing::StoreLock;
using Votes = std::vector<std::string>;

class DataManagerFaultTest : public testing::DataManagerTest {
 protected:
  void SetUp() override {
    DataManagerTest::SetUp();
    // The lock of another connection is given up on after 20 ms, not 5 s.
    manager_ = DataManager::create({home_.path(), DataManager::kFrameworkBundleIdentifier, true, 20ms});
    manager_->setStoreChangeHandler([this](DataManager::StoreChange change) {
      const std::lock_guard lock(mutex_);
      notices_.push_back(change);
    });
  }

  /// One record of every kind, acknowledged, so that every write of
  /// everyWrite() has something to change: vote 7 "1" with neither flag
  /// set, vote 9 twice, highlight 2 and score suggestion "s" eight days
  /// old, unique stage 3, a recent search, a player-value vote and a read
  /// news item.
  void storeOneOfEach() {
    DataManager& m = *loaded();
    ASSERT_TRUE(m.saveVote(7, kOld, "fullTime", "1", false).get());
    ASSERT_TRUE(m.editVote(7, "fullTime", "1", false).get());
    ASSERT_TRUE(m.saveVote(9, kOld, "fullTime", "X", true).get());
    std::promise<void> duplicated;
    m.saveContext(
        [&] {
          MOVote copy(m.backgroundContext()->insertNewObject("MOVote"));
          copy.setEventId(9);
          copy.setType("fullTime");
          copy.setVote("2");
        },
        [&] { duplicated.set_value(); });
    duplicated.get_future().get();
    platform::Clock::setFixed(kNow - 8 * 86400);
    ASSERT_TRUE(m.markHighlightWatched(2, "https://clip", 1).get());
    ASSERT_TRUE(m.saveScoreSuggestion("s", 5, {MOEventScoreItem::Values{}}).get());
    platform::Clock::setFixed(kNow);
    ASSERT_TRUE(m.followUniqueStage(3).get());
    ASSERT_TRUE(m.saveRecentSearch(4, "team", {4}).get());
    ASSERT_TRUE(m.savePlayerValueVote(6, true, 100).get());
    ASSERT_TRUE(m.markNewsItemAsRead("n").get());
    notices_.clear();
  }

  /// Every write once, in its future form; the results in order.
  std::vector<bool> everyWrite() {
    DataManager& m = *manager_;
    const std::vector<std::function<std::future<bool>()>> writes = {
        [&] { return m.saveVote(7, kOld, "fullTime", "2", true); },
        [&] { return m.saveVote(8, kOld, "fullTime", "1", true); },
        [&] { return m.editVote(7, "fullTime", "X", true); },
        [&] { return m.markAsAdded(7, "fullTime"); },
        [&] { return m.markAsEdited(7, "fullTime"); },
        [&] { return m.fixDuplicateVotes(); },
        [&] { return m.deleteVotesOlderThan90Days(); },
        [&] { return m.deleteVotes(); },
        [&] { return m.markHighlightWatched(2, "https://other", 2); },
        [&] { return m.deleteHiglightsOlderThan7Days(); },
        [&] { return m.followUniqueStage(10); },
        [&] { return m.unfollowUniqueStage(3); },
        [&] { return m.deleteUniqueStages(); },
        [&] { return m.saveRecentSearch(11, "player", {}); },
        [&] { return m.deleteRecentSearch(4, "team"); },
        [&] { return m.deleteRecentSearches(); },
        [&] { return m.saveScoreSuggestion("t", 5, {}); },
        [&] { return m.deleteScoreSuggestionsOlderThan7Days(); },
        [&] { return m.savePlayerValueVote(6, false, 1); },
        [&] { return m.markNewsItemAsRead("m"); },
    };
    std::vector<bool> results;
    for (const auto& write : writes) results.push_back(write().get());
    return results;
  }

  /// What a fresh manager finds on disk, one line per kind.
  Votes onDisk() {
    auto fresh = DataManager::forHome(home_.path());
    Votes found = storedVotes(*fresh);
    std::sort(found.begin(), found.end());
    const auto ids = [](const ReadResult<DataManager::IDSet>& set) -> std::string {
      if (!set) return "unreadable";
      std::string text;
      for (const std::int64_t id : std::set<std::int64_t>(set->begin(), set->end())) {
        text += std::to_string(id) + " ";
      }
      return text;
    };
    found.push_back("highlights " + ids(fresh->getHighlightsForCacheWithCompletion().get()));
    found.push_back("stages " + ids(fresh->getUniqueStagesForCacheWithCompletion().get()));
    const auto searches = fresh->getRecentSearches().get();
    found.push_back("searches " + (searches ? std::to_string(searches->size()) : "unreadable"));
    const auto suggestion = fresh->getScoreSuggestion(5).get();
    found.push_back("suggestion " + (suggestion && *suggestion ? (*suggestion)->id().value_or("") : "-"));
    const auto value = fresh->getPlayerValueVote(6).get();
    found.push_back("value " + (value && *value ? std::to_string((*value)->value()) : "-"));
    found.push_back("news " + std::to_string(fresh->isNewsItemRead("n").get().value_or(false)) +
                    std::to_string(fresh->isNewsItemRead("m").get().value_or(false)));
    return found;
  }

  std::vector<DataManager::StoreChange> notices() {
    const std::lock_guard lock(mutex_);
    return notices_;
  }

  // Started well over 90 days (and 7 days) ago, so the purges would take them.
  static constexpr std::int64_t kOld = 1000;
  // What storeOneOfEach() leaves on disk.
  const Votes kStored = {"7-fullTime=1/f/f/1/1000",
                         "9-fullTime=2/f/t/nil/0",
                         "9-fullTime=X/t/t/nil/1000",
                         "highlights 2 ",
                         "stages 3 ",
                         "searches 1",
                         "suggestion s",
                         "value 100",
                         "news 10"};

  std::mutex mutex_;
  std::vector<DataManager::StoreChange> notices_;
};

TEST_F(DataManagerFaultTest, WhileAnotherConnectionLocksTheFileEveryOperationFailsAndNothingIsInserted) {
  storeOneOfEach();
  ASSERT_EQ(onDisk(), kStored);
  DataManager& m = *manager_;
  {
    testing::LogCapture log;  // each failed fetch is logged where it failed
    StoreLock lock(m.storeFile(), StoreLock::Kind::exclusive);
    ASSERT_TRUE(lock.held());

    EXPECT_EQ(everyWrite(), std::vector<bool>(20, false));
    EXPECT_TRUE(notices().empty());  // no delete or purge reports a change it did not make
    const auto dryRun = m.purgeVotesOlderThan90Days(true).get();
    EXPECT_FALSE(dryRun.succeeded);
    EXPECT_TRUE(dryRun.records.empty());

    // Every read reports the failure; none answers "nothing there".
    EXPECT_EQ(m.fetchVote(7, "fullTime").get(), std::nullopt);
    EXPECT_EQ(m.getVoteForEvent(7, "fullTime"), std::nullopt);
    EXPECT_EQ(m.getUnsuccessfulVotesWithCompletion().get(), std::nullopt);
    EXPECT_EQ(m.getVotesForCache().get(), std::nullopt);
    EXPECT_EQ(m.fetchHighlight(2).get(), std::nullopt);
    EXPECT_EQ(m.getHighlightsForCacheWithCompletion().get(), std::nullopt);
    EXPECT_EQ(m.getUniqueStagesForCacheWithCompletion().get(), std::nullopt);
    EXPECT_EQ(m.getRecentSearches().get(), std::nullopt);
    EXPECT_EQ(m.getScoreSuggestion(5).get(), std::nullopt);
    EXPECT_EQ(m.getPlayerValueVote(6).get(), std::nullopt);
    EXPECT_EQ(m.isNewsItemRead("n").get(), std::nullopt);

    // The completion forms hear of the failure once each.
    std::vector<std::promise<bool>> heard(3);
    m.editVote(7, "fullTime", "X", true, [&](bool ok) { heard[0].set_value(ok); });
    m.deleteVotes([&](bool ok) { heard[1].set_value(ok); });
    m.fetchVote(7, "fullTime", [&](ReadResult<std::optional<MOVote>> vote) { heard[2].set_value(vote.has_value()); });
    for (auto& result : heard) EXPECT_FALSE(result.get_future().get());
    EXPECT_GT(log.countContaining("Object store fetch of"), 0u);
  }

  EXPECT_EQ(onDisk(), kStored);
  EXPECT_TRUE(notices().empty());
  // The lock gone, the same manager saves over the one vote again.
  EXPECT_TRUE(m.saveVote(7, kOld, "fullTime", "2", true).get());
  EXPECT_EQ(m.getVoteForEvent(7, "fullTime"), std::make_optional(std::optional<std::string>("2")));
  EXPECT_EQ(countOnDisk("MOVote"), 3);
}

TEST_F(DataManagerFaultTest, ASaveWhoseLookupFailedReportsFalseEvenWhenTheLockGoesBeforeItCouldSave) {
  storeOneOfEach();
  DataManager& m = *manager_;
  testing::LogCapture log;
  StoreLock lock(m.storeFile(), StoreLock::Kind::exclusive);
  ASSERT_TRUE(lock.held());
  std::future<bool> saved = m.saveVote(7, kOld, "fullTime", "2", true);  // queued: returns at once
  // Once the store has given up on the vote's lookup, the file is free again.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (log.countContaining("Object store fetch of MOVote failed") == 0 &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
  lock.release();
  EXPECT_FALSE(saved.get());
  EXPECT_EQ(onDisk(), kStored);  // not "no vote yet": no second record

  EXPECT_TRUE(m.saveVote(7, kOld, "fullTime", "2", true).get());
  EXPECT_EQ(m.getVotesForCache().get(),
            (DataManager::VoteDictionary{{"7-fullTime", "2"}, {"9-fullTime", "2"}}));
  EXPECT_EQ(countOnDisk("MOVote"), 3);
}

TEST_F(DataManagerFaultTest, WhileAnotherConnectionWritesTheReadsWorkAndEverySaveReportsFalse) {
  storeOneOfEach();
  DataManager& m = *manager_;
  {
    StdoutCapture out;
    StoreLock lock(m.storeFile(), StoreLock::Kind::writer);
    ASSERT_TRUE(lock.held());
    EXPECT_EQ(everyWrite(), std::vector<bool>(20, false));
    // Each failed save printed its line.
    std::size_t printed = 0;
    for (const std::string& line : out.lines()) printed += line.rfind("CoreData error -> ", 0) == 0;
    EXPECT_EQ(printed, 20u);
    EXPECT_TRUE(notices().empty());

    // The failed changes are gone from memory too: reads show the file.
    EXPECT_EQ(m.getVoteForEvent(7, "fullTime"), std::make_optional(std::optional<std::string>("1")));
    EXPECT_EQ(m.fetchVote(8, "fullTime").get(), std::make_optional(std::optional<MOVote>()));
    EXPECT_EQ(m.getUniqueStagesForCacheWithCompletion().get(), DataManager::IDSet{3});
    EXPECT_EQ(m.isNewsItemRead("m").get(), false);
    const auto dryRun = m.purgeVotesOlderThan90Days(true).get();
    EXPECT_TRUE(dryRun.succeeded);
    EXPECT_EQ(dryRun.records, (std::vector<DuplicateVoteKey>{{7, "fullTime"}, {9, "fullTime"}}));
  }
  EXPECT_EQ(onDisk(), kStored);
  EXPECT_TRUE(m.followUniqueStage(10).get());
  EXPECT_EQ(m.getUniqueStagesForCacheWithCompletion().get(), (DataManager::IDSet{3, 10}));
}

TEST_F(DataManagerFaultTest, AStoreFileThatCannotBeWrittenIsReadAndRefusesEveryWrite) {
  storeOneOfEach();
  manager_.reset();
  testing::ReadOnlyFile readOnly(DataManager::storePath(home_.path()));
  if (!readOnly.available()) GTEST_SKIP() << "this process can write any file here";
  manager_ = DataManager::create({home_.path(), DataManager::kFrameworkBundleIdentifier, true, 20ms});
  ASSERT_FALSE(manager_->loadStore());
  DataManager& m = *manager_;
  {
    StdoutCapture out;
    EXPECT_EQ(everyWrite(), std::vector<bool>(20, false));
    EXPECT_FALSE(out.lines().empty());
  }
  EXPECT_EQ(m.getVoteForEvent(7, "fullTime"), std::make_optional(std::optional<std::string>("1")));
  EXPECT_EQ(m.getVotesForCache().get(),
            (DataManager::VoteDictionary{{"7-fullTime", "1"}, {"9-fullTime", "2"}}));
  readOnly.restore();
  EXPECT_EQ(onDisk(), kStored);
}

TEST_F(DataManagerFaultTest, AnOperationQueuedBehindALockedSaveWaitsItsTurnAndBothReport) {
  storeOneOfEach();
  DataManager& m = *manager_;
  // Saves queued back to back while another connection holds the file: the
  // first fails after the busy wait, the second runs after it; once the lock
  // is gone, the next ones succeed. Each reports in the order it was called.
  std::vector<int> order;
  std::mutex orderMutex;
  std::vector<std::future<bool>> results;
  {
    StoreLock lock(m.storeFile(), StoreLock::Kind::exclusive);
    ASSERT_TRUE(lock.held());
    for (int i = 0; i < 3; ++i) {
      std::promise<bool> done;
      results.push_back(done.get_future());
      m.followUniqueStage(20 + i, [&, i, done = std::make_shared<std::promise<bool>>(std::move(done))](bool ok) {
        {
          const std::lock_guard ordered(orderMutex);
          order.push_back(i);
        }
        done->set_value(ok);
      });
    }
    for (auto& result : results) EXPECT_FALSE(result.get());
  }
  EXPECT_TRUE(m.followUniqueStage(23).get());
  EXPECT_EQ(order, (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(m.getUniqueStagesForCacheWithCompletion().get(), (DataManager::IDSet{3, 23}));
}

}  // namespace
}  // namespace kestrel
