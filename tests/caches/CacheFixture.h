// What the cache tests share: a fresh database with all twelve tables in a
// temporary home, the clock fixed, and writes through the table classes, so
// that a cache fills from rows the tables themselves wrote.
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelDatabase/schema/FMDBHelper.h>
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
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace kestrel::testing {

/// One of the thirteen caches that fill from a table, made with a queue.
struct WaitingCache {
  const char* name;
  std::function<std::unique_ptr<DBCacheAbstract>(DBCacheAbstract::WeakQueue queue)> make;
  /// Through the plain accessors: the number of entries of the containers
  /// the cache fills, or nothing when one of them is absent.
  std::function<std::optional<std::size_t>(const DBCacheAbstract& cache)> filled;
};
/// All thirteen, in the facade's order.
const std::vector<WaitingCache>& waitingCaches();

class CacheTest : public ::testing::Test {
 protected:
  static constexpr std::int64_t kNow = 1'700'000'000;

  void SetUp() override {
    platform::Clock::setFixed(static_cast<double>(kNow));
    helper_ = FMDBHelper::forHome(home_.path());
    queue_ = helper_->getDBQueue();
    ASSERT_NE(queue_, nullptr);
  }
  void TearDown() override {
    queue_.reset();
    helper_.reset();
    platform::Clock::reset();
  }

  void exec(const std::string& sql) {
    bool ok = false;
    queue_->inDatabase([&](FMDatabase* db) { ok = db && db->executeUpdate(sql); });
    ASSERT_TRUE(ok) << sql;
  }

  // ---- Rows, written by the tables --------------------------------------------------

  void followEvent(std::int64_t id, bool muted = false) {
    const model::Event event{.ID = id, .startTimestamp = kNow, .status = model::EventStatus(3)};
    DBTableEvent::insertEvent(event, muted, queue_, expectTrue("event"));
  }
  void followTeam(const model::Team& team, bool notifications = false) {
    EXPECT_TRUE(DBTableTeam::saveTeam(team, notifications, queue_).get()) << team.ID;
  }
  void followPlayer(const model::Player& player, bool notifications = false) {
    EXPECT_TRUE(DBTablePlayer::savePlayer(player, notifications, queue_).get()) << player.ID;
  }
  void followTournament(const model::Tournament& tournament, bool notifications = false) {
    EXPECT_TRUE(DBTableTournament::saveTournament(tournament, notifications, queue_).get());
  }
  void pin(const model::UniqueTournament& tournament) {
    DBTablePinnedUniqueTournaments::saveUniqueTournament(tournament, queue_, expectTrue("pin"));
  }
  void followStage(const model::Stage& stage) {
    DBTableStage::insertStage(stage, queue_, expectTrue("stage"));
  }
  void muteStage(const model::Stage& stage) {
    DBTableStage::insertMutedStage(stage, queue_, expectTrue("muted stage"));
  }
  void answerTvChannel(const model::TVChannelSuggestion& suggestion) {
    DBTableTvChannels::saveTvChannelSuggestion(suggestion, queue_, expectTrue("suggestion"));
  }
  void followCompetition(std::int64_t id) {
    EXPECT_TRUE(DBTableFantasyCompetition::saveCompetition(id, queue_).get()) << id;
  }

  // ---- Model values ---------------------------------------------------------------

  static model::Team team(std::int64_t id, std::string name = "Team") {
    return model::Team{.ID = id, .name = std::move(name)};
  }
  static model::Tournament tournament(std::int64_t id, std::int64_t uniqueId,
                                      std::string name = "League") {
    return model::Tournament{.ID = id, .name = std::move(name), .uniqueId = uniqueId};
  }
  /// A stage starting an hour from now, under `parent` when given.
  static model::Stage stage(std::int64_t id, std::optional<std::int64_t> parent = std::nullopt) {
    model::Stage out{.ID = id, .startDateTimestamp = kNow + 3600};
    if (parent) out.stageEvent = std::make_shared<model::Stage>(model::Stage{.ID = *parent});
    return out;
  }

  /// IDs of objects in their order.
  template <class Objects, class KeyOf>
  static std::vector<std::int64_t> keys(const Objects& objects, KeyOf keyOf) {
    std::vector<std::int64_t> out;
    for (const auto& object : objects) out.push_back(keyOf(object));
    return out;
  }
  template <class Objects>
  static std::vector<std::int64_t> idsOf(const Objects& objects) {
    return keys(objects, [](const auto& object) { return object.ID; });
  }
  template <class Objects>
  static std::vector<std::int64_t> sortedIdsOf(const Objects& objects) {
    auto out = idsOf(objects);
    std::sort(out.begin(), out.end());
    return out;
  }
  template <class Set>
  static std::vector<std::int64_t> sorted(const Set& set) {
    std::vector<std::int64_t> out(set.begin(), set.end());
    std::sort(out.begin(), out.end());
    return out;
  }

  LogCapture logs_;
  TempDir home_;
  std::unique_ptr<FMDBHelper> helper_;
  std::shared_ptr<FMDatabaseQueue> queue_;

 private:
  static BoolCompletion expectTrue(std::string what) {
    return [what](bool ok) { EXPECT_TRUE(ok) << what; };
  }
};

}  // namespace kestrel::testing
