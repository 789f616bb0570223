// The row mapping of DBTableStage: a model Stage to its column values, and a
// row of "StageTable" back to a Stage with its parent stage, season, unique
// stage, colours and category.
//
// The read side matches the result set's own column names against the
// table's columns once per result set (RowLayout) and then reads by index, so
// a select of a few columns (the muted stages' ID-only select) reads the
// others as NULL without a lookup, and without a warning, per row.

#include <KestrelDatabase/schema/TableColumns.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>

#include <exception>
#include <memory>
#include <string_view>
#include <utility>

namespace kestrel {

using model::Stage;

namespace {

// Position of a column in DBTableStage::kColumns, resolved at compile time.
consteval std::size_t column(std::string_view name) {
  for (std::size_t i = 0; i < DBTableStage::kColumns.size(); ++i) {
    if (name == DBTableStage::kColumns[i].name) return i;
  }
  throw "unknown stage column";  // not a constant expression: fails the build
}

// A value of an optional part: the null marker when the part is absent.
template <class Part, class Read>
Value from(const Part* part, Read read) {
  return part != nullptr ? Value(read(*part)) : Value::null();
}

// Reads one row through a layout; a column the layout lacks reads as NULL.
class Row {
 public:
  Row(const FMResultSet& resultSet, const DBTableStage::RowLayout& layout)
      : resultSet_(resultSet), layout_(layout) {}

  std::optional<std::int64_t> integer(std::size_t position) const {
    return resultSet_.getIntegerForColumnIndex(index(position));
  }
  bool boolean(std::size_t position) const {
    return resultSet_.boolForColumnIndex(index(position));
  }
  std::optional<std::string> text(std::size_t position) const {
    return resultSet_.stringForColumnIndex(index(position));
  }

 private:
  int index(std::size_t position) const { return layout_.indexes[position]; }

  const FMResultSet& resultSet_;
  const DBTableStage::RowLayout& layout_;
};

}  // namespace

// ---- Write mapping ------------------------------------------------------------

ColumnValueMap DBTableStage::mapAllPropertiesToColumns(const Stage& stage) {
  ColumnValueMap map;
  try {
    putColumns(stage, map);
  } catch (const std::exception&) {
    // The columns mapped before the failure are what the caller gets.
  }
  return map;
}

void DBTableStage::putColumns(const Stage& stage, ColumnValueMap& map) {
  const Stage* parent = stage.stageEvent.get();
  const model::StageSeason* season = stage.getStageSeason();
  const model::UniqueStage* unique = stage.uniqueStage();
  const model::StageColors* colors =
      unique != nullptr && unique->stageColors ? &*unique->stageColors : nullptr;
  const model::CategoryModel* category = stage.category();
  const model::Sport* sport = category != nullptr && category->sport ? &*category->sport : nullptr;
  const model::Team* winner = stage.winner ? &*stage.winner : nullptr;
  const model::StageType* type = stage.type ? &*stage.type : nullptr;

  map.reserve(kColumnCount - 2);

  map.emplace_back(kId, stage.ID);
  map.emplace_back(kName, stage.desc);
  map.emplace_back(kStatusType, stage.status.type);
  // A stage without its own start is stored with its parent's.
  map.emplace_back(kStartTimestamp, stage.startDateTimestamp ? Value(*stage.startDateTimestamp)
                                                             : from(parent, [](const Stage& p) {
                                                                 return p.startDateTimestamp;
                                                               }));
  map.emplace_back(kType, from(type, [](const auto& t) { return t.ID; }));
  map.emplace_back(kHasCompetitors, stage.hasCompetitorResults);
  map.emplace_back(kHasTeams, stage.hasTeamResults);
  map.emplace_back(kFlag, stage.flag);
  map.emplace_back(kWinnerId, from(winner, [](const auto& w) { return w.ID; }));
  map.emplace_back(kWinnerName, from(winner, [](const auto& w) { return w.name; }));
  map.emplace_back(kLastUpdate, platform::Clock::now());
  map.emplace_back(kStageId, from(parent, [](const Stage& p) { return p.ID; }));
  map.emplace_back(kStageName, from(parent, [](const Stage& p) { return p.desc; }));
  map.emplace_back(kStageStartTimestamp,
                   from(parent, [](const Stage& p) { return p.startDateTimestamp; }));
  map.emplace_back(kStageHasCompetitor,
                   from(parent, [](const Stage& p) { return p.hasCompetitorResults; }));
  map.emplace_back(kStageHasTeams, from(parent, [](const Stage& p) { return p.hasTeamResults; }));
  map.emplace_back(kStageFlag, from(parent, [](const Stage& p) { return p.flag; }));
  map.emplace_back(kSeasonId, from(season, [](const auto& s) { return s.ID; }));
  map.emplace_back(kSeasonName, from(season, [](const auto& s) { return s.desc; }));
  map.emplace_back(kSeasonYear, from(season, [](const auto& s) { return s.year; }));
  map.emplace_back(kUniqueId, from(unique, [](const auto& u) { return u.ID; }));
  map.emplace_back(kUniqueName, from(unique, [](const auto& u) { return u.name; }));
  map.emplace_back(kUniquePrimary, from(colors, [](const auto& c) { return c.primary; }));
  map.emplace_back(kUniqueSecondary, from(colors, [](const auto& c) { return c.secondary; }));
  map.emplace_back(kCategoryName, from(category, [](const auto& c) { return c.name; }));
  map.emplace_back(kCategoryFlag, from(category, [](const auto& c) { return c.flag; }));
  map.emplace_back(kCategoryId, from(category, [](const auto& c) { return c.ID; }));
  map.emplace_back(kSportSlug, from(sport, [](const auto& s) { return s.slug; }));
}

// ---- Read mapping -------------------------------------------------------------

DBTableStage::RowLayout DBTableStage::rowLayoutForResultSet(const FMResultSet& resultSet) {
  RowLayout layout;
  layout.indexes.fill(-1);
  const int count = resultSet.columnCount();
  for (int index = 0; index < count; ++index) {
    const auto name = resultSet.columnNameForIndex(index);
    if (!name) continue;
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
      // The first result column of a name wins, as a lookup by name would.
      if (layout.indexes[i] < 0 && TableColumns::FoldedEqual{}(*name, kColumns[i].name)) {
        layout.indexes[i] = index;
        break;
      }
    }
  }
  return layout;
}

Stage DBTableStage::mapStageFromResultSet(const FMResultSet& resultSet) {
  return mapStageFromResultSet(resultSet, rowLayoutForResultSet(resultSet));
}

Stage DBTableStage::mapStageFromResultSet(const FMResultSet& resultSet, const RowLayout& layout) {
  Stage stage;
  try {
    readColumns(resultSet, layout, stage);
  } catch (const std::exception&) {
    platform::log("DB: Stage mapper exception caught.");  // the stage as far as it was built
  }
  return stage;
}

void DBTableStage::readColumns(const FMResultSet& resultSet, const RowLayout& layout,
                               Stage& stage) {
  const Row row(resultSet, layout);

  stage.ID = row.integer(column(kId)).value_or(0);
  stage.desc = row.text(column(kName));
  stage.status =
      model::EventStatus(resultSet.intForColumnIndex(layout.indexes[column(kStatusType)]));
  stage.startDateTimestamp = row.integer(column(kStartTimestamp));
  if (const auto type = row.integer(column(kType))) stage.type = model::StageType(*type);
  stage.flag = row.text(column(kFlag));

  const auto winnerID = row.integer(column(kWinnerId));
  auto winnerName = row.text(column(kWinnerName));
  if (winnerID || winnerName) {
    stage.winner = model::Team{.ID = winnerID.value_or(0), .name = std::move(winnerName)};
  }

  // The stage's own flags come from the parent columns, not from
  // HAS_COMPETITORS and HAS_TEAMS.
  const bool parentHasCompetitors = row.boolean(column(kStageHasCompetitor));
  const bool parentHasTeams = row.boolean(column(kStageHasTeams));
  stage.hasCompetitorResults = parentHasCompetitors;
  stage.hasTeamResults = parentHasTeams;

  std::shared_ptr<Stage> parent;
  const auto parentID = row.integer(column(kStageId));
  auto parentName = row.text(column(kStageName));
  const auto parentStart = row.integer(column(kStageStartTimestamp));
  auto parentFlag = row.text(column(kStageFlag));
  // The two flag columns are the parent's too: a row that holds only them
  // still has a parent, or re-saving the stage would lose its own flags.
  const bool parentFlagsStored = row.integer(column(kStageHasCompetitor)).has_value() ||
                                 row.integer(column(kStageHasTeams)).has_value();
  if (parentID || parentName || parentStart || parentFlag || parentFlagsStored) {
    parent = std::make_shared<Stage>();
    parent->ID = parentID.value_or(0);
    parent->desc = std::move(parentName);
    parent->startDateTimestamp = parentStart;
    parent->hasCompetitorResults = parentHasCompetitors;
    parent->hasTeamResults = parentHasTeams;
    parent->flag = std::move(parentFlag);
  }

  std::optional<model::CategoryModel> category;
  const auto categoryID = row.integer(column(kCategoryId));
  auto categoryName = row.text(column(kCategoryName));
  auto categoryFlag = row.text(column(kCategoryFlag));
  const auto slug = row.text(column(kSportSlug));
  if (categoryID || categoryName || categoryFlag || slug) {
    category.emplace();
    category->ID = categoryID.value_or(0);
    category->name = std::move(categoryName);
    category->flag = std::move(categoryFlag);
    if (slug) category->sport = model::Sport::sportWithSlug(*slug);
  }

  std::optional<model::StageColors> colors;
  auto primary = row.text(column(kUniquePrimary));
  auto secondary = row.text(column(kUniqueSecondary));
  if (primary || secondary) colors = model::StageColors{std::move(primary), std::move(secondary)};

  std::optional<model::UniqueStage> unique;
  const auto uniqueID = row.integer(column(kUniqueId));
  auto uniqueName = row.text(column(kUniqueName));
  if (uniqueID || uniqueName || colors || category) {
    unique = model::UniqueStage{.ID = uniqueID.value_or(0),
                                .name = std::move(uniqueName),
                                .stageColors = std::move(colors),
                                .category = std::move(category)};
  }

  std::optional<model::StageSeason> season;
  const auto seasonID = row.integer(column(kSeasonId));
  auto seasonName = row.text(column(kSeasonName));
  auto seasonYear = row.text(column(kSeasonYear));
  if (seasonID || seasonName || seasonYear || unique) {
    season = model::StageSeason{.ID = seasonID.value_or(0),
                                .desc = std::move(seasonName),
                                .year = std::move(seasonYear),
                                .uniqueStage = std::move(unique)};
  }

  if (parent) parent->stageSeason = season;
  stage.stageEvent = std::move(parent);
  stage.stageSeason = std::move(season);
}

}  // namespace kestrel
