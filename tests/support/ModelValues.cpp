#include "support/ModelValues.h"

#include <KestrelModel/Sport.h>

#include <memory>

namespace kestrel::testing::values {

model::Team team(std::int64_t id) {
  model::Team team{.ID = id};
  team.name = "Team " + std::to_string(id);
  team.sport = model::Sport::sportWithSlug("football");
  return team;
}

model::Player player(std::int64_t id, const std::string& sportSlug) {
  model::Player player{.ID = id};
  player.name = "Player " + std::to_string(id);
  player.sport = model::Sport::sportWithSlug(sportSlug);
  return player;
}

model::Tournament tournament(std::int64_t uniqueId) {
  model::Tournament tournament{.ID = uniqueId + 1000};
  tournament.uniqueId = uniqueId;
  tournament.name = "League " + std::to_string(uniqueId);
  return tournament;
}

model::UniqueTournament uniqueTournament(std::int64_t id) {
  model::UniqueTournament tournament{.ID = id};
  tournament.name = "Pinned " + std::to_string(id);
  return tournament;
}

model::Event event(std::int64_t id, std::int64_t start, int status, std::int64_t homeTeam,
                   std::int64_t uniqueTournament) {
  model::Event event{.ID = id, .startTimestamp = start, .status = model::EventStatus(status)};
  if (homeTeam != 0) event.homeTeamOriginal = team(homeTeam);
  if (uniqueTournament != 0) event.tournament = tournament(uniqueTournament);
  return event;
}

model::Stage stage(std::int64_t id, std::optional<std::int64_t> start, std::int64_t parent,
                   std::int64_t uniqueStage, int status) {
  model::Stage stage{.ID = id, .status = model::EventStatus(status), .startDateTimestamp = start};
  stage.desc = "Stage " + std::to_string(id);
  if (parent != 0) {
    stage.stageEvent = std::make_shared<model::Stage>();
    stage.stageEvent->ID = parent;
    stage.stageEvent->startDateTimestamp = start;
  }
  if (uniqueStage != 0) {
    model::StageSeason season;
    season.ID = uniqueStage * 10;
    season.uniqueStage = model::UniqueStage{.ID = uniqueStage};
    stage.stageSeason = season;
  }
  return stage;
}

}  // namespace kestrel::testing::values
