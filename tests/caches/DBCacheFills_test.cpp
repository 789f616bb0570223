// How the thirteen caches fed from tables fill: each from its own read,
// filled (never absent) when the read finds nothing or fails, never waiting
// when the queue is gone, and stopping the process when used from inside a
// block of the database queue.
#include <KestrelDatabase/caches/DBCacheDefaultUniqueTournaments.h>
#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/caches/DBCacheFantasyCompetition.h>
#include <KestrelDatabase/caches/DBCacheMutedEvent.h>
#include <KestrelDatabase/caches/DBCacheMutedStage.h>
#include <KestrelDatabase/caches/DBCachePlayer.h>
#include <KestrelDatabase/caches/DBCachePlayerNotifications.h>
#include <KestrelDatabase/caches/DBCacheStage.h>
#include <KestrelDatabase/caches/DBCacheTeam.h>
#include <KestrelDatabase/caches/DBCacheTeamNotifications.h>
#include <KestrelDatabase/caches/DBCacheTournament.h>
#include <KestrelDatabase/caches/DBCacheTournamentNotifications.h>
#include <KestrelDatabase/caches/DBCacheTvChannels.h>
#include <gtest/gtest.h>

#include <any>
#include <filesystem>
#include <string>
#include <vector>

#include "caches/CacheFixture.h"

namespace kestrel {
namespace {

using V = std::vector<std::int64_t>;

class DBCacheFillsTest : public testing::CacheTest {
 protected:
  /// Every waiting cache made with `queue`, each checked to be filled and
  /// empty.
  void expectAllFilledAndEmpty(const DBCacheAbstract::WeakQueue& queue) {
    for (const auto& cache : testing::waitingCaches()) {
      const auto made = cache.make(queue);
      EXPECT_EQ(cache.filled(*made), std::optional<std::size_t>(0)) << cache.name;
      EXPECT_TRUE(made->getIDs().empty()) << cache.name;
      EXPECT_TRUE(made->ids().empty()) << cache.name;
    }
  }
};

TEST_F(DBCacheFillsTest, EachCacheFillsFromItsOwnRead) {
  followEvent(1);
  followEvent(2, /*muted=*/true);
  followTeam(team(10), /*notifications=*/true);
  followTeam(team(11));
  followPlayer(model::Player{.ID = 20}, /*notifications=*/true);
  followPlayer(model::Player{.ID = 21});
  followTournament(tournament(300, 30), /*notifications=*/true);
  followTournament(tournament(301, 31));
  pin(model::UniqueTournament{.ID = 41});
  platform::Clock::setFixed(static_cast<double>(kNow + 1));  // pinned later
  pin(model::UniqueTournament{.ID = 40});
  followStage(stage(50));
  followStage(stage(51, /*parent=*/50));
  muteStage(stage(52));
  answerTvChannel(model::TVChannelSuggestion{.channelId = 7, .eventId = 1, .approve = true});
  followCompetition(60);

  EXPECT_EQ(sorted(DBCacheEvent(queue_).getIDs()), (V{1, 2}));  // muted favourites too
  EXPECT_EQ(sorted(DBCacheMutedEvent(queue_).getIDs()), (V{2}));
  EXPECT_EQ(sorted(DBCacheTeam(queue_).getIDs()), (V{10, 11}));
  EXPECT_EQ(sorted(DBCacheTeamNotifications(queue_).getIDs()), (V{10}));
  EXPECT_EQ(sorted(DBCachePlayer(queue_).getIDs()), (V{20, 21}));
  EXPECT_EQ(sorted(DBCachePlayerNotifications(queue_).getIDs()), (V{20}));
  EXPECT_EQ(sorted(DBCacheTournament(queue_).getIDs()), (V{30, 31}));
  EXPECT_EQ(sorted(DBCacheTournamentNotifications(queue_).getIDs()), (V{30}));
  EXPECT_EQ(sorted(DBCacheFantasyCompetition(queue_).getIDs()), (V{60}));

  // The objects come with the IDs, in the read's order where it has one.
  DBCacheDefaultUniqueTournaments pinned(queue_);
  EXPECT_EQ(idsOf(pinned.getObjects()), (V{41, 40}));
  EXPECT_EQ(sorted(pinned.getIDs()), (V{40, 41}));
  EXPECT_EQ(sortedIdsOf(DBCacheTeam(queue_).getObjects()), (V{10, 11}));
  EXPECT_EQ(sortedIdsOf(DBCachePlayer(queue_).getObjects()), (V{20, 21}));

  DBCacheStage stages(queue_);
  EXPECT_EQ(sortedIdsOf(stages.getObjects()), (V{50, 51, 52}));  // muted ones too
  EXPECT_EQ(stages.getObjectForKey(51), 50);
  EXPECT_EQ(sortedIdsOf(DBCacheMutedStage(queue_).getObjects()), (V{52}));

  DBCacheTvChannels channels(queue_);
  ASSERT_EQ(channels.getObjects().size(), 1u);
  EXPECT_EQ(channels.getObjects()[0].channelId, 7);
  EXPECT_TRUE(channels.getObjects()[0].approve);
  EXPECT_FALSE(channels.IDs());  // only the objects are used
  EXPECT_FALSE(channels.dictionary());
}

TEST_F(DBCacheFillsTest, AFailedReadLeavesTheCacheUnfilledAndTheNextOperationReadsAgain) {
  // Nothing stored: filled, and empty.
  expectAllFilledAndEmpty(queue_);

  // Every table gone: each read logs its failure, and no cache takes that
  // for "nothing stored".
  for (const char* table :
       {DBTableEvent::kTableName, DBTableStage::kTableName, DBTableTeam::kTableName,
        DBTablePlayer::kTableName, DBTableTournament::kTableName,
        DBTablePinnedUniqueTournaments::kTableName, DBTableTvChannels::kTableName,
        DBTableFantasyCompetition::kTableName}) {
    exec(std::string("DROP TABLE IF EXISTS ") + table);
  }
  logs_.clear();
  std::vector<std::unique_ptr<DBCacheAbstract>> caches;
  for (const auto& cache : testing::waitingCaches()) {
    caches.push_back(cache.make(queue_));
    EXPECT_EQ(cache.filled(*caches.back()), std::nullopt) << cache.name;
    EXPECT_TRUE(caches.back()->getIDs().empty()) << cache.name;
  }
  EXPECT_GT(logs_.countContaining("no such table"), 0u);

  // The tables back, with rows: the same caches read again at their next
  // operation and hold what is stored.
  helper_->createTables();
  followEvent(1);
  followTeam(team(10), /*notifications=*/true);
  followCompetition(60);
  for (std::size_t i = 0; i < caches.size(); ++i) {
    caches[i]->initCache();
    EXPECT_TRUE(testing::waitingCaches()[i].filled(*caches[i]).has_value())
        << testing::waitingCaches()[i].name;
  }
  EXPECT_TRUE(caches.front()->containsID(1)) << "DBCacheEvent";

  // The connection lost for good: every refill fails, and each cache is
  // unfilled again rather than empty.
  queue_->close();
  std::filesystem::remove_all(home_.path() / "Documents");
  for (std::size_t i = 0; i < caches.size(); ++i) {
    caches[i]->invalidate();
    caches[i]->initCache();
    EXPECT_EQ(testing::waitingCaches()[i].filled(*caches[i]), std::nullopt)
        << testing::waitingCaches()[i].name;
  }
}

TEST_F(DBCacheFillsTest, WithoutItsQueueACacheStaysAbsentAndNeverWaits) {
  followEvent(1);
  // Made without a queue.
  for (const auto& cache : testing::waitingCaches()) {
    const auto made = cache.make({});
    EXPECT_FALSE(cache.filled(*made)) << cache.name;
    EXPECT_TRUE(made->getIDs().empty()) << cache.name;
    EXPECT_FALSE(made->containsID(1)) << cache.name;
  }

  // The queue dropped by its owners after the cache was filled: the refill
  // after invalidate() is sent to nothing.
  std::vector<std::unique_ptr<DBCacheAbstract>> caches;
  for (const auto& cache : testing::waitingCaches()) caches.push_back(cache.make(queue_));
  EXPECT_TRUE(caches.front()->containsID(1));
  queue_.reset();
  helper_.reset();
  for (std::size_t i = 0; i < caches.size(); ++i) {
    caches[i]->invalidate();
    caches[i]->initCache();
    EXPECT_TRUE(caches[i]->getIDs().empty()) << testing::waitingCaches()[i].name;
    EXPECT_FALSE(testing::waitingCaches()[i].filled(*caches[i]));
  }
}

TEST_F(DBCacheFillsTest, FantasyCompetitionsFillOnlyFromADatabaseQueue) {
  followCompetition(60);
  EXPECT_EQ(sorted(DBCacheFantasyCompetition(queue_).getIDs()), (V{60}));
  EXPECT_EQ(sorted(DBCacheFantasyCompetition(std::any(queue_)).getIDs()), (V{60}));
  EXPECT_EQ(
      sorted(DBCacheFantasyCompetition(std::any(DBCacheAbstract::WeakQueue(queue_))).getIDs()),
      (V{60}));

  // No queue, or something that is not a database queue: never filled.
  for (DBCacheFantasyCompetition* cache :
       {new DBCacheFantasyCompetition(), new DBCacheFantasyCompetition(std::any()),
        new DBCacheFantasyCompetition(std::any(std::string("kestrel.db")))}) {
    const std::unique_ptr<DBCacheFantasyCompetition> owned(cache);
    EXPECT_FALSE(cache->IDs());
    EXPECT_TRUE(cache->getIDs().empty());
    cache->cacheID(61);  // on absent IDs: no effect
    EXPECT_FALSE(cache->IDs());
  }
}

using DBCacheFillsDeathTest = DBCacheFillsTest;

TEST_F(DBCacheFillsDeathTest, AnOperationFromInsideTheDatabaseQueueStopsTheProcess) {
  followEvent(1);
  DBCacheEvent events(queue_);
  DBCacheTeam teams(queue_);
  const auto queue = queue_;
  // Even on a filled cache, which would not need the queue itself: another
  // thread could hold its lock while waiting for this very block.
  EXPECT_DEATH(queue->inDatabase([&](FMDatabase*) { (void)events.containsID(1); }),
               "DBCacheEvent: containsID was called from inside a block of the database queue");
  // A cache update from a table completion.
  EXPECT_DEATH(DBTableTeam::getTeams(queue, [&](auto) { teams.cacheTeam(team(3)); }),
               "DBCacheTeam: cacheTeam was called from inside a block of the database queue");
  // A fill, from a cache built inside a transaction.
  EXPECT_DEATH(queue->inTransaction([&](FMDatabase*, bool*) { DBCacheMutedEvent muted(queue); }),
               "DBCacheMutedEvent: initCache was called from inside a block");
  // Nothing happened here.
  EXPECT_TRUE(events.containsID(1));
}

}  // namespace
}  // namespace kestrel
