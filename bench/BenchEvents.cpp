#include "BenchEvents.h"

#include <string>
#include <string_view>

namespace kestrel::bench {

using model::Event;

namespace {

// Concatenation by append: GCC 12 warns falsely (-Wrestrict) on chains of +.
std::string joined(std::string_view a, std::string_view b) {
  std::string out(a);
  out.append(b);
  return out;
}

model::FieldTranslations translations(const std::string& name) {
  model::FieldTranslations t;
  t.nameTranslation = {{"de", joined(name, " (de)")}, {"fr", joined(name, " (fr)")}};
  t.shortNameTranslation = {{"de", name.substr(0, 3)}};
  return t;
}

model::Team team(std::int64_t id, const std::string& name) {
  model::Team t;
  t.ID = id;
  t.name = name;
  t.shortName = name.substr(0, 5);
  t.flag = joined("flag-", std::to_string(id % 50));
  t.nameCode = name.substr(0, 3);
  t.fieldTranslations = translations(name);
  return t;
}

model::EventScore score(std::int64_t seed) {
  model::EventScore s;
  s.display = seed % 5;
  s.normalTime = seed % 4;
  s.aggregated = seed % 7;
  s.penalties = seed % 3;
  s.point = "40";
  s.periods = {seed % 3, seed % 2, 1};
  s.period1 = seed % 3;
  s.period2 = seed % 2;
  s.period3 = 1;
  s.tieBreaks = {7, 5};
  return s;
}

// A favourite with every mapped part set, and two sub-teams a side.
}  // namespace

Event makeEvent(std::int64_t id, double now) {
  Event e;
  e.ID = id;
  e.startTimestamp = static_cast<std::int64_t>(now) - 3600 + (id % 7200);
  e.endTimestamp = *e.startTimestamp + 7200;
  e.visible = true;
  e.hasGlobalHighlights = id % 2 == 0;
  e.webUrl = joined("https://example.invalid/event/", std::to_string(id));
  e.statusDescription = "2nd half";
  e.status = model::EventStatus(model::EventStatus::kInProgress, 7);
  e.lastPeriod = "period2";
  e.firstToServeOriginal = 1;
  e.winnerCodeOriginal = 0;
  e.crowdsourcingEnabled = true;
  model::Tournament tournament;
  tournament.ID = 100 + id % 40;
  tournament.name = joined("League ", std::to_string(id % 40));
  tournament.fieldTranslations = translations(*tournament.name);
  tournament.uniqueId = 500 + id % 40;
  tournament.uniqueName = "Unique League";
  tournament.category = model::CategoryModel{};
  tournament.category->ID = 7;
  tournament.category->name = "Europe";
  tournament.category->flag = "europe";
  tournament.category->sport = model::Sport::sportWithSlug("football");
  tournament.season = model::Season{};
  tournament.season->ID = 2026;
  tournament.season->year = "25/26";
  e.tournament = tournament;
  e.homeTeamOriginal = team(1000 + id, joined("Home Team ", std::to_string(id)));
  e.awayTeamOriginal = team(2000 + id, joined("Away Team ", std::to_string(id)));
  for (model::Team* side : {&*e.homeTeamOriginal, &*e.awayTeamOriginal}) {
    side->subTeams = {team(side->ID * 10 + 1, "Partner One"),
                      team(side->ID * 10 + 2, "Partner Two")};
  }
  e.time = model::EventTime{};
  e.time->currentTime = 2700;
  e.time->periodTimes = {2700, 2700};
  e.homeScoreOriginal = score(id);
  e.awayScoreOriginal = score(id + 1);
  e.changesOriginal =
      model::EventChanges({"homeScore", "status"}, static_cast<std::int64_t>(now), true);
  e.statusTime = model::StatusTime{};
  e.statusTime->initial = 2700;
  e.statusTime->max = 5400;
  e.statusTime->prefix = "'";
  e.timeInfo = model::TimeInfo(10, 20, 5, 2);
  e.yardDistanceOriginal = model::YardDistance(10, 2, 35, 0, 1, 2);
  e.streamContentGeoRestrictions = {"DE", "AT", "CH"};
  e.bestOfSets = 3;
  e.varInProgress = model::VarInProgress(false, true);
  return e;
}

}  // namespace kestrel::bench
