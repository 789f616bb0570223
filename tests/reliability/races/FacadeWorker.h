// FacadeWorker is one thread's share of a harness's work on a facade and
// its object store: a seeded mix of every facade operation (future and
// handler forms) and direct DataManager calls, on two kinds of IDs:
//   - its own IDs, which no other thread touches: their state follows from
//     the writes the thread saw acknowledged (OwnState), so every table
//     answer from memory can be checked right after the write, and the
//     files at the end ("lost": an acknowledged write missing, or a write
//     that reported failure, or an acknowledged removal, still there);
//   - a pool of shared IDs that every worker writes and reads, with values
//     the prunings and the cleaning remove.
// With `lifecycle`, thread 0 also calls reInit(), cleanDB() and the
// prunings now and then. Operations that empty a whole kind of record (all
// votes, all pins) are left out: they would make the own state unknowable.
//
// Thread-safety: one worker per thread; Findings is shared and locked.
// Ownership: the worker borrows the facade, the store, the watchdog and
// the findings, which outlive it.
#pragma once

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>
#include <KestrelModel/Sport.h>
#include <KestrelPlatform/Clock.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "reliability/races/Watchdog.h"

namespace kestrel::reliability {

/// How a worker runs.
struct WorkerConfig {
  std::uint64_t seed = 1;
  int operations = 2000;
  /// An operation (or a final wait) that takes longer counts as hung.
  std::chrono::seconds hangAfter{60};
  /// Thread 0 also reinitialises, cleans and prunes.
  bool lifecycle = true;
  /// Percentage of operations on the thread's own IDs.
  int ownPercent = 60;
  /// Waits for each object-store operation before the next (and times it).
  bool awaitStore = false;
  /// While it is true, memory answers are not checked after a write (a
  /// fault is under way and the caches may not be able to read).
  const std::atomic<bool>* faultActive = nullptr;
  /// Told how long each operation took to resolve.
  std::function<void(const std::string& what, std::chrono::steady_clock::duration took)> timed;
  /// Called before each step with the step's number; false ends the run.
  std::function<bool(int step)> beforeStep;
};

using ID = std::int64_t;
using IDSet = StorageManager::IDSet;
using model::NMEventVoteType;
using model::NMEventVoteValue;

/// The fixed time of a run: nothing written ages during it, so only the
/// shared values written old on purpose are pruned.
inline constexpr std::int64_t kNow = 1'700'000'000;
inline constexpr std::int64_t kDay = 86400;
/// Shared IDs are 1..kSharedCount; thread t's own IDs are
/// kOwnBase * (t + 1) + 0..kOwnCount-1, beyond 32 bits.
inline constexpr ID kSharedCount = 12;
inline constexpr ID kOwnBase = 10'000'000'000;
inline constexpr ID kOwnCount = 24;
inline constexpr std::size_t kMaxFaultLines = 200;

/// What the run found, shared by the workers.
class Findings {
 public:
  void fault(std::atomic<std::uint64_t>& counter, const std::string& line) {
    counter.fetch_add(1);
    const std::lock_guard lock(mutex_);
    if (lines_.size() < kMaxFaultLines) lines_.push_back(line);
  }
  std::vector<std::string> lines() const {
    const std::lock_guard lock(mutex_);
    return lines_;
  }

  std::atomic<std::uint64_t> acknowledged{0};
  /// Writes that reported failure (none expected without a fault).
  std::atomic<std::uint64_t> refused{0};
  std::atomic<std::uint64_t> hung{0};
  std::atomic<std::uint64_t> lost{0};
  std::atomic<std::uint64_t> mismatches{0};

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
};

/// What a thread's own IDs hold by the writes it saw acknowledged.
struct OwnState {
  std::map<ID, bool> events;  // favourite -> muted
  std::map<ID, bool> stages;  // favourite -> muted
  std::map<ID, bool> teams;   // followed -> notifications
  std::map<ID, bool> players;
  std::map<ID, bool> leagues;
  std::set<ID> pins;
  std::set<ID> fantasy;
  std::set<ID> upvoted;   // messages upvoted in the thread's chat event
  std::set<ID> reported;  // messages reported
  std::set<std::pair<ID, ID>> tvAnswers;                  // (channel, event)
  std::map<std::pair<ID, NMEventVoteType>, NMEventVoteValue> votes;
  std::set<ID> highlights;
  std::set<ID> uniqueStages;
  std::map<ID, std::int64_t> playerValues;
  std::set<std::string> newsRead;
};

/// An object-store write on an own ID: applied to OwnState, in the order
/// issued, when its result is true.
struct PendingWrite {
  std::future<bool> result;
  std::function<void(OwnState&)> apply;
  std::string what;
};

/// A future resolved by a handler, exactly once; a second call is a fault.
template <class T>
struct HandlerSlot {
  std::promise<T> promise;
  std::atomic<bool> called{false};
};

inline std::string text(ID id) { return std::to_string(id); }

/// Fixes the clock at kNow, moving on by 10 microseconds at each reading:
/// the run stays within one second of kNow, and two writes never take the
/// same time, as with the system clock (a row's time orders what the user
/// did, the pins for one).
inline void installTickingClock() {
  auto readings = std::make_shared<std::atomic<std::int64_t>>(0);
  platform::Clock::setSource(
      [readings] { return static_cast<double>(kNow) + 1e-5 * static_cast<double>(readings->fetch_add(1)); });
}

class FacadeWorker {
 public:
  FacadeWorker(StorageManager& storage, DataManager& store, Watchdog& watchdog, Findings& findings,
         WorkerConfig config, int thread)
      : s_(storage),
        d_(store),
        watchdog_(watchdog),
        findings_(findings),
        options_(std::move(config)),
        thread_(thread),
        random_(options_.seed * 1'000'003 + static_cast<std::uint64_t>(thread)) {}

  void run() {
    for (step_ = 0; step_ < options_.operations; ++step_) {
      if (options_.beforeStep && !options_.beforeStep(step_)) break;
      step();
    }
  }

  /// Waits for every object-store write issued and applies the
  /// acknowledged ones to the own state, in the order issued.
  void finish() {
    for (PendingWrite& write : pending_) {
      if (write.result.wait_for(options_.hangAfter) != std::future_status::ready) {
        findings_.fault(findings_.hung, where() + write.what + " never resolved");
        continue;
      }
      bool ok = false;
      try {
        ok = write.result.get();
      } catch (const std::future_error&) {
        findings_.fault(findings_.hung, where() + write.what + ": its handler was dropped uncalled");
      }
      if (ok) {
        findings_.acknowledged.fetch_add(1);
        write.apply(own_);
      } else {
        findings_.refused.fetch_add(1);
      }
    }
    pending_.clear();
  }

  /// The own IDs' state against a facade and a store made afresh on the home.
  void verify(StorageManager& fresh, DataManager& freshStore) {
    const auto mine = [&](const IDSet& ids) {
      IDSet kept;
      for (const ID id : ids) {
        if (isOwn(id)) kept.insert(id);
      }
      return kept;
    };
    const auto keys = [](const std::map<ID, bool>& rows, bool onlyFlagged) {
      IDSet ids;
      for (const auto& [id, flag] : rows) {
        if (!onlyFlagged || flag) ids.insert(id);
      }
      return ids;
    };
    compare("favourite events", mine(fresh.getFavoriteEventIDs()), keys(own_.events, false));
    compare("muted events", mine(fresh.getMutedEventIDs()), keys(own_.events, true));
    IDSet stages, mutedStages;
    for (ID k = 0; k < kOwnCount; ++k) {
      if (fresh.isFavoriteStage(ownID(k))) stages.insert(ownID(k));
      if (fresh.isMutedStage(ownID(k))) mutedStages.insert(ownID(k));
    }
    compare("favourite stages", stages, keys(own_.stages, false));
    compare("muted stages", mutedStages, keys(own_.stages, true));
    compare("teams", mine(fresh.getFavoriteTeamIDs()), keys(own_.teams, false));
    compare("team notifications", mine(fresh.getNotificationEnabledTeamIDs()),
            keys(own_.teams, true));
    compare("players", mine(fresh.getFavoritePlayerIDs()), keys(own_.players, false));
    compare("player notifications", mine(fresh.getNotificationEnabledPlayerIDs()),
            keys(own_.players, true));
    compare("leagues", mine(fresh.getFavoriteTournamentUniqueIDs()), keys(own_.leagues, false));
    compare("league notifications", mine(fresh.getNotificationEnabledTournamentUniqueIDs()),
            keys(own_.leagues, true));
    IDSet pins;
    for (const auto& pinned : fresh.getPinnedUniqueTournaments()) {
      if (isOwn(pinned.ID)) pins.insert(pinned.ID);
    }
    compare("pins", pins, own_.pins);
    compare("fantasy competitions", mine(fresh.getAllFantasyCompetitionIds()), own_.fantasy);
    if (const auto upvoted = fresh.getUpvotedMessageIDs(chatEvent()).get()) {
      compare("upvoted messages", *upvoted, own_.upvoted);
    } else {
      findings_.fault(findings_.lost, where() + "the upvoted messages could not be read");
    }
    if (const auto reported = fresh.getReportedMessageIDs().get()) {
      compare("reported messages", mine(*reported), own_.reported);
    } else {
      findings_.fault(findings_.lost, where() + "the reported messages could not be read");
    }
    std::set<std::pair<ID, ID>> answers;
    for (const auto& answer : fresh.getTvChannelSuggestions()) {
      if (answer.channelId && isOwn(*answer.channelId)) {
        answers.emplace(*answer.channelId, answer.eventId.value_or(0));
      }
    }
    if (answers != own_.tvAnswers) {
      findings_.fault(findings_.lost, where() + "TV channel answers differ from those acknowledged");
    }

    // The object store, read directly.
    const auto votes = freshStore.getVotesForCache().get();
    if (!votes) {
      findings_.fault(findings_.lost, where() + "the votes could not be read");
    } else {
      std::map<std::string, std::string> stored, acknowledged;
      for (const auto& [key, value] : *votes) {
        const auto dash = key.find('-');
        if (dash != std::string::npos && isOwn(std::stoll(key.substr(0, dash)))) {
          stored[key] = value;
        }
      }
      for (const auto& [key, value] : own_.votes) {
        acknowledged[StorageManager::voteCacheKey(key.first, key.second)] =
            std::string(model::voteValueText(value));
      }
      if (stored != acknowledged) {
        findings_.fault(findings_.lost, where() + "votes: the store holds " +
                                            std::to_string(stored.size()) + ", acknowledged " +
                                            std::to_string(acknowledged.size()) + " (or values differ)");
      }
    }
    const auto storedIDs = [&](auto read, const char* what) {
      auto ids = read.get();
      IDSet kept;
      if (!ids) {
        findings_.fault(findings_.lost, where() + what + " could not be read");
        return kept;
      }
      for (const ID id : *ids) {
        if (isOwn(id)) kept.insert(id);
      }
      return kept;
    };
    compare("highlights", storedIDs(freshStore.getHighlightsForCacheWithCompletion(), "highlights"),
            own_.highlights);
    compare("unique stages",
            storedIDs(freshStore.getUniqueStagesForCacheWithCompletion(), "unique stages"),
            own_.uniqueStages);
    for (ID k = 0; k < kOwnCount; ++k) {
      const ID id = ownID(k);
      const auto vote = freshStore.getPlayerValueVote(id).get();
      const auto want = own_.playerValues.find(id);
      const bool has = vote && *vote;
      if (!vote || has != (want != own_.playerValues.end()) ||
          (has && (*vote)->value() != want->second)) {
        findings_.fault(findings_.lost, where() + "player value vote " + text(id) +
                                            " is not as acknowledged");
      }
      const std::string item = newsID(k);
      const auto read = freshStore.isNewsItemRead(item).get();
      if (!read || *read != own_.newsRead.contains(item)) {
        findings_.fault(findings_.lost, where() + "news item " + item + " is not as acknowledged");
      }
    }
  }

 private:
  // ---- Picking -------------------------------------------------------------------------------

  std::int64_t pick(std::int64_t low, std::int64_t high) {
    return std::uniform_int_distribution<std::int64_t>(low, high)(random_);
  }
  bool chance(int percent) { return pick(1, 100) <= percent; }
  ID ownID(ID k) const { return kOwnBase * (thread_ + 1) + k; }
  bool isOwn(ID id) const { return id >= ownID(0) && id < ownID(kOwnCount); }
  ID chatEvent() const { return ownID(0); }
  std::string newsID(ID k) const { return "news-" + text(ownID(k)); }
  std::string where() const {
    return "seed " + std::to_string(options_.seed) + ", thread " + std::to_string(thread_) +
           ", step " + std::to_string(step_) + ": ";
  }

  // ---- Values -------------------------------------------------------------------------------

  static model::Team team(ID id) {
    model::Team team{.ID = id};
    team.name = "Team " + text(id);
    team.sport = model::Sport::sportWithSlug(id % 2 == 0 ? "football" : "tennis");
    return team;
  }
  static model::Player player(ID id) {
    model::Player player{.ID = id};
    player.name = "Player " + text(id);
    player.sport = model::Sport::sportWithSlug(id % 2 == 0 ? "football" : "tennis");
    return player;
  }
  static model::Tournament league(ID uniqueId) {
    model::Tournament tournament{.ID = uniqueId + 7};
    tournament.uniqueId = uniqueId;
    tournament.name = "League " + text(uniqueId);
    return tournament;
  }
  static model::UniqueTournament pinned(ID id) {
    model::UniqueTournament tournament{.ID = id};
    tournament.name = "Pinned " + text(id);
    return tournament;
  }
  /// An own event: upcoming, no team or league, so that nothing but the
  /// thread's own writes changes it.
  static model::Event ownEvent(ID id) {
    return model::Event{.ID = id, .startTimestamp = kNow + kDay, .status = model::EventStatus(3)};
  }
  /// A shared event: any age and status, sometimes of a shared team or
  /// league, so that the prunings and the cascades have work.
  model::Event sharedEvent(ID id) {
    model::Event event{.ID = id, .startTimestamp = kNow + pick(-10, 60) * kDay,
                       .status = model::EventStatus(pick(1, 4))};
    if (chance(40)) event.homeTeamOriginal = team(pick(1, kSharedCount));
    if (chance(30)) event.tournament = league(pick(1, kSharedCount));
    return event;
  }
  static model::Stage ownStage(ID id) {
    model::Stage stage{.ID = id, .status = model::EventStatus(3),
                       .startDateTimestamp = kNow + kDay};
    stage.desc = "Stage " + text(id);
    return stage;
  }
  model::Stage sharedStage(ID id) {
    model::Stage stage{.ID = id, .status = model::EventStatus(pick(1, 3)),
                       .startDateTimestamp = kNow + pick(-10, 60) * kDay};
    stage.desc = "Stage " + text(id);
    if (chance(40)) {
      stage.stageEvent = std::make_shared<model::Stage>();
      stage.stageEvent->ID = pick(1, kSharedCount);
      stage.stageEvent->startDateTimestamp = stage.startDateTimestamp;
    }
    if (chance(50)) {
      model::StageSeason season;
      season.ID = 500;
      season.uniqueStage = model::UniqueStage{.ID = pick(1, 3)};
      stage.stageSeason = season;
    }
    return stage;
  }

  // ---- Issuing ------------------------------------------------------------------------------

  /// Issues an operation in its future form, call(), or its handler form,
  /// call(handler), under the watchdog's eye; the future either way.
  template <class T, class Call>
  std::future<T> issue(const std::string& what, Call call) {
    const auto started = std::chrono::steady_clock::now();
    watchdog_.begin(thread_, what);
    std::future<T> future;
    if (chance(50)) {
      future = call();
    } else {
      auto slot = std::make_shared<HandlerSlot<T>>();
      future = slot->promise.get_future();
      const std::string context = where() + what;
      Findings* findings = &findings_;
      call(std::function<void(T)>([slot, context, findings](T value) {
        if (slot->called.exchange(true)) {
          findings->fault(findings->hung, context + ": its handler ran twice");
          return;
        }
        slot->promise.set_value(std::move(value));
      }));
    }
    watchdog_.end(thread_);
    if (options_.timed && future.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
      options_.timed(what, std::chrono::steady_clock::now() - started);
    }
    return future;
  }

  /// With awaitStore: waits (bounded) for an object-store operation and
  /// tells how long it took from `started`.
  template <class T>
  void awaitStored(const std::string& what, std::future<T>& future,
                   std::chrono::steady_clock::time_point started) {
    if (!options_.awaitStore) return;
    if (future.wait_for(options_.hangAfter) != std::future_status::ready) return;
    if (options_.timed) options_.timed(what, std::chrono::steady_clock::now() - started);
  }

  /// A table operation: its result, ready when the call returns.
  template <class T, class Call>
  T table(const std::string& what, Call call) {
    std::future<T> future = issue<T>(what, call);
    if (future.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
      findings_.fault(findings_.hung, where() + what + " returned before its result");
      watchdog_.begin(thread_, what + " (its result)");
      future.wait();
      watchdog_.end(thread_);
    }
    try {
      return future.get();
    } catch (const std::future_error&) {
      findings_.fault(findings_.hung, where() + what + ": its handler was dropped uncalled");
      return T{};
    }
  }

  /// A table write: its result; an acknowledged one is counted.
  template <class Call>
  bool write(const std::string& what, Call call) {
    const bool ok = table<bool>(what, call);
    lastWrite_ = what + (ok ? " (true)" : " (false)");
    (ok ? findings_.acknowledged : findings_.refused).fetch_add(1);
    return ok;
  }

  /// An object-store write on an own ID, applied to the own state at the end.
  template <class Call>
  void storeWrite(const std::string& what, Call call, std::function<void(OwnState&)> apply) {
    const auto started = std::chrono::steady_clock::now();
    pending_.push_back({issue<bool>(what, call), std::move(apply), what});
    awaitStored(what, pending_.back().result, started);
  }
  /// An object-store operation whose result is not checked (shared IDs,
  /// reads); the end waits for it too.
  template <class T, class Call>
  void storeOther(const std::string& what, Call call) {
    const auto started = std::chrono::steady_clock::now();
    auto future = std::make_shared<std::future<T>>(issue<T>(what, call));
    awaitStored(what, *future, started);
    others_.push_back({where() + what, [future](std::chrono::seconds limit) {
                         return future->wait_for(limit) == std::future_status::ready;
                       }});
  }

 public:
  /// Waits for the reads and shared writes issued to the object store.
  void waitForOthers() {
    for (const auto& [what, resolvedWithin] : others_) {
      if (!resolvedWithin(options_.hangAfter)) findings_.fault(findings_.hung, what + " never resolved");
    }
    others_.clear();
  }

 private:
  // ---- Checks -------------------------------------------------------------------------------

  bool faultUnderWay() const { return options_.faultActive && options_.faultActive->load(); }

  void expectMemory(bool actual, bool wanted, const std::string& what) {
    if (faultUnderWay()) return;
    if (actual != wanted) {
      findings_.fault(findings_.mismatches, where() + what + ": memory answers " +
                                                (actual ? "true" : "false") + " after " + lastWrite_);
    }
  }
  void compare(const std::string& what, const IDSet& stored, const IDSet& acknowledged) {
    if (stored == acknowledged) return;
    std::ostringstream line;
    line << where() << what << ": the files hold";
    for (const ID id : stored) line << ' ' << id;
    line << "; acknowledged:";
    for (const ID id : acknowledged) line << ' ' << id;
    findings_.fault(findings_.lost, line.str());
  }

  // ---- One step -----------------------------------------------------------------------------

  void step() {
    if (options_.lifecycle && thread_ == 0 && chance(3)) {
      lifecycle();
      return;
    }
    const bool own = chance(options_.ownPercent);
    const ID k = pick(0, kOwnCount - 1);
    const ID id = own ? ownID(k) : pick(1, kSharedCount);
    switch (pick(0, 13)) {
      case 0:
      case 1: return events(own, id);
      case 2: return stages(own, id);
      case 3: return teams(own, id);
      case 4: return players(own, id);
      case 5: return leagues(own, id);
      case 6: return pinsAndFantasy(own, id);
      case 7: return chatAndTv(own, id, k);
      case 8:
      case 9: return votes(own, id);
      case 10: return highlightsAndUniqueStages(own, id);
      case 11: return otherRecords(own, id, k);
      case 12: return storeReads(id);
      default: return memoryQuestions(id);
    }
  }

  void lifecycle() {
    StorageManager& s = s_;
    switch (pick(0, 9)) {
      case 0:
      case 1:
        watchdog_.begin(thread_, "reInit");
        s.reInit();
        watchdog_.end(thread_);
        return;
      case 2:
        watchdog_.begin(thread_, "cleanDB");
        s.cleanDB();
        watchdog_.end(thread_);
        return;
      case 3:
        (void)table<bool>("deleteFinishedEvents", [&](auto... h) { return s.deleteFinishedEvents(h...); });
        return;
      case 4:
        (void)table<bool>("deleteOldEvents", [&](auto... h) { return s.deleteOldEvents(h...); });
        return;
      case 5:
        (void)table<bool>("deleteFinishedStages", [&](auto... h) { return s.deleteFinishedStages(h...); });
        return;
      case 6:
        (void)table<bool>("deleteOldStages", [&](auto... h) { return s.deleteOldStages(h...); });
        return;
      case 7:
        storeOther<bool>("deleteScoreSuggestionsOlderThan7Days",
                         [&](auto... h) { return s.deleteScoreSuggestionsOlderThan7Days(h...); });
        return;
      case 8:
        storeOther<bool>("fixDuplicateVotes", [&](auto... h) { return d_.fixDuplicateVotes(h...); });
        return;
      default: {
        watchdog_.begin(thread_, "clearEventCache, migrateFavoriteNotificationEvents");
        s.clearEventCache();
        s.migrateFavoriteNotificationEvents().wait();
        watchdog_.end(thread_);
        return;
      }
    }
  }

  void events(bool own, ID id) {
    StorageManager& s = s_;
    const std::string name = " event " + text(id);
    if (!own) {
      const model::Event event = sharedEvent(id);
      switch (pick(0, 7)) {
        case 0: (void)write("insertEvent" + name, [&](auto... h) { return s.insertEvent(event, chance(30), h...); }); return;
        case 1: (void)write("insertEntityOwnedEvent" + name, [&](auto... h) { return s.insertEntityOwnedEvent(event, h...); }); return;
        case 2: (void)write("updateEvent" + name, [&](auto... h) { return s.updateEvent(event, h...); }); return;
        case 3: (void)write("muteEvent" + name, [&](auto... h) { return s.muteEvent(event, h...); }); return;
        case 4: (void)write("unmuteEvent" + name, [&](auto... h) { return s.unmuteEvent(id, h...); }); return;
        case 5: (void)write("deleteEvents" + name, [&](auto... h) { return s.deleteEvents({id, id % kSharedCount + 1}, h...); }); return;
        case 6: (void)table<ReadResult<std::vector<model::Event>>>("getAllFavoriteEvents", [&](auto... h) { return s.getAllFavoriteEvents(h...); }); return;
        default: (void)table<ReadResult<IDSet>>("getEventIDsToRefresh", [&](auto... h) { return s.getEventIDsToRefresh(h...); }); return;
      }
    }
    const model::Event event = ownEvent(id);
    switch (pick(0, 5)) {
      case 0:
      case 1: {
        const bool muted = chance(30);
        if (write("insertEvent" + name, [&](auto... h) { return s.insertEvent(event, muted, h...); })) {
          own_.events[id] = muted;
        }
        break;
      }
      case 2:
        if (write("muteEvent" + name, [&](auto... h) { return s.muteEvent(event, h...); }) &&
            own_.events.contains(id)) {
          own_.events[id] = true;
        }
        break;
      case 3:
        if (write("unmuteEvent" + name, [&](auto... h) { return s.unmuteEvent(id, h...); }) &&
            own_.events.contains(id)) {
          own_.events[id] = false;
        }
        break;
      case 4:
        if (write("deleteEvent" + name, [&](auto... h) { return s.deleteEvent(id, h...); })) {
          own_.events.erase(id);
        }
        break;
      default: {
        const auto read = table<ReadResult<std::optional<model::Event>>>(
            "getEvent" + name, [&](auto... h) { return s.getEvent(id, h...); });
        // A favourite's row is there; a deleted one may stay as nothing or
        // never have been written.
        // A read may fail only while a fault is under way (never as "no row").
        if ((!read && !faultUnderWay()) || (read && own_.events.contains(id) && !*read)) {
          findings_.fault(findings_.lost, where() + "getEvent" + name + " misses its acknowledged row");
        }
        return;
      }
    }
    const auto row = own_.events.find(id);
    expectMemory(s.isFavoriteEvent(id), row != own_.events.end(), "isFavoriteEvent" + name);
    expectMemory(s.isMutedEvent(id), row != own_.events.end() && row->second, "isMutedEvent" + name);
  }

  void stages(bool own, ID id) {
    StorageManager& s = s_;
    const std::string name = " stage " + text(id);
    if (!own) {
      const model::Stage stage = sharedStage(id);
      switch (pick(0, 8)) {
        case 0: (void)write("insertStage" + name, [&](auto... h) { return s.insertStage(stage, h...); }); return;
        case 1: (void)write("insertMutedStage" + name, [&](auto... h) { return s.insertMutedStage(stage, h...); }); return;
        case 2: (void)write("insertEntityOwnedStage" + name, [&](auto... h) { return s.insertEntityOwnedStage(stage, h...); }); return;
        case 3: (void)write("updateStage" + name, [&](auto... h) { return s.updateStage(stage, h...); }); return;
        case 4: (void)write("muteStage" + name, [&](auto... h) { return s.muteStage(stage, h...); }); return;
        case 5: (void)write("unmuteStage" + name, [&](auto... h) { return s.unmuteStage(id, h...); }); return;
        case 6: (void)write("deleteStage" + name, [&](auto... h) { return s.deleteStage(id, h...); }); return;
        case 7: (void)write("deleteStagesWithUniqueStageID", [&](auto... h) { return s.deleteStagesWithUniqueStageID(pick(1, 3), h...); }); return;
        default: (void)table<ReadResult<std::vector<model::Stage>>>("getAllFavoriteStages", [&](auto... h) { return s.getAllFavoriteStages(h...); }); return;
      }
    }
    const model::Stage stage = ownStage(id);
    switch (pick(0, 5)) {
      case 0:
        if (write("insertStage" + name, [&](auto... h) { return s.insertStage(stage, h...); })) {
          own_.stages[id] = false;
        }
        break;
      case 1:
        if (write("insertMutedStage" + name, [&](auto... h) { return s.insertMutedStage(stage, h...); })) {
          own_.stages[id] = true;
        }
        break;
      case 2:
        if (write("muteStage" + name, [&](auto... h) { return s.muteStage(stage, h...); }) &&
            own_.stages.contains(id)) {
          own_.stages[id] = true;
        }
        break;
      case 3:
        if (write("unmuteStage" + name, [&](auto... h) { return s.unmuteStage(id, h...); }) &&
            own_.stages.contains(id)) {
          own_.stages[id] = false;
        }
        break;
      case 4:
        if (write("deleteStage" + name, [&](auto... h) { return s.deleteStage(id, h...); })) {
          own_.stages.erase(id);
        }
        break;
      default: {
        const auto read = table<ReadResult<std::optional<model::Stage>>>(
            "getStage" + name, [&](auto... h) { return s.getStage(id, h...); });
        if ((!read && !faultUnderWay()) || (read && own_.stages.contains(id) && !*read)) {
          findings_.fault(findings_.lost, where() + "getStage" + name + " misses its acknowledged row");
        }
        return;
      }
    }
    const auto row = own_.stages.find(id);
    expectMemory(s.isFavoriteStage(id), row != own_.stages.end(), "isFavoriteStage" + name);
    expectMemory(s.isMutedStage(id), row != own_.stages.end() && row->second, "isMutedStage" + name);
  }

  /// Follow, unfollow and notifications of a team, player or league, with
  /// the memory checked after an own write.
  template <class Follow, class Unfollow, class Notify, class IsFollowed, class IsNotified>
  void followed(bool own, ID id, const std::string& name, std::map<ID, bool>& state,
                Follow follow, Unfollow unfollow, Notify notify, IsFollowed isFollowed,
                IsNotified isNotified) {
    const bool flag = chance(50);
    switch (pick(0, 2)) {
      case 0:
        if (write("follow" + name, [&](auto... h) { return follow(flag, h...); }) && own) {
          state[id] = flag;
        }
        break;
      case 1:
        if (write("unfollow" + name, [&](auto... h) { return unfollow(h...); }) && own) {
          state.erase(id);
        }
        break;
      default:
        if (write("notifications" + name, [&](auto... h) { return notify(flag, h...); }) && own &&
            state.contains(id)) {
          state[id] = flag;
        }
        break;
    }
    if (!own) return;
    const auto row = state.find(id);
    expectMemory(isFollowed(), row != state.end(), "followed" + name);
    expectMemory(isNotified(), row != state.end() && row->second, "notifications" + name);
  }

  void teams(bool own, ID id) {
    StorageManager& s = s_;
    followed(own, id, " team " + text(id), own_.teams,
             [&](bool on, auto... h) { return s.followTeam(team(id), on, h...); },
             [&](auto... h) { return s.unfollowTeam(id, h...); },
             [&](bool on, auto... h) { return s.setTeamNotificationsEnabled(on, {id}, h...); },
             [&] { return s.isFavoriteTeam(id); }, [&] { return s.isTeamNotificationEnabled(id); });
    if (!own && chance(20)) {
      (void)table<ReadResult<IDSet>>("getTeamIDsForSport", [&](auto... h) { return s.getTeamIDsForSport("football", h...); });
    }
  }

  void players(bool own, ID id) {
    StorageManager& s = s_;
    if (!own && chance(15)) {
      (void)write("unfollowPlayers", [&](auto... h) { return s.unfollowPlayers({id, id % kSharedCount + 1}, h...); });
      return;
    }
    followed(own, id, " player " + text(id), own_.players,
             [&](bool on, auto... h) { return s.followPlayer(player(id), on, h...); },
             [&](auto... h) { return s.unfollowPlayer(id, h...); },
             [&](bool on, auto... h) { return s.setPlayerNotificationsEnabled(on, {id}, h...); },
             [&] { return s.isFavoritePlayer(id); }, [&] { return s.isPlayerNotificationEnabled(id); });
  }

  void leagues(bool own, ID id) {
    StorageManager& s = s_;
    followed(own, id, " league " + text(id), own_.leagues,
             [&](bool on, auto... h) { return s.followTournament(league(id), on, h...); },
             [&](auto... h) { return s.unfollowTournament(id, h...); },
             [&](bool on, auto... h) { return s.setTournamentNotificationsEnabled(on, {id}, h...); },
             [&] { return s.isFavoriteTournament(id); },
             [&] { return s.isTournamentNotificationEnabled(id); });
  }

  void pinsAndFantasy(bool own, ID id) {
    StorageManager& s = s_;
    const std::string name = " " + text(id);
    switch (pick(0, 3)) {
      case 0:
        if (write("pinUniqueTournament" + name, [&](auto... h) { return s.pinUniqueTournament(pinned(id), h...); }) && own) {
          own_.pins.insert(id);
        }
        if (own) expectMemory(s.isPinned(id), own_.pins.contains(id), "isPinned" + name);
        return;
      case 1:
        if (write("unpinUniqueTournament" + name, [&](auto... h) { return s.unpinUniqueTournament(id, h...); }) && own) {
          own_.pins.erase(id);
        }
        if (own) expectMemory(s.isPinned(id), own_.pins.contains(id), "isPinned" + name);
        return;
      case 2:
        if (write("saveFantasyCompetition" + name, [&](auto... h) { return s.saveFantasyCompetition(id, h...); }) && own) {
          own_.fantasy.insert(id);
        }
        break;
      default:
        if (write("deleteFantasyCompetition" + name, [&](auto... h) { return s.deleteFantasyCompetition(id, h...); }) && own) {
          own_.fantasy.erase(id);
        }
        break;
    }
    if (own) {
      expectMemory(s.isFantasyCompetitionFollowed(id), own_.fantasy.contains(id),
                   "isFantasyCompetitionFollowed" + name);
    }
  }

  void chatAndTv(bool own, ID id, ID k) {
    StorageManager& s = s_;
    const ID event = own ? chatEvent() : pick(1, kSharedCount);
    switch (pick(0, 4)) {
      case 0:
        if (write("upvoteMessage " + text(id), [&](auto... h) { return s.upvoteMessage(id, event, std::nullopt, h...); }) && own) {
          own_.upvoted.insert(id);
        }
        return;
      case 1:
        if (write("reportMessage " + text(id), [&](auto... h) { return s.reportMessage(id, event, k % 3, h...); }) && own) {
          own_.reported.insert(id);
        }
        return;
      case 2: {
        const model::TVChannelSuggestion answer{
            .channelId = id, .eventId = event, .startTimestamp = kNow, .approve = chance(50)};
        if (write("saveTvChannelSuggestion " + text(id), [&](auto... h) { return s.saveTvChannelSuggestion(answer, h...); }) && own) {
          own_.tvAnswers.emplace(id, event);
        }
        return;
      }
      case 3:
        (void)table<ReadResult<IDSet>>("getUpvotedMessageIDs", [&](auto... h) { return s.getUpvotedMessageIDs(event, h...); });
        return;
      default:
        (void)table<ReadResult<IDSet>>("getReportedMessageIDs", [&](auto... h) { return s.getReportedMessageIDs(h...); });
        (void)s.getTvChannelSuggestions();
        return;
    }
  }

  void votes(bool own, ID id) {
    StorageManager& s = s_;
    const auto type = static_cast<NMEventVoteType>(pick(0, 1));
    const auto value = static_cast<NMEventVoteValue>(pick(0, 5));
    const bool flag = chance(50);
    const std::string name = " vote " + StorageManager::voteCacheKey(id, type);
    const std::pair<ID, NMEventVoteType> key{id, type};
    switch (pick(0, 4)) {
      case 0:
      case 1: {
        // Shared votes are sometimes on events long past, for the cleaning;
        // own ones never, so that the cleaning leaves them.
        const auto call = [&, start = kNow + pick(own ? 0 : -100, 30) * kDay](auto... h) {
          return s.save(value, type, id, start, flag, h...);
        };
        if (own) {
          storeWrite("save" + name, call, [key, value](OwnState& state) { state.votes[key] = value; });
        } else {
          storeOther<bool>("save" + name, call);
        }
        return;
      }
      case 2: {
        const auto call = [&](auto... h) { return s.edit(value, type, id, flag, h...); };
        if (own) {
          storeWrite("edit" + name, call, [key, value](OwnState& state) { state.votes[key] = value; });
        } else {
          storeOther<bool>("edit" + name, call);
        }
        return;
      }
      case 3:
        storeOther<bool>("markAs" + name, [&](auto... h) {
          return flag ? s.markAsAdded(id, type, h...) : s.markAsEdited(id, type, h...);
        });
        return;
      default:
        (void)s.getVote(id, type);
        storeOther<ReadResult<std::vector<model::UnsavedVote>>>(
            "getUnsuccessfulVotes", [&](auto... h) { return s.getUnsuccessfulVotes(h...); });
        return;
    }
  }

  void highlightsAndUniqueStages(bool own, ID id) {
    StorageManager& s = s_;
    const std::string name = " " + text(id);
    switch (pick(0, 3)) {
      case 0: {
        const auto call = [&](auto... h) {
          return s.markHighlightWatched(id, "https://video/" + text(id), kNow, h...);
        };
        if (own) {
          storeWrite("markHighlightWatched" + name, call,
                     [id](OwnState& state) { state.highlights.insert(id); });
        } else {
          storeOther<bool>("markHighlightWatched" + name, call);
        }
        return;
      }
      case 1: {
        const auto call = [&](auto... h) { return s.followUniqueStage(id, h...); };
        if (own) {
          storeWrite("followUniqueStage" + name, call, [id](OwnState& state) { state.uniqueStages.insert(id); });
        } else {
          storeOther<bool>("followUniqueStage" + name, call);
        }
        return;
      }
      case 2: {
        const auto call = [&](auto... h) { return s.unfollowUniqueStage(id, h...); };
        if (own) {
          storeWrite("unfollowUniqueStage" + name, call, [id](OwnState& state) { state.uniqueStages.erase(id); });
        } else {
          storeOther<bool>("unfollowUniqueStage" + name, call);
        }
        return;
      }
      default:
        storeOther<ReadResult<std::optional<MOHighlight>>>(
            "fetchHighlight" + name, [&](auto... h) { return s.fetchHighlight(id, h...); });
        return;
    }
  }

  void otherRecords(bool own, ID id, ID k) {
    StorageManager& s = s_;
    const std::string name = " " + text(id);
    switch (pick(0, 6)) {
      case 0: {
        const std::int64_t value = pick(1, 1'000'000);
        const bool higher = chance(50);
        // Through the facade or straight to the store.
        const bool direct = chance(50);
        const auto call = [&](auto... h) {
          return direct ? d_.savePlayerValueVote(id, higher, value, h...)
                        : s.savePlayerValueVote(id, higher, value, h...);
        };
        if (own) {
          storeWrite("savePlayerValueVote" + name, call,
                     [id, value](OwnState& state) { state.playerValues[id] = value; });
        } else {
          storeOther<bool>("savePlayerValueVote" + name, call);
        }
        return;
      }
      case 1: {
        const std::string item = own ? newsID(k) : "news-" + text(id);
        const bool direct = chance(50);
        const auto call = [&](auto... h) {
          return direct ? d_.markNewsItemAsRead(item, h...) : s.markNewsItemAsRead(item, h...);
        };
        if (own) {
          storeWrite("markNewsItemAsRead " + item, call,
                     [item](OwnState& state) { state.newsRead.insert(item); });
        } else {
          storeOther<bool>("markNewsItemAsRead " + item, call);
        }
        return;
      }
      case 2: {
        const platform::Bytes entity{static_cast<std::uint8_t>(id & 0xff), 0, 0xff};
        storeOther<bool>("saveRecentSearch" + name,
                         [&](auto... h) { return s.saveRecentSearch(id, "team", entity, h...); });
        return;
      }
      case 3:
        storeOther<ReadResult<std::vector<MORecentSearch>>>(
            "getRecentSearches", [&](auto... h) { return s.getRecentSearches(h...); });
        return;
      case 4: {
        const std::vector<MOEventScoreItem::Values> items{
            {.id = 1, .teamId = id, .awayScore = pick(0, 3), .homeScore = pick(0, 3)}};
        storeOther<bool>("saveScoreSuggestion" + name, [&](auto... h) {
          return s.saveScoreSuggestion("suggestion-" + text(id), id, items, h...);
        });
        return;
      }
      case 5:
        storeOther<ReadResult<std::optional<MOEventScoreSuggestion>>>(
            "getScoreSuggestion" + name, [&](auto... h) { return s.getScoreSuggestion(id, h...); });
        return;
      default:
        storeOther<ReadResult<std::optional<MOPlayerValueUserVote>>>(
            "getPlayerValueVote" + name, [&](auto... h) { return d_.getPlayerValueVote(id, h...); });
        return;
    }
  }

  void storeReads(ID id) {
    const auto type = std::string(model::voteTypeText(static_cast<NMEventVoteType>(pick(0, 1))));
    switch (pick(0, 4)) {
      case 0:
        storeOther<ReadResult<DataManager::VoteDictionary>>(
            "getVotesForCache", [&](auto... h) { return d_.getVotesForCache(h...); });
        return;
      case 1:
        storeOther<ReadResult<std::optional<MOVote>>>(
            "fetchVote", [&](auto... h) { return d_.fetchVote(id, type, h...); });
        return;
      case 2:
        watchdog_.begin(thread_, "getVoteForEvent");
        (void)d_.getVoteForEvent(id, type);
        watchdog_.end(thread_);
        return;
      case 3:
        storeOther<ReadResult<DataManager::IDSet>>(
            "getHighlightsForCache", [&](auto... h) { return d_.getHighlightsForCacheWithCompletion(h...); });
        return;
      default:
        storeOther<ReadResult<DataManager::IDSet>>(
            "getUniqueStagesForCache", [&](auto... h) { return d_.getUniqueStagesForCacheWithCompletion(h...); });
        return;
    }
  }

  void memoryQuestions(ID id) {
    StorageManager& s = s_;
    watchdog_.begin(thread_, "questions answered from memory");
    (void)s.getFavoriteEventIDs();
    (void)s.getFavoriteStages();
    (void)s.getFavoriteStageIDsInGroup(id);
    (void)s.getFavoriteTeams();
    (void)s.getFavoritePlayers();
    (void)s.getPlayerIDsForSport("football");
    (void)s.getFavoriteTournaments();
    (void)s.getPinnedUniqueTournaments();
    (void)s.getVote(id, NMEventVoteType(0));
    (void)s.isHighlightWatched(id);
    (void)s.getFollowedUniqueStageIDs();
    (void)s.getTvChannelSuggestions();
    (void)s.getAllFantasyCompetitionIds();
    watchdog_.end(thread_);
  }

  StorageManager& s_;
  DataManager& d_;
  Watchdog& watchdog_;
  Findings& findings_;
  const WorkerConfig options_;
  const int thread_;
  std::mt19937_64 random_;
  int step_ = 0;
  std::string lastWrite_;
  OwnState own_;
  std::vector<PendingWrite> pending_;
  std::vector<std::pair<std::string, std::function<bool(std::chrono::seconds)>>> others_;
};

}  // namespace kestrel::reliability
