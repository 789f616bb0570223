#include "iofaults/FacadeOperation.h"

#include "support/ModelValues.h"

#include <condition_variable>
#include <future>
#include <mutex>
#include <optional>
#include <set>
#include <sstream>
#include <type_traits>
#include <utility>

namespace kestrel::reliability {
namespace {

using model::NMEventVoteType;
using model::NMEventVoteValue;
using IDSet = StorageManager::IDSet;

// ---- Values ------------------------------------------------------------------------------------------

using testing::values::player;
using testing::values::team;
using testing::values::tournament;

model::Event event(std::int64_t id, std::int64_t start = kNow, int status = 3,
                   std::int64_t homeTeam = 0, std::int64_t league = 0) {
  model::Event event = testing::values::event(id, start, status, homeTeam, league);
  event.statusDescription = "Event " + std::to_string(id);
  return event;
}

model::Stage stage(std::int64_t id, std::int64_t start = kNow, std::int64_t parent = 0,
                   std::int64_t uniqueStage = 0, int status = 3) {
  return testing::values::stage(id, start, parent, uniqueStage, status);
}

model::UniqueTournament pinned(std::int64_t id) { return testing::values::uniqueTournament(id); }

std::vector<MOEventScoreItem::Values> scoreItems(std::int64_t id) {
  MOEventScoreItem::Values item;
  item.id = id;
  item.teamId = 4;
  item.homeScore = 2;
  item.awayScore = 1;
  item.isHomeScoreSuggested = true;
  item.scorerName = "Scorer";
  return {item};
}

platform::Bytes bytes(const std::string& text) { return platform::Bytes(text.begin(), text.end()); }

constexpr std::int64_t kWeek = 604800;

// ---- Answers as text ---------------------------------------------------------------------------------

template <class Range, class Text>
std::string joined(const Range& items, Text text) {
  std::set<std::string> lines;
  for (const auto& item : items) lines.insert(text(item));
  std::string out;
  for (const std::string& line : lines) out += (out.empty() ? "" : " ") + line;
  return out.empty() ? "(none)" : out;
}

std::string valueText(bool value) { return value ? "yes" : "no"; }
std::string valueText(int value) { return std::to_string(value); }
std::string valueText(const IDSet& ids) {
  return joined(ids, [](std::int64_t id) { return std::to_string(id); });
}
std::string valueText(const model::Event& e) {
  return std::to_string(e.ID) + "/" + e.statusDescription.value_or("-") + "/" +
         (e.startTimestamp ? std::to_string(*e.startTimestamp) : std::string("-"));
}
std::string valueText(const model::Stage& s) {
  return std::to_string(s.ID) + "/" + s.desc.value_or("-");
}
std::string valueText(const model::UnsavedVote& v) {
  std::ostringstream out;
  out << v.eventId << "/" << static_cast<int>(v.type) << "/" << static_cast<int>(v.vote) << "/"
      << v.isAddSuccessful << v.isEditSuccessful;
  return out.str();
}
std::string valueText(const model::TVScheduleChannelCountry& c) {
  return std::to_string(c.channelId) + "/" + c.countryCode;
}
std::string valueText(const MOHighlight& h) {
  return std::to_string(h.id()) + "/" + std::to_string(h.lastWatching()) + "/" +
         h.url().value_or("-");
}
std::string valueText(const MORecentSearch& r) {
  return std::to_string(r.id()) + "/" + r.type().value_or("-");
}
std::string valueText(const MOEventScoreSuggestion& s) {
  const auto items = s.eventScores();
  return s.id().value_or("-") + "/" + std::to_string(s.eventId()) + "/" +
         (items ? std::to_string(items->size()) + " items" : std::string("items unread"));
}
std::string valueText(const MOPlayerValueUserVote& v) {
  return std::to_string(v.id()) + "/" + valueText(v.isValueHigher()) + "/" +
         std::to_string(v.value());
}
template <class T>
std::string valueText(const std::optional<T>& value) {
  return value ? valueText(*value) : std::string("(none)");
}
template <class T>
std::string valueText(const std::vector<T>& values) {
  return joined(values, [](const T& value) { return valueText(value); });
}

std::string answerText(bool success) { return success ? "true" : "false"; }
template <class T>
std::string answerText(const ReadResult<T>& result) {
  return result ? valueText(*result) : std::string("failed");
}

// ---- Starting an operation in either form ---------------------------------------------------------

// Where a handler delivers; shared with the handler, which may outlive the starter.
struct Delivery {
  std::mutex mutex;
  std::condition_variable arrived;
  std::optional<std::string> text;
  int deliveries = 0;

  void deliver(std::string answer) {
    std::lock_guard lock(mutex);
    ++deliveries;
    if (!text) text = std::move(answer);
    arrived.notify_all();
  }
};

PendingAnswer pendingOf(const std::shared_ptr<Delivery>& delivery) {
  return {[delivery](std::chrono::milliseconds bound) {
            std::unique_lock lock(delivery->mutex);
            return delivery->arrived.wait_for(lock, bound, [&] { return delivery->text.has_value(); });
          },
          [delivery] {
            std::lock_guard lock(delivery->mutex);
            return Answer{delivery->text.value_or("(no answer)"), delivery->deliveries};
          }};
}

// `call(facade)` starts the future form, `call(facade, handler)` the handler form.
template <class Call>
FacadeOperation operation(std::string name, Call call, bool isWhole = true) {
  FacadeOperation op;
  op.name = std::move(name);
  op.isWhole = isWhole;
  op.start = [call](StorageManager& facade, bool handlerForm) -> PendingAnswer {
    using Future = decltype(call(facade));
    using Value = decltype(std::declval<Future&>().get());
    auto delivery = std::make_shared<Delivery>();
    if (handlerForm) {
      call(facade, [delivery](Value value) { delivery->deliver(answerText(value)); });
      return pendingOf(delivery);
    }
    auto future = std::make_shared<Future>(call(facade));
    return {[future](std::chrono::milliseconds bound) {
              return future->wait_for(bound) == std::future_status::ready;
            },
            [future, delivery] {
              if (!delivery->text) delivery->deliver(answerText(future->get()));
              return Answer{*delivery->text, delivery->deliveries};
            }};
  };
  return op;
}

// An operation without an answer (it has none, or only a future of nothing).
template <class Run>
FacadeOperation voidOperation(std::string name, Run run, bool isWhole) {
  FacadeOperation op;
  op.name = std::move(name);
  op.isWhole = isWhole;
  op.start = [run](StorageManager& facade, bool) -> PendingAnswer {
    auto delivery = std::make_shared<Delivery>();
    run(facade, [delivery] { delivery->deliver("done"); });
    return pendingOf(delivery);
  };
  return op;
}

template <class Future>
std::string readNow(Future future) {
  return answerText(future.get());
}

}  // namespace

bool prepareHome(StorageManager& s) {
  bool ok = true;
  const auto expect = [&](std::future<bool> write) { ok = write.get() && ok; };
  expect(s.insertEvent(event(1), false));
  expect(s.insertEvent(event(2, kNow, 3, 4), true));
  expect(s.insertEvent(event(21, kNow - 2 * kWeek, 1), false));  // finished, old
  expect(s.insertEvent(event(24, kNow - 3600, 1), false));       // finished this week
  expect(s.followTeam(team(4), true));
  expect(s.insertEntityOwnedEvent(event(20, kNow, 3, 4)));
  expect(s.followTournament(tournament(7), true));
  expect(s.insertEntityOwnedEvent(event(23, kNow + 3600, 3, 0, 7)));
  expect(s.insertStage(stage(3, kNow, 30, 1)));
  expect(s.insertMutedStage(stage(5)));
  expect(s.insertStage(stage(22, kNow - 2 * kWeek, 0, 0, 1)));  // finished, old
  expect(s.insertStage(stage(25, kNow - 3600, 0, 1, 1)));       // finished this week
  expect(s.followPlayer(player(6), true));
  expect(s.followPlayer(player(16), false));
  expect(s.pinUniqueTournament(pinned(8)));
  expect(s.pinUniqueTournament(pinned(18)));
  expect(s.saveFantasyCompetition(9));
  expect(s.saveTvChannelSuggestion(
      {.channelId = 10, .eventId = 1, .startTimestamp = kNow, .approve = true}));
  expect(s.saveTvChannelCountry(model::TVScheduleChannelCountry(12, "One", "DE")));
  expect(s.saveTvChannelCountry(model::TVScheduleChannelCountry(13, "Two", "FR")));
  expect(s.upvoteMessage(100, 1, 1));
  expect(s.reportMessage(101, 1, 2));
  expect(s.save(NMEventVoteValue::home, NMEventVoteType::fullTime, 1, kNow + 3600, false));
  expect(s.save(NMEventVoteValue::yes, NMEventVoteType::bothTeamsToScore, 2, kNow + 3600, true));
  expect(s.markHighlightWatched(11, std::string("https://v/11"), kNow));
  expect(s.followUniqueStage(1));
  expect(s.saveScoreSuggestion("s1", 1, scoreItems(1)));
  expect(s.saveRecentSearch(31, "team", bytes("team 31")));
  expect(s.savePlayerValueVote(6, true, 1000));
  expect(s.markNewsItemAsRead("n1"));
  return ok;
}

std::vector<FacadeOperation> facadeOperations() {
  std::vector<FacadeOperation> ops;
  // clang-format off
  // Events.
  ops.push_back(operation("insertEvent", [](StorageManager& s, auto... h) { return s.insertEvent(event(40), false, h...); }));
  ops.push_back(operation("insertEvent muted", [](StorageManager& s, auto... h) { return s.insertEvent(event(41), true, h...); }));
  ops.push_back(operation("insertEvent again, muted", [](StorageManager& s, auto... h) { return s.insertEvent(event(1), true, h...); }));
  ops.push_back(operation("insertEntityOwnedEvent", [](StorageManager& s, auto... h) { return s.insertEntityOwnedEvent(event(42, kNow, 3, 4), h...); }));
  ops.push_back(operation("updateEvent", [](StorageManager& s, auto... h) { auto e = event(1); e.statusDescription = "changed"; return s.updateEvent(e, h...); }));
  ops.push_back(operation("muteEvent", [](StorageManager& s, auto... h) { return s.muteEvent(event(1), h...); }));
  ops.push_back(operation("unmuteEvent", [](StorageManager& s, auto... h) { return s.unmuteEvent(2, h...); }));
  ops.push_back(operation("deleteEvent", [](StorageManager& s, auto... h) { return s.deleteEvent(1, h...); }));
  ops.push_back(operation("deleteEvents", [](StorageManager& s, auto... h) { return s.deleteEvents({1, 2}, h...); }));
  ops.push_back(operation("getEvent", [](StorageManager& s, auto... h) { return s.getEvent(2, h...); }));
  ops.push_back(operation("getAllFavoriteEvents", [](StorageManager& s, auto... h) { return s.getAllFavoriteEvents(h...); }));
  ops.push_back(operation("getEventIDsToRefresh", [](StorageManager& s, auto... h) { return s.getEventIDsToRefresh(h...); }));
  ops.push_back(operation("getFinishedEventsCount", [](StorageManager& s, auto... h) { return s.getFinishedEventsCount(h...); }));
  ops.push_back(operation("deleteFinishedEvents", [](StorageManager& s, auto... h) { return s.deleteFinishedEvents(h...); }));
  ops.push_back(operation("deleteOldEvents", [](StorageManager& s, auto... h) { return s.deleteOldEvents(h...); }));
  // Stages.
  ops.push_back(operation("insertStage", [](StorageManager& s, auto... h) { return s.insertStage(stage(43, kNow, 30, 1), h...); }));
  ops.push_back(operation("insertMutedStage", [](StorageManager& s, auto... h) { return s.insertMutedStage(stage(44), h...); }));
  ops.push_back(operation("insertEntityOwnedStage", [](StorageManager& s, auto... h) { return s.insertEntityOwnedStage(stage(45, kNow, 0, 1), h...); }));
  ops.push_back(operation("updateStage", [](StorageManager& s, auto... h) { auto st = stage(3, kNow, 30, 1); st.desc = "changed"; return s.updateStage(st, h...); }));
  ops.push_back(operation("muteStage", [](StorageManager& s, auto... h) { return s.muteStage(stage(3, kNow, 30, 1), h...); }));
  ops.push_back(operation("unmuteStage", [](StorageManager& s, auto... h) { return s.unmuteStage(5, h...); }));
  ops.push_back(operation("deleteStage", [](StorageManager& s, auto... h) { return s.deleteStage(3, h...); }));
  ops.push_back(operation("deleteStagesWithUniqueStageID", [](StorageManager& s, auto... h) { return s.deleteStagesWithUniqueStageID(1, h...); }));
  ops.push_back(operation("getStage", [](StorageManager& s, auto... h) { return s.getStage(3, h...); }));
  ops.push_back(operation("getAllFavoriteStages", [](StorageManager& s, auto... h) { return s.getAllFavoriteStages(h...); }));
  ops.push_back(operation("getStageIDsToRefresh", [](StorageManager& s, auto... h) { return s.getStageIDsToRefresh(h...); }));
  ops.push_back(operation("getFinishedStagesCount", [](StorageManager& s, auto... h) { return s.getFinishedStagesCount(h...); }));
  ops.push_back(operation("deleteFinishedStages", [](StorageManager& s, auto... h) { return s.deleteFinishedStages(h...); }));
  ops.push_back(operation("deleteOldStages", [](StorageManager& s, auto... h) { return s.deleteOldStages(h...); }));
  // Teams, players, leagues, pins.
  ops.push_back(operation("followTeam", [](StorageManager& s, auto... h) { return s.followTeam(team(46), true, h...); }));
  ops.push_back(operation("followTeam again, notifications off", [](StorageManager& s, auto... h) { return s.followTeam(team(4), false, h...); }));
  ops.push_back(operation("unfollowTeam", [](StorageManager& s, auto... h) { return s.unfollowTeam(4, h...); }));
  ops.push_back(operation("setTeamNotificationsEnabled", [](StorageManager& s, auto... h) { return s.setTeamNotificationsEnabled(false, {4}, h...); }));
  ops.push_back(operation("getTeamIDsForSport", [](StorageManager& s, auto... h) { return s.getTeamIDsForSport("football", h...); }));
  ops.push_back(operation("followPlayer", [](StorageManager& s, auto... h) { return s.followPlayer(player(47), true, h...); }));
  ops.push_back(operation("unfollowPlayer", [](StorageManager& s, auto... h) { return s.unfollowPlayer(6, h...); }));
  ops.push_back(operation("unfollowPlayers", [](StorageManager& s, auto... h) { return s.unfollowPlayers({6, 16}, h...); }));
  ops.push_back(operation("setPlayerNotificationsEnabled", [](StorageManager& s, auto... h) { return s.setPlayerNotificationsEnabled(true, {16}, h...); }));
  ops.push_back(operation("followTournament", [](StorageManager& s, auto... h) { return s.followTournament(tournament(48), true, h...); }));
  ops.push_back(operation("unfollowTournament", [](StorageManager& s, auto... h) { return s.unfollowTournament(7, h...); }));
  ops.push_back(operation("setTournamentNotificationsEnabled", [](StorageManager& s, auto... h) { return s.setTournamentNotificationsEnabled(false, {7}, h...); }));
  ops.push_back(operation("getTournamentIDsForSport", [](StorageManager& s, auto... h) { return s.getTournamentIDsForSport("football", h...); }));
  ops.push_back(operation("pinUniqueTournament", [](StorageManager& s, auto... h) { return s.pinUniqueTournament(pinned(49), h...); }));
  ops.push_back(operation("unpinUniqueTournament", [](StorageManager& s, auto... h) { return s.unpinUniqueTournament(8, h...); }));
  ops.push_back(operation("unpinAllUniqueTournaments", [](StorageManager& s, auto... h) { return s.unpinAllUniqueTournaments(h...); }));
  // Chat, TV channels, fantasy competitions.
  ops.push_back(operation("upvoteMessage", [](StorageManager& s, auto... h) { return s.upvoteMessage(102, 1, std::optional<std::int64_t>(1), h...); }));
  ops.push_back(operation("reportMessage", [](StorageManager& s, auto... h) { return s.reportMessage(103, 1, 1, h...); }));
  ops.push_back(operation("getUpvotedMessageIDs", [](StorageManager& s, auto... h) { return s.getUpvotedMessageIDs(1, h...); }));
  ops.push_back(operation("getReportedMessageIDs", [](StorageManager& s, auto... h) { return s.getReportedMessageIDs(h...); }));
  ops.push_back(operation("saveTvChannelSuggestion", [](StorageManager& s, auto... h) { return s.saveTvChannelSuggestion({.channelId = 14, .eventId = 2, .startTimestamp = kNow, .approve = false}, h...); }));
  ops.push_back(operation("saveTvChannelCountry", [](StorageManager& s, auto... h) { return s.saveTvChannelCountry(model::TVScheduleChannelCountry(15, "Three", "IT"), h...); }));
  ops.push_back(operation("getTvChannelCountryList", [](StorageManager& s, auto... h) { return s.getTvChannelCountryList(h...); }));
  ops.push_back(operation("deleteChannelsWithCountryCode", [](StorageManager& s, auto... h) { return s.deleteChannelsWithCountryCode("DE", h...); }));
  ops.push_back(operation("deleteChannelWithId", [](StorageManager& s, auto... h) { return s.deleteChannelWithId(13, "FR", h...); }));
  ops.push_back(operation("saveFantasyCompetition", [](StorageManager& s, auto... h) { return s.saveFantasyCompetition(51, h...); }));
  ops.push_back(operation("deleteFantasyCompetition", [](StorageManager& s, auto... h) { return s.deleteFantasyCompetition(9, h...); }));
  // Object-store records.
  ops.push_back(operation("save vote", [](StorageManager& s, auto... h) { return s.save(NMEventVoteValue::draw, NMEventVoteType::fullTime, 50, kNow + 7200, false, h...); }));
  ops.push_back(operation("edit vote", [](StorageManager& s, auto... h) { return s.edit(NMEventVoteValue::away, NMEventVoteType::fullTime, 1, false, h...); }));
  ops.push_back(operation("markAsAdded", [](StorageManager& s, auto... h) { return s.markAsAdded(1, NMEventVoteType::fullTime, h...); }));
  ops.push_back(operation("markAsEdited", [](StorageManager& s, auto... h) { return s.markAsEdited(2, NMEventVoteType::bothTeamsToScore, h...); }));
  ops.push_back(operation("getUnsuccessfulVotes", [](StorageManager& s, auto... h) { return s.getUnsuccessfulVotes(h...); }));
  ops.push_back(operation("deleteVotes", [](StorageManager& s, auto... h) { return s.deleteVotes(h...); }));
  ops.push_back(operation("markHighlightWatched", [](StorageManager& s, auto... h) { return s.markHighlightWatched(52, std::optional<std::string>("https://v/52"), kNow, h...); }));
  ops.push_back(operation("markHighlightWatched again", [](StorageManager& s, auto... h) { return s.markHighlightWatched(11, std::optional<std::string>("https://v/11b"), kNow, h...); }));
  ops.push_back(operation("fetchHighlight", [](StorageManager& s, auto... h) { return s.fetchHighlight(11, h...); }));
  ops.push_back(operation("followUniqueStage", [](StorageManager& s, auto... h) { return s.followUniqueStage(53, h...); }));
  ops.push_back(operation("unfollowUniqueStage", [](StorageManager& s, auto... h) { return s.unfollowUniqueStage(1, h...); }));
  ops.push_back(operation("deleteUniqueStages", [](StorageManager& s, auto... h) { return s.deleteUniqueStages(h...); }));
  ops.push_back(operation("saveScoreSuggestion", [](StorageManager& s, auto... h) { return s.saveScoreSuggestion("s2", 2, scoreItems(2), h...); }));
  ops.push_back(operation("getScoreSuggestion", [](StorageManager& s, auto... h) { return s.getScoreSuggestion(1, h...); }));
  ops.push_back(operation("deleteScoreSuggestionsOlderThan7Days", [](StorageManager& s, auto... h) { return s.deleteScoreSuggestionsOlderThan7Days(h...); }));
  ops.push_back(operation("saveRecentSearch", [](StorageManager& s, auto... h) { return s.saveRecentSearch(54, "player", bytes("player 54"), h...); }));
  ops.push_back(operation("getRecentSearches", [](StorageManager& s, auto... h) { return s.getRecentSearches(h...); }));
  ops.push_back(operation("deleteRecentSearch", [](StorageManager& s, auto... h) { return s.deleteRecentSearch(31, "team", h...); }));
  ops.push_back(operation("deleteRecentSearches", [](StorageManager& s, auto... h) { return s.deleteRecentSearches(h...); }));
  ops.push_back(operation("savePlayerValueVote", [](StorageManager& s, auto... h) { return s.savePlayerValueVote(55, false, 5, h...); }));
  ops.push_back(operation("getPlayerValueVote", [](StorageManager& s, auto... h) { return s.getPlayerValueVote(6, h...); }));
  ops.push_back(operation("markNewsItemAsRead", [](StorageManager& s, auto... h) { return s.markNewsItemAsRead("n2", h...); }));
  ops.push_back(operation("isNewsItemRead", [](StorageManager& s, auto... h) { return s.isNewsItemRead("n1", h...); }));
  // clang-format on
  // Lifecycle: steps that each may fail on their own.
  ops.push_back(voidOperation(
      "cleanDB", [](StorageManager& s, auto done) { s.cleanDB(); done(); }, false));
  ops.push_back(voidOperation(
      "migrateFavoriteNotificationEvents",
      [](StorageManager& s, auto done) {
        s.migrateFavoriteNotificationEvents().get();
        done();
      },
      true));
  ops.push_back(voidOperation(
      "reInit", [](StorageManager& s, auto done) { s.reInit(); done(); }, true));
  return ops;
}

std::map<std::string, std::string> storedRecords(StorageManager& s) {
  std::map<std::string, std::string> r;
  r["stored: events"] = readNow(s.getAllFavoriteEvents());
  r["stored: event 2"] = readNow(s.getEvent(2));
  r["stored: event 20"] = readNow(s.getEvent(20));
  r["stored: event 21"] = readNow(s.getEvent(21));
  r["stored: event 42"] = readNow(s.getEvent(42));
  r["stored: events to refresh"] = readNow(s.getEventIDsToRefresh());
  r["stored: finished events"] = readNow(s.getFinishedEventsCount());
  r["stored: stages"] = readNow(s.getAllFavoriteStages());
  r["stored: stage 22"] = readNow(s.getStage(22));
  r["stored: stage 45"] = readNow(s.getStage(45));
  r["stored: finished stages"] = readNow(s.getFinishedStagesCount());
  r["stored: football teams"] = readNow(s.getTeamIDsForSport("football"));
  r["stored: football leagues"] = readNow(s.getTournamentIDsForSport("football"));
  r["stored: chat upvotes"] = readNow(s.getUpvotedMessageIDs(1));
  r["stored: chat reports"] = readNow(s.getReportedMessageIDs());
  r["stored: scheduled channels"] = readNow(s.getTvChannelCountryList());
  r["stored: unsent votes"] = readNow(s.getUnsuccessfulVotes());
  r["stored: highlight 11"] = readNow(s.fetchHighlight(11));
  r["stored: highlight 52"] = readNow(s.fetchHighlight(52));
  r["stored: score suggestion 1"] = readNow(s.getScoreSuggestion(1));
  r["stored: score suggestion 2"] = readNow(s.getScoreSuggestion(2));
  r["stored: recent searches"] = readNow(s.getRecentSearches());
  r["stored: player value 6"] = readNow(s.getPlayerValueVote(6));
  r["stored: player value 55"] = readNow(s.getPlayerValueVote(55));
  r["stored: news n1"] = readNow(s.isNewsItemRead("n1"));
  r["stored: news n2"] = readNow(s.isNewsItemRead("n2"));
  return r;
}

}  // namespace kestrel::reliability
