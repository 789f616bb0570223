// What the application's screens show, asked of the facade the way the
// screens ask: the lists from the tables, every "is it ...?" from memory.
#include "MatchDay.h"

#include <KestrelPlatform/Clock.h>

#include <algorithm>
#include <array>
#include <tuple>

namespace kestrel::tool {
namespace {

using platform::Json;

Json optionalText(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json(nullptr);
}

std::string teamName(const std::optional<model::Team>& team) {
  return team && team->name ? *team->name : "?";
}

Json scoreText(const model::Event& event) {
  const auto& home = event.homeScoreOriginal;
  const auto& away = event.awayScoreOriginal;
  if (!home || !away || !home->display || !away->display) return nullptr;
  return std::to_string(*home->display) + "-" + std::to_string(*away->display);
}

constexpr std::array kVoteTypes = {
    model::NMEventVoteType::fullTime, model::NMEventVoteType::bothTeamsToScore,
    model::NMEventVoteType::firstTeamToScore, model::NMEventVoteType::mmaWhoDeservedToWin};

}  // namespace

Json MatchDay::screens() const {
  StorageManager& storage = *storage_;
  Json screens = {{"now", static_cast<std::int64_t>(platform::Clock::now())}};
  screens["favouriteEvents"] = Json::array();
  for (const model::Event& event :
       readOrFail(storage.getAllFavoriteEvents(), "the favourite events")) {
    screens["favouriteEvents"].push_back(eventRow(event));
  }
  screens["favouriteStages"] = Json::array();
  for (const model::Stage& stage :
       readOrFail(storage.getAllFavoriteStages(), "the favourite stages")) {
    const bool grouped = stage.stageEvent && stage.stageEvent->ID != 0;
    screens["favouriteStages"].push_back(
        {{"id", stage.ID},
         {"name", optionalText(stage.desc)},
         {"start", stage.startDateTimestamp ? Json(*stage.startDateTimestamp) : Json(nullptr)},
         {"status", stage.status.typeStr},
         {"weekend", grouped ? optionalText(stage.stageEvent->desc) : Json(nullptr)},
         {"favourite", storage.isFavoriteStage(stage.ID)},
         {"muted", storage.isMutedStage(stage.ID)}});
  }
  screens["followed"] = followed();
  screens["pinned"] = Json::array();
  for (const model::UniqueTournament& tournament : storage.getPinnedUniqueTournaments()) {
    screens["pinned"].push_back({{"id", tournament.ID}, {"name", optionalText(tournament.name)}});
  }
  screens["votes"] = votes();
  screens["remembered"] = remembered();
  screens["dueForRefresh"] = {
      {"events", readOrFail(storage.getEventIDsToRefresh(), "the events due for a refresh")},
      {"stages", readOrFail(storage.getStageIDsToRefresh(), "the stages due for a refresh")}};
  return screens;
}

Json MatchDay::eventRow(const model::Event& event) const {
  const std::optional<std::string> owner = ownerOf(event);
  return {{"id", event.ID},
          {"start", event.startTimestamp ? Json(*event.startTimestamp) : Json(nullptr)},
          {"status", event.status.typeStr},
          {"match", teamName(event.homeTeamOriginal) + " - " + teamName(event.awayTeamOriginal)},
          {"score", scoreText(event)},
          {"tournament", event.tournament ? optionalText(event.tournament->name) : Json(nullptr)},
          {"favourite", storage_->isFavoriteEvent(event.ID)},
          {"muted", storage_->isMutedEvent(event.ID)},
          {"owner", owner ? Json(*owner) : Json(nullptr)}};
}

std::optional<std::string> MatchDay::ownerOf(const model::Event& event) const {
  for (const auto* team : {&event.homeTeamOriginal, &event.awayTeamOriginal}) {
    if (*team && storage_->isFavoriteTeam((*team)->ID)) return "team " + teamName(*team);
  }
  const auto& tournament = event.tournament;
  if (tournament && tournament->uniqueId && storage_->isFavoriteTournament(*tournament->uniqueId)) {
    return "league " + tournament->uniqueName.value_or(tournament->name.value_or("?"));
  }
  return std::nullopt;
}

Json MatchDay::followed() const {
  const StorageManager& storage = *storage_;
  Json followed = Json::array();
  const auto add = [&](const char* kind, std::int64_t id, const std::optional<std::string>& name,
                       Json notifications) {
    followed.push_back({{"kind", kind},
                        {"id", id},
                        {"name", optionalText(name)},
                        {"notifications", std::move(notifications)}});
  };
  // The caches keep their objects in the order they were added: sort, so the
  // report depends only on what is followed.
  std::vector<model::Team> teams = storage.getFavoriteTeams();
  std::sort(teams.begin(), teams.end(), [](const auto& a, const auto& b) { return a.ID < b.ID; });
  for (const model::Team& team : teams) {
    add("team", team.ID, team.name, storage.isTeamNotificationEnabled(team.ID));
  }
  std::vector<model::Tournament> leagues = storage.getFavoriteTournaments();
  std::sort(leagues.begin(), leagues.end(),
            [](const auto& a, const auto& b) { return a.uniqueId < b.uniqueId; });
  for (const model::Tournament& league : leagues) {
    const std::int64_t id = league.uniqueId.value_or(0);
    add("league", id, league.uniqueName ? league.uniqueName : league.name,
        storage.isTournamentNotificationEnabled(id));
  }
  std::vector<model::Player> players = storage.getFavoritePlayers();
  std::sort(players.begin(), players.end(),
            [](const auto& a, const auto& b) { return a.ID < b.ID; });
  for (const model::Player& player : players) {
    add("player", player.ID, player.name, storage.isPlayerNotificationEnabled(player.ID));
  }
  // The store keeps only the ID of a followed unique stage; the name is the
  // one the day knows.
  for (const std::int64_t id : storage.getFollowedUniqueStageIDs()) {
    add("unique stage", id,
        id == day_.uniqueStageID ? std::optional(day_.uniqueStageName) : std::nullopt, nullptr);
  }
  return followed;
}

Json MatchDay::votes() const {
  const StorageManager& storage = *storage_;
  const ReadResult<std::vector<model::UnsavedVote>> unsent = storage_->getUnsuccessfulVotes().get();
  if (!unsent) throw DemoStepFailed("could not read the votes to send again");
  Json votes = Json::array();
  for (const DemoEvent& demo : day_.events) {
    for (const model::NMEventVoteType type : kVoteTypes) {
      const std::optional<model::NMEventVoteValue> vote = storage.getVote(demo.event.ID, type);
      if (!vote) continue;
      const bool resend = std::any_of(unsent->begin(), unsent->end(), [&](const auto& waiting) {
        return waiting.eventId == demo.event.ID && waiting.type == type;
      });
      votes.push_back({{"event", demo.event.ID},
                       {"match", teamName(demo.event.homeTeamOriginal) + " - " +
                                     teamName(demo.event.awayTeamOriginal)},
                       {"type", model::voteTypeText(type)},
                       {"vote", model::voteValueText(*vote)},
                       {"resend", resend}});
    }
  }
  return votes;
}

Json MatchDay::remembered() const {
  StorageManager& storage = *storage_;
  Json remembered = {{"chatUpvotes", Json::array()},
                     {"chatReports", Json::array()},
                     {"tvSuggestions", Json::array()},
                     {"highlights", Json::array()}};
  for (const DemoEvent& demo : day_.events) {
    for (const std::int64_t message :
         readOrFail(storage.getUpvotedMessageIDs(demo.event.ID), "the chat upvotes")) {
      remembered["chatUpvotes"].push_back({{"id", message}, {"event", demo.event.ID}});
    }
  }
  for (const std::int64_t message :
       readOrFail(storage.getReportedMessageIDs(), "the chat reports")) {
    remembered["chatReports"].push_back({{"id", message}});
  }
  std::vector<model::TVChannelSuggestion> answers = storage.getTvChannelSuggestions();
  std::sort(answers.begin(), answers.end(), [](const auto& a, const auto& b) {
    return std::tie(a.eventId, a.channelId) < std::tie(b.eventId, b.channelId);
  });
  for (const model::TVChannelSuggestion& answer : answers) {
    remembered["tvSuggestions"].push_back({{"id", answer.channelId.value_or(0)},
                                           {"event", answer.eventId.value_or(0)},
                                           {"approve", answer.approve}});
  }
  if (storage.isHighlightWatched(day_.highlightID)) {
    remembered["highlights"].push_back({{"id", day_.highlightID}});
  }
  return remembered;
}

MatchDay::Rows<model::Event> MatchDay::eventRows() const {
  Rows<model::Event> rows;
  for (const DemoEvent& demo : day_.events) {
    if (auto event = readOrFail(storage_->getEvent(demo.event.ID), "an event"))
      rows.stored.emplace(event->ID, *event);
  }
  for (const model::Event& event :
       readOrFail(storage_->getAllFavoriteEvents(), "the favourite events")) {
    rows.listed.insert(event.ID);
  }
  return rows;
}

MatchDay::Rows<model::Stage> MatchDay::stageRows() const {
  Rows<model::Stage> rows;
  for (const DemoStage& demo : day_.stages) {
    if (auto stage = readOrFail(storage_->getStage(demo.stage.ID), "a stage"))
      rows.stored.emplace(stage->ID, *stage);
  }
  for (const model::Stage& stage :
       readOrFail(storage_->getAllFavoriteStages(), "the favourite stages")) {
    rows.listed.insert(stage.ID);
  }
  return rows;
}

}  // namespace kestrel::tool
