#include "MatchDayFixtures.h"

#include <KestrelModel/EventStatus.h>

#include <algorithm>
#include <memory>

namespace kestrel::tool {
namespace {

constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 3600;
constexpr std::int64_t kDay = 86400;

using model::EventStatus;

model::Sport sport(std::int64_t id, const char* name, const char* slug) {
  model::Sport sport;
  sport.ID = id;
  sport.name = name;
  sport.slug = slug;
  return sport;
}

model::CategoryModel category(std::int64_t id, const char* name, const char* flag,
                              const model::Sport& sport) {
  model::CategoryModel category;
  category.ID = id;
  category.name = name;
  category.flag = flag;
  category.sport = sport;
  return category;
}

model::Team team(std::int64_t id, const char* name, const char* code, const model::Sport& sport) {
  model::Team team;
  team.ID = id;
  team.name = name;
  team.shortName = name;
  team.nameCode = code;
  team.sport = sport;
  return team;
}

model::Tournament tournament(std::int64_t id, std::int64_t uniqueID, const char* name,
                             const model::CategoryModel& category) {
  model::Tournament tournament;
  tournament.ID = id;
  tournament.name = name;
  tournament.uniqueId = uniqueID;
  tournament.uniqueName = name;
  tournament.category = category;
  return tournament;
}

model::UniqueTournament uniqueTournament(const model::Tournament& tournament) {
  model::UniqueTournament unique;
  unique.ID = tournament.uniqueId.value_or(0);
  unique.name = tournament.uniqueName;
  unique.category = tournament.category;
  return unique;
}

model::EventScore score(std::int64_t goals) {
  model::EventScore score;
  score.display = goals;
  score.normalTime = goals;
  return score;
}

DemoEvent match(std::int64_t id, const model::Tournament& tournament, const model::Team& home,
                const model::Team& away, std::int64_t start, std::int64_t status,
                std::pair<std::int64_t, std::int64_t> result, EventRole role) {
  DemoEvent demo;
  model::Event& event = demo.event;
  event.ID = id;
  event.startTimestamp = start;
  event.visible = true;
  event.status = EventStatus(status);
  event.tournament = tournament;
  event.homeTeamOriginal = home;
  event.awayTeamOriginal = away;
  demo.result = result;
  demo.role = role;
  if (status == EventStatus::kFinished) {
    event.homeScoreOriginal = score(result.first);
    event.awayScoreOriginal = score(result.second);
  }
  return demo;
}

DemoStage stage(std::int64_t id, const char* name, std::int64_t start, std::int64_t status,
                std::shared_ptr<model::Stage> weekend, bool muted) {
  DemoStage demo;
  demo.stage.ID = id;
  demo.stage.desc = name;
  demo.stage.startDateTimestamp = start;
  demo.stage.status = EventStatus(status);
  demo.stage.stageEvent = std::move(weekend);
  demo.muted = muted;
  return demo;
}

}  // namespace

const DemoEvent* MatchDayFixtures::event(std::int64_t eventID) const {
  const auto found = std::find_if(events.begin(), events.end(), [eventID](const DemoEvent& demo) {
    return demo.event.ID == eventID;
  });
  return found == events.end() ? nullptr : &*found;
}

MatchDayFixtures makeMatchDayFixtures(std::int64_t start) {
  const std::int64_t t = start;
  const model::Sport football = sport(1, "Football", "football");
  const model::Sport motorsport = sport(11, "Motorsport", "motorsport");
  const model::CategoryModel coastland = category(100, "Coastland", "coastland", football);
  const model::CategoryModel racing = category(400, "World", "world", motorsport);

  const model::Team rovers = team(10, "Kestrel Rovers", "KRO", football);
  const model::Team city = team(11, "Harbour City", "HAC", football);
  const model::Team mariners = team(30, "Port Mariners", "PMA", football);
  const model::Team athletic = team(31, "Northfield Athletic", "NFA", football);
  const model::Team united = team(32, "Eastgate United", "EGU", football);
  const model::Team wanderers = team(33, "Valley Wanderers", "VWA", football);
  const model::Tournament league = tournament(1701, 17, "Coastal League", coastland);
  const model::Tournament cup = tournament(2301, 23, "Harbour Cup", coastland);

  MatchDayFixtures day;
  day.teams = {{rovers, true}, {city, false}};
  day.leagues = {{league, true}};
  model::Player ferris;
  ferris.ID = 500;
  ferris.name = "Jon Ferris";
  ferris.team = rovers;
  ferris.sport = football;
  day.players = {{ferris, true}};
  day.pinned = {uniqueTournament(league), uniqueTournament(cup)};

  using R = EventRole;
  const std::int64_t finished = EventStatus::kFinished;
  const std::int64_t live = EventStatus::kInProgress;
  const std::int64_t upcoming = EventStatus::kNotStarted;
  day.events = {
      match(101, league, rovers, mariners, t - 2 * kDay, finished, {2, 1}, R::favourite),
      match(102, cup, athletic, united, t - 4 * kHour, finished, {0, 0}, R::favourite),
      match(103, league, rovers, city, t - 50 * kMinute, live, {2, 1}, R::favourite),
      match(104, league, city, wanderers, t + 3 * kHour, upcoming, {1, 1}, R::mutedFavourite),
      match(105, league, wanderers, rovers, t + 3 * kDay, upcoming, {0, 2}, R::favourite),
      // Only the followed Harbour City keeps this one: the cup is not followed.
      match(106, cup, city, athletic, t + 5 * kDay, upcoming, {3, 0}, R::ownedByFollowed),
      match(107, cup, mariners, athletic, t + 2 * kDay, upcoming, {1, 2}, R::favourite),
      // A fixture of the followed league, published far ahead.
      match(108, league, mariners, wanderers, t + 70 * kDay, upcoming, {0, 0}, R::ownedByFollowed),
      match(109, league, mariners, rovers, t + 12 * kDay, upcoming, {0, 0}, R::favourite),
  };
  // The live match is 1-0 at the start.
  day.events[2].event.homeScoreOriginal = score(1);
  day.events[2].event.awayScoreOriginal = score(0);

  // A race weekend: the weekend itself, two sessions done, the race tomorrow.
  model::UniqueStage series;
  series.ID = 40;
  series.name = "Formula Kestrel";
  series.category = racing;
  model::StageSeason season;
  season.ID = 4001;
  season.desc = "Formula Kestrel season";
  season.uniqueStage = series;
  day.uniqueStageID = series.ID;
  day.uniqueStageName = *series.name;
  auto weekend = std::make_shared<model::Stage>(
      stage(201, "Coastal Grand Prix", t - kDay, live, nullptr, false).stage);
  weekend->stageSeason = season;
  day.stages = {
      stage(201, "Coastal Grand Prix", t - kDay, live, nullptr, false),
      stage(202, "Qualifying", t - kDay + 3 * kHour, finished, weekend, false),
      stage(203, "Race", t + kDay + 3 * kHour, upcoming, weekend, false),
      stage(204, "Practice", t - kDay - 3 * kHour, finished, weekend, true),
  };
  day.stages[0].stage.stageSeason = season;

  using Type = model::NMEventVoteType;
  using Value = model::NMEventVoteValue;
  day.votes = {
      {103, Type::fullTime, Value::home, true, std::nullopt},
      {103, Type::bothTeamsToScore, Value::yes, true, Value::no},
      // Sent while the phone was offline: the server has not got it yet.
      {105, Type::fullTime, Value::draw, false, std::nullopt},
  };
  day.upvoted = {t - 20 * kMinute, 103};
  day.reported = {t - 10 * kMinute, 103};
  day.reportChoice = 2;
  day.tvSuggestion.channelId = 7;
  day.tvSuggestion.eventId = 103;
  day.tvSuggestion.startTimestamp = t - 50 * kMinute;
  day.tvSuggestion.approve = true;
  // The highlights of the Rovers' match two days ago.
  day.highlightID = 9001;
  day.highlightURL = "https://video.example/highlights/9001";
  day.highlightCreated = t - 2 * kDay + 3 * kHour;
  return day;
}

}  // namespace kestrel::tool
