// DataManager's store stack: creation, loading, the two-step save and its
// failures, clearing, and futures that resolve whatever happens.
#include "DataManagerFixture.h"
#include "support/LogCapture.h"

#include <KestrelPlatform/ObjectStore/ResourceBundle.h>

#include <atomic>
#include <fstream>
#include <future>
#include <thread>
#include <vector>

namespace kestrel {
namespace {

using testing::DataManagerTest;
using testing::StdoutCapture;

using DataManagerStackTest = DataManagerTest;

// Inserts one highlight in the background context (inside a change block).
void insertHighlight(DataManager& manager, std::int64_t id) {
  MOHighlight(manager.backgroundContext()->insertNewObject("MOHighlight")).setId(id);
}

TEST_F(DataManagerStackTest, NothingHappensBeforeTheStoreIsLoaded) {
  EXPECT_FALSE(manager_->mainContext());
  EXPECT_FALSE(manager_->backgroundContext());
  int calls = 0;
  manager_->saveContext([&] { ++calls; }, [&] { ++calls; });
  manager_->saveMainContext([&] { ++calls; }, [&] { ++calls; });
  EXPECT_EQ(calls, 0);
  EXPECT_FALSE(std::filesystem::exists(manager_->storeFile()));
  // A read-only look at a home without a store creates nothing.
  const platform::StoreInspection inspection = DataManager::inspectStore(home_.path());
  EXPECT_FALSE(inspection.exists);
  EXPECT_FALSE(inspection.error);
  EXPECT_FALSE(std::filesystem::exists(home_.path() / "Library"));
  EXPECT_EQ(manager_->storeFile(), home_.path() / "Library" / "Application Support" / "KestrelDatabaseModel.sqlite");
}

TEST_F(DataManagerStackTest, InitializeIfNeededLoadsOnceAndCallsEachBlockAtOnce) {
  int first = 0;
  int second = 0;
  manager_->initializeIfNeeded([&] { ++first; });
  const auto background = manager_->backgroundContext();
  ASSERT_TRUE(background);
  EXPECT_EQ(background->parent(), manager_->mainContext());
  EXPECT_EQ(manager_->mainContext()->queue(), platform::DispatchQueue::main());
  manager_->initializeIfNeeded([&] { ++second; });
  EXPECT_EQ(first, 1);
  EXPECT_EQ(second, 1);
  EXPECT_EQ(manager_->backgroundContext(), background);

  // Racing first uses load the stack once.
  auto other = DataManager::forHome(home_.path() / "other");
  std::vector<std::thread> threads;
  std::atomic<int> ready{0};
  std::vector<std::shared_ptr<platform::ObjectContext>> seen(4);
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([&, i] {
      ++ready;
      while (ready < 4) {
      }
      other->initializeIfNeeded([&] { seen[i] = other->backgroundContext(); });
    });
  }
  for (auto& thread : threads) thread.join();
  for (const auto& context : seen) EXPECT_EQ(context, other->backgroundContext());
}

TEST_F(DataManagerStackTest, ALoadThatFailsGoesToTheHandlerDropsTheBlockAndIsRetried) {
  // A folder where the store file should be: it cannot be opened.
  std::filesystem::create_directories(manager_->storeFile());
  std::vector<platform::StoreErrorCode> errors;
  manager_->setStackInitializationErrorHandler(
      [&](const platform::StoreError& error) { errors.push_back(error.code); });
  bool called = false;
  StdoutCapture out;
  manager_->initializeIfNeeded([&] { called = true; });
  manager_->initialize([&] { called = true; });
  EXPECT_EQ(errors.size(), 2u);
  EXPECT_FALSE(called);
  EXPECT_FALSE(manager_->backgroundContext());
  EXPECT_TRUE(out.text().empty());  // a load error is handed over, not printed

  std::filesystem::remove(manager_->storeFile());
  manager_->initializeIfNeeded([&] { called = true; });
  EXPECT_TRUE(called);
  EXPECT_EQ(errors.size(), 2u);
}

TEST_F(DataManagerStackTest, TheMainContextBlockRunsAfterBothSavesOrAtOnceWhenNothingChanged) {
  loaded();
  std::promise<bool> savedOnMain;
  manager_->saveContext([&] { insertHighlight(*manager_, 7); },
                        [&] { savedOnMain.set_value(platform::DispatchQueue::main()->isCurrent()); });
  EXPECT_TRUE(savedOnMain.get_future().get());
  EXPECT_EQ(countOnDisk("MOHighlight"), 1);

  std::promise<bool> unchangedOnBackground;
  manager_->saveContext({}, [&] {
    unchangedOnBackground.set_value(manager_->backgroundContext()->queue()->isCurrent() &&
                                    !platform::DispatchQueue::main()->isCurrent());
  });
  EXPECT_TRUE(unchangedOnBackground.get_future().get());
}

TEST_F(DataManagerStackTest, AFailedSavePrintsOneLineAndDropsTheBlockAfterIt) {
  loaded();
  manager_->saveContext([&] { insertHighlight(*manager_, 1); }, {});

  // A save racing clearData: the record it changed belongs to the store that
  // clearData removes, so the background save fails, even when it comes
  // after the fresh store has been written to. The save is made by the
  // context that clearData replaces: that is the queue to wait on, and
  // nothing that could stop the test may come before that wait (the blocks
  // refer to its locals).
  StdoutCapture out;
  bool afterSave = false;
  const auto replaced = manager_->backgroundContext();
  std::promise<void> cleared;
  std::promise<void> resume;
  manager_->saveContext(
      [&, resumed = resume.get_future().share()] {
        replaced->execute(platform::FetchRequest("MOHighlight")).objects.at(0)->setValue("url", "x");
        manager_->clearData();
        cleared.set_value();
        resumed.wait();
      },
      [&] { afterSave = true; });
  cleared.get_future().get();
  const bool freshContext = manager_->backgroundContext() != replaced;
  const bool freshStoreWritten = manager_->markHighlightWatched(5, "v", 0).get();
  resume.set_value();
  replaced->performAndWait([] {});
  EXPECT_TRUE(freshContext);
  EXPECT_TRUE(freshStoreWritten);
  EXPECT_FALSE(afterSave);
  ASSERT_EQ(out.lines().size(), 1u);
  EXPECT_EQ(out.lines()[0].rfind("CoreData error -> The object's persistent store has been removed. {", 0), 0u)
      << out.text();
  EXPECT_EQ(countOnDisk("MOHighlight"), 1);  // the fresh store's record alone

  // The same for the main context's save.
  manager_->saveContext([&] { insertHighlight(*manager_, 2); }, {});
  manager_->backgroundContext()->performAndWait([] {});
  bool before = false;
  manager_->saveMainContext(
      [&] {
        before = true;
        auto main = manager_->mainContext();
        main->execute(platform::FetchRequest("MOHighlight")).objects.at(0)->setValue("url", "y");
        manager_->clearData();
      },
      [&] { afterSave = true; });
  EXPECT_TRUE(before);
  EXPECT_FALSE(afterSave);
  EXPECT_EQ(out.lines().size(), 2u);

  // Neither failure holds up the next save.
  EXPECT_TRUE(manager_->markHighlightWatched(3, "u", 0).get());
  EXPECT_EQ(countOnDisk("MOHighlight"), 1);
  EXPECT_EQ(out.lines().size(), 2u);
}

TEST_F(DataManagerStackTest, ClearDataLeavesAnEmptyLoadedStore) {
  loaded();
  ASSERT_TRUE(manager_->saveVote(1, 100, "fullTime", "1", true).get());
  ASSERT_TRUE(manager_->markHighlightWatched(2, std::nullopt, 0).get());
  ASSERT_EQ(countOnDisk("MOVote"), 1);
  const auto oldBackground = manager_->backgroundContext();

  manager_->clearData();
  EXPECT_TRUE(manager_->mainContext());
  ASSERT_TRUE(manager_->backgroundContext());
  EXPECT_NE(manager_->backgroundContext(), oldBackground);
  EXPECT_EQ(countOnDisk("MOVote"), 0);
  EXPECT_EQ(countOnDisk("MOHighlight"), 0);
  EXPECT_EQ(manager_->getVotesForCache().get(), DataManager::VoteDictionary{});
  EXPECT_TRUE(manager_->saveVote(3, 100, "fullTime", "X", false).get());
  EXPECT_EQ(countOnDisk("MOVote"), 1);

  // clearData on a manager that has not loaded loads first.
  auto fresh = DataManager::forHome(home_.path());
  fresh->clearData();
  EXPECT_TRUE(fresh->backgroundContext());
  EXPECT_EQ(countOnDisk("MOVote"), 0);
}

TEST_F(DataManagerStackTest, FuturesBecomeReadyWhenTheStoreCannotLoad) {
  std::filesystem::create_directories(manager_->storeFile());
  EXPECT_TRUE(manager_->loadStore());
  DataManager& m = *manager_;
  EXPECT_FALSE(m.saveVote(1, 1, "fullTime", "1", true).get());
  EXPECT_FALSE(m.editVote(1, "fullTime", "2", true).get());
  EXPECT_FALSE(m.markAsAdded(1, "fullTime").get());
  EXPECT_FALSE(m.markAsEdited(1, "fullTime").get());
  // Every read reports its failure, never "nothing found".
  EXPECT_EQ(m.getVoteForEvent(1, "fullTime"), std::nullopt);
  EXPECT_EQ(m.getUnsuccessfulVotesWithCompletion().get(), std::nullopt);
  EXPECT_EQ(m.getVotesForCache().get(), std::nullopt);
  EXPECT_FALSE(m.deleteVotesOlderThan90Days().get());
  EXPECT_FALSE(m.deleteVotes().get());
  EXPECT_FALSE(m.fixDuplicateVotes().get());
  EXPECT_FALSE(m.fetchVote(1, "fullTime").get());
  EXPECT_FALSE(m.markHighlightWatched(1, "u", 1).get());
  EXPECT_FALSE(m.fetchHighlight(1).get());
  EXPECT_EQ(m.getHighlightsForCacheWithCompletion().get(), std::nullopt);
  EXPECT_FALSE(m.deleteHiglightsOlderThan7Days().get());
  EXPECT_FALSE(m.followUniqueStage(1).get());
  EXPECT_FALSE(m.unfollowUniqueStage(1).get());
  EXPECT_EQ(m.getUniqueStagesForCacheWithCompletion().get(), std::nullopt);
  EXPECT_FALSE(m.deleteUniqueStages().get());
  EXPECT_FALSE(m.saveRecentSearch(1, "team", {1}).get());
  EXPECT_EQ(m.getRecentSearches().get(), std::nullopt);
  EXPECT_FALSE(m.deleteRecentSearch(1, "team").get());
  EXPECT_FALSE(m.deleteRecentSearches().get());
  EXPECT_FALSE(m.saveScoreSuggestion("s", 1, {}).get());
  EXPECT_FALSE(m.getScoreSuggestion(1).get());
  EXPECT_FALSE(m.deleteScoreSuggestionsOlderThan7Days().get());
  EXPECT_FALSE(m.savePlayerValueVote(1, true, 5).get());
  EXPECT_FALSE(m.getPlayerValueVote(1).get());
  EXPECT_FALSE(m.markNewsItemAsRead("n").get());
  EXPECT_EQ(m.isNewsItemRead("n").get(), std::nullopt);
  EXPECT_FALSE(m.purgeVotesOlderThan90Days(true).get().succeeded);
  EXPECT_FALSE(m.purgeHighlightsOlderThan7Days(false).get().succeeded);

  // A future outlives its manager.
  auto doomed = DataManager::forHome(home_.path() / "gone");
  ASSERT_FALSE(doomed->loadStore());
  std::future<bool> pending;
  std::promise<void> gate;
  doomed->backgroundContext()->perform([opened = gate.get_future().share()] { opened.wait(); });
  platform::DispatchQueue::main()->sync([&] { pending = doomed->saveVote(1, 1, "fullTime", "1", true); });
  doomed.reset();
  gate.set_value();
  EXPECT_FALSE(pending.get());
}

TEST_F(DataManagerStackTest, AMissingModelOrAnUnknownEntityStopsTheProcess) {
  EXPECT_DEATH(DataManager::create({home_.path(), "com.example.no-such-bundle", true}),
               "CoreData error -> Unable to load persistent container\\.");
  platform::ResourceBundle::registerBundle("com.example.empty", {});
  EXPECT_DEATH(DataManager::create({home_.path(), "com.example.empty", true}),
               "CoreData error -> Unable to load persistent container\\.");
  static const std::string kBroken = "{\"name\": \"KestrelDatabaseModel\"}";
  platform::ResourceBundle::registerBundle(
      "com.example.broken",
      {{"KestrelDatabaseModel", "momd",
        {reinterpret_cast<const std::uint8_t*>(kBroken.data()), kBroken.size()}}});
  EXPECT_DEATH(DataManager::create({home_.path(), "com.example.broken", true}),
               "CoreData error -> Unable to load persistent container\\.");

  loaded();
  EXPECT_TRUE(manager_->entityForName("MOVote"));
  EXPECT_DEATH(manager_->entityForName("MOWhatever"),
               "CoreData error -> unknown managed object name MOWhatever");
}

}  // namespace
}  // namespace kestrel
