// A seeded random walk of facade operations whose oracle is FacadeModel: what
// the application did, kept by the facade's rules, never read back from a
// table or the object store. After every step the facade's answers from
// memory are compared with the model; every few steps, and at the end, its
// reads and a new facade on the same home are compared too. A store that
// gets a value wrong (an ID cut to 32 bits, a cascade too wide, a pruning
// off by one second) disagrees with the model even when cache and table
// agree with each other.
//
// The walk uses IDs across the 64-bit range (above 2^31, negative, and
// pairs that share their low 32 bits), stage groups whose heads come and
// go while their members stay, object-store writes left unawaited and
// issued from several threads at once, reInit() alone and after clearDB(),
// and a clock moved to just inside and just outside each retention bound
// before the prunings and cleanDB() run. Both forms of every operation are
// used. A failure names the seed and the step, to replay it.
#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstdint>
#include <functional>
#include <future>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "storage/FacadeModel.h"
#include "storage/StorageFixture.h"

namespace kestrel {
namespace {

using testing::FacadeModel;
using ID = std::int64_t;
using model::NMEventVoteType;
using model::NMEventVoteValue;

constexpr ID k32 = ID{1} << 32;
constexpr ID kMax = std::numeric_limits<ID>::max();
constexpr ID kMin = std::numeric_limits<ID>::min();

// ID pools: small ones, some above 2^31, negative ones, the extremes, and
// pairs whose low 32 bits are equal (x and x + 2^32, -x and x).
const std::vector<ID> kEventIDs = {1,       2,       7,        (ID{1} << 31) + 7, k32 + 1,
                                   k32 + 7, -1,      -k32 + 7, kMax,              kMin + 1,
                                   kMin,    (ID{1} << 31)};
const std::vector<ID> kTeamIDs = {5, k32 + 5, -5, kMax - 1};
const ID kUnfollowedTeam = 9;  // plays, is never followed
const std::vector<ID> kLeagueIDs = {11, k32 + 11, -11};
const std::vector<ID> kPlayerIDs = {21, k32 + 21, -21, ID{1} << 40};
const std::vector<ID> kPinIDs = {31, k32 + 31, -31, kMin + 31};
const std::vector<ID> kFantasyIDs = {41, k32 + 41, -41, kMax};
const std::vector<ID> kHighlightIDs = {51, k32 + 51, -51, (ID{1} << 31) + 51, kMax - 51, 52};
const std::vector<ID> kUniqueStageFollowIDs = {61, k32 + 61, -61, 62, kMin + 61, 63};
const std::vector<ID> kVoteEventIDs = {71, k32 + 71, -71, (ID{1} << 31) + 71, kMax - 71, 72};
const std::vector<ID> kMessageIDs = {1000, k32 + 1000, -1000, kMax - 1000};
const std::vector<ID> kChatEventIDs = {1, k32 + 1, -1};
const std::vector<ID> kChannelIDs = {1, k32 + 1, -3};

// Stages: heads (no parent) and members under a head; 2^32 + 100 shares its
// low bits with 100, and 103's head is never stored itself.
struct StageShape {
  ID id;
  std::optional<ID> parent;
  ID uniqueStage;
};
const std::vector<StageShape> kStageShapes = {
    {100, std::nullopt, 1},        {101, 100, 1},
    {(ID{1} << 31) + 100, 100, 1}, {k32 + 100, std::nullopt, k32 + 1},
    {k32 + 101, k32 + 100, k32 + 1}, {-100, std::nullopt, 2},
    {-101, -100, 2},               {103, (ID{1} << 33) + 7, 2},
    {104, 100, 0}};
const std::vector<ID> kUniqueStageIDs = {1, 2, k32 + 1};

std::string text(ID id) { return std::to_string(id); }

class StorageManagerModelTest : public testing::StorageTest {
 protected:
  // ---- Randomness ------------------------------------------------------------------------

  std::int64_t pick(std::int64_t low, std::int64_t high) {
    return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
  }
  bool chance(int percent) { return pick(1, 100) <= percent; }
  template <class T>
  const T& oneOf(const std::vector<T>& values) {
    return values[static_cast<std::size_t>(pick(0, static_cast<std::int64_t>(values.size()) - 1))];
  }
  FacadeModel::IDs someOf(const std::vector<ID>& pool) {
    FacadeModel::IDs ids;
    for (std::int64_t n = pick(0, 3); n > 0; --n) ids.insert(oneOf(pool));
    return ids;
  }

  // ---- The clock ---------------------------------------------------------------------------

  void setNow(std::int64_t now) {
    model_.now = now;
    platform::Clock::setFixed(static_cast<double>(now));
  }

  // ---- Values: each entity keeps its shape; start, status and names vary --------------------

  FacadeModel::EventValue eventValue(ID id) {
    const auto index = static_cast<std::size_t>(
        std::find(kEventIDs.begin(), kEventIDs.end(), id) - kEventIDs.begin());
    FacadeModel::EventValue value{.id = id};
    value.homeTeam = kTeamIDs[index % kTeamIDs.size()];
    value.awayTeam = index % 3 == 0 ? kUnfollowedTeam : kTeamIDs[(index + 1) % kTeamIDs.size()];
    if (index % 2 == 0) value.uniqueTournament = kLeagueIDs[index % kLeagueIDs.size()];
    value.start = model_.now + pick(-9, 2) * 86400 + pick(-3600, 3600);
    if (chance(10)) value.start = model_.now + FacadeModel::kFarAhead + pick(-86400, 86400);
    value.status = oneOf(std::vector<std::int64_t>{1, 2, 3, 3, 4, 6});
    return value;
  }

  static model::Event eventOf(const FacadeModel::EventValue& value) {
    model::Event event{.ID = value.id, .startTimestamp = value.start,
                       .status = model::EventStatus(static_cast<int>(value.status))};
    event.homeTeamOriginal = model::Team{.ID = value.homeTeam};
    event.awayTeamOriginal = model::Team{.ID = value.awayTeam};
    if (value.uniqueTournament) {
      model::Tournament tournament{.ID = 77};
      tournament.uniqueId = *value.uniqueTournament;
      event.tournament = tournament;
    }
    return event;
  }

  FacadeModel::StageValue stageValue(const StageShape& shape) {
    FacadeModel::StageValue value{.id = shape.id, .parent = shape.parent,
                                  .uniqueStage = shape.uniqueStage};
    const std::int64_t start = model_.now + pick(-9, 3) * 86400 + pick(-600, 600);
    if (chance(85)) {
      value.start = start;
      if (shape.parent) value.parentStart = start;
    } else if (shape.parent && chance(60)) {
      value.parentStart = start;  // the row keeps the parent's start
    }
    value.status = oneOf(std::vector<std::int64_t>{1, 2, 3, 3, 4});
    value.desc = "Stage " + text(shape.id) + " #" + text(++version_);
    return value;
  }

  static model::Stage stageOf(const FacadeModel::StageValue& value) {
    model::Stage stage{.ID = value.id, .desc = value.desc,
                       .status = model::EventStatus(static_cast<int>(value.status)),
                       .startDateTimestamp = value.start};
    if (value.parent) {
      stage.stageEvent = std::make_shared<model::Stage>();
      stage.stageEvent->ID = *value.parent;
      stage.stageEvent->startDateTimestamp = value.parentStart;
    }
    if (value.uniqueStage != 0) {
      model::StageSeason season{.ID = 500};
      season.uniqueStage = model::UniqueStage{.ID = value.uniqueStage};
      stage.stageSeason = season;
    }
    return stage;
  }

  // ---- Running one operation in either form -------------------------------------------------

  /// A table operation in either form: `call()` returns the future (ready
  /// when it returns), `call(handler)` must have run the handler once before
  /// it returns; the result must be the model's where the model knows it.
  template <class Call>
  void run(FacadeModel::Expected expected, Call call) {
    bool result = false;
    if (chance(50)) {
      std::future<bool> answer = call();
      ASSERT_EQ(answer.wait_for(std::chrono::seconds(0)), std::future_status::ready) << where_;
      result = answer.get();
    } else {
      int calls = 0;
      call(StorageManager::BoolHandler([&calls, &result](bool ok) {
        ++calls;
        result = ok;
      }));
      ASSERT_EQ(calls, 1) << where_;
    }
    if (expected) {
      EXPECT_EQ(result, *expected) << where_;
    }
  }

  /// An object-store write left running: its result is checked once it resolved.
  struct Pending {
    std::future<bool> result;
    FacadeModel::Expected expected;
    std::string what;
  };

  /// Starts an object-store write in one of its two forms, without waiting.
  /// The handler shares its state with the future, never the caller's locals.
  template <class Call>
  static std::future<bool> start(bool handlerForm, Call call) {
    if (!handlerForm) return call();
    struct Shared {
      std::promise<bool> promise;
      std::atomic<int> calls{0};
    };
    auto shared = std::make_shared<Shared>();
    std::future<bool> result = shared->promise.get_future();
    call(StorageManager::BoolHandler([shared](bool ok) {
      if (shared->calls.fetch_add(1) == 0) {
        shared->promise.set_value(ok);
      } else {
        ADD_FAILURE() << "a handler ran twice";
      }
    }));
    return result;
  }

  void awaitAll(std::vector<Pending>& pending) {
    for (Pending& p : pending) {
      ASSERT_EQ(p.result.wait_for(testing::kHang), std::future_status::ready) << where_ << p.what;
      const bool ok = p.result.get();
      if (p.expected) {
        EXPECT_EQ(ok, *p.expected) << where_ << ", " << p.what;
      }
    }
    pending.clear();
    settleStore();
  }

  // ---- One object-store write: issue it and apply it to the model ---------------------------

  /// Picks a write on the given pools, starts it, and applies it to the model
  /// (the store applies writes from one thread in the order they were called).
  Pending storeWrite(StorageManager& s, const std::vector<ID>& voteEvents,
                     const std::vector<ID>& highlightIDs, const std::vector<ID>& uniqueIDs,
                     bool globalAllowed, bool handlerForm) {
    const ID event = oneOf(voteEvents);
    const int type = static_cast<int>(pick(0, 1));
    const int value = static_cast<int>(pick(0, 5));
    const auto voteType = static_cast<NMEventVoteType>(type);
    const auto voteValue = static_cast<NMEventVoteValue>(value);
    const bool flag = chance(50);
    std::int64_t timestamp = model_.now + pick(1, 5) * 86400;
    if (chance(30)) timestamp = model_.now - FacadeModel::kNinetyDays + pick(1, 4000);
    if (chance(10)) timestamp = 0;
    const std::string what = " vote " + text(event) + "-" + text(type);
    switch (pick(0, globalAllowed ? 9 : 8)) {
      case 0:
      case 1:
        return {start(handlerForm, [&](auto... h) {
                  return s.save(voteValue, voteType, event, timestamp, flag, h...);
                }),
                model_.saveVote(event, type, value, timestamp, flag), "save" + what};
      case 2:
        return {start(handlerForm,
                      [&](auto... h) { return s.edit(voteValue, voteType, event, flag, h...); }),
                model_.editVote(event, type, value, flag), "edit" + what};
      case 3:
        return {start(handlerForm, [&](auto... h) { return s.markAsAdded(event, voteType, h...); }),
                model_.markAsAdded(event, type), "markAsAdded" + what};
      case 4:
        return {start(handlerForm, [&](auto... h) { return s.markAsEdited(event, voteType, h...); }),
                model_.markAsEdited(event, type), "markAsEdited" + what};
      case 5: {
        const ID id = oneOf(highlightIDs);
        const std::string url = "https://clips/" + text(id);
        return {start(handlerForm,
                      [&](auto... h) { return s.markHighlightWatched(id, url, model_.now, h...); }),
                model_.watchHighlight(id), "highlight " + text(id)};
      }
      case 6:
      case 7: {
        const ID id = oneOf(uniqueIDs);
        return {start(handlerForm, [&](auto... h) { return s.followUniqueStage(id, h...); }),
                model_.followUniqueStage(id), "follow unique stage " + text(id)};
      }
      case 8: {
        const ID id = oneOf(uniqueIDs);
        return {start(handlerForm, [&](auto... h) { return s.unfollowUniqueStage(id, h...); }),
                model_.unfollowUniqueStage(id), "unfollow unique stage " + text(id)};
      }
      default:
        if (chance(50)) {
          return {start(handlerForm, [&](auto... h) { return s.deleteVotes(h...); }),
                  model_.deleteVotes(), "deleteVotes"};
        }
        return {start(handlerForm, [&](auto... h) { return s.deleteUniqueStages(h...); }),
                model_.deleteUniqueStages(), "deleteUniqueStages"};
    }
  }

  // ---- Steps -------------------------------------------------------------------------------

  void eventStep() {
    StorageManager& s = *storage_;
    const FacadeModel::EventValue value = eventValue(oneOf(kEventIDs));
    const model::Event e = eventOf(value);
    switch (pick(0, 10)) {
      case 0:
      case 1:
      case 2: {
        const bool muted = chance(25);
        run(model_.insertEvent(value, muted), [&](auto... h) { return s.insertEvent(e, muted, h...); });
        break;
      }
      case 3:
      case 4:
        run(model_.insertEntityOwnedEvent(value),
            [&](auto... h) { return s.insertEntityOwnedEvent(e, h...); });
        break;
      case 5:
        run(model_.muteEvent(e.ID), [&](auto... h) { return s.muteEvent(e, h...); });
        break;
      case 6:
        run(model_.unmuteEvent(e.ID), [&](auto... h) { return s.unmuteEvent(e.ID, h...); });
        break;
      case 7:
        run(model_.deleteEvent(e.ID), [&](auto... h) { return s.deleteEvent(e.ID, h...); });
        break;
      case 8: {
        const FacadeModel::IDs ids = someOf(kEventIDs);
        run(model_.deleteEvents(ids), [&](auto... h) { return s.deleteEvents(ids, h...); });
        break;
      }
      case 9:
        run(model_.updateEvent(value), [&](auto... h) { return s.updateEvent(e, h...); });
        break;
      default:
        pruneEvents();
    }
  }

  void pruneEvents() {
    StorageManager& s = *storage_;
    if (chance(50)) {
      run(model_.deleteFinishedEvents(), [&](auto... h) { return s.deleteFinishedEvents(h...); });
    } else {
      run(model_.deleteOldEvents(), [&](auto... h) { return s.deleteOldEvents(h...); });
    }
  }

  void pruneStages() {
    StorageManager& s = *storage_;
    if (chance(50)) {
      run(model_.deleteFinishedStages(), [&](auto... h) { return s.deleteFinishedStages(h...); });
    } else {
      run(model_.deleteOldStages(), [&](auto... h) { return s.deleteOldStages(h...); });
    }
  }

  void stageStep() {
    StorageManager& s = *storage_;
    const FacadeModel::StageValue value = stageValue(oneOf(kStageShapes));
    const model::Stage st = stageOf(value);
    switch (pick(0, 11)) {
      case 0:
      case 1:
      case 2:
        run(model_.insertStage(value), [&](auto... h) { return s.insertStage(st, h...); });
        break;
      case 3:
        run(model_.insertMutedStage(value), [&](auto... h) { return s.insertMutedStage(st, h...); });
        break;
      case 4:
        run(model_.insertEntityOwnedStage(value),
            [&](auto... h) { return s.insertEntityOwnedStage(st, h...); });
        break;
      case 5:
        run(model_.updateStage(value), [&](auto... h) { return s.updateStage(st, h...); });
        break;
      case 6:
        run(model_.muteStage(st.ID), [&](auto... h) { return s.muteStage(st, h...); });
        break;
      case 7:
        run(model_.unmuteStage(st.ID), [&](auto... h) { return s.unmuteStage(st.ID, h...); });
        break;
      case 8:
      case 9:
        run(model_.deleteStage(st.ID), [&](auto... h) { return s.deleteStage(st.ID, h...); });
        break;
      case 10: {
        const ID unique = oneOf(kUniqueStageIDs);
        run(model_.deleteStagesWithUniqueStageID(unique),
            [&](auto... h) { return s.deleteStagesWithUniqueStageID(unique, h...); });
        break;
      }
      default:
        pruneStages();
    }
  }

  void followedStep() {
    StorageManager& s = *storage_;
    const bool on = chance(50);
    const std::string name = " #" + text(++version_);
    switch (pick(0, 12)) {
      case 0:
      case 1: {
        const ID id = oneOf(kTeamIDs);
        model::Team team{.ID = id};
        team.name = "Team " + text(id) + name;
        team.sport = model::Sport::sportWithSlug("football");
        run(model_.follow(model_.teams, id, {.name = *team.name, .notifications = on}),
            [&](auto... h) { return s.followTeam(team, on, h...); });
        break;
      }
      case 2: {
        const ID id = chance(85) ? oneOf(kTeamIDs) : kUnfollowedTeam;
        run(model_.unfollowTeam(id), [&](auto... h) { return s.unfollowTeam(id, h...); });
        break;
      }
      case 3: {
        const FacadeModel::IDs ids = someOf(kTeamIDs);
        run(model_.setNotifications(model_.teams, on, ids),
            [&](auto... h) { return s.setTeamNotificationsEnabled(on, ids, h...); });
        break;
      }
      case 4: {
        const ID id = oneOf(kPlayerIDs);
        const std::string sport = chance(50) ? "football" : "tennis";
        model::Player player{.ID = id};
        player.name = "Player " + text(id) + name;
        player.sport = model::Sport::sportWithSlug(sport);
        run(model_.follow(model_.players, id,
                          {.name = *player.name, .notifications = on, .sport = sport}),
            [&](auto... h) { return s.followPlayer(player, on, h...); });
        break;
      }
      case 5: {
        if (chance(50)) {
          const ID id = oneOf(kPlayerIDs);
          run(model_.unfollowPlayers({id}), [&](auto... h) { return s.unfollowPlayer(id, h...); });
        } else {
          const FacadeModel::IDs ids = someOf(kPlayerIDs);
          run(model_.unfollowPlayers(ids), [&](auto... h) { return s.unfollowPlayers(ids, h...); });
        }
        break;
      }
      case 6: {
        const FacadeModel::IDs ids = someOf(kPlayerIDs);
        run(model_.setNotifications(model_.players, on, ids),
            [&](auto... h) { return s.setPlayerNotificationsEnabled(on, ids, h...); });
        break;
      }
      case 7: {
        const ID unique = oneOf(kLeagueIDs);
        // The tournament's own ID changes with the season; the unique one keys it.
        model::Tournament tournament{.ID = chance(50) ? 7 : k32 + 7};
        tournament.uniqueId = unique;
        tournament.name = "League " + text(unique) + name;
        run(model_.follow(model_.leagues, unique,
                          {.name = *tournament.name, .notifications = on, .other = tournament.ID}),
            [&](auto... h) { return s.followTournament(tournament, on, h...); });
        break;
      }
      case 8: {
        const ID unique = oneOf(kLeagueIDs);
        run(model_.unfollowLeague(unique), [&](auto... h) { return s.unfollowTournament(unique, h...); });
        break;
      }
      case 9: {
        const FacadeModel::IDs ids = someOf(kLeagueIDs);
        run(model_.setNotifications(model_.leagues, on, ids),
            [&](auto... h) { return s.setTournamentNotificationsEnabled(on, ids, h...); });
        break;
      }
      case 10: {
        const ID id = oneOf(kPinIDs);
        if (chance(75)) {
          model::UniqueTournament pinned{.ID = id};
          pinned.name = "Pinned " + text(id) + name;
          run(model_.pin(id, *pinned.name), [&](auto... h) { return s.pinUniqueTournament(pinned, h...); });
        } else if (chance(80)) {
          run(model_.unpin(id), [&](auto... h) { return s.unpinUniqueTournament(id, h...); });
        } else {
          run(model_.unpinAll(), [&](auto... h) { return s.unpinAllUniqueTournaments(h...); });
        }
        break;
      }
      default: {
        const ID id = oneOf(kFantasyIDs);
        if (chance(60)) {
          model_.fantasy.insert(id);
          run(true, [&](auto... h) { return s.saveFantasyCompetition(id, h...); });
        } else {
          model_.fantasy.erase(id);
          run(true, [&](auto... h) { return s.deleteFantasyCompetition(id, h...); });
        }
      }
    }
  }

  void tvAndChatStep() {
    StorageManager& s = *storage_;
    const ID event = oneOf(kChatEventIDs);
    const ID message = oneOf(kMessageIDs);
    switch (pick(0, 3)) {
      case 0:
      case 1: {
        model::TVChannelSuggestion answer{.channelId = oneOf(kChannelIDs), .eventId = event,
                                          .startTimestamp = model_.now + pick(-8, 2) * 86400,
                                          .approve = chance(50)};
        FacadeModel::Expected expected = false;  // without its event: refused, nothing stored
        if (chance(10)) {
          answer.eventId.reset();
        } else {
          model_.tvRows.insert({*answer.channelId, event, *answer.startTimestamp, answer.approve});
          expected = true;
        }
        run(expected, [&](auto... h) { return s.saveTvChannelSuggestion(answer, h...); });
        break;
      }
      case 2:
        model_.upvotes.push_back({message, event, model_.now});
        run(true, [&](auto... h) { return s.upvoteMessage(message, event, 1, h...); });
        break;
      default: {
        const ID choice = pick(1, 3);
        model_.reports[message] = {event, model_.now};
        run(true, [&](auto... h) { return s.reportMessage(message, event, choice, h...); });
      }
    }
  }

  /// Object-store writes issued one after another without waiting, then awaited.
  void storeBatchStep() {
    std::vector<Pending> pending;
    for (std::int64_t n = pick(1, 5); n > 0; --n) {
      pending.push_back(storeWrite(*storage_, kVoteEventIDs, kHighlightIDs, kUniqueStageFollowIDs,
                                   true, chance(50)));
    }
    awaitAll(pending);
  }

  /// Object-store writes from three threads at once, each on its own keys
  /// (so the model's result does not depend on the interleaving); the
  /// model is compared once every one has resolved.
  void concurrentStoreStep() {
    constexpr std::size_t kThreads = 3;
    std::vector<std::thread> threads;
    // Each thread's writes are chosen (and applied to the model) here, in
    // the thread's order; the thread only issues them.
    std::vector<std::vector<std::tuple<int, std::uint64_t>>> seeds(kThreads);
    for (std::size_t t = 0; t < kThreads; ++t) {
      for (std::int64_t n = pick(2, 5); n > 0; --n) {
        seeds[t].emplace_back(static_cast<int>(chance(50)), random_());
      }
    }
    const auto partition = [](const std::vector<ID>& pool, std::size_t t) {
      std::vector<ID> part;
      for (std::size_t i = t; i < pool.size(); i += kThreads) part.push_back(pool[i]);
      return part;
    };
    // The model gets each thread's writes in that thread's order; since
    // the keys are disjoint, any interleaving ends the same.
    std::shared_ptr<StorageManager> facade = storage_;
    std::promise<void> startAll;
    std::shared_future<void> started = startAll.get_future().share();
    std::vector<std::vector<std::function<std::future<bool>()>>> issues(kThreads);
    std::vector<std::vector<std::pair<FacadeModel::Expected, std::string>>> expected(kThreads);
    for (std::size_t t = 0; t < kThreads; ++t) {
      for (const auto& [handlerForm, seed] : seeds[t]) {
        std::mt19937_64 local(seed);
        const std::vector<ID> votes = partition(kVoteEventIDs, t);
        const std::vector<ID> highlights = partition(kHighlightIDs, t);
        const std::vector<ID> uniques = partition(kUniqueStageFollowIDs, t);
        const auto at = [&](const std::vector<ID>& pool) {
          return pool[static_cast<std::size_t>(local() % pool.size())];
        };
        const ID event = at(votes);
        const int type = static_cast<int>(local() % 2);
        const int value = static_cast<int>(local() % 6);
        const bool flag = local() % 2 == 0;
        const std::int64_t timestamp = model_.now + static_cast<std::int64_t>(local() % 5) * 86400;
        const bool handler = handlerForm != 0;
        const auto voteType = static_cast<NMEventVoteType>(type);
        const auto voteValue = static_cast<NMEventVoteValue>(value);
        const std::int64_t now = model_.now;
        const auto add = [&](FacadeModel::Expected expectation, const char* what, auto call) {
          expected[t].emplace_back(expectation, what);
          issues[t].push_back([handler, call] { return start(handler, call); });
        };
        switch (local() % 6) {
          case 0:
          case 1:
            add(model_.saveVote(event, type, value, timestamp, flag), "save", [=](auto... h) {
              return facade->save(voteValue, voteType, event, timestamp, flag, h...);
            });
            break;
          case 2:
            add(model_.editVote(event, type, value, flag), "edit",
                [=](auto... h) { return facade->edit(voteValue, voteType, event, flag, h...); });
            break;
          case 3: {
            const ID id = at(highlights);
            add(model_.watchHighlight(id), "highlight",
                [=](auto... h) { return facade->markHighlightWatched(id, "u", now, h...); });
            break;
          }
          case 4: {
            const ID id = at(uniques);
            add(model_.followUniqueStage(id), "follow unique stage",
                [=](auto... h) { return facade->followUniqueStage(id, h...); });
            break;
          }
          default: {
            const ID id = at(uniques);
            add(model_.unfollowUniqueStage(id), "unfollow unique stage",
                [=](auto... h) { return facade->unfollowUniqueStage(id, h...); });
          }
        }
      }
    }
    std::vector<std::vector<std::future<bool>>> futures(kThreads);
    for (std::size_t t = 0; t < kThreads; ++t) {
      threads.emplace_back([&issues, &futures, started, t] {
        started.wait();
        for (const auto& issue : issues[t]) futures[t].push_back(issue());
      });
    }
    startAll.set_value();
    for (std::thread& thread : threads) thread.join();
    std::vector<Pending> pending;
    for (std::size_t t = 0; t < kThreads; ++t) {
      for (std::size_t i = 0; i < futures[t].size(); ++i) {
        pending.push_back({std::move(futures[t][i]), expected[t][i].first,
                           "thread " + text(static_cast<ID>(t)) + " " + expected[t][i].second});
      }
    }
    awaitAll(pending);
  }

  /// Moves the clock to just inside or just outside one retention bound of
  /// something stored, then often runs a pruning or cleanDB().
  void clockStep() {
    std::vector<std::int64_t> bounds;
    const auto around = [&](std::int64_t bound) {
      bounds.push_back(bound);      // the last second that keeps it
      bounds.push_back(bound + 1);  // the first that does not
    };
    for (const auto& [id, row] : model_.events) {
      around(row.start + FacadeModel::kWeek);
      around(row.start - FacadeModel::kFarAhead - 1);
    }
    for (const auto& [id, row] : model_.stages) {
      if (const auto rowStart = row.value.rowStart()) around(*rowStart + FacadeModel::kWeek);
    }
    for (const auto& upvote : model_.upvotes) around(upvote.at + FacadeModel::kWeek);
    for (const auto& [id, report] : model_.reports) around(report.at + FacadeModel::kTenDays);
    for (const auto& answer : model_.tvRows) around(answer.start + FacadeModel::kWeek);
    for (const auto& [id, watched] : model_.highlights) around(watched + FacadeModel::kWeek);
    for (const auto& [key, vote] : model_.votes) {
      if (vote.eventTimestamp != 0) around(vote.eventTimestamp + FacadeModel::kNinetyDays);
    }
    // Only bounds of the next ten days, so that time does not rush past everything.
    std::erase_if(bounds, [&](std::int64_t bound) {
      return bound <= model_.now || bound > model_.now + 10 * 86400;
    });
    std::sort(bounds.begin(), bounds.end());
    if (bounds.empty()) {
      setNow(model_.now + 3600);
    } else {
      const auto nearest = std::min<std::int64_t>(static_cast<std::int64_t>(bounds.size()), 8);
      setNow(bounds[static_cast<std::size_t>(pick(0, nearest - 1))]);
    }
    switch (pick(0, 5)) {
      case 0:
      case 1:
        cleanDB();
        break;
      case 2:
        pruneEvents();
        break;
      case 3:
        pruneStages();
        break;
      default:
        break;  // the reads' windows move with the clock alone
    }
  }

  /// The one-time move of followed/notification events: applied to the
  /// model the first time only (the flag outlives restarts).
  void migrate() {
    ASSERT_EQ(storage_->migrateFavoriteNotificationEvents().wait_for(testing::kHang),
              std::future_status::ready) << where_;
    if (!migrated_) model_.migrateFavoriteNotificationEvents();
    migrated_ = true;
  }

  void cleanDB() {
    model_.cleanDB();
    storage_->cleanDB();
    settleStore();
  }

  void reInit(bool clear) {
    if (clear) {
      storage_->databaseHelper().clearDB();
      model_.clearDatabase();
    }
    storage_->reInit();
    model_.reloadAll();
    settleStore();
  }

  /// A new facade on the same home (the old one dropped first), as after a
  /// restart of the application.
  void restart() {
    settleStore();
    storage_.reset();
    storage_ = StorageManager::forHome(home_.path(), dataManager_);
    model_.reloadAll();
    settleStore();
  }

  // ---- Comparing the facade with the model ----------------------------------------------------

  struct StageSeen {
    ID id = 0;
    ID head = 0;
    std::optional<std::int64_t> start{};
    ID uniqueStage = 0;
    std::string desc{};
    bool operator==(const StageSeen&) const = default;
  };
  static StageSeen seen(const model::Stage& stage) {
    StageSeen s{.id = stage.ID, .head = stage.stageEvent ? stage.stageEvent->ID : stage.ID,
                .start = stage.startDateTimestamp};
    if (!s.start && stage.stageEvent) s.start = stage.stageEvent->startDateTimestamp;
    if (const model::UniqueStage* unique = stage.uniqueStage()) s.uniqueStage = unique->ID;
    s.desc = stage.desc.value_or("");
    return s;
  }
  static StageSeen seen(const FacadeModel::CachedStage& stage) {
    return {stage.id, stage.head, stage.start, stage.uniqueStage, stage.desc};
  }
  static std::string describe(const StageSeen& s) {
    std::ostringstream out;
    out << s.id << "(head " << s.head << ", start " << (s.start ? text(*s.start) : "-")
        << ", unique " << s.uniqueStage << ", " << s.desc << ")";
    return out.str();
  }

  /// The facade's stage list against the model's: the same stages with the
  /// same contents, in the model's order except within runs of equal tie keys.
  void expectStageList(const std::vector<model::Stage>& actual,
                       const std::vector<FacadeModel::CachedStage>& expected,
                       const std::string& what) {
    std::string actualText, expectedText;
    for (const auto& s : actual) actualText += describe(seen(s)) + " ";
    for (const auto& s : expected) expectedText += describe(seen(s)) + " ";
    ASSERT_EQ(actual.size(), expected.size())
        << where_ << ", " << what << "\n facade: " << actualText << "\n model:  " << expectedText;
    std::size_t i = 0;
    while (i < expected.size()) {
      std::size_t end = i + 1;
      while (end < expected.size() && expected[end].tieKey == expected[i].tieKey) ++end;
      std::map<ID, StageSeen> want, got;
      for (std::size_t k = i; k < end; ++k) {
        want[expected[k].id] = seen(expected[k]);
        got[actual[k].ID] = seen(actual[k]);
      }
      if (want != got) {
        ADD_FAILURE() << where_ << ", " << what << " differs at " << i << "\n facade: " << actualText
                      << "\n model:  " << expectedText;
        return;
      }
      i = end;
    }
  }

  /// Every answer from memory against the model. The object store must
  /// have answered every request (each step waits for it).
  void expectMemoryAgrees() {
    StorageManager& s = *storage_;
    // Events.
    EXPECT_EQ(s.getFavoriteEventIDs(), model_.favoriteEventIDs()) << where_;
    EXPECT_EQ(s.getMutedEventIDs(), model_.mutedEventIDs()) << where_;
    for (const ID id : kEventIDs) {
      EXPECT_EQ(s.isFavoriteEvent(id), model_.favoriteEventIDs().contains(id)) << where_ << ", event " << id;
      EXPECT_EQ(s.isMutedEvent(id), model_.mutedEventIDs().contains(id)) << where_ << ", event " << id;
    }
    // Stages: the list with its contents and order, the groups, the flags.
    expectStageList(s.getFavoriteStages(), model_.stageCache, "getFavoriteStages");
    const FacadeModel::IDs muted = model_.mutedStageIDs();
    FacadeModel::IDs heads;
    for (const StageShape& shape : kStageShapes) {
      const bool cached = std::any_of(model_.stageCache.begin(), model_.stageCache.end(),
                                      [&](const auto& entry) { return entry.id == shape.id; });
      EXPECT_EQ(s.isFavoriteStage(shape.id), cached) << where_ << ", stage " << shape.id;
      EXPECT_EQ(s.isMutedStage(shape.id), muted.contains(shape.id)) << where_ << ", stage " << shape.id;
      heads.insert(shape.parent.value_or(shape.id));
      heads.insert(shape.id);
    }
    for (const ID head : heads) {
      EXPECT_EQ(s.getFavoriteStageIDsInGroup(head), model_.stageGroup(head)) << where_ << ", group " << head;
    }
    // Followed teams, players, leagues with names and flags.
    std::map<ID, std::string> teams, wantTeams;
    for (const model::Team& team : s.getFavoriteTeams()) teams[team.ID] = team.name.value_or("");
    for (const auto& [id, team] : model_.teams) wantTeams[id] = team.name;
    EXPECT_EQ(teams, wantTeams) << where_;
    EXPECT_EQ(s.getFavoriteTeams().size(), model_.teams.size()) << where_ << ", a team twice";
    EXPECT_EQ(s.getFavoriteTeamIDs(), FacadeModel::keys(model_.teams)) << where_;
    EXPECT_EQ(s.getNotificationEnabledTeamIDs(), FacadeModel::withNotifications(model_.teams)) << where_;
    std::map<ID, std::string> players, wantPlayers;
    for (const model::Player& p : s.getFavoritePlayers()) {
      players[p.ID] = p.name.value_or("") + "/" +
                      (p.sport && p.sport->slug ? *p.sport->slug : std::string("-"));
    }
    for (const auto& [id, p] : model_.players) wantPlayers[id] = p.name + "/" + p.sport;
    EXPECT_EQ(players, wantPlayers) << where_;
    EXPECT_EQ(s.getFavoritePlayerIDs(), FacadeModel::keys(model_.players)) << where_;
    EXPECT_EQ(s.getNotificationEnabledPlayerIDs(), FacadeModel::withNotifications(model_.players)) << where_;
    std::map<ID, std::string> leagues, wantLeagues;
    for (const model::Tournament& t : s.getFavoriteTournaments()) {
      leagues[t.uniqueId.value_or(0)] = text(t.ID) + "/" + t.name.value_or("");
    }
    for (const auto& [id, league] : model_.leagues) wantLeagues[id] = text(league.other) + "/" + league.name;
    EXPECT_EQ(leagues, wantLeagues) << where_;
    EXPECT_EQ(s.getFavoriteTournaments().size(), model_.leagues.size()) << where_ << ", a league twice";
    EXPECT_EQ(s.getFavoriteTournamentUniqueIDs(), FacadeModel::keys(model_.leagues)) << where_;
    EXPECT_EQ(s.getNotificationEnabledTournamentUniqueIDs(),
              FacadeModel::withNotifications(model_.leagues)) << where_;
    // Pinned, in pin order, with names.
    std::vector<std::string> pins, wantPins;
    for (const model::UniqueTournament& t : s.getPinnedUniqueTournaments()) {
      pins.push_back(text(t.ID) + "/" + t.name.value_or(""));
    }
    for (const FacadeModel::Pin& p : model_.pinned) wantPins.push_back(text(p.id) + "/" + p.name);
    EXPECT_EQ(pins, wantPins) << where_;
    EXPECT_EQ(s.getAllFantasyCompetitionIds(), model_.fantasy) << where_;
    std::set<FacadeModel::TvAnswer> answers;
    for (const model::TVChannelSuggestion& a : s.getTvChannelSuggestions()) {
      answers.insert({a.channelId.value_or(0), a.eventId.value_or(0), a.startTimestamp.value_or(0),
                      a.approve});
    }
    EXPECT_EQ(answers, model_.tvAnswers()) << where_;
    EXPECT_EQ(s.getTvChannelSuggestions().size(), model_.tvAnswers().size()) << where_;
    // The object store's caches.
    for (const ID event : kVoteEventIDs) {
      for (int type = 0; type <= 1; ++type) {
        const auto vote = s.getVote(event, static_cast<NMEventVoteType>(type));
        const auto found = model_.votes.find({event, type});
        const std::optional<int> want =
            found == model_.votes.end() ? std::nullopt : std::optional<int>(found->second.vote);
        const std::optional<int> got = vote ? std::optional<int>(static_cast<int>(*vote)) : std::nullopt;
        EXPECT_EQ(got, want) << where_ << ", vote " << event << "-" << type;
      }
    }
    for (const ID id : kHighlightIDs) {
      EXPECT_EQ(s.isHighlightWatched(id), model_.highlights.contains(id)) << where_ << ", highlight " << id;
    }
    for (const ID id : kUniqueStageFollowIDs) {
      EXPECT_EQ(s.isFollowedUniqueStage(id), model_.uniqueStages.contains(id))
          << where_ << ", unique stage " << id;
    }
    EXPECT_EQ(s.getFollowedUniqueStageIDs(), model_.uniqueStages) << where_;
  }

  void expectReadsAgree() {
    StorageManager& s = *storage_;
    // The favourite events, by start, with their contents.
    const auto events = s.getAllFavoriteEvents().get();
    ASSERT_TRUE(events) << where_;
    const auto wantEvents = model_.allFavoriteEvents();
    ASSERT_EQ(events->size(), wantEvents.size()) << where_ << ", getAllFavoriteEvents";
    // By start; events with equal starts may come in either order.
    std::map<std::int64_t, FacadeModel::IDs> byStart, wantByStart;
    for (std::size_t i = 0; i < events->size(); ++i) {
      EXPECT_EQ((*events)[i].startTimestamp, wantEvents[i].second.start) << where_ << ", position " << i;
      byStart[(*events)[i].startTimestamp.value_or(0)].insert((*events)[i].ID);
      wantByStart[wantEvents[i].second.start].insert(wantEvents[i].first);
    }
    EXPECT_EQ(byStart, wantByStart) << where_ << ", getAllFavoriteEvents";
    for (const ID id : kEventIDs) {
      const auto stored = s.getEvent(id).get();
      ASSERT_TRUE(stored) << where_;
      const auto found = model_.events.find(id);
      ASSERT_EQ(stored->has_value(), found != model_.events.end()) << where_ << ", getEvent " << id;
      if (!*stored) continue;
      const model::Event& e = **stored;
      const FacadeModel::EventRow& row = found->second;
      EXPECT_EQ(e.ID, id) << where_;
      EXPECT_EQ(e.startTimestamp, row.start) << where_ << ", event " << id;
      EXPECT_EQ(e.status.type, row.status) << where_ << ", event " << id;
      EXPECT_EQ(e.homeTeamOriginal ? e.homeTeamOriginal->ID : 0, row.homeTeam) << where_ << ", event " << id;
      EXPECT_EQ(e.awayTeamOriginal ? e.awayTeamOriginal->ID : 0, row.awayTeam) << where_ << ", event " << id;
      EXPECT_EQ(e.tournament ? e.tournament->uniqueId : std::nullopt, row.uniqueTournament)
          << where_ << ", event " << id;
    }
    for (const StageShape& shape : kStageShapes) {
      const auto stored = s.getStage(shape.id).get();
      ASSERT_TRUE(stored) << where_;
      const auto found = model_.stages.find(shape.id);
      ASSERT_EQ(stored->has_value(), found != model_.stages.end()) << where_ << ", getStage " << shape.id;
      if (!*stored) continue;
      const FacadeModel::StageValue& v = found->second.value;
      const StageSeen want{v.id, v.parent.value_or(v.id), v.rowStart(), v.uniqueStage, v.desc};
      EXPECT_EQ(describe(seen(**stored)), describe(want)) << where_;
      EXPECT_EQ((*stored)->status.type, v.status) << where_ << ", stage " << shape.id;
    }
    const auto stages = s.getAllFavoriteStages().get();
    ASSERT_TRUE(stages) << where_;
    std::vector<FacadeModel::CachedStage> wantStages = model_.favoriteStagesAsRead();
    for (auto& entry : wantStages) entry.tieKey = *entry.start;
    expectStageList(*stages, wantStages, "getAllFavoriteStages");
    // Chat.
    for (const ID event : kChatEventIDs) {
      const auto upvoted = s.getUpvotedMessageIDs(event).get();
      ASSERT_TRUE(upvoted) << where_;
      EXPECT_EQ(*upvoted, model_.upvotedMessages(event)) << where_ << ", upvotes of " << event;
    }
    const auto reported = s.getReportedMessageIDs().get();
    ASSERT_TRUE(reported) << where_;
    EXPECT_EQ(*reported, model_.reportedMessages()) << where_;
    // The votes still to send, and when each highlight was watched.
    const auto unsaved = s.getUnsuccessfulVotes().get();
    ASSERT_TRUE(unsaved) << where_;
    std::vector<std::string> got, want;
    const auto votePrint = [](ID event, int type, std::int64_t ts, int vote, std::optional<int> previous,
                              bool added, bool edited) {
      return text(event) + "-" + text(type) + " @" + text(ts) + " " + text(vote) + " (was " +
             (previous ? text(*previous) : "-") + ") " + (added ? "A" : "a") + (edited ? "E" : "e");
    };
    for (const model::UnsavedVote& v : *unsaved) {
      got.push_back(votePrint(v.eventId, static_cast<int>(v.type), v.eventTimestamp, static_cast<int>(v.vote),
                              v.previousVote ? std::optional<int>(static_cast<int>(*v.previousVote)) : std::nullopt,
                              v.isAddSuccessful, v.isEditSuccessful));
    }
    for (const auto& [key, v] : model_.votes) {
      if ((!v.isAddSuccessful || !v.isEditSuccessful) && v.eventTimestamp >= model_.now) {
        want.push_back(votePrint(key.first, key.second, v.eventTimestamp, v.vote, v.previousVote,
                                 v.isAddSuccessful, v.isEditSuccessful));
      }
    }
    std::sort(got.begin(), got.end());
    std::sort(want.begin(), want.end());
    EXPECT_EQ(got, want) << where_ << ", getUnsuccessfulVotes";
    for (const ID id : kHighlightIDs) {
      const auto highlight = s.fetchHighlight(id).get();
      ASSERT_TRUE(highlight) << where_;
      const auto found = model_.highlights.find(id);
      ASSERT_EQ(highlight->has_value(), found != model_.highlights.end()) << where_ << ", highlight " << id;
      if (*highlight) {
        EXPECT_EQ((*highlight)->lastWatching(), found->second) << where_ << ", highlight " << id;
      }
    }
  }

  std::mt19937_64 random_;
  FacadeModel model_;
  std::string where_;
  std::int64_t version_ = 0;
  bool migrated_ = false;
};

TEST_F(StorageManagerModelTest, FacadeAnswersWhatTheApplicationDidAcrossARandomWalk) {
  // KESTREL_MODEL_SEED replays (or explores) another walk.
  const char* seedText = std::getenv("KESTREL_MODEL_SEED");
  const std::uint64_t kSeed = seedText ? std::strtoull(seedText, nullptr, 10) : 20240617;
  constexpr int kSteps = 2000;
  random_.seed(kSeed);
  setNow(kNow);
  for (int step = 0; step < kSteps; ++step) {
    where_ = "seed " + std::to_string(kSeed) + ", step " + std::to_string(step);
    setNow(model_.now + 1);  // pins keep their order
    const std::int64_t kind = pick(1, 1000);
    if (kind <= 280) {
      eventStep();
    } else if (kind <= 520) {
      stageStep();
    } else if (kind <= 760) {
      followedStep();
    } else if (kind <= 840) {
      tvAndChatStep();
    } else if (kind <= 920) {
      storeBatchStep();
    } else if (kind <= 940) {
      concurrentStoreStep();
    } else if (kind <= 980) {
      clockStep();
    } else if (kind <= 986) {
      storage_->clearEventCache();  // the next question reads the table again
    } else if (kind <= 988) {
      migrate();
    } else if (kind <= 995) {
      reInit(false);
    } else {
      reInit(true);
    }
    if (HasFailure()) break;
    expectMemoryAgrees();
    if (step % 50 == 49) expectReadsAgree();
    if (step % 500 == 499) {
      restart();
      where_ += ", after a restart";
      expectMemoryAgrees();
      expectReadsAgree();
    }
    if (HasFailure()) break;
  }
  where_ = "seed " + std::to_string(kSeed) + ", at the end";
  expectReadsAgree();
  restart();
  expectMemoryAgrees();
  expectReadsAgree();
}

}  // namespace
}  // namespace kestrel
