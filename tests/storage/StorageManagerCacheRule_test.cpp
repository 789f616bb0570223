// When the caches change relative to the store: a removal has left the
// cache by the time the row goes, an addition enters only after the row is
// written, and the vote save and edit show the new value before the object
// store has it. Triggers on the tables call back into the test at the very
// moment a row is written, inside the database queue's block, where the
// caches are read through their plain accessors (the facade's thread is the
// only one using them then).
#include <KestrelDatabase/caches/DBCacheVote.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "storage/StorageFixture.h"
#include "support/QueueGate.h"

namespace kestrel {
namespace {

using model::NMEventVoteType;
using model::NMEventVoteValue;
using namespace std::chrono_literals;
using testing::kHang;

class StorageManagerCacheRuleTest : public testing::StorageTest {
 protected:
  /// What the named cache held, by its plain accessor, for one ID.
  bool held(const char* cacheName, std::int64_t id) const {
    const auto& ids = cache(cacheName).IDs();
    return ids && ids->contains(id);
  }

  /// Calls `seen` with the row's ID whenever a row of `table` is inserted,
  /// updated or deleted, from inside the statement that writes it.
  void observeWrites(const char* table, std::function<void(std::int64_t id)> seen) {
    seen_[table] = std::move(seen);
    storage_->dbQueue()->inDatabase([&](FMDatabase* db) {
      ASSERT_NE(db, nullptr);
      db->makeFunctionNamed("observed_write", 2, [this](FMSQLFunctionContext& context) {
        const auto observer = seen_.find(context.valueString(0).value_or(""));
        if (observer != seen_.end()) observer->second(context.valueLong(1));
        context.resultNull();
      });
      for (const auto& [operation, row] :
           {std::pair{"INSERT", "NEW"}, std::pair{"UPDATE", "NEW"}, std::pair{"DELETE", "OLD"}}) {
        ASSERT_TRUE(db->executeUpdate(std::string("CREATE TEMP TRIGGER observe_") + table + "_" +
                                      operation + " AFTER " + operation + " ON main." + table +
                                      " BEGIN SELECT observed_write('" + table + "', " + row +
                                      ".ID); END"));
      }
    });
  }

  /// Runs `block` on the object store's background queue while `whileHeld`
  /// runs here: nothing the store is asked meanwhile can happen.
  void holdingTheStore(const std::function<void()>& whileHeld) {
    const testing::QueueGate gate;
    dataManager_->backgroundContext()->perform(gate.block());
    gate.waitUntilHeld();
    whileHeld();
    gate.release();
  }

  /// Waits (as a condition, bounded only to detect a hang) until `condition` holds.
  static bool eventually(const std::function<bool()>& condition) {
    const auto deadline = std::chrono::steady_clock::now() + kHang;
    while (!condition()) {
      if (std::chrono::steady_clock::now() > deadline) return false;
      std::this_thread::yield();
    }
    return true;
  }

  std::map<std::string, std::function<void(std::int64_t)>> seen_;
};

TEST_F(StorageManagerCacheRuleTest, AnEventLeavesBothCachesBeforeItsRowIsDeleted) {
  ASSERT_TRUE(storage_->insertEvent(event(1), true).get());
  ASSERT_TRUE(storage_->insertEvent(event(2), false).get());
  ASSERT_TRUE(storage_->insertEvent(event(3), false).get());
  int writes = 0;
  observeWrites(DBTableEvent::kTableName, [&](std::int64_t id) {
    ++writes;
    EXPECT_FALSE(held("DBCacheEvent", id)) << id;
    EXPECT_FALSE(held("DBCacheMutedEvent", id)) << id;
  });

  EXPECT_TRUE(storage_->deleteEvent(1).get());
  EXPECT_TRUE(storage_->deleteEvents({2, 3}).get());
  EXPECT_EQ(writes, 3);
  EXPECT_TRUE(storage_->getFavoriteEventIDs().empty());
}

TEST_F(StorageManagerCacheRuleTest, AnUnmutedEventLeavesTheMutedCacheBeforeItsRowChanges) {
  ASSERT_TRUE(storage_->insertEvent(event(1), true).get());
  int writes = 0;
  observeWrites(DBTableEvent::kTableName, [&](std::int64_t id) {
    ++writes;
    EXPECT_FALSE(held("DBCacheMutedEvent", id));
  });
  EXPECT_TRUE(storage_->unmuteEvent(1).get());
  EXPECT_TRUE(storage_->insertEvent(event(1), false).get());
  EXPECT_EQ(writes, 2);
  EXPECT_TRUE(storage_->isFavoriteEvent(1));
  EXPECT_FALSE(storage_->isMutedEvent(1));
}

// A fill on another thread may read the muted flag just before a write
// clears it and install what it read after the write's own removal. The
// observer plays that fill: inside the write's statement it puts the ID back
// the way a fill's completion installs it. Every write that clears the flag
// takes the ID out again once it has committed.
TEST_F(StorageManagerCacheRuleTest, AMutedFlagAFillReadBesideTheWriteThatClearedItIsGoneAfterIt) {
  ASSERT_TRUE(storage_->insertEvent(event(1), true).get());
  ASSERT_TRUE(storage_->insertMutedStage(stage(2)).get());
  ASSERT_TRUE(storage_->insertMutedStage(stage(3)).get());
  observeWrites(DBTableEvent::kTableName, [this](std::int64_t id) {
    DBCacheAbstract& muted = cache("DBCacheMutedEvent");
    DBCacheAbstract::IDSet ids = muted.IDs().value_or(DBCacheAbstract::IDSet{});
    ids.insert(id);
    muted.setIDs(std::move(ids));
  });
  observeWrites(DBTableStage::kTableName, [this](std::int64_t id) {
    auto& muted = dynamic_cast<DBCache<model::Stage>&>(cache("DBCacheMutedStage"));
    ASSERT_TRUE(muted.dictionary() && muted.objects());
    muted.dictionary()->insert_or_assign(id, id);  // a stage without a parent heads its group
    auto objects = *muted.objects();
    objects.push_back(stage(id));
    muted.setObjects(std::move(objects));
  });

  EXPECT_TRUE(storage_->insertEvent(event(1), false).get());
  EXPECT_TRUE(storage_->unmuteStage(2).get());
  EXPECT_TRUE(storage_->insertStage(stage(3)).get());
  EXPECT_FALSE(held("DBCacheMutedEvent", 1));
  EXPECT_FALSE(storage_->isMutedEvent(1));
  EXPECT_FALSE(storage_->isMutedStage(2));
  EXPECT_FALSE(storage_->isMutedStage(3));
}

TEST_F(StorageManagerCacheRuleTest, AnEventEntersItsCachesOnlyAfterItsRowIsWritten) {
  int writes = 0;
  observeWrites(DBTableEvent::kTableName, [&](std::int64_t id) {
    ++writes;
    EXPECT_FALSE(held("DBCacheEvent", id));
    EXPECT_FALSE(held("DBCacheMutedEvent", id));
  });
  int calls = 0;
  storage_->insertEvent(event(4), true, [&](bool ok) {
    ++calls;
    EXPECT_TRUE(ok);
    // The handler already sees the cache as the store is.
    EXPECT_TRUE(storage_->isFavoriteEvent(4));
    EXPECT_TRUE(storage_->isMutedEvent(4));
  });
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(writes, 1);
}

TEST_F(StorageManagerCacheRuleTest, UnfollowingATeamEmptiesItsCachesAndItsEventsBeforeTheCascade) {
  ASSERT_TRUE(storage_->followTeam(team(7), true).get());
  ASSERT_TRUE(storage_->insertEvent(event(70, kNow, 3, 7), false).get());
  ASSERT_TRUE(storage_->insertEvent(event(71, kNow, 3, 8), false).get());
  std::vector<std::int64_t> deletedTeams;
  std::vector<std::int64_t> deletedEvents;
  observeWrites(DBTableTeam::kTableName, [&](std::int64_t id) {
    deletedTeams.push_back(id);
    EXPECT_FALSE(held("DBCacheTeam", id));
    EXPECT_FALSE(held("DBCacheTeamNotifications", id));
    EXPECT_FALSE(held("DBCacheEvent", 70)) << "the team's event was still cached";
  });
  observeWrites(DBTableEvent::kTableName, [&](std::int64_t id) {
    deletedEvents.push_back(id);
    EXPECT_FALSE(held("DBCacheEvent", id));
  });

  EXPECT_TRUE(storage_->unfollowTeam(7).get());
  EXPECT_EQ(deletedEvents, std::vector<std::int64_t>{70});
  EXPECT_TRUE(storage_->isFavoriteEvent(71));
  expectCachesAgreeWithStores("after the unfollow");
}

TEST_F(StorageManagerCacheRuleTest, NotificationsGoOffInMemoryFirstAndComeOnOnlyAfterTheWrite) {
  ASSERT_TRUE(storage_->followTeam(team(7), true).get());
  bool expectHeld = false;
  int writes = 0;
  observeWrites(DBTableTeam::kTableName, [&](std::int64_t id) {
    ++writes;
    EXPECT_EQ(held("DBCacheTeamNotifications", id), expectHeld) << writes;
  });
  EXPECT_TRUE(storage_->setTeamNotificationsEnabled(false, {7}).get());
  EXPECT_FALSE(storage_->isTeamNotificationEnabled(7));
  EXPECT_TRUE(storage_->setTeamNotificationsEnabled(true, {7}).get());
  EXPECT_TRUE(storage_->isTeamNotificationEnabled(7));
  // Following again with notifications off turns them off first too.
  EXPECT_TRUE(storage_->followTeam(team(7), false).get());
  EXPECT_FALSE(storage_->isTeamNotificationEnabled(7));
  EXPECT_TRUE(storage_->isFavoriteTeam(7));
  EXPECT_GE(writes, 3);
}

TEST_F(StorageManagerCacheRuleTest, PinningAgainMovesTheTournamentToTheEndInMemoryAsInTheTable) {
  ASSERT_TRUE(storage_->pinUniqueTournament(uniqueTournament(1)).get());
  platform::Clock::setFixed(static_cast<double>(kNow + 1));
  ASSERT_TRUE(storage_->pinUniqueTournament(uniqueTournament(2)).get());
  platform::Clock::setFixed(static_cast<double>(kNow + 2));
  EXPECT_TRUE(storage_->pinUniqueTournament(uniqueTournament(1)).get());
  EXPECT_EQ(pinnedIDs(), (std::vector<std::int64_t>{2, 1}));
  EXPECT_EQ(pinnedIDs(), storedPinnedIDs());
  EXPECT_TRUE(storage_->unpinUniqueTournament(2).get());
  EXPECT_EQ(pinnedIDs(), (std::vector<std::int64_t>{1}));
}

TEST_F(StorageManagerCacheRuleTest, PinsStampedWithTheSameTimeAreRememberedInTheTablesOrder) {
  // The clock stays fixed: the table orders the two equal stamps by itself
  // (here by ID), not in the order they were pinned.
  ASSERT_TRUE(storage_->pinUniqueTournament(uniqueTournament(9)).get());
  ASSERT_TRUE(storage_->pinUniqueTournament(uniqueTournament(4)).get());
  EXPECT_EQ(pinnedIDs(), storedPinnedIDs());
  EXPECT_EQ(storedPinnedIDs().size(), 2U);
}

TEST_F(StorageManagerCacheRuleTest, AStageUpdatedWithoutSomeOfItsPartsStaysCachedAsItsRowIs) {
  // The update keeps the stored parent, unique stage and start of a stage
  // that lacks them; the cache must keep them too, or a later delete by
  // unique stage leaves the stage cached after its row went.
  ASSERT_TRUE(storage_->insertStage(stage(3, kNow, 30, 1)).get());
  model::Stage partial = stage(3, std::nullopt);
  partial.desc = "Renamed";
  ASSERT_TRUE(storage_->updateStage(partial).get());
  expectCachesAgreeWithStores("after the partial update");
  EXPECT_EQ(storage_->getFavoriteStageIDsInGroup(30), IDSet{3});
  ASSERT_EQ(storage_->getFavoriteStages().size(), 1u);
  EXPECT_EQ(storage_->getFavoriteStages()[0].desc, "Renamed");

  ASSERT_TRUE(storage_->deleteStagesWithUniqueStageID(1).get());
  EXPECT_FALSE(storage_->isFavoriteStage(3));
  expectCachesAgreeWithStores("after the delete by unique stage");
}

TEST_F(StorageManagerCacheRuleTest, AStageInsertedIsCachedAsItsRowReadsBackInEveryInsertForm) {
  // A member stage without a start of its own is stored with its parent's,
  // and its own competitor and team flags are not stored: the cache must
  // answer what the row gives back, as a facade started later does.
  const auto member = [](std::int64_t id) {
    model::Stage given = stage(id, std::nullopt, 30);
    given.stageEvent->startDateTimestamp = kNow - 3600;
    given.hasCompetitorResults = true;
    given.hasTeamResults = true;
    return given;
  };
  ASSERT_TRUE(storage_->insertStage(member(31)).get());
  ASSERT_TRUE(storage_->insertMutedStage(member(32)).get());
  ASSERT_TRUE(storage_->insertEntityOwnedStage(member(33)).get());
  const auto text = [](const model::Stage& s) {
    return std::to_string(s.ID) + " start " + std::to_string(s.startDateTimestamp.value_or(-1)) +
           " competitors " + std::to_string(s.hasCompetitorResults) + " teams " +
           std::to_string(s.hasTeamResults) + " parent " +
           std::to_string(s.stageEvent ? s.stageEvent->ID : 0);
  };
  std::map<std::int64_t, std::string> cached, stored;
  for (const model::Stage& s : storage_->getFavoriteStages()) cached[s.ID] = text(s);
  const auto rows = storage_->getAllFavoriteStages().get();
  ASSERT_TRUE(rows);
  for (const model::Stage& s : *rows) stored[s.ID] = text(s);
  EXPECT_EQ(cached, stored);
  ASSERT_TRUE(cached.contains(31));
  EXPECT_EQ(cached[31], "31 start " + std::to_string(kNow - 3600) + " competitors 0 teams 0 parent 30");
}

TEST_F(StorageManagerCacheRuleTest, DeletingAGroupsHeadLeavesItsMembersFavouritesAsTheirRowsAre) {
  ASSERT_TRUE(storage_->insertStage(stage(30)).get());            // the race weekend
  ASSERT_TRUE(storage_->insertStage(stage(31, kNow, 30)).get());  // its sessions
  ASSERT_TRUE(storage_->insertStage(stage(32, kNow, 30)).get());
  ASSERT_EQ(storage_->getFavoriteStageIDsInGroup(30), (IDSet{30, 31, 32}));

  ASSERT_TRUE(storage_->deleteStage(30).get());
  EXPECT_FALSE(storage_->isFavoriteStage(30));
  EXPECT_TRUE(storage_->isFavoriteStage(31) && storage_->isFavoriteStage(32));
  EXPECT_EQ(storage_->getFavoriteStageIDsInGroup(30), (IDSet{31, 32}));
  expectCachesAgreeWithStores("after the head went");
}

TEST_F(StorageManagerCacheRuleTest, AFantasyCompetitionIsCachedAfterItsRowAndUncachedBeforeIt) {
  int writes = 0;
  observeWrites(DBTableFantasyCompetition::kTableName, [&](std::int64_t id) {
    ++writes;
    EXPECT_FALSE(held("DBCacheFantasyCompetition", id));
  });
  EXPECT_TRUE(storage_->saveFantasyCompetition(8).get());
  EXPECT_TRUE(storage_->isFantasyCompetitionFollowed(8));
  EXPECT_TRUE(storage_->deleteFantasyCompetition(8).get());
  EXPECT_FALSE(storage_->isFantasyCompetitionFollowed(8));
  EXPECT_EQ(writes, 2);
}

TEST_F(StorageManagerCacheRuleTest, AVoteSavedOrEditedIsInTheCacheBeforeTheStoreHasIt) {
  const auto type = NMEventVoteType(1);
  std::future<bool> saved;
  holdingTheStore([&] {
    saved = std::async(std::launch::async, [&] {
      return storage_->save(NMEventVoteValue(3), type, 5, kNow + 100, false).get();
    });
    EXPECT_TRUE(eventually([&] { return storage_->getVote(5, type) == NMEventVoteValue(3); }));
  });
  ASSERT_EQ(saved.wait_for(kHang), std::future_status::ready);
  EXPECT_TRUE(saved.get());
  settleStore();
  EXPECT_EQ(storedVotes(), std::set<std::string>{"5-bothTeamsToScore=yes"});

  std::future<bool> edited;
  holdingTheStore([&] {
    edited = std::async(std::launch::async,
                        [&] { return storage_->edit(NMEventVoteValue(4), type, 5, true).get(); });
    EXPECT_TRUE(eventually([&] { return storage_->getVote(5, type) == NMEventVoteValue(4); }));
  });
  ASSERT_EQ(edited.wait_for(kHang), std::future_status::ready);
  EXPECT_TRUE(edited.get());
  settleStore();
  EXPECT_EQ(cachedVotes(), storedVotes());
  EXPECT_EQ(storedVotes(), std::set<std::string>{"5-bothTeamsToScore=no"});
}

TEST_F(StorageManagerCacheRuleTest, AVoteWrittenWhileTheCacheIsBeingReadIsShownOnceWritten) {
  // reInit() sends the vote cache's read; held behind the store's queue, it
  // is answered before the write is done, without the value put in first.
  // The write starts on the main queue, where it does not wait for the store.
  const auto type = NMEventVoteType(0);
  const auto writeWhileReading = [&](const std::function<std::future<bool>()>& write) {
    std::future<bool> written;
    holdingTheStore([&] {
      storage_->reInit();
      platform::DispatchQueue::main()->sync([&] { written = write(); });
    });
    ASSERT_EQ(written.wait_for(kHang), std::future_status::ready);
    EXPECT_TRUE(written.get());
    settleStore();
  };
  writeWhileReading([&] { return storage_->save(NMEventVoteValue(1), type, 5, kNow + 100, true); });
  EXPECT_EQ(storage_->getVote(5, type), NMEventVoteValue(1));
  writeWhileReading([&] { return storage_->edit(NMEventVoteValue(2), type, 5, true); });
  EXPECT_EQ(storage_->getVote(5, type), NMEventVoteValue(2));
  EXPECT_EQ(cachedVotes(), storedVotes());
}

TEST_F(StorageManagerCacheRuleTest, EditingAVoteThatIsNotStoredReportsFalseAndForgetsTheValue) {
  const auto type = NMEventVoteType(0);
  EXPECT_FALSE(storage_->edit(NMEventVoteValue(2), type, 9, true).get());
  settleStore();
  EXPECT_FALSE(storage_->getVote(9, type));
  EXPECT_TRUE(cachedVotes().empty());
}

}  // namespace
}  // namespace kestrel
