// The day's phases: what the user does at the start, the server's answers
// a week later, and the cleaning. The screens are read in MatchDayScreens.cpp.
#include "MatchDay.h"

#include <KestrelModel/EventStatus.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/DispatchQueue.h>

#include <algorithm>
#include <future>
#include <utility>

namespace kestrel::tool {
namespace {

using platform::Json;

constexpr std::int64_t kWeek = 604800;

// The step's result, or DemoStepFailed naming what was refused.
void expect(std::future<bool> step, const std::string& what) {
  if (!step.get()) throw DemoStepFailed("could not " + what);
}

std::string nameOf(const std::optional<std::string>& name) {
  return name.value_or("?");
}

// Whether the server calls the event or stage finished now that its start
// has passed (anything that had started has been played by then).
bool playedBy(std::optional<std::int64_t> start, std::int64_t now) {
  return start && *start < now;
}

// The entries of the array `before` that the array `after` no longer holds.
std::vector<Json> missingFrom(const Json& before, const Json& after) {
  std::vector<Json> missing;
  for (const Json& entry : before) {
    if (std::find(after.begin(), after.end(), entry) == after.end()) missing.push_back(entry);
  }
  return missing;
}

Json removal(const char* step, const char* kind, std::int64_t id, const char* action,
             const std::string& why) {
  return {{"step", step}, {"kind", kind}, {"id", id}, {"action", action}, {"why", why}};
}

}  // namespace

MatchDay::MatchDay(std::shared_ptr<StorageManager> storage, std::int64_t start)
    : storage_(std::move(storage)), start_(start), day_(makeMatchDayFixtures(start)) {}

Json MatchDay::play() {
  platform::Clock::setFixed(static_cast<double>(start_));
  Json report = {{"start", start_}};
  report["created"] = setUp();
  platform::Clock::setFixed(static_cast<double>(start_ + kScreensAfter));
  report["matchDay"] = screens();
  const std::int64_t weekLater = start_ + kWeekLaterAfter;
  platform::Clock::setFixed(static_cast<double>(weekLater));
  Json week = {{"now", weekLater}};
  week["refreshed"] = refresh();
  week["removed"] = clean();
  week["screens"] = screens();
  report["weekLater"] = std::move(week);
  return report;
}

Json MatchDay::setUp() {
  StorageManager& storage = *storage_;
  Json created = Json::object();
  for (const auto& [team, notifications] : day_.teams) {
    expect(storage.followTeam(team, notifications), "follow the team " + nameOf(team.name));
    created["teams"].push_back(team.ID);
  }
  for (const auto& [league, notifications] : day_.leagues) {
    expect(storage.followTournament(league, notifications),
           "follow the league " + nameOf(league.name));
    created["leagues"].push_back(league.uniqueId.value_or(0));
  }
  for (const auto& [player, notifications] : day_.players) {
    expect(storage.followPlayer(player, notifications), "follow the player " + nameOf(player.name));
    created["players"].push_back(player.ID);
  }
  expect(storage.followUniqueStage(day_.uniqueStageID), "follow " + day_.uniqueStageName);
  created["uniqueStages"] = {day_.uniqueStageID};
  for (const model::UniqueTournament& tournament : day_.pinned) {
    expect(storage.pinUniqueTournament(tournament), "pin " + nameOf(tournament.name));
    created["pinned"].push_back(tournament.ID);
  }

  for (const DemoEvent& demo : day_.events) {
    const std::string what = "store the event " + std::to_string(demo.event.ID);
    if (demo.role == EventRole::ownedByFollowed) {
      expect(storage.insertEntityOwnedEvent(demo.event), what);
    } else {
      expect(storage.insertEvent(demo.event, /*isMuted=*/false), what);
    }
    if (demo.role == EventRole::mutedFavourite)
      expect(storage.muteEvent(demo.event), "mute " + what);
    created["events"].push_back(demo.event.ID);
  }
  for (const DemoStage& demo : day_.stages) {
    const std::string what = "store the stage " + std::to_string(demo.stage.ID);
    expect(demo.muted ? storage.insertMutedStage(demo.stage) : storage.insertStage(demo.stage),
           what);
    created["stages"].push_back(demo.stage.ID);
  }

  for (const DemoVote& vote : day_.votes) {
    const DemoEvent* demo = day_.event(vote.eventId);
    const std::int64_t eventStart = demo ? demo->event.startTimestamp.value_or(0) : 0;
    const std::string key = StorageManager::voteCacheKey(vote.eventId, vote.type);
    expect(storage.save(vote.vote, vote.type, vote.eventId, eventStart, vote.accepted),
           "save the vote " + key);
    if (vote.editedTo) {
      expect(storage.edit(*vote.editedTo, vote.type, vote.eventId, /*isEditSuccessful=*/true),
             "edit the vote " + key);
    }
    created["votes"].push_back(key);
  }
  expect(storage.upvoteMessage(day_.upvoted.message, day_.upvoted.event, 1), "upvote a message");
  created["chatUpvotes"] = {day_.upvoted.message};
  expect(storage.reportMessage(day_.reported.message, day_.reported.event, day_.reportChoice),
         "report a message");
  created["chatReports"] = {day_.reported.message};
  expect(storage.saveTvChannelSuggestion(day_.tvSuggestion), "save the TV channel answer");
  created["tvSuggestions"] = {{{"id", day_.tvSuggestion.channelId.value_or(0)},
                               {"event", day_.tvSuggestion.eventId.value_or(0)}}};
  expect(storage.markHighlightWatched(day_.highlightID, day_.highlightURL, day_.highlightCreated),
         "mark the highlight watched");
  created["highlights"] = {day_.highlightID};
  settle();
  return created;
}

Json MatchDay::refresh() {
  StorageManager& storage = *storage_;
  const auto now = static_cast<std::int64_t>(platform::Clock::now());
  Json refreshed = Json::array();
  const auto answer = [&](const char* kind, std::int64_t id, const model::EventStatus& was,
                          const model::EventStatus& is) {
    refreshed.push_back({{"kind", kind}, {"id", id}, {"was", was.typeStr}, {"status", is.typeStr}});
  };
  for (const std::int64_t id :
       readOrFail(storage.getEventIDsToRefresh(), "the events due for a refresh")) {
    std::optional<model::Event> event =
        readOrFail(storage.getEvent(id), "the event " + std::to_string(id));
    const DemoEvent* demo = day_.event(id);
    if (!event || !demo) continue;
    const model::EventStatus was = event->status;
    if (playedBy(event->startTimestamp, now) && was.type != model::EventStatus::kFinished) {
      event->status = model::EventStatus(model::EventStatus::kFinished);
      event->homeScoreOriginal = model::EventScore{};
      event->homeScoreOriginal->display = demo->result.first;
      event->awayScoreOriginal = model::EventScore{};
      event->awayScoreOriginal->display = demo->result.second;
    }
    expect(storage.updateEvent(*event), "update the event " + std::to_string(id));
    answer("event", id, was, event->status);
  }
  for (const std::int64_t id :
       readOrFail(storage.getStageIDsToRefresh(), "the stages due for a refresh")) {
    std::optional<model::Stage> stage =
        readOrFail(storage.getStage(id), "the stage " + std::to_string(id));
    if (!stage) continue;
    const model::EventStatus was = stage->status;
    if (playedBy(stage->startDateTimestamp, now)) {
      stage->status = model::EventStatus(model::EventStatus::kFinished);
    }
    expect(storage.updateStage(*stage), "update the stage " + std::to_string(id));
    answer("stage", id, was, stage->status);
  }
  return refreshed;
}

Json MatchDay::clean() {
  StorageManager& storage = *storage_;
  Json removed = Json::array();

  // cleanDB reports nothing: compare what the screens ask before and after.
  const Json before = remembered();
  const Json votesBefore = votes();
  storage.cleanDB();
  settle();
  const Json after = remembered();
  const std::pair<const char*, const char*> kinds[] = {
      {"chatUpvotes", "upvoted more than 7 days ago"},
      {"chatReports", "reported more than 10 days ago"},
      {"tvSuggestions", "its event started more than 7 days ago"},
      {"highlights", "watched more than 7 days ago"}};
  for (const auto& [kind, why] : kinds) {
    for (const Json& gone : missingFrom(before[kind], after[kind])) {
      Json entry = removal("cleanDB", kind, gone.value("id", std::int64_t{0}), "deleted", why);
      if (gone.contains("event")) entry["event"] = gone["event"];
      removed.push_back(std::move(entry));
    }
  }
  for (const Json& gone : missingFrom(votesBefore, votes())) {
    Json entry = removal("cleanDB", "votes", gone["event"], "deleted",
                         "its event started more than 90 days ago");
    entry["type"] = gone["type"];
    removed.push_back(std::move(entry));
  }

  // The prunings, each given what the rows were before it and run as its
  // argument is made: a row that left the store was deleted; one still
  // stored that left the favourites list was hidden. Returns the rows after.
  const auto prune = [&](const char* step, const char* kind, const auto& was,
                         std::future<bool> done, const auto& reread, const auto& whyDeleted,
                         const auto& whyHidden) {
    expect(std::move(done), std::string("run ") + step);
    auto is = reread();
    for (const auto& [id, row] : was.stored) {
      if (!is.stored.count(id)) {
        removed.push_back(removal(step, kind, id, "deleted", whyDeleted(row)));
      } else if (was.listed.count(id) && !is.listed.count(id)) {
        removed.push_back(removal(step, kind, id, "hidden", whyHidden(row)));
      }
    }
    return is;
  };
  const auto finishedEvent = [](const model::Event&) {
    return std::string("finished; no followed team or league owns it");
  };
  const auto keptEvent = [this](const model::Event& event) {
    return "finished; hidden, kept for the followed " + ownerOf(event).value_or("owner");
  };
  const auto oldEvent = [this](const model::Event& event) {
    return whyOld(event.startTimestamp, ownerOf(event).value_or("owner"));
  };
  const auto finishedStage = [](const model::Stage&) { return std::string("finished"); };
  const auto oldStage = [this](const model::Stage& stage) {
    return whyOld(stage.startDateTimestamp, "");
  };
  const auto events = [this] { return eventRows(); };
  const auto stages = [this] { return stageRows(); };

  Rows<model::Event> eventsNow = events();
  eventsNow = prune("deleteFinishedEvents", "events", eventsNow, storage.deleteFinishedEvents(),
                    events, finishedEvent, keptEvent);
  prune("deleteOldEvents", "events", eventsNow, storage.deleteOldEvents(), events, oldEvent,
        oldEvent);
  Rows<model::Stage> stagesNow = stages();
  stagesNow = prune("deleteFinishedStages", "stages", stagesNow, storage.deleteFinishedStages(),
                    stages, finishedStage, finishedStage);
  prune("deleteOldStages", "stages", stagesNow, storage.deleteOldStages(), stages, oldStage,
        oldStage);
  return removed;
}

std::string MatchDay::whyOld(std::optional<std::int64_t> start,
                             const std::string& farAheadOwner) const {
  constexpr std::int64_t kFarAhead = 56 * 86400;
  const auto now = static_cast<std::int64_t>(platform::Clock::now());
  if (!start) return "no start time";
  if (now - *start > kWeek) return "started more than a week ago";
  if (*start - now > kFarAhead) {
    return farAheadOwner.empty()
               ? "starts more than 56 days ahead"
               : "starts more than 56 days ahead; kept only for the followed " + farAheadOwner;
  }
  return "no longer kept";
}

void MatchDay::settle() const {
  // A store save runs its main-queue block, which may ask the store for a
  // cache's contents again: two rounds see all of that through. The read
  // below is always queued behind the store's earlier work.
  for (int round = 0; round < 2; ++round) {
    (void)storage_->dataManager()->getVotesForCache().get();
    platform::DispatchQueue::main()->waitUntilDrained();
  }
}

}  // namespace kestrel::tool
