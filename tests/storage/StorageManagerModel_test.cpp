// A seeded random walk of facade operations over every entity, both forms
// mixed, with each cache's answers compared after every step with what a
// fresh read of its store says. A cache that drifts from its store (an
// addition before a failed write, a removal forgotten in a cascade, a
// stale entry after a pruning) shows up at the step that caused it.
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <random>
#include <string>
#include <vector>

#include "storage/StorageFixture.h"

namespace kestrel {
namespace {

using model::NMEventVoteType;
using model::NMEventVoteValue;

class StorageManagerModelTest : public testing::StorageTest {
 protected:
  std::int64_t pick(std::int64_t low, std::int64_t high) {
    return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
  }
  bool chance(int percent) { return pick(1, 100) <= percent; }
  IDSet someOf(std::int64_t low, std::int64_t high) {
    IDSet ids;
    for (std::int64_t n = pick(0, 4); n > 0; --n) ids.insert(pick(low, high));
    return ids;
  }

  /// A table operation: the future form must be ready when it returns, the
  /// handler form must have run once before it returns.
  void run(const std::function<std::future<bool>()>& future,
           const std::function<void(StorageManager::BoolHandler)>& handler) {
    if (chance(50)) {
      std::future<bool> result = future();
      ASSERT_EQ(result.wait_for(std::chrono::seconds(0)), std::future_status::ready);
      (void)result.get();
    } else {
      int calls = 0;
      handler([&calls](bool) { ++calls; });
      ASSERT_EQ(calls, 1);
    }
  }

  // Each entity keeps its shape whatever the step: a stage's parent and
  // unique stage follow from its ID, so that a rewrite never moves it.
  model::Event randomEvent() {
    const std::int64_t start = kNow + pick(-10, 3) * 86400 + pick(0, 3600);
    const int status = static_cast<int>(pick(1, 3));
    return event(pick(1, 40), start, status, chance(60) ? pick(1, 6) : 0,
                 chance(40) ? pick(1, 4) : 0);
  }
  model::Stage randomStage() {
    const std::int64_t id = pick(1, 30);
    std::optional<std::int64_t> start = kNow + pick(-10, 3) * 86400;
    if (chance(5)) start.reset();
    model::Stage s = stage(id, start, id % 3 == 0 ? 0 : 1000 + id % 4, 1 + id % 3);
    s.status = model::EventStatus(pick(1, 3));
    return s;
  }

  void eventStep() {
    StorageManager& s = *storage_;
    const model::Event e = randomEvent();
    switch (pick(0, 8)) {
      case 0:
      case 1: {
        const bool muted = chance(25);
        run([&] { return s.insertEvent(e, muted); }, [&](auto h) { s.insertEvent(e, muted, h); });
        break;
      }
      case 2:
        run([&] { return s.insertEntityOwnedEvent(e); }, [&](auto h) { s.insertEntityOwnedEvent(e, h); });
        break;
      case 3:
        run([&] { return s.muteEvent(e); }, [&](auto h) { s.muteEvent(e, h); });
        break;
      case 4:
        run([&] { return s.unmuteEvent(e.ID); }, [&](auto h) { s.unmuteEvent(e.ID, h); });
        break;
      case 5:
        run([&] { return s.deleteEvent(e.ID); }, [&](auto h) { s.deleteEvent(e.ID, h); });
        break;
      case 6: {
        const IDSet ids = someOf(1, 40);
        run([&] { return s.deleteEvents(ids); }, [&](auto h) { s.deleteEvents(ids, h); });
        break;
      }
      case 7:
        run([&] { return s.updateEvent(e); }, [&](auto h) { s.updateEvent(e, h); });
        break;
      default:
        if (chance(50)) {
          run([&] { return s.deleteFinishedEvents(); }, [&](auto h) { s.deleteFinishedEvents(h); });
        } else {
          run([&] { return s.deleteOldEvents(); }, [&](auto h) { s.deleteOldEvents(h); });
        }
    }
  }

  void stageStep() {
    StorageManager& s = *storage_;
    const model::Stage st = randomStage();
    switch (pick(0, 9)) {
      case 0:
      case 1:
        run([&] { return s.insertStage(st); }, [&](auto h) { s.insertStage(st, h); });
        break;
      case 2:
        run([&] { return s.insertMutedStage(st); }, [&](auto h) { s.insertMutedStage(st, h); });
        break;
      case 3:
        run([&] { return s.insertEntityOwnedStage(st); }, [&](auto h) { s.insertEntityOwnedStage(st, h); });
        break;
      case 4:
        run([&] { return s.updateStage(st); }, [&](auto h) { s.updateStage(st, h); });
        break;
      case 5:
        run([&] { return s.muteStage(st); }, [&](auto h) { s.muteStage(st, h); });
        break;
      case 6:
        run([&] { return s.unmuteStage(st.ID); }, [&](auto h) { s.unmuteStage(st.ID, h); });
        break;
      case 7:
        run([&] { return s.deleteStage(st.ID); }, [&](auto h) { s.deleteStage(st.ID, h); });
        break;
      case 8: {
        const std::int64_t unique = pick(1, 3);
        run([&] { return s.deleteStagesWithUniqueStageID(unique); },
            [&](auto h) { s.deleteStagesWithUniqueStageID(unique, h); });
        break;
      }
      default:
        if (chance(50)) {
          run([&] { return s.deleteFinishedStages(); }, [&](auto h) { s.deleteFinishedStages(h); });
        } else {
          run([&] { return s.deleteOldStages(); }, [&](auto h) { s.deleteOldStages(h); });
        }
    }
  }

  void followedStep() {
    StorageManager& s = *storage_;
    const std::int64_t id = pick(1, 6);
    const bool on = chance(50);
    const IDSet ids = someOf(1, 6);
    switch (pick(0, 10)) {
      case 0:
        run([&] { return s.followTeam(team(id), on); }, [&](auto h) { s.followTeam(team(id), on, h); });
        break;
      case 1:
        run([&] { return s.unfollowTeam(id); }, [&](auto h) { s.unfollowTeam(id, h); });
        break;
      case 2:
        run([&] { return s.setTeamNotificationsEnabled(on, ids); },
            [&](auto h) { s.setTeamNotificationsEnabled(on, ids, h); });
        break;
      case 3:
        run([&] { return s.followPlayer(player(id), on); }, [&](auto h) { s.followPlayer(player(id), on, h); });
        break;
      case 4:
        if (chance(50)) {
          run([&] { return s.unfollowPlayer(id); }, [&](auto h) { s.unfollowPlayer(id, h); });
        } else {
          run([&] { return s.unfollowPlayers(ids); }, [&](auto h) { s.unfollowPlayers(ids, h); });
        }
        break;
      case 5:
        run([&] { return s.setPlayerNotificationsEnabled(on, ids); },
            [&](auto h) { s.setPlayerNotificationsEnabled(on, ids, h); });
        break;
      case 6: {
        const std::int64_t unique = pick(1, 4);
        run([&] { return s.followTournament(tournament(unique), on); },
            [&](auto h) { s.followTournament(tournament(unique), on, h); });
        break;
      }
      case 7: {
        const std::int64_t unique = pick(1, 4);
        run([&] { return s.unfollowTournament(unique); }, [&](auto h) { s.unfollowTournament(unique, h); });
        break;
      }
      case 8:
        run([&] { return s.setTournamentNotificationsEnabled(on, ids); },
            [&](auto h) { s.setTournamentNotificationsEnabled(on, ids, h); });
        break;
      case 9:
        if (chance(85)) {
          run([&] { return s.pinUniqueTournament(uniqueTournament(id)); },
              [&](auto h) { s.pinUniqueTournament(uniqueTournament(id), h); });
        } else if (chance(80)) {
          run([&] { return s.unpinUniqueTournament(id); }, [&](auto h) { s.unpinUniqueTournament(id, h); });
        } else {
          run([&] { return s.unpinAllUniqueTournaments(); }, [&](auto h) { s.unpinAllUniqueTournaments(h); });
        }
        break;
      default:
        if (chance(60)) {
          run([&] { return s.saveFantasyCompetition(id); }, [&](auto h) { s.saveFantasyCompetition(id, h); });
        } else {
          run([&] { return s.deleteFantasyCompetition(id); }, [&](auto h) { s.deleteFantasyCompetition(id, h); });
        }
    }
  }

  void tvStep() {
    model::TVChannelSuggestion suggestion{.channelId = pick(1, 3), .eventId = pick(1, 5),
                                          .startTimestamp = kNow + pick(-9, 2) * 86400,
                                          .approve = chance(50)};
    if (chance(10)) suggestion.eventId.reset();  // refused: no row, no cache entry
    StorageManager& s = *storage_;
    run([&] { return s.saveTvChannelSuggestion(suggestion); },
        [&](auto h) { s.saveTvChannelSuggestion(suggestion, h); });
  }

  /// An object-store step: its futures resolve later, so the step waits for
  /// the store and the main queue before the object-store caches are compared.
  void storeStep() {
    StorageManager& s = *storage_;
    const std::int64_t id = pick(1, 8);
    const auto type = static_cast<NMEventVoteType>(pick(0, 1));
    const auto value = static_cast<NMEventVoteValue>(pick(0, 2));
    switch (pick(0, 6)) {
      case 0:
      case 1:
        (void)s.save(value, type, id, kNow, chance(50)).get();
        break;
      case 2:
        (void)s.edit(value, type, id, chance(50)).get();  // false for a vote not stored
        break;
      case 3:
        if (chance(20)) (void)s.deleteVotes().get();
        break;
      case 4:
        (void)s.markHighlightWatched(id, "https://clips/" + std::to_string(id), kNow).get();
        break;
      default:
        if (chance(60)) {
          (void)s.followUniqueStage(id).get();
        } else if (chance(85)) {
          (void)s.unfollowUniqueStage(id).get();
        } else {
          (void)s.deleteUniqueStages().get();
        }
    }
    settleStore();
    EXPECT_EQ(cachedVotes(), storedVotes());
    EXPECT_EQ(testing::StorageTest::cache("DBCacheHighlights").getIDs().size(), storedHighlightIDs().size());
    for (std::int64_t n = 1; n <= 8; ++n) {
      EXPECT_EQ(s.isHighlightWatched(n), storedHighlightIDs().contains(n)) << "highlight " << n;
    }
    EXPECT_EQ(s.getFollowedUniqueStageIDs(), storedUniqueStageIDs());
  }

  std::mt19937_64 random_;
};

TEST_F(StorageManagerModelTest, EveryCacheAgreesWithItsStoreAfterEachOfThreeThousandSteps) {
  constexpr std::uint64_t kSeed = 20240613;
  random_.seed(kSeed);
  double now = static_cast<double>(kNow);
  for (int step = 0; step < 3000; ++step) {
    // Time moves on a little, so pins keep their order and the windows move.
    now += 1;
    platform::Clock::setFixed(now);
    const std::int64_t kind = pick(1, 100);
    if (kind <= 30) {
      eventStep();
    } else if (kind <= 55) {
      stageStep();
    } else if (kind <= 85) {
      followedStep();
    } else if (kind <= 92) {
      tvStep();
    } else if (kind <= 97) {
      storeStep();
    } else if (kind <= 99) {
      storage_->clearEventCache();
    } else {
      storage_->reInit();
      settleStore();
    }
    expectCachesAgreeWithStores("seed " + std::to_string(kSeed) + ", step " + std::to_string(step));
    if (HasFailure()) break;
  }
}

}  // namespace
}  // namespace kestrel
