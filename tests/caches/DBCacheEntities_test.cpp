// The typed operations of the event, team, player and tournament caches:
// IDs and objects kept in step, upserts in place, and which operations fill
// an invalidated cache first and which act on its absent containers.
#include <KestrelDatabase/caches/DBCacheDefaultUniqueTournaments.h>
#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/caches/DBCacheMutedEvent.h>
#include <KestrelDatabase/caches/DBCachePlayer.h>
#include <KestrelDatabase/caches/DBCacheTeam.h>
#include <KestrelDatabase/caches/DBCacheTournament.h>
#include <gtest/gtest.h>

#include <vector>

#include "caches/CacheFixture.h"

namespace kestrel {
namespace {

using V = std::vector<std::int64_t>;
using DBCacheEntitiesTest = testing::CacheTest;

std::int64_t uniqueIdOf(const model::Tournament& tournament) {
  return tournament.uniqueId.value_or(-1);
}

TEST_F(DBCacheEntitiesTest, EventCachesAddToTheFilledSetWithoutReadingAgain) {
  followEvent(1);
  DBCacheEvent events(queue_);
  followEvent(2);  // behind the filled cache's back
  events.cacheEvent(model::Event{.ID = 3});
  events.removeEvent(1);
  EXPECT_EQ(sorted(events.getIDs()), (V{3}));

  // After invalidate() neither operation fills: they act on absent IDs, and
  // the next fill knows only the table.
  events.invalidate();
  events.cacheEvent(model::Event{.ID = 4});
  events.removeEvent(2);
  EXPECT_FALSE(events.IDs());
  EXPECT_EQ(sorted(events.getIDs()), (V{1, 2}));

  DBCacheMutedEvent muted(queue_);
  muted.cacheEvent(model::Event{.ID = 5});
  EXPECT_TRUE(muted.containsID(5));
  muted.removeEvent(5);
  EXPECT_FALSE(muted.containsID(5));
}

TEST_F(DBCacheEntitiesTest, TeamsAreUpsertedInPlaceAndTheOperationsFillFirst) {
  followTeam(team(1, "One"));
  followTeam(team(2, "Two"));
  DBCacheTeam teams(queue_);
  const V order = idsOf(teams.getObjects());

  teams.cacheTeam(team(order[0], "Renamed"));  // equal by ID: replaced where it stands
  teams.cacheTeam(team(3, "Three"));           // new: appended
  const auto objects = teams.getObjects();
  EXPECT_EQ(idsOf(objects), (V{order[0], order[1], 3}));
  EXPECT_EQ(objects[0].name, "Renamed");
  EXPECT_EQ(sorted(teams.getIDs()), (V{1, 2, 3}));

  teams.removeTeamFromCache(order[0]);
  EXPECT_EQ(idsOf(teams.getObjects()), (V{order[1], 3}));
  EXPECT_FALSE(teams.containsID(order[0]));

  // Both fill an invalidated cache first, so their change survives.
  teams.invalidate();
  teams.cacheTeam(team(4));
  EXPECT_EQ(sorted(teams.getIDs()), (V{1, 2, 4}));
  teams.invalidate();
  teams.removeTeamFromCache(1);
  EXPECT_EQ(sorted(teams.getIDs()), (V{2}));
  EXPECT_EQ(idsOf(teams.getObjects()), (V{2}));
}

TEST_F(DBCacheEntitiesTest, PlayerOperationsDoNotFill) {
  followPlayer(model::Player{.ID = 1, .name = "One"});
  DBCachePlayer players(queue_);
  players.cachePlayer(model::Player{.ID = 1, .name = "Renamed"});
  players.cachePlayer(model::Player{.ID = 2});
  EXPECT_EQ(idsOf(players.getObjects()), (V{1, 2}));
  EXPECT_EQ(players.getObjects()[0].name, "Renamed");
  players.removePlayer(2);
  EXPECT_EQ(sorted(players.getIDs()), (V{1}));

  players.invalidate();
  players.cachePlayer(model::Player{.ID = 3});
  players.removePlayer(1);
  EXPECT_FALSE(players.IDs());
  EXPECT_FALSE(players.objects());
  EXPECT_EQ(sorted(players.getIDs()), (V{1}));
}

TEST_F(DBCacheEntitiesTest, TournamentsAreKeyedByUniqueTournament) {
  // Two leagues without a tournament ID of their own (both read back as 0)
  // stay two.
  followTournament(tournament(0, 30, "A"));
  followTournament(tournament(0, 31, "B"));
  DBCacheTournament tournaments(queue_);
  EXPECT_EQ(sorted(tournaments.getIDs()), (V{30, 31}));
  ASSERT_EQ(tournaments.getObjects().size(), 2u);
  const V order = keys(tournaments.getObjects(), uniqueIdOf);

  // Another tournament object of the same unique tournament replaces the
  // cached one at its index: one entry, the new one.
  tournaments.cacheTournament(tournament(900, order[0], "Next season"));
  auto objects = tournaments.getObjects();
  EXPECT_EQ(keys(objects, uniqueIdOf), order);
  EXPECT_EQ(objects[0].ID, 900);
  EXPECT_EQ(objects[0].name, "Next season");

  tournaments.cacheTournament(tournament(0, 32));
  tournaments.removeTournament(order[1]);
  EXPECT_EQ(keys(tournaments.getObjects(), uniqueIdOf), (V{order[0], 32}));
  EXPECT_EQ(sorted(tournaments.getIDs()), (V{order[0], 32}));

  // The base object operations use the model's equality: the tournament's
  // own ID, whatever its unique tournament.
  tournaments.cacheObject(tournament(901, 32));
  EXPECT_EQ(tournaments.getObjects().size(), 3u);
  tournaments.cacheObject(tournament(900, 77));
  EXPECT_EQ(tournaments.getObjects().size(), 3u) << "an equal object (ID 900) is cached";
  tournaments.removeObjectFromCache(tournament(-5, 32));
  EXPECT_EQ(tournaments.getObjects().size(), 3u);
  tournaments.removeObjectFromCache(tournament(901, 99));
  EXPECT_EQ(keys(tournaments.getObjects(), uniqueIdOf), (V{order[0], 32}));

  // A tournament without a unique ID adds no ID.
  tournaments.cacheTournament(model::Tournament{.ID = 5});
  EXPECT_EQ(sorted(tournaments.getIDs()), (V{order[0], 32}));
}

TEST_F(DBCacheEntitiesTest, PinnedTournamentsKeepThePinOrder) {
  pin(model::UniqueTournament{.ID = 2});
  platform::Clock::setFixed(static_cast<double>(kNow + 1));
  pin(model::UniqueTournament{.ID = 1});
  DBCacheDefaultUniqueTournaments pinned(queue_);
  pinned.cacheTournament(model::UniqueTournament{.ID = 2, .name = "Renamed"});
  pinned.cacheTournament(model::UniqueTournament{.ID = 3});
  EXPECT_EQ(idsOf(pinned.getObjects()), (V{2, 1, 3}));
  EXPECT_EQ(pinned.getObjects()[0].name, "Renamed");

  pinned.invalidate();
  pinned.removeTournament(2);  // fills first
  EXPECT_EQ(idsOf(pinned.getObjects()), (V{1}));
  EXPECT_EQ(sorted(pinned.getIDs()), (V{1}));
}

}  // namespace
}  // namespace kestrel
