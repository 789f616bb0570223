#include "RawStage.h"

#include <KestrelDatabase/tables/DBTableStage.h>

#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace kestrel::bench {

using model::Stage;

Stage makeStage(std::int64_t id, double now) {
  auto parent = std::make_shared<Stage>();
  parent->ID = 1'000'000 + id / 10;
  parent->desc = "Grand Prix " + std::to_string(id / 10);
  parent->startDateTimestamp = static_cast<std::int64_t>(now) - 86400 + id % 1000;
  parent->hasCompetitorResults = true;
  parent->flag = "flag-" + std::to_string(id % 30);

  Stage stage;
  stage.ID = id;
  stage.desc = "Session " + std::to_string(id);
  stage.status = model::EventStatus(1 + id % 3);
  stage.startDateTimestamp = static_cast<std::int64_t>(now) - 3600 + id % 7200;
  stage.type = model::StageType(1 + id % 4);
  stage.hasTeamResults = id % 2 == 0;
  stage.flag = "session";
  stage.winner = model::Team{.ID = 5000 + id % 50, .name = "Driver " + std::to_string(id % 50)};
  stage.stageEvent = parent;
  stage.stageSeason = model::StageSeason{
      .ID = 2026,
      .desc = "Season 2026",
      .year = "2026",
      .uniqueStage = model::UniqueStage{
          .ID = 40 + id % 5,
          .name = "Series " + std::to_string(id % 5),
          .stageColors = model::StageColors{"#ff0000", "#00ff00"},
          .category = model::CategoryModel{.ID = 9,
                                           .name = "Motorsport",
                                           .flag = "motorsport",
                                           .sport = model::Sport::sportWithSlug("motorsport")}}};
  return stage;
}

std::optional<std::int64_t> integer(sqlite3_stmt* s, int i) {
  if (sqlite3_column_type(s, i) == SQLITE_NULL) return std::nullopt;
  return sqlite3_column_int64(s, i);
}
std::optional<std::string> text(sqlite3_stmt* s, int i) {
  const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(s, i));
  if (bytes == nullptr) return std::nullopt;
  return std::string(bytes, static_cast<std::size_t>(sqlite3_column_bytes(s, i)));
}

// The same stage the table's mapping builds, read by index.
namespace {

// The position of a column in "StageTable" rows (SELECT * keeps table order).
consteval int at(std::string_view name) {
  for (std::size_t i = 0; i < DBTableStage::kColumns.size(); ++i) {
    if (std::string_view(DBTableStage::kColumns[i].name) == name) return static_cast<int>(i);
  }
  throw "unknown stage column";
}

}  // namespace

Stage rawStage(sqlite3_stmt* s) {
  Stage stage;
  stage.ID = sqlite3_column_int64(s, at("ID"));
  stage.desc = text(s, at("NAME"));
  stage.status = model::EventStatus(sqlite3_column_int(s, at("STATUS_TYPE")));
  stage.startDateTimestamp = integer(s, at("START_TIMESTAMP"));
  if (const auto type = integer(s, at("TYPE"))) stage.type = model::StageType(*type);
  stage.flag = text(s, at("FLAG"));
  const auto winnerID = integer(s, at("WINNER_ID"));
  auto winnerName = text(s, at("WINNER_NAME"));
  if (winnerID || winnerName) {
    stage.winner = model::Team{.ID = winnerID.value_or(0), .name = std::move(winnerName)};
  }
  stage.hasCompetitorResults = sqlite3_column_int(s, at("STAGE_HAS_COMPETITOR")) != 0;
  stage.hasTeamResults = sqlite3_column_int(s, at("STAGE_HAS_TEAMS")) != 0;

  std::shared_ptr<Stage> parent;
  const auto parentID = integer(s, at("STAGE_ID"));
  auto parentName = text(s, at("STAGE_NAME"));
  const auto parentStart = integer(s, at("STAGE_START_TIMESTAMP"));
  auto parentFlag = text(s, at("STAGE_FLAG"));
  if (parentID || parentName || parentStart || parentFlag) {
    parent = std::make_shared<Stage>();
    parent->ID = parentID.value_or(0);
    parent->desc = std::move(parentName);
    parent->startDateTimestamp = parentStart;
    parent->hasCompetitorResults = stage.hasCompetitorResults;
    parent->hasTeamResults = stage.hasTeamResults;
    parent->flag = std::move(parentFlag);
  }

  std::optional<model::CategoryModel> category;
  const auto categoryID = integer(s, at("CATEGORY_ID"));
  auto categoryName = text(s, at("CATEGORY_NAME"));
  auto categoryFlag = text(s, at("CATEGORY_FLAG"));
  const auto slug = text(s, at("SPORT_SLUG"));
  if (categoryID || categoryName || categoryFlag || slug) {
    category.emplace();
    category->ID = categoryID.value_or(0);
    category->name = std::move(categoryName);
    category->flag = std::move(categoryFlag);
    if (slug) category->sport = model::Sport::sportWithSlug(*slug);
  }
  std::optional<model::StageColors> colors;
  auto primary = text(s, at("UNIQUE_PRIMARY"));
  auto secondary = text(s, at("UNIQUE_SECONDARY"));
  if (primary || secondary) colors = model::StageColors{std::move(primary), std::move(secondary)};
  std::optional<model::UniqueStage> unique;
  const auto uniqueID = integer(s, at("UNIQUE_ID"));
  auto uniqueName = text(s, at("UNIQUE_NAME"));
  if (uniqueID || uniqueName || colors || category) {
    unique = model::UniqueStage{.ID = uniqueID.value_or(0),
                                .name = std::move(uniqueName),
                                .stageColors = std::move(colors),
                                .category = std::move(category)};
  }
  std::optional<model::StageSeason> season;
  const auto seasonID = integer(s, at("SEASON_ID"));
  auto seasonName = text(s, at("SEASON_NAME"));
  auto seasonYear = text(s, at("SEASON_YEAR"));
  if (seasonID || seasonName || seasonYear || unique) {
    season = model::StageSeason{.ID = seasonID.value_or(0),
                                .desc = std::move(seasonName),
                                .year = std::move(seasonYear),
                                .uniqueStage = std::move(unique)};
  }
  if (parent) parent->stageSeason = season;
  stage.stageEvent = std::move(parent);
  stage.stageSeason = std::move(season);
  return stage;
}

}  // namespace kestrel::bench
