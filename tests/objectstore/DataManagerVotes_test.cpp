// Vote records: saving and replacing, edits and marks, the unsent votes,
// the cache dictionary, the 90-day purge, duplicates and the first layout.
#include "DataManagerFixture.h"

#include <KestrelDatabase/objectstore/VoteV2Mapping.h>
#include <KestrelPlatform/Clock.h>

#include <future>

namespace kestrel {
namespace {

using testing::DataManagerTest;
using Votes = std::vector<std::string>;

// What getVoteForEvent() reads when there is no such vote (not a failure).
const ReadResult<std::optional<std::string>> kNoVote = std::make_optional(std::optional<std::string>());

class DataManagerVotesTest : public DataManagerTest {
 protected:
  static constexpr std::int64_t kNowSeconds = static_cast<std::int64_t>(kNow);

  // Stores a vote record as it is, duplicates included.
  void insertVote(std::int64_t eventId, const std::string& type, const std::string& vote,
                  bool added, bool edited, std::int64_t timestamp = kNowSeconds) {
    std::promise<void> saved;
    manager_->saveContext(
        [&] {
          MOVote record(manager_->backgroundContext()->insertNewObject("MOVote"));
          record.setEventId(eventId);
          record.setType(type);
          record.setVote(vote);
          record.setIsAddSuccessful(added);
          record.setIsEditSuccessful(edited);
          record.setEventTimestamp(timestamp);
        },
        [&] { saved.set_value(); });
    saved.get_future().get();
  }

  std::vector<std::int64_t> unsentEventIds() {
    std::vector<std::int64_t> ids;
    const auto votes = manager_->getUnsuccessfulVotesWithCompletion().get();
    EXPECT_TRUE(votes) << "the read failed";
    for (const MOVote& vote : votes.value_or(std::vector<MOVote>{})) ids.push_back(vote.eventId());
    return ids;
  }
};

TEST_F(DataManagerVotesTest, SavingAgainReplacesTheValueAndFlagOfTheOneRecord) {
  loaded();
  EXPECT_TRUE(manager_->saveVote(7, 500, "fullTime", "1", false).get());
  EXPECT_TRUE(manager_->editVote(7, "fullTime", "X", false).get());
  EXPECT_TRUE(manager_->saveVote(7, 900, "fullTime", "2", true).get());
  EXPECT_TRUE(manager_->saveVote(7, 900, "bothTeamsToScore", "yes", true).get());
  // The timestamp and previous value stay; a new record's edit flag starts true.
  EXPECT_EQ(storedVotes(*manager_), (Votes{"7-fullTime=2/t/f/1/500", "7-bothTeamsToScore=yes/t/t/nil/900"}));
  EXPECT_EQ(countOnDisk("MOVote"), 2);
  EXPECT_EQ(manager_->getVoteForEvent(7, "fullTime"), "2");
  EXPECT_EQ(manager_->getVoteForEvent(7, "firstTeamToScore"), kNoVote);

  // Saves queued back to back from the main queue, before either ran, still
  // make one record.
  std::future<bool> first;
  std::future<bool> second;
  platform::DispatchQueue::main()->sync([&] {
    first = manager_->saveVote(8, 1, "fullTime", "1", false);
    second = manager_->saveVote(8, 1, "fullTime", "X", true);
    EXPECT_EQ(manager_->getVoteForEvent(7, "fullTime"), "2");  // read through the main context
  });
  EXPECT_TRUE(first.get());
  EXPECT_TRUE(second.get());
  EXPECT_EQ(countOnDisk("MOVote"), 3);
  EXPECT_EQ(manager_->getVoteForEvent(8, "fullTime"), "X");
}

TEST_F(DataManagerVotesTest, EditsAndMarksChangeAStoredVoteAndReportFalseForAMissingOne) {
  loaded();
  ASSERT_TRUE(manager_->saveVote(3, 100, "fullTime", "1", false).get());
  EXPECT_FALSE(manager_->editVote(4, "fullTime", "2", true).get());
  EXPECT_FALSE(manager_->markAsAdded(3, "bothTeamsToScore").get());
  EXPECT_FALSE(manager_->markAsEdited(4, "fullTime").get());

  EXPECT_TRUE(manager_->editVote(3, "fullTime", "2", false).get());
  EXPECT_TRUE(manager_->editVote(3, "fullTime", "X", false).get());
  EXPECT_EQ(storedVotes(*manager_), Votes{"3-fullTime=X/f/f/2/100"});
  // The completion forms report once the save is done: on the main queue,
  // inside the main context's save, while the background queue waits.
  std::promise<bool> onMain;
  manager_->markAsAdded(3, "fullTime", [&](bool ok) {
    onMain.set_value(ok && platform::DispatchQueue::main()->isCurrent());
  });
  EXPECT_TRUE(onMain.get_future().get());
  EXPECT_EQ(storedVotes(*manager_), Votes{"3-fullTime=X/t/f/2/100"});
  EXPECT_TRUE(manager_->markAsEdited(3, "fullTime").get());
  EXPECT_EQ(storedVotes(*manager_), Votes{"3-fullTime=X/t/t/2/100"});
  EXPECT_TRUE(manager_->markAsEdited(3, "fullTime").get());  // nothing to change: still true

  auto fetched = manager_->fetchVote(3, "fullTime").get().value_or(std::nullopt);
  ASSERT_TRUE(fetched);
  const auto unsaved = fetched->unsavedVote();
  ASSERT_TRUE(unsaved);
  EXPECT_EQ(unsaved->type, model::NMEventVoteType::fullTime);
  EXPECT_EQ(unsaved->vote, model::NMEventVoteValue::draw);
  EXPECT_EQ(unsaved->previousVote, model::NMEventVoteValue::away);
  EXPECT_EQ(countOnDisk("MOVote"), 1);
}

TEST_F(DataManagerVotesTest, UnsentVotesAreThoseOfEventsStartingNowOrLater) {
  platform::Clock::setFixed(kNow + 0.75);  // now is truncated to whole seconds
  loaded();
  insertVote(1, "fullTime", "1", false, true, kNowSeconds);       // unsent, starts now
  insertVote(2, "fullTime", "1", false, true, kNowSeconds - 1);   // started a second ago
  insertVote(3, "fullTime", "1", true, false, kNowSeconds + 60);  // edit unsent
  insertVote(4, "fullTime", "1", true, true, kNowSeconds + 60);   // all sent
  insertVote(5, "fullTime", "1", false, false, kNowSeconds + 1);
  EXPECT_EQ(unsentEventIds(), (std::vector<std::int64_t>{1, 3, 5}));

  EXPECT_TRUE(manager_->markAsAdded(1, "fullTime").get());
  EXPECT_TRUE(manager_->markAsEdited(3, "fullTime").get());
  EXPECT_EQ(unsentEventIds(), (std::vector<std::int64_t>{5}));
}

TEST_F(DataManagerVotesTest, TheCacheDictionaryIsKeyedByEventAndTypeWithLaterRecordsWinning) {
  loaded();
  EXPECT_EQ(manager_->getVotesForCache().get(), DataManager::VoteDictionary{});
  insertVote(123, "fullTime", "1", true, true);
  insertVote(123, "bothTeamsToScore", "no", true, true);
  insertVote(123, "fullTime", "2", true, true);
  const auto votes = manager_->getVotesForCache().get();
  ASSERT_TRUE(votes);
  EXPECT_EQ(*votes, (DataManager::VoteDictionary{{"123-fullTime", "2"}, {"123-bothTeamsToScore", "no"}}));
}

TEST_F(DataManagerVotesTest, ThePurgeRemovesVotesOfEventsOlderThan90DaysAndReportsIt) {
  loaded();
  std::vector<DataManager::StoreChange> changes;
  std::promise<void> reported;
  manager_->setStoreChangeHandler([&](DataManager::StoreChange change) {
    changes.push_back(change);
    reported.set_value();
  });
  insertVote(1, "fullTime", "1", true, true, kNowSeconds - 7776000);      // exactly 90 days: kept
  insertVote(2, "fullTime", "1", true, true, kNowSeconds - 7776001);      // removed
  insertVote(3, "fullTime", "1", true, true, 0);                          // no start: kept
  insertVote(4, "bothTeamsToScore", "yes", false, false, 1);              // removed
  insertVote(5, "fullTime", "1", true, true, kNowSeconds + 7776001);      // future: kept

  const auto dryRun = manager_->purgeVotesOlderThan90Days(true).get();
  EXPECT_TRUE(dryRun.succeeded);
  EXPECT_EQ(dryRun.records, (std::vector<DuplicateVoteKey>{{2, "fullTime"}, {4, "bothTeamsToScore"}}));
  EXPECT_EQ(countOnDisk("MOVote"), 5);
  EXPECT_TRUE(changes.empty());

  EXPECT_TRUE(manager_->deleteVotesOlderThan90Days().get());
  reported.get_future().get();
  EXPECT_EQ(changes, std::vector<DataManager::StoreChange>{DataManager::StoreChange::votes});
  EXPECT_EQ(countOnDisk("MOVote"), 3);
  EXPECT_EQ(manager_->getVoteForEvent(2, "fullTime"), kNoVote);
  EXPECT_EQ(manager_->getVoteForEvent(3, "fullTime"), "1");
}

TEST_F(DataManagerVotesTest, DeletingAllVotesReportsTheChangeBeforeCompleting) {
  loaded();
  insertVote(1, "fullTime", "1", true, true);
  insertVote(2, "fullTime", "1", true, true);
  std::vector<std::string> order;
  std::promise<void> done;
  manager_->setStoreChangeHandler([&](DataManager::StoreChange) { order.push_back("change"); });
  manager_->deleteVotes([&](bool success) {
    order.push_back(success ? "completion" : "failure");
    done.set_value();
  });
  done.get_future().get();
  EXPECT_EQ(order, (std::vector<std::string>{"change", "completion"}));
  EXPECT_EQ(countOnDisk("MOVote"), 0);
}

TEST_F(DataManagerVotesTest, FixingDuplicatesKeepsTheBestAcceptedRecordOfEachGroup) {
  loaded();
  insertVote(1, "fullTime", "a", false, false);
  insertVote(1, "fullTime", "b", true, false);
  insertVote(1, "fullTime", "c", true, true);
  insertVote(2, "fullTime", "d", false, true);
  insertVote(2, "fullTime", "e", true, false);
  insertVote(2, "fullTime", "f", true, false);
  insertVote(3, "fullTime", "g", false, true);
  insertVote(3, "fullTime", "h", false, false);
  insertVote(3, "bothTeamsToScore", "i", false, false);
  EXPECT_TRUE(manager_->fixDuplicateVotes().get());
  const Votes votes = storedVotes(*manager_);
  ASSERT_EQ(votes.size(), 4u);
  EXPECT_EQ(votes[0].substr(0, 12), "1-fullTime=c");
  EXPECT_EQ(votes[1].substr(0, 12), "2-fullTime=e");
  EXPECT_EQ(votes[2].substr(0, 12), "3-fullTime=g");
  EXPECT_EQ(votes[3].substr(0, 20), "3-bothTeamsToScore=i");
  EXPECT_TRUE(manager_->fixDuplicateVotes().get());
  EXPECT_EQ(storedVotes(*manager_).size(), 4u);
}

TEST_F(DataManagerVotesTest, AFirstLayoutStoreIsMigratedThroughTheVotePolicy) {
  testing::writeFirstLayoutStore(home_.path(), {{11, "1", 1000, 0},
                                                {12, "X", 2000, 1},
                                                {13, "2", std::nullopt, std::nullopt},
                                                {14, std::nullopt, 3000, 2}});
  const platform::StoreInspection before = DataManager::inspectStore(home_.path());
  EXPECT_EQ(before.modelVersion, "KestrelDatabaseModel");
  EXPECT_TRUE(before.needsMigration());
  DataManager::Configuration unchanged;
  unchanged.home = home_.path();
  unchanged.migrateAutomatically = false;
  const auto error = DataManager::create(unchanged)->loadStore();
  ASSERT_TRUE(error);
  EXPECT_EQ(error->code, platform::StoreErrorCode::migrationRequired);
  EXPECT_EQ(DataManager::inspectStore(home_.path()).modelVersion, "KestrelDatabaseModel");

  manager_->migrateData();
  ASSERT_TRUE(manager_->backgroundContext());
  EXPECT_EQ(storedVotes(*manager_), (Votes{"11-fullTime=1/f/t/nil/1000", "12-fullTime=X/t/t/nil/2000",
                                           "13-fullTime=2/f/t/nil/0", "14-fullTime=nil/f/t/nil/3000"}));
  const platform::StoreInspection after = DataManager::inspectStore(home_.path());
  EXPECT_EQ(after.modelVersion, "KestrelDatabaseModel 2");
  EXPECT_TRUE(after.integrityOk());
  EXPECT_EQ(after.recordCounts.size(), 8u);

  // Saving over a migrated vote finds it by its new identity.
  EXPECT_TRUE(manager_->saveVote(11, 1000, "fullTime", "2", true).get());
  EXPECT_EQ(countOnDisk("MOVote"), 4);
}

}  // namespace
}  // namespace kestrel
