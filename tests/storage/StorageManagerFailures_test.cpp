// Writes that fail: a database that refuses every write, tables gone from
// under the facade, and an object store whose file is not a database. Every
// future resolves and every handler runs once, with the failure value, and
// the caches end as the stores are.
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <future>
#include <string>
#include <vector>

#include "storage/StorageFixture.h"
#include "support/LogCapture.h"

namespace kestrel {
namespace {

using model::NMEventVoteType;
using model::NMEventVoteValue;
using namespace std::chrono_literals;
using testing::kHang;

template <class T>
T resolved(std::future<T> future) {
  EXPECT_EQ(future.wait_for(kHang), std::future_status::ready) << "a future never resolved";
  return future.get();
}

class StorageManagerFailureTest : public testing::StorageTest {
 protected:
  void exec(const std::string& sql) {
    bool ok = false;
    storage_->dbQueue()->inDatabase([&](FMDatabase* db) { ok = db && db->executeUpdate(sql); });
    ASSERT_TRUE(ok) << sql;
  }

  /// Every table write of the facade once, each in both forms: each future
  /// is false, each handler runs once with false.
  /// Each write once in both forms; each must report false exactly once.
  /// With `storesReadable`, every cache is then compared with its store;
  /// without (the tables are gone), every table-fed cache must be unfilled.
  void everyWriteFails(bool storesReadable = true) {
    const model::TVChannelSuggestion answer{
        .channelId = 11, .eventId = 12, .startTimestamp = kNow, .approve = false};
    StorageManager& s = *storage_;
    const std::vector<std::function<std::future<bool>()>> futures = {
        [&] { return s.insertEvent(event(20), false); },
        [&] { return s.insertEvent(event(21), true); },
        [&] { return s.muteEvent(event(1)); },
        [&] { return s.unmuteEvent(2); },
        [&] { return s.deleteEvent(1); },
        [&] {
          return s.deleteEvents({1, 2});
        },
        [&] { return s.insertStage(stage(22)); },
        [&] { return s.insertMutedStage(stage(23)); },
        [&] { return s.unmuteStage(5); },
        [&] { return s.deleteStage(3); },
        [&] { return s.deleteStagesWithUniqueStageID(1); },
        [&] { return s.followTeam(team(24), true); },
        [&] { return s.followTeam(team(4), false); },
        [&] { return s.unfollowTeam(4); },
        [&] { return s.setTeamNotificationsEnabled(false, {4}); },
        [&] { return s.followPlayer(player(25), true); },
        [&] { return s.unfollowPlayers({6}); },
        [&] { return s.followTournament(tournament(26), true); },
        [&] { return s.unfollowTournament(7); },
        [&] { return s.pinUniqueTournament(uniqueTournament(27)); },
        [&] { return s.unpinAllUniqueTournaments(); },
        [&] { return s.saveFantasyCompetition(28); },
        [&] { return s.deleteFantasyCompetition(9); },
        [&] { return s.saveTvChannelSuggestion(answer); },
    };
    for (std::size_t i = 0; i < futures.size(); ++i) {
      EXPECT_FALSE(resolved(futures[i]())) << "write " << i;
      expectCaches(storesReadable, "future form of write " + std::to_string(i));
    }
    const std::vector<std::function<void(StorageManager::BoolHandler)>> handlers = {
        [&](auto h) { s.insertEvent(event(20), true, h); },
        [&](auto h) { s.deleteEvent(2, h); },
        [&](auto h) { s.insertStage(stage(22), h); },
        [&](auto h) { s.deleteStage(3, h); },
        [&](auto h) { s.followTeam(team(24), false, h); },
        [&](auto h) { s.unfollowTeam(4, h); },
        [&](auto h) { s.unfollowPlayer(6, h); },
        [&](auto h) { s.setTournamentNotificationsEnabled(false, {7}, h); },
        [&](auto h) { s.unpinUniqueTournament(8, h); },
        [&](auto h) { s.saveFantasyCompetition(28, h); },
        [&](auto h) { s.saveTvChannelSuggestion(answer, h); },
    };
    for (std::size_t i = 0; i < handlers.size(); ++i) {
      int calls = 0;
      bool result = true;
      handlers[i]([&](bool ok) {
        ++calls;
        result = ok;
      });
      EXPECT_EQ(calls, 1) << "handler " << i;
      EXPECT_FALSE(result) << "handler " << i;
      expectCaches(storesReadable, "handler form of write " + std::to_string(i));
    }
  }

  void expectCaches(bool storesReadable, const std::string& step) {
    if (storesReadable) return expectCachesAgreeWithStores(step);
    SCOPED_TRACE(step);
    // A failed read is never taken for "nothing stored": no table-fed cache
    // holds a set it did not read.
    for (const char* name :
         {"DBCacheEvent", "DBCacheMutedEvent", "DBCacheTeam", "DBCacheTeamNotifications",
          "DBCachePlayer", "DBCacheTournament", "DBCacheFantasyCompetition"}) {
      EXPECT_FALSE(cache(name).IDs().has_value()) << name;
    }
  }
};

TEST_F(StorageManagerFailureTest, ADatabaseRefusingWritesLeavesEveryCacheAsTheStoreIs) {
  storeOneOfEach();
  exec("PRAGMA query_only = ON");
  testing::LogCapture log;  // the refused statements are logged
  everyWriteFails();
  EXPECT_GT(log.countContaining("DB Error"), 0u);

  // Nothing stored was lost, and memory still answers for it.
  EXPECT_EQ(storage_->getFavoriteEventIDs(), (IDSet{1, 2}));
  EXPECT_TRUE(storage_->isFavoriteTeam(4) && storage_->isTeamNotificationEnabled(4));
  EXPECT_TRUE(storage_->isPinned(8) && storage_->isFantasyCompetitionFollowed(9));
  EXPECT_TRUE(storage_->isFavoriteStage(3) && storage_->isMutedStage(5));

  exec("PRAGMA query_only = OFF");
  EXPECT_TRUE(storage_->insertEvent(event(20), false).get());
  EXPECT_TRUE(storage_->isFavoriteEvent(20));
}

TEST_F(StorageManagerFailureTest, TablesGoneFromUnderTheFacadeLeaveTheCachesUnfilledUntilBack) {
  storeOneOfEach();
  testing::LogCapture log;
  for (const char* table :
       {DBTableEvent::kTableName, DBTableStage::kTableName, DBTableTeam::kTableName,
        DBTablePlayer::kTableName, DBTableTournament::kTableName,
        DBTablePinnedUniqueTournaments::kTableName, DBTableFantasyCompetition::kTableName,
        DBTableTvChannels::kTableName}) {
    exec(std::string("DROP TABLE IF EXISTS ") + table);
  }
  // What memory held before goes; the failed reads leave the caches
  // unfilled (answering nothing), never filled with an empty set.
  for (DBCacheAbstract* cache : storage_->allCaches()) cache->invalidate();
  everyWriteFails(/*storesReadable=*/false);
  EXPECT_TRUE(storage_->getFavoriteEventIDs().empty());
  EXPECT_TRUE(storage_->getFavoriteTeamIDs().empty());
  EXPECT_TRUE(storage_->getPinnedUniqueTournaments().empty());

  // reInit makes the tables again, and the facade works on them.
  storage_->reInit();
  EXPECT_TRUE(storage_->followTeam(team(4), true).get());
  EXPECT_TRUE(storage_->isTeamNotificationEnabled(4));
  expectCachesAgreeWithStores("after reInit");
}

// An object store whose file is not a database: it never loads.
class StorageManagerBrokenStoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const std::filesystem::path file = DataManager::storePath(home_.path());
    std::filesystem::create_directories(file.parent_path());
    std::ofstream(file, std::ios::trunc) << "not a database, just some text of enough length";
    dataManager_ = DataManager::forHome(home_.path());
    storage_ = StorageManager::forHome(home_.path(), dataManager_);
  }
  void TearDown() override {
    storage_.reset();
    dataManager_.reset();
    platform::DispatchQueue::main()->waitUntilDrained();
  }

  testing::TempDir home_;
  std::shared_ptr<DataManager> dataManager_;
  std::shared_ptr<StorageManager> storage_;
};

TEST_F(StorageManagerBrokenStoreTest, EveryStoreOperationResolvesWithItsFailureValue) {
  StorageManager& s = *storage_;
  const auto type = NMEventVoteType(0);
  EXPECT_FALSE(resolved(s.save(NMEventVoteValue(0), type, 1, 1, true)));
  EXPECT_FALSE(resolved(s.edit(NMEventVoteValue(1), type, 1, true)));
  EXPECT_FALSE(resolved(s.markAsAdded(1, type)));
  EXPECT_FALSE(resolved(s.markAsEdited(1, type)));
  EXPECT_FALSE(resolved(s.getUnsuccessfulVotes()));  // a failure, not "none"
  EXPECT_FALSE(resolved(s.deleteVotes()));
  EXPECT_FALSE(resolved(s.markHighlightWatched(2, "https://clip", 1)));
  EXPECT_FALSE(resolved(s.fetchHighlight(2)));
  EXPECT_FALSE(resolved(s.followUniqueStage(3)));
  EXPECT_FALSE(resolved(s.unfollowUniqueStage(3)));
  EXPECT_FALSE(resolved(s.deleteUniqueStages()));
  EXPECT_FALSE(resolved(s.saveScoreSuggestion("s1", 1, {})));
  EXPECT_FALSE(resolved(s.getScoreSuggestion(1)));
  EXPECT_FALSE(resolved(s.saveRecentSearch(4, "team", {})));
  EXPECT_FALSE(resolved(s.getRecentSearches()));
  EXPECT_FALSE(resolved(s.savePlayerValueVote(5, true, 100)));
  EXPECT_FALSE(resolved(s.getPlayerValueVote(5)));
  EXPECT_FALSE(resolved(s.markNewsItemAsRead("n1")));
  EXPECT_FALSE(resolved(s.isNewsItemRead("n1")));

  // The caches fed from the store hold nothing it does not.
  EXPECT_FALSE(s.getVote(1, type));
  EXPECT_FALSE(s.isHighlightWatched(2));
  EXPECT_FALSE(s.isFollowedUniqueStage(3));

  // The handler forms run once each, with the failure value.
  std::atomic<int> calls = 0;
  std::atomic<int> succeeded = 0;
  std::vector<std::promise<void>> done(5);
  const auto handler = [&](std::size_t i) {
    return [&, i](bool ok) {
      ++calls;
      if (ok) ++succeeded;
      done[i].set_value();
    };
  };
  s.save(NMEventVoteValue(2), type, 6, 1, false, handler(0));
  s.edit(NMEventVoteValue(2), type, 6, false, handler(1));
  s.markHighlightWatched(7, std::nullopt, 1, handler(2));
  s.followUniqueStage(8, handler(3));
  s.deleteVotes(handler(4));
  for (auto& promise : done) {
    EXPECT_EQ(promise.get_future().wait_for(kHang), std::future_status::ready);
  }
  EXPECT_EQ(calls, 5);
  EXPECT_EQ(succeeded, 0);
  EXPECT_FALSE(s.getVote(6, type));
  EXPECT_FALSE(s.isHighlightWatched(7));
  EXPECT_FALSE(s.isFollowedUniqueStage(8));

  // The relational store is not held up by it.
  EXPECT_TRUE(s.insertEvent(model::Event{.ID = 9, .startTimestamp = 1}, false).get());
  EXPECT_TRUE(s.isFavoriteEvent(9));
}

}  // namespace
}  // namespace kestrel
