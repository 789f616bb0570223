#include "reliability/workload/Workload.h"

#include <KestrelPlatform/Clock.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace kestrel::reliability {
namespace {

using ID = std::int64_t;
using IDSet = StorageManager::IDSet;
using model::NMEventVoteType;
using model::NMEventVoteValue;

constexpr ID k31 = ID{1} << 31;
constexpr ID k32 = ID{1} << 32;
constexpr ID kMax = std::numeric_limits<ID>::max();
constexpr ID kMin = std::numeric_limits<ID>::min();
constexpr ID kDay = 86400;
constexpr ID kNow = Workload::kNow;

// Small pools, so that operations meet the same rows, with some IDs across
// the 64-bit range (above 2^31, negative, the extremes, equal low 32 bits).
const std::vector<ID> kEventIDs = {1, 2, 3, 4, 5, 6, 7, 8, k32 + 1, -7, kMax, kMin, k31 + 3};
const std::vector<ID> kTeamIDs = {5, 6, k32 + 5, -5, kMax - 1};
const ID kUnfollowedTeam = 9;
const std::vector<ID> kLeagueIDs = {11, 12, k32 + 11, -11};
const std::vector<ID> kPlayerIDs = {21, 22, k32 + 21, -21, ID{1} << 40};
const std::vector<ID> kPinIDs = {31, 32, 33, k32 + 31, -31, kMin + 31};
const std::vector<ID> kFantasyIDs = {41, 42, k32 + 41, -41, kMax};
const std::vector<ID> kHighlightIDs = {51, 52, 53, k32 + 51, -51, kMax - 51};
const std::vector<ID> kUniqueStageFollowIDs = {61, 62, 63, k32 + 61, -61, kMin + 61};
const std::vector<ID> kVoteEventIDs = {71, 72, 73, k32 + 71, -71, kMax - 71};
const std::vector<ID> kMessageIDs = {1000, 1001, k32 + 1000, -1000, kMax - 1000};
const std::vector<ID> kChatEventIDs = {1, 2, k32 + 1};
const std::vector<ID> kChannelIDs = {1, 2, k32 + 1, -3};
const std::vector<std::string> kCountries = {"DE", "GB", "FR", "O'Land"};
const std::vector<ID> kSearchIDs = {1, 2, 3, k32 + 1, -1};
const std::vector<std::string> kSearchTypes = {"team", "player", "event"};
const std::vector<std::string> kNewsIDs = {"n1", "n2", "n3", "n\"4\""};
const std::vector<std::string> kSports = {"football", "tennis", "ice-hockey"};

// Names: mostly plain, some with quotes, a NUL-free control character or
// letters outside ASCII.
const std::vector<std::string> kNameSuffixes = {"",       "",          "",     " \"Q\"",
                                                " O'Neil", " Z\xC3\xBCrich", " \t+", " ;--"};

// Stages: heads (no parent) and members under a head; one head is never
// stored itself.
struct StageShape {
  ID id;
  std::optional<ID> parent;
  ID uniqueStage;
};
const std::vector<StageShape> kStageShapes = {
    {100, std::nullopt, 1},          {101, 100, 1},      {k31 + 100, 100, 1},
    {k32 + 100, std::nullopt, k32 + 1}, {k32 + 101, k32 + 100, k32 + 1},
    {-100, std::nullopt, 2},         {-101, -100, 2},    {103, (ID{1} << 33) + 7, 2},
    {104, 100, 0}};
const std::vector<ID> kUniqueStageIDs = {1, 2, k32 + 1, 3};

std::string text(ID id) { return std::to_string(id); }

// Draws from a generator seeded by (seed, index) alone; the arithmetic is
// our own, so the sequence does not depend on the standard library's
// distributions.
class Draw {
 public:
  Draw(std::uint64_t seed, std::uint64_t index) {
    std::seed_seq sequence{static_cast<std::uint32_t>(seed), static_cast<std::uint32_t>(seed >> 32),
                           static_cast<std::uint32_t>(index),
                           static_cast<std::uint32_t>(index >> 32), 0x6b657374u};
    engine_.seed(sequence);
  }
  ID pick(ID low, ID high) {
    const auto span = static_cast<std::uint64_t>(high - low) + 1;
    return low + static_cast<ID>(engine_() % span);
  }
  bool chance(int percent) { return pick(1, 100) <= percent; }
  template <class T>
  const T& oneOf(const std::vector<T>& values) {
    return values[static_cast<std::size_t>(pick(0, static_cast<ID>(values.size()) - 1))];
  }
  IDSet someOf(const std::vector<ID>& pool) {
    IDSet ids;
    for (ID n = pick(0, 3); n > 0; --n) ids.insert(oneOf(pool));
    return ids;
  }
  std::string name(const std::string& base) { return base + oneOf(kNameSuffixes); }

 private:
  std::mt19937_64 engine_;
};

// ---- Model values, each entity keeping its shape -----------------------------------------

model::Event eventOf(Draw& d, ID id) {
  const auto index = static_cast<std::size_t>(
      std::find(kEventIDs.begin(), kEventIDs.end(), id) - kEventIDs.begin());
  model::Event event{.ID = id};
  event.startTimestamp = kNow + d.pick(-9, 2) * kDay + d.pick(-3600, 3600);
  if (d.chance(10)) event.startTimestamp = kNow + 4838400 + d.pick(-kDay, kDay);
  event.status = model::EventStatus(static_cast<int>(d.oneOf(std::vector<ID>{1, 2, 3, 3, 4, 6})));
  event.homeTeamOriginal = model::Team{.ID = kTeamIDs[index % kTeamIDs.size()]};
  event.awayTeamOriginal = model::Team{
      .ID = index % 3 == 0 ? kUnfollowedTeam : kTeamIDs[(index + 1) % kTeamIDs.size()]};
  if (index % 2 == 0) {
    model::Tournament tournament{.ID = 77};
    tournament.uniqueId = kLeagueIDs[index % kLeagueIDs.size()];
    event.tournament = tournament;
  }
  if (d.chance(30)) event.statusDescription = d.name("Half " + text(d.pick(1, 2)));
  return event;
}

model::Stage stageOf(Draw& d, const StageShape& shape) {
  model::Stage stage{.ID = shape.id};
  stage.desc = d.name("Stage " + text(shape.id));
  stage.status = model::EventStatus(static_cast<int>(d.oneOf(std::vector<ID>{1, 2, 3, 3, 4})));
  const ID start = kNow + d.pick(-9, 3) * kDay + d.pick(-600, 600);
  std::optional<ID> parentStart;
  if (d.chance(85)) {
    stage.startDateTimestamp = start;
    if (shape.parent) parentStart = start;
  } else if (shape.parent && d.chance(60)) {
    parentStart = start;  // the row keeps the parent's start
  }
  if (shape.parent) {
    stage.stageEvent = std::make_shared<model::Stage>();
    stage.stageEvent->ID = *shape.parent;
    stage.stageEvent->startDateTimestamp = parentStart;
  }
  if (shape.uniqueStage != 0) {
    model::StageSeason season{.ID = 500};
    season.uniqueStage = model::UniqueStage{.ID = shape.uniqueStage};
    stage.stageSeason = season;
  }
  return stage;
}

// ---- The two forms -----------------------------------------------------------------------

using Start = std::function<std::future<bool>(StorageManager&)>;

// A write in its future form, or in its handler form with a handler that
// shares its state with the future (never the caller's locals).
template <class Call>
Start write(bool handlerForm, Call call) {
  if (!handlerForm) return [call](StorageManager& s) { return call(s); };
  return [call](StorageManager& s) {
    auto promise = std::make_shared<std::promise<bool>>();
    auto calls = std::make_shared<std::atomic<int>>(0);
    std::future<bool> result = promise->get_future();
    call(s, StorageManager::BoolHandler([promise, calls](bool ok) {
           if (calls->fetch_add(1) == 0) promise->set_value(ok);
         }));
    return result;
  };
}

// A read in either form; it resolves with whether the read succeeded.
template <class Call>
Start read(bool handlerForm, Call call) {
  if (!handlerForm) {
    return [call](StorageManager& s) {
      auto answer = call(s);
      auto promise = std::make_shared<std::promise<bool>>();
      std::future<bool> result = promise->get_future();
      if (answer.wait_for(std::chrono::seconds(0)) == std::future_status::ready) {
        promise->set_value(answer.get().has_value());
      } else {
        // A read still queued: its own thread waits, so the caller's bound holds.
        std::thread([promise, answer = std::move(answer)]() mutable {
          promise->set_value(answer.get().has_value());
        }).detach();
      }
      return result;
    };
  }
  return [call](StorageManager& s) {
    auto promise = std::make_shared<std::promise<bool>>();
    auto calls = std::make_shared<std::atomic<int>>(0);
    std::future<bool> result = promise->get_future();
    call(s, [promise, calls](auto answer) {
      if (calls->fetch_add(1) == 0) promise->set_value(answer.has_value());
    });
    return result;
  };
}

struct Made {
  std::string what;
  Start start;
  bool isRead = false;
};

// ---- The operations, by entity -----------------------------------------------------------

Made eventOperation(Draw& d, bool h) {
  const ID id = d.oneOf(kEventIDs);
  const model::Event e = eventOf(d, id);
  switch (d.pick(0, 11)) {
    case 0:
    case 1:
    case 2: {
      const bool muted = d.chance(25);
      return {"insertEvent " + text(id) + (muted ? " muted" : ""),
              write(h, [e, muted](StorageManager& s, auto... f) { return s.insertEvent(e, muted, f...); })};
    }
    case 3:
    case 4:
      return {"insertEntityOwnedEvent " + text(id),
              write(h, [e](StorageManager& s, auto... f) { return s.insertEntityOwnedEvent(e, f...); })};
    case 5:
      return {"muteEvent " + text(id),
              write(h, [e](StorageManager& s, auto... f) { return s.muteEvent(e, f...); })};
    case 6:
      return {"unmuteEvent " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.unmuteEvent(id, f...); })};
    case 7:
      return {"deleteEvent " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.deleteEvent(id, f...); })};
    case 8: {
      const IDSet ids = d.someOf(kEventIDs);
      return {"deleteEvents (" + text(static_cast<ID>(ids.size())) + ")",
              write(h, [ids](StorageManager& s, auto... f) { return s.deleteEvents(ids, f...); })};
    }
    case 9:
      return {"updateEvent " + text(id),
              write(h, [e](StorageManager& s, auto... f) { return s.updateEvent(e, f...); })};
    case 10:
      return {"deleteFinishedEvents",
              write(h, [](StorageManager& s, auto... f) { return s.deleteFinishedEvents(f...); })};
    default:
      return {"deleteOldEvents",
              write(h, [](StorageManager& s, auto... f) { return s.deleteOldEvents(f...); })};
  }
}

Made stageOperation(Draw& d, bool h) {
  const model::Stage st = stageOf(d, d.oneOf(kStageShapes));
  const ID id = st.ID;
  switch (d.pick(0, 12)) {
    case 0:
    case 1:
    case 2:
      return {"insertStage " + text(id),
              write(h, [st](StorageManager& s, auto... f) { return s.insertStage(st, f...); })};
    case 3:
      return {"insertMutedStage " + text(id),
              write(h, [st](StorageManager& s, auto... f) { return s.insertMutedStage(st, f...); })};
    case 4:
      return {"insertEntityOwnedStage " + text(id),
              write(h, [st](StorageManager& s, auto... f) { return s.insertEntityOwnedStage(st, f...); })};
    case 5:
      return {"updateStage " + text(id),
              write(h, [st](StorageManager& s, auto... f) { return s.updateStage(st, f...); })};
    case 6:
      return {"muteStage " + text(id),
              write(h, [st](StorageManager& s, auto... f) { return s.muteStage(st, f...); })};
    case 7:
      return {"unmuteStage " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.unmuteStage(id, f...); })};
    case 8:
    case 9:
      return {"deleteStage " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.deleteStage(id, f...); })};
    case 10: {
      const ID unique = d.oneOf(kUniqueStageIDs);
      return {"deleteStagesWithUniqueStageID " + text(unique),
              write(h, [unique](StorageManager& s, auto... f) {
                return s.deleteStagesWithUniqueStageID(unique, f...);
              })};
    }
    case 11:
      return {"deleteFinishedStages",
              write(h, [](StorageManager& s, auto... f) { return s.deleteFinishedStages(f...); })};
    default:
      return {"deleteOldStages",
              write(h, [](StorageManager& s, auto... f) { return s.deleteOldStages(f...); })};
  }
}

Made followedOperation(Draw& d, bool h) {
  const bool on = d.chance(50);
  const std::string onText = on ? " on" : " off";
  switch (d.pick(0, 13)) {
    case 0:
    case 1: {
      const ID id = d.oneOf(kTeamIDs);
      model::Team team{.ID = id};
      team.name = d.name("Team " + text(id));
      team.sport = model::Sport::sportWithSlug(d.oneOf(kSports));
      return {"followTeam " + text(id) + onText,
              write(h, [team, on](StorageManager& s, auto... f) { return s.followTeam(team, on, f...); })};
    }
    case 2: {
      const ID id = d.chance(85) ? d.oneOf(kTeamIDs) : kUnfollowedTeam;
      return {"unfollowTeam " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.unfollowTeam(id, f...); })};
    }
    case 3: {
      const IDSet ids = d.someOf(kTeamIDs);
      return {"setTeamNotificationsEnabled" + onText,
              write(h, [ids, on](StorageManager& s, auto... f) {
                return s.setTeamNotificationsEnabled(on, ids, f...);
              })};
    }
    case 4: {
      const ID id = d.oneOf(kPlayerIDs);
      model::Player player{.ID = id};
      player.name = d.name("Player " + text(id));
      player.sport = model::Sport::sportWithSlug(d.oneOf(kSports));
      return {"followPlayer " + text(id) + onText,
              write(h, [player, on](StorageManager& s, auto... f) {
                return s.followPlayer(player, on, f...);
              })};
    }
    case 5: {
      if (d.chance(50)) {
        const ID id = d.oneOf(kPlayerIDs);
        return {"unfollowPlayer " + text(id),
                write(h, [id](StorageManager& s, auto... f) { return s.unfollowPlayer(id, f...); })};
      }
      const IDSet ids = d.someOf(kPlayerIDs);
      return {"unfollowPlayers",
              write(h, [ids](StorageManager& s, auto... f) { return s.unfollowPlayers(ids, f...); })};
    }
    case 6: {
      const IDSet ids = d.someOf(kPlayerIDs);
      return {"setPlayerNotificationsEnabled" + onText,
              write(h, [ids, on](StorageManager& s, auto... f) {
                return s.setPlayerNotificationsEnabled(on, ids, f...);
              })};
    }
    case 7: {
      const ID unique = d.oneOf(kLeagueIDs);
      model::Tournament tournament{.ID = d.chance(50) ? 7 : k32 + 7};
      tournament.uniqueId = unique;
      tournament.name = d.name("League " + text(unique));
      return {"followTournament " + text(unique) + onText,
              write(h, [tournament, on](StorageManager& s, auto... f) {
                return s.followTournament(tournament, on, f...);
              })};
    }
    case 8: {
      const ID unique = d.oneOf(kLeagueIDs);
      return {"unfollowTournament " + text(unique),
              write(h, [unique](StorageManager& s, auto... f) {
                return s.unfollowTournament(unique, f...);
              })};
    }
    case 9: {
      const IDSet ids = d.someOf(kLeagueIDs);
      return {"setTournamentNotificationsEnabled" + onText,
              write(h, [ids, on](StorageManager& s, auto... f) {
                return s.setTournamentNotificationsEnabled(on, ids, f...);
              })};
    }
    case 10:
    case 11: {
      const ID id = d.oneOf(kPinIDs);
      if (d.chance(75)) {
        model::UniqueTournament pinned{.ID = id};
        pinned.name = d.name("Pinned " + text(id));
        return {"pinUniqueTournament " + text(id),
                write(h, [pinned](StorageManager& s, auto... f) {
                  return s.pinUniqueTournament(pinned, f...);
                })};
      }
      if (d.chance(90)) {
        return {"unpinUniqueTournament " + text(id),
                write(h, [id](StorageManager& s, auto... f) {
                  return s.unpinUniqueTournament(id, f...);
                })};
      }
      return {"unpinAllUniqueTournaments",
              write(h, [](StorageManager& s, auto... f) { return s.unpinAllUniqueTournaments(f...); })};
    }
    default: {
      const ID id = d.oneOf(kFantasyIDs);
      if (d.chance(60)) {
        return {"saveFantasyCompetition " + text(id),
                write(h, [id](StorageManager& s, auto... f) { return s.saveFantasyCompetition(id, f...); })};
      }
      return {"deleteFantasyCompetition " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.deleteFantasyCompetition(id, f...); })};
    }
  }
}

Made chatAndTvOperation(Draw& d, bool h) {
  const ID event = d.oneOf(kChatEventIDs);
  const ID message = d.oneOf(kMessageIDs);
  switch (d.pick(0, 6)) {
    case 0:
    case 1: {
      model::TVChannelSuggestion answer{.channelId = d.oneOf(kChannelIDs), .eventId = event,
                                        .startTimestamp = kNow + d.pick(-8, 2) * kDay,
                                        .approve = d.chance(50)};
      if (d.chance(10)) answer.eventId.reset();  // refused: nothing stored
      return {"saveTvChannelSuggestion " + text(answer.channelId.value_or(0)),
              write(h, [answer](StorageManager& s, auto... f) {
                return s.saveTvChannelSuggestion(answer, f...);
              })};
    }
    case 2: {
      const model::TVScheduleChannelCountry channel(d.oneOf(kChannelIDs),
                                                    d.chance(80) ? std::optional<std::string>(d.name("Channel"))
                                                                 : std::nullopt,
                                                    d.oneOf(kCountries));
      return {"saveTvChannelCountry " + text(channel.channelId) + " " + channel.countryCode,
              write(h, [channel](StorageManager& s, auto... f) { return s.saveTvChannelCountry(channel, f...); })};
    }
    case 3: {
      const std::string country = d.oneOf(kCountries);
      if (d.chance(50)) {
        return {"deleteChannelsWithCountryCode " + country,
                write(h, [country](StorageManager& s, auto... f) {
                  return s.deleteChannelsWithCountryCode(country, f...);
                })};
      }
      const ID channel = d.oneOf(kChannelIDs);
      return {"deleteChannelWithId " + text(channel) + " " + country,
              write(h, [channel, country](StorageManager& s, auto... f) {
                return s.deleteChannelWithId(channel, country, f...);
              })};
    }
    case 4:
    case 5: {
      const std::optional<ID> upvote = d.chance(80) ? std::optional<ID>(1) : std::nullopt;
      return {"upvoteMessage " + text(message),
              write(h, [message, event, upvote](StorageManager& s, auto... f) {
                return s.upvoteMessage(message, event, upvote, f...);
              })};
    }
    default: {
      const ID choice = d.pick(1, 3);
      return {"reportMessage " + text(message),
              write(h, [message, event, choice](StorageManager& s, auto... f) {
                return s.reportMessage(message, event, choice, f...);
              })};
    }
  }
}

Made storeOperation(Draw& d, bool h) {
  const ID event = d.oneOf(kVoteEventIDs);
  const auto type = static_cast<NMEventVoteType>(d.pick(0, 1));
  const auto value = static_cast<NMEventVoteValue>(d.pick(0, 5));
  const bool flag = d.chance(50);
  const std::string vote = " " + text(event) + "-" + text(static_cast<ID>(type));
  switch (d.pick(0, 15)) {
    case 0:
    case 1:
    case 2: {
      ID timestamp = kNow + d.pick(1, 5) * kDay;
      if (d.chance(30)) timestamp = kNow - 7776000 + d.pick(-4000, 4000);
      if (d.chance(10)) timestamp = 0;
      return {"save vote" + vote, write(h, [=](StorageManager& s, auto... f) {
                return s.save(value, type, event, timestamp, flag, f...);
              })};
    }
    case 3:
      return {"edit vote" + vote,
              write(h, [=](StorageManager& s, auto... f) { return s.edit(value, type, event, flag, f...); })};
    case 4:
      return {"markAsAdded" + vote,
              write(h, [=](StorageManager& s, auto... f) { return s.markAsAdded(event, type, f...); })};
    case 5:
      return {"markAsEdited" + vote,
              write(h, [=](StorageManager& s, auto... f) { return s.markAsEdited(event, type, f...); })};
    case 6:
    case 7: {
      const ID id = d.oneOf(kHighlightIDs);
      const std::optional<std::string> url =
          d.chance(85) ? std::optional<std::string>("https://clips/" + text(id) + "?q='1'") : std::nullopt;
      const ID created = kNow - d.pick(0, 10) * kDay;
      return {"markHighlightWatched " + text(id), write(h, [=](StorageManager& s, auto... f) {
                return s.markHighlightWatched(id, url, created, f...);
              })};
    }
    case 8:
    case 9: {
      const ID id = d.oneOf(kUniqueStageFollowIDs);
      return {"followUniqueStage " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.followUniqueStage(id, f...); })};
    }
    case 10: {
      const ID id = d.oneOf(kUniqueStageFollowIDs);
      return {"unfollowUniqueStage " + text(id),
              write(h, [id](StorageManager& s, auto... f) { return s.unfollowUniqueStage(id, f...); })};
    }
    case 11: {
      const std::string id = "s" + text(event) + "-" + text(d.pick(1, 3));
      std::vector<MOEventScoreItem::Values> items;
      for (ID n = d.pick(0, 3); n > 0; --n) {
        MOEventScoreItem::Values item{.id = n, .teamId = d.oneOf(kTeamIDs), .awayScore = d.pick(0, 4),
                                      .homeScore = d.pick(0, 4), .isHomeScoreSuggested = d.chance(50)};
        if (d.chance(50)) {
          item.scorerId = d.oneOf(kPlayerIDs);
          item.scorerName = d.name("Scorer");
        }
        item.scoreType = d.chance(50) ? "goal" : "penalty";
        items.push_back(item);
      }
      return {"saveScoreSuggestion " + id, write(h, [=](StorageManager& s, auto... f) {
                return s.saveScoreSuggestion(id, event, items, f...);
              })};
    }
    case 12: {
      const ID player = d.oneOf(kPlayerIDs);
      const bool higher = d.chance(50);
      const ID amount = d.pick(0, 200) * 100000;
      return {"savePlayerValueVote " + text(player), write(h, [=](StorageManager& s, auto... f) {
                return s.savePlayerValueVote(player, higher, amount, f...);
              })};
    }
    case 13: {
      const ID id = d.oneOf(kSearchIDs);
      const std::string searchType = d.oneOf(kSearchTypes);
      if (d.chance(75)) {
        platform::Bytes entity;
        for (ID n = d.pick(0, 24); n > 0; --n) entity.push_back(static_cast<std::uint8_t>(d.pick(0, 255)));
        return {"saveRecentSearch " + text(id) + " " + searchType,
                write(h, [=](StorageManager& s, auto... f) { return s.saveRecentSearch(id, searchType, entity, f...); })};
      }
      return {"deleteRecentSearch " + text(id) + " " + searchType,
              write(h, [=](StorageManager& s, auto... f) { return s.deleteRecentSearch(id, searchType, f...); })};
    }
    case 14: {
      const std::string id = d.oneOf(kNewsIDs);
      return {"markNewsItemAsRead " + id,
              write(h, [id](StorageManager& s, auto... f) { return s.markNewsItemAsRead(id, f...); })};
    }
    default:
      switch (d.pick(0, 3)) {
        case 0:
          return {"deleteVotes", write(h, [](StorageManager& s, auto... f) { return s.deleteVotes(f...); })};
        case 1:
          return {"deleteUniqueStages",
                  write(h, [](StorageManager& s, auto... f) { return s.deleteUniqueStages(f...); })};
        case 2:
          return {"deleteRecentSearches",
                  write(h, [](StorageManager& s, auto... f) { return s.deleteRecentSearches(f...); })};
        default:
          return {"deleteScoreSuggestionsOlderThan7Days", write(h, [](StorageManager& s, auto... f) {
                    return s.deleteScoreSuggestionsOlderThan7Days(f...);
                  })};
      }
  }
}

Made readOperation(Draw& d, bool h) {
  const ID event = d.oneOf(kEventIDs);
  const auto reading = [](std::string what, Start start) { return Made{std::move(what), std::move(start), true}; };
  switch (d.pick(0, 9)) {
    case 0:
      return reading("getEvent " + text(event),
                     read(h, [event](StorageManager& s, auto... f) { return s.getEvent(event, f...); }));
    case 1:
      return reading("getAllFavoriteEvents",
                     read(h, [](StorageManager& s, auto... f) { return s.getAllFavoriteEvents(f...); }));
    case 2:
      return reading("getAllFavoriteStages",
                     read(h, [](StorageManager& s, auto... f) { return s.getAllFavoriteStages(f...); }));
    case 3:
      return reading("getEventIDsToRefresh",
                     read(h, [](StorageManager& s, auto... f) { return s.getEventIDsToRefresh(f...); }));
    case 4:
      return reading("getTvChannelCountryList",
                     read(h, [](StorageManager& s, auto... f) { return s.getTvChannelCountryList(f...); }));
    case 5:
      return reading("getUnsuccessfulVotes",
                     read(h, [](StorageManager& s, auto... f) { return s.getUnsuccessfulVotes(f...); }));
    case 6: {
      const ID id = d.oneOf(kHighlightIDs);
      return reading("fetchHighlight " + text(id),
                     read(h, [id](StorageManager& s, auto... f) { return s.fetchHighlight(id, f...); }));
    }
    case 7:
      return reading("getRecentSearches",
                     read(h, [](StorageManager& s, auto... f) { return s.getRecentSearches(f...); }));
    case 8: {
      const ID chat = d.oneOf(kChatEventIDs);
      return reading("getUpvotedMessageIDs " + text(chat),
                     read(h, [chat](StorageManager& s, auto... f) { return s.getUpvotedMessageIDs(chat, f...); }));
    }
    default:
      return reading("getReportedMessageIDs",
                     read(h, [](StorageManager& s, auto... f) { return s.getReportedMessageIDs(f...); }));
  }
}

}  // namespace

WorkloadOperation Workload::operation(std::uint64_t index) const {
  Draw d(seed_, index);
  const bool handlerForm = d.chance(50);
  const ID kind = d.pick(1, 100);
  Made made;
  if (kind <= 22) {
    made = eventOperation(d, handlerForm);
  } else if (kind <= 40) {
    made = stageOperation(d, handlerForm);
  } else if (kind <= 58) {
    made = followedOperation(d, handlerForm);
  } else if (kind <= 68) {
    made = chatAndTvOperation(d, handlerForm);
  } else if (kind <= 93) {
    made = storeOperation(d, handlerForm);
  } else if (kind <= 99) {
    made = readOperation(d, handlerForm);
  } else {
    made = {"reInit", [](StorageManager& s) {
              s.reInit();
              std::promise<bool> done;
              done.set_value(true);
              return done.get_future();
            }};
  }
  WorkloadOperation op;
  op.index = index;
  op.description = made.what + (handlerForm ? " [handler]" : " [future]");
  op.isRead = made.isRead;
  const double at = timeOf(index);
  op.start = [at, start = std::move(made.start)](StorageManager& facade) {
    platform::Clock::setFixed(at);
    return start(facade);
  };
  return op;
}

double Workload::timeOf(std::uint64_t index) {
  return static_cast<double>(kNow) + static_cast<double>(1 + index % 400000) * 1e-6;
}

void Workload::fixClock() { platform::Clock::setFixed(timeOf(0)); }

std::optional<bool> Workload::await(std::future<bool>& result, std::chrono::milliseconds bound) {
  if (result.wait_for(bound) != std::future_status::ready) return std::nullopt;
  return result.get();
}

}  // namespace kestrel::reliability
