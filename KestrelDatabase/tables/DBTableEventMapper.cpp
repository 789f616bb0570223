// The row mapping of DBTableEvent: a model Event to its column values, and a
// row of "EventTable_" back to an Event.
//
// The write side reads the model in a fixed column order; the read side looks
// every column up once per result set (RowLayout) and then reads by index, so
// mapping many rows costs no name lookups and an old table that lacks a column
// logs its warning once per result set rather than once per row.
//
// Both directions run inside a guard: what the C++ runtime throws while they
// work (an allocation failure, a failed conversion) ends the mapping there,
// and the caller gets what was mapped until then.

#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/NumberText.h>

#include <exception>
#include <string_view>
#include <utility>

namespace kestrel {

using model::Event;

namespace {

// Position of a column in DBTableEvent::kColumns, resolved at compile time.
consteval std::size_t column(std::string_view name) {
  for (std::size_t i = 0; i < DBTableEvent::kColumns.size(); ++i) {
    if (name == DBTableEvent::kColumns[i].name) return i;
  }
  throw "unknown event column";  // not a constant expression: fails the build
}

// Columns the read side never reads: the row flags, the constant sport rows
// and the joined sub-team texts (sub-teams come back from their own columns).
bool isReadByMapping(std::string_view name) {
  return name != DBTableEvent::kIsMuted && name != DBTableEvent::kIsHidden &&
         name != DBTableEvent::kSportRows && name != DBTableEvent::kHomeTeamSubteams &&
         name != DBTableEvent::kAwayTeamSubteams;
}

// ---- Write helpers ----

Value joined(const std::vector<std::int64_t>& numbers) {
  if (numbers.empty()) return Value::null();
  std::string text;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (i > 0) text += ',';
    text += std::to_string(numbers[i]);
  }
  return Value(std::move(text));
}

Value joined(const std::vector<std::string>& texts) {
  if (texts.empty()) return Value::null();
  std::string text;
  for (std::size_t i = 0; i < texts.size(); ++i) {
    if (i > 0) text += ',';
    text += texts[i];
  }
  return Value(std::move(text));
}

// A sub-team or batting team that the read side built from NULL columns: no
// ID and nothing else its columns hold. It is written back as NULL columns,
// so that re-writing an event that was read back does not turn NULL into 0.
bool isEmptyPart(const model::Team& team) {
  return team.ID == 0 && !team.name && !team.fieldTranslations;
}

Value subTeamsText(const std::vector<model::Team>& subTeams) {
  std::vector<std::string> texts;
  texts.reserve(subTeams.size());
  for (const auto& team : subTeams) {
    if (!isEmptyPart(team)) texts.push_back(team.description());
  }
  return joined(texts);
}

Value translationsText(const std::optional<model::FieldTranslations>& translations) {
  return Value(DBTableAbstract::convertFieldTranslationsToString(translations));
}

// A value of an optional part: the null marker when the part is absent.
template <class Part, class Read>
Value from(const std::optional<Part>& part, Read read) {
  return part ? Value(read(*part)) : Value::null();
}

// A flag of an optional part: false (0) when the part is absent, as every
// boolean column is written.
template <class Part, class Read>
Value flag(const std::optional<Part>& part, Read read) {
  return Value(part ? static_cast<bool>(read(*part)) : false);
}

// ---- Read helpers ----

void logMapperException() {
  platform::log("DB: Event mapper exception caught.");
}

std::vector<std::string> splitTexts(const std::optional<std::string>& text) {
  std::vector<std::string> pieces;
  if (!text || text->empty()) return pieces;
  std::size_t start = 0;
  while (true) {
    const std::size_t comma = text->find(',', start);
    pieces.push_back(text->substr(start, comma - start));
    if (comma == std::string::npos) break;
    start = comma + 1;
  }
  return pieces;
}

std::vector<std::int64_t> splitIntegers(const std::optional<std::string>& text) {
  std::vector<std::int64_t> numbers;
  // An element reads as its leading integer ("12" -> 12, "x" -> 0; beyond
  // the 64-bit range, the nearest limit).
  for (const auto& piece : splitTexts(text)) numbers.push_back(platform::leadingInteger(piece));
  return numbers;
}

// Reads one row through a layout; a column the layout lacks reads as NULL.
class Row {
 public:
  Row(const FMResultSet& resultSet, const DBTableEvent::RowLayout& layout)
      : resultSet_(resultSet), layout_(layout) {}

  std::optional<std::int64_t> integer(std::size_t position) const {
    return resultSet_.getIntegerForColumnIndex(index(position));
  }
  std::int64_t integerOrZero(std::size_t position) const { return integer(position).value_or(0); }
  bool boolean(std::size_t position) const {
    return resultSet_.boolForColumnIndex(index(position));
  }
  std::optional<bool> optionalBoolean(std::size_t position) const {
    const auto number = integer(position);
    return number ? std::optional<bool>(*number != 0) : std::nullopt;
  }
  std::optional<std::string> text(std::size_t position) const {
    return resultSet_.stringForColumnIndex(index(position));
  }
  std::optional<model::FieldTranslations> translations(std::size_t position) const {
    return DBTableAbstract::convertStringToFieldTranslations(text(position));
  }

 private:
  int index(std::size_t position) const { return layout_.indexes[position]; }

  const FMResultSet& resultSet_;
  const DBTableEvent::RowLayout& layout_;
};

}  // namespace

// ---- Write mapping ------------------------------------------------------------

ColumnValueMap DBTableEvent::mapAllPropertiesToColumns(const Event& event) {
  ColumnValueMap map;
  try {
    putColumns(event, map);
  } catch (const std::exception&) {
    // The columns mapped before the failure are what the caller gets.
  }
  return map;
}

void DBTableEvent::putColumns(const Event& event, ColumnValueMap& map) {
  const auto& tournament = event.tournament;
  const auto category = tournament ? tournament->category : std::nullopt;
  const auto sport = category ? category->sport : std::nullopt;
  const auto season = tournament ? tournament->season : std::nullopt;
  const auto& home = event.homeTeamOriginal;
  const auto& away = event.awayTeamOriginal;
  const auto& homeScore = event.homeScoreOriginal;
  const auto& awayScore = event.awayScoreOriginal;

  map.reserve(kColumnCount - 2);
  const auto put = [&map](const char* name, Value value) {
    map.emplace_back(name, std::move(value));
  };

  put(kId, event.ID);
  put(kStartDate, event.startTimestamp);
  put(kVisible, event.visible);
  put(kHashighlights, event.hasGlobalHighlights);
  put(kHasHighlightsStream, event.hasHighlightsStream);
  put(kWeburl, event.webUrl);
  put(kCardsCode, event.cardsCodeOriginal);
  put(kStatusDescription, event.statusDescription);
  put(kStatusType, event.status.type);
  put(kLastPeriod, event.lastPeriod);
  put(kFirst2serve, event.firstToServeOriginal);
  put(kWinnerCode, event.winnerCodeOriginal);
  put(kAggregatedWinnerCode, event.aggregatedWinnerCodeOriginal);
  put(kLastUpdate, platform::Clock::now());
  put(kCrowdsourcingEnabled, event.crowdsourcingEnabled);
  put(kCrowdsourcingDataDisplayEnabled, event.crowdsourcingDataDisplayEnabled);

  put(kSportId, from(sport, [](const auto& s) { return s.ID; }));
  put(kSportName, from(sport, [](const auto& s) { return s.name; }));
  put(kSportSlug, from(sport, [](const auto& s) { return s.slug; }));
  put(kSportRows, 0);

  put(kTournamentId, from(tournament, [](const auto& t) { return t.ID; }));
  put(kTournamentName, from(tournament, [](const auto& t) { return t.name; }));
  put(kTournamentFieldTranslations,
      from(tournament, [](const auto& t) { return translationsText(t.fieldTranslations); }));
  put(kTournamentUniqueId, from(tournament, [](const auto& t) { return t.uniqueId; }));
  put(kTournamentUniqueFieldTranslations,
      from(tournament, [](const auto& t) { return translationsText(t.uniqueFieldTranslations); }));
  put(kCategoryId, from(category, [](const auto& c) { return c.ID; }));
  put(kCategoryName, from(category, [](const auto& c) { return c.name; }));
  put(kCategoryFlag, from(category, [](const auto& c) { return c.flag; }));
  put(kCategoryFieldTranslations,
      from(category, [](const auto& c) { return translationsText(c.fieldTranslations); }));
  put(kSeasonId, from(season, [](const auto& s) { return s.ID; }));
  put(kSeasonName, from(season, [](const auto& s) { return s.name; }));
  put(kSeasonYear, from(season, [](const auto& s) { return s.year; }));

  const auto putTeam = [&](const std::optional<model::Team>& team, const char* id, const char* name,
                           const char* shortName, const char* flag, const char* subteams,
                           const char* nameCode, const char* fieldTranslations) {
    put(id, from(team, [](const auto& t) { return t.ID; }));
    put(name, from(team, [](const auto& t) { return t.name; }));
    put(shortName, from(team, [](const auto& t) { return t.shortName; }));
    put(flag, from(team, [](const auto& t) { return t.flag; }));
    put(subteams, from(team, [](const auto& t) { return subTeamsText(t.subTeams); }));
    put(nameCode, from(team, [](const auto& t) { return t.nameCode; }));
    put(fieldTranslations,
        from(team, [](const auto& t) { return translationsText(t.fieldTranslations); }));
  };
  putTeam(home, kHomeTeamId, kHomeTeamName, kHomeTeamShortName, kHomeTeamFlag, kHomeTeamSubteams,
          kHomeTeamNameCode, kHomeTeamFieldTranslations);
  putTeam(away, kAwayTeamId, kAwayTeamName, kAwayTeamShortName, kAwayTeamFlag, kAwayTeamSubteams,
          kAwayTeamNameCode, kAwayTeamFieldTranslations);

  put(kTimeCurrent, from(event.time, [](const auto& t) { return t.currentTime; }));
  put(kTimePeriodTimes, from(event.time, [](const auto& t) { return joined(t.periodTimes); }));

  const auto putScore = [&](const std::optional<model::EventScore>& score,
                            const std::array<const char*, 14>& names) {
    put(names[0], from(score, [](const auto& s) { return s.display; }));
    put(names[1], from(score, [](const auto& s) { return s.normalTime; }));
    put(names[2], from(score, [](const auto& s) { return s.aggregated; }));
    put(names[3], from(score, [](const auto& s) { return s.penalties; }));
    put(names[4], from(score, [](const auto& s) { return s.point; }));
    put(names[5], from(score, [](const auto& s) { return joined(s.periods); }));
    put(names[6], from(score, [](const auto& s) { return s.period1; }));
    put(names[7], from(score, [](const auto& s) { return s.period2; }));
    put(names[8], from(score, [](const auto& s) { return s.period3; }));
    put(names[9], from(score, [](const auto& s) { return s.period4; }));
    put(names[10], from(score, [](const auto& s) { return s.period5; }));
    put(names[11], from(score, [](const auto& s) { return s.period6; }));
    put(names[12], from(score, [](const auto& s) { return s.period7; }));
    put(names[13], from(score, [](const auto& s) { return joined(s.tieBreaks); }));
  };
  putScore(homeScore, {kHomeCurrent, kHomeNormaltime, kHomeAggregated, kHomePenalties, kHomePoint,
                       kHomePeriods, kHomePeriod1, kHomePeriod2, kHomePeriod3, kHomePeriod4,
                       kHomePeriod5, kHomePeriod6, kHomePeriod7, kHomeTieBreakPeriods});
  putScore(awayScore, {kAwayCurrent, kAwayNormaltime, kAwayAggregated, kAwayPenalties, kAwayPoint,
                       kAwayPeriods, kAwayPeriod1, kAwayPeriod2, kAwayPeriod3, kAwayPeriod4,
                       kAwayPeriod5, kAwayPeriod6, kAwayPeriod7, kAwayTieBreakPeriods});

  const auto putSubteam = [&](const std::optional<model::Team>& team, std::size_t element,
                              const char* id, const char* name, const char* fieldTranslations) {
    const model::Team* subteam =
        team && team->subTeams.size() > element && !isEmptyPart(team->subTeams[element])
            ? &team->subTeams[element]
            : nullptr;
    put(id, subteam ? Value(subteam->ID) : Value::null());
    put(name, subteam ? Value(subteam->name) : Value::null());
    put(fieldTranslations, subteam ? translationsText(subteam->fieldTranslations) : Value::null());
  };
  putSubteam(home, 0, kHomeSubteam1ColId, kHomeSubteam1ColName, kHomeSubteam1ColFieldTranslations);
  putSubteam(home, 1, kHomeSubteam2ColId, kHomeSubteam2ColName, kHomeSubteam2ColFieldTranslations);
  putSubteam(away, 0, kAwaySubteam1ColId, kAwaySubteam1ColName, kAwaySubteam1ColFieldTranslations);
  putSubteam(away, 1, kAwaySubteam2ColId, kAwaySubteam2ColName, kAwaySubteam2ColFieldTranslations);

  put(kScoreDescriptionHome,
      from(homeScore, [](const auto& s) { return s.cricketScoreDescription; }));
  put(kScoreDescriptionAway,
      from(awayScore, [](const auto& s) { return s.cricketScoreDescription; }));

  const auto& changes = event.changesOriginal;
  put(kChangesTimestamp, from(changes, [](const auto& c) { return c.changeTimestamp; }));
  put(kChangesCarray, from(changes, [](const auto& c) { return joined(c.changes); }));
  put(kChangesHasChanges, flag(changes, [](const auto& c) { return c.hasChanges; }));

  put(kStatusCode, event.status.code);
  put(kStatistics, event.hasEventPlayerStatistics);
  put(kTournamentUniqueName, from(tournament, [](const auto& t) { return t.uniqueName; }));
  put(kEndDate, event.endTimestamp);
  put(kTournamentPlayerHeatmap,
      flag(tournament, [](const auto& t) { return t.hasEventPlayerHeatMap; }));
  put(kTournamentPlayerStatistics,
      flag(tournament, [](const auto& t) { return t.hasEventPlayerStatistics; }));
  put(kTournamentBoxScore, flag(tournament, [](const auto& t) { return t.hasBoxScore; }));

  if (event.currentBattingTeamId) {
    put(kCurrentBattingTeamId, *event.currentBattingTeamId);
  } else if (event.currentBattingTeam && !isEmptyPart(*event.currentBattingTeam)) {
    put(kCurrentBattingTeamId, event.currentBattingTeam->ID);
  } else {
    put(kCurrentBattingTeamId, Value::null());
  }

  const auto& statusTime = event.statusTime;
  put(kStatusPrefix, from(statusTime, [](const auto& s) { return s.prefix; }));
  put(kStatusInitial, from(statusTime, [](const auto& s) { return s.initial; }));
  put(kStatusMax, from(statusTime, [](const auto& s) { return s.max; }));
  put(kStatusExtra, from(statusTime, [](const auto& s) { return s.extra; }));
  put(kStatusTimestamp, from(statusTime, [](const auto& s) { return s.timestamp; }));

  const auto& timeInfo = event.timeInfo;
  put(kTimeinfoPlayed, from(timeInfo, [](const auto& t) { return t.played; }));
  put(kTimeinfoPeriodLength, from(timeInfo, [](const auto& t) { return t.periodLength; }));
  put(kTimeinfoOvertimeLength, from(timeInfo, [](const auto& t) { return t.overtimeLength; }));
  put(kTimeinfoTotalPeriodCount, from(timeInfo, [](const auto& t) { return t.totalPeriodCount; }));

  put(kFinalRound, event.finalRound);
  put(kTournamentDisplayInverseHomeAwayTeams,
      flag(tournament, [](const auto& t) { return t.displayInverseHomeAwayTeams; }));
  put(kTournamentGroundType, from(tournament, [](const auto& t) { return t.groundType; }));
  put(kTournamentTennisPoints, from(tournament, [](const auto& t) { return t.tennisPoints; }));

  const auto& yards = event.yardDistanceOriginal;
  put(kAmFootballYardsToFirstDown,
      from(yards, [](const auto& y) { return y.currentYardsToFirstDownNumber; }));
  put(kAmFootballCurrentDown, from(yards, [](const auto& y) { return y.currentDownNumber; }));
  put(kAmFootballCurrentYardline,
      from(yards, [](const auto& y) { return y.currentYardlineNumber; }));
  put(kAmFootballIsGoalPossession,
      from(yards, [](const auto& y) { return y.isGoalPossessionNumber; }));
  put(kAmFootballCurrentPossession,
      from(yards, [](const auto& y) { return y.currentPossessionNumber; }));
  put(kAmFootballCurrentTeamHalf,
      from(yards, [](const auto& y) { return y.currentTeamHalfNumber; }));

  put(kStreamContentId, event.streamContentId);
  put(kStreamContentGeoRestrictions, joined(event.streamContentGeoRestrictions));
  put(kBestOfSets, event.bestOfSets);
  put(kVarInProgressHome, from(event.varInProgress, [](const auto& v) { return v.homeTeam; }));
  put(kVarInProgressAway, from(event.varInProgress, [](const auto& v) { return v.awayTeam; }));
}

// ---- Read mapping -------------------------------------------------------------

DBTableEvent::RowLayout DBTableEvent::rowLayoutForResultSet(const FMResultSet& resultSet) {
  RowLayout layout;
  layout.indexes.fill(-1);
  try {
    for (std::size_t i = 0; i < kColumns.size(); ++i) {
      if (isReadByMapping(kColumns[i].name)) {
        layout.indexes[i] = resultSet.columnIndexForName(kColumns[i].name);
      }
    }
  } catch (const std::exception&) {
    logMapperException();  // the columns not yet looked up read as NULL
  }
  return layout;
}

Event DBTableEvent::mapEventFromResultSet(const FMResultSet& resultSet) {
  return mapEventFromResultSet(resultSet, rowLayoutForResultSet(resultSet));
}

Event DBTableEvent::mapEventFromResultSet(const FMResultSet& resultSet, const RowLayout& layout) {
  Event event;
  try {
    readColumns(resultSet, layout, event);
  } catch (const std::exception&) {
    logMapperException();  // the event as far as it was built
  }
  return event;
}

void DBTableEvent::readColumns(const FMResultSet& resultSet, const RowLayout& layout,
                               Event& event) {
  const Row row(resultSet, layout);

  event.ID = row.integerOrZero(column(kId));
  event.startTimestamp = row.integer(column(kStartDate));
  event.visible = row.boolean(column(kVisible));
  event.hasGlobalHighlights = row.boolean(column(kHashighlights));
  event.hasHighlightsStream = row.boolean(column(kHasHighlightsStream));
  event.webUrl = row.text(column(kWeburl));
  event.cardsCodeOriginal = row.text(column(kCardsCode));
  event.statusDescription = row.text(column(kStatusDescription));

  // The status text is derived from the stored type, never stored itself.
  event.status = model::EventStatus(row.integerOrZero(column(kStatusType)));

  event.lastPeriod = row.text(column(kLastPeriod));
  event.firstToServeOriginal = row.integer(column(kFirst2serve));
  event.winnerCodeOriginal = row.integer(column(kWinnerCode));
  event.aggregatedWinnerCodeOriginal = row.integer(column(kAggregatedWinnerCode));
  event.crowdsourcingEnabled = row.boolean(column(kCrowdsourcingEnabled));
  event.crowdsourcingDataDisplayEnabled = row.boolean(column(kCrowdsourcingDataDisplayEnabled));

  event.tournament = mapTournamentModelFromResultSet(resultSet, layout);

  static constexpr TeamColumns kHome{
      column(kHomeTeamId),
      column(kHomeTeamName),
      column(kHomeTeamShortName),
      column(kHomeTeamFlag),
      column(kHomeTeamNameCode),
      column(kHomeTeamFieldTranslations),
      {column(kHomeSubteam1ColId), column(kHomeSubteam1ColName),
       column(kHomeSubteam1ColFieldTranslations)},
      {column(kHomeSubteam2ColId), column(kHomeSubteam2ColName),
       column(kHomeSubteam2ColFieldTranslations)},
  };
  static constexpr TeamColumns kAway{
      column(kAwayTeamId),
      column(kAwayTeamName),
      column(kAwayTeamShortName),
      column(kAwayTeamFlag),
      column(kAwayTeamNameCode),
      column(kAwayTeamFieldTranslations),
      {column(kAwaySubteam1ColId), column(kAwaySubteam1ColName),
       column(kAwaySubteam1ColFieldTranslations)},
      {column(kAwaySubteam2ColId), column(kAwaySubteam2ColName),
       column(kAwaySubteam2ColFieldTranslations)},
  };
  event.homeTeamOriginal = mapTeamFromResultSet(resultSet, layout, kHome);
  event.awayTeamOriginal = mapTeamFromResultSet(resultSet, layout, kAway);

  event.time = mapTimeFromResultSet(resultSet, layout);

  static constexpr ScoreColumns kHomeScore{
      column(kHomeCurrent),
      column(kHomeNormaltime),
      column(kHomeAggregated),
      column(kHomePenalties),
      column(kHomePoint),
      column(kScoreDescriptionHome),
      column(kHomePeriods),
      {column(kHomePeriod1), column(kHomePeriod2), column(kHomePeriod3), column(kHomePeriod4),
       column(kHomePeriod5), column(kHomePeriod6), column(kHomePeriod7)},
      column(kHomeTieBreakPeriods),
  };
  static constexpr ScoreColumns kAwayScore{
      column(kAwayCurrent),
      column(kAwayNormaltime),
      column(kAwayAggregated),
      column(kAwayPenalties),
      column(kAwayPoint),
      column(kScoreDescriptionAway),
      column(kAwayPeriods),
      {column(kAwayPeriod1), column(kAwayPeriod2), column(kAwayPeriod3), column(kAwayPeriod4),
       column(kAwayPeriod5), column(kAwayPeriod6), column(kAwayPeriod7)},
      column(kAwayTieBreakPeriods),
  };
  event.homeScoreOriginal = mapScoreFromResultSet(resultSet, layout, kHomeScore);
  event.awayScoreOriginal = mapScoreFromResultSet(resultSet, layout, kAwayScore);

  static constexpr ChangesColumns kChanges{column(kChangesCarray), column(kChangesTimestamp),
                                           column(kChangesHasChanges)};
  event.changesOriginal = mapChangesFromResultSet(resultSet, layout, kChanges);

  event.status.code = row.integerOrZero(column(kStatusCode));
  event.hasEventPlayerStatistics = row.boolean(column(kStatistics));
  event.endTimestamp = row.integer(column(kEndDate));
  // Always a batting team; from a NULL column it has ID 0 and counts as empty
  // when the event is written again.
  event.currentBattingTeam = model::Team{.ID = row.integerOrZero(column(kCurrentBattingTeamId))};

  event.statusTime = mapStatusTimeFromResultSet(resultSet, layout);
  event.timeInfo = mapTimeinfoFromResultSet(resultSet, layout);

  event.finalRound = row.optionalBoolean(column(kFinalRound));
  event.yardDistanceOriginal = mapYardDistanceFromResultSet(resultSet, layout);

  event.streamContentId = row.integer(column(kStreamContentId));
  event.streamContentGeoRestrictions = splitTexts(row.text(column(kStreamContentGeoRestrictions)));
  event.bestOfSets = row.integer(column(kBestOfSets));

  event.varInProgress = model::VarInProgress(row.integerOrZero(column(kVarInProgressHome)) != 0,
                                             row.integerOrZero(column(kVarInProgressAway)) != 0);
}

model::Tournament DBTableEvent::mapTournamentModelFromResultSet(const FMResultSet& resultSet,
                                                                const RowLayout& layout) {
  const Row row(resultSet, layout);
  model::Tournament tournament;
  tournament.ID = row.integerOrZero(column(kTournamentId));
  tournament.name = row.text(column(kTournamentName));
  tournament.fieldTranslations = row.translations(column(kTournamentFieldTranslations));
  tournament.uniqueId = row.integer(column(kTournamentUniqueId));
  tournament.uniqueFieldTranslations = row.translations(column(kTournamentUniqueFieldTranslations));

  model::CategoryModel category;
  category.ID = row.integerOrZero(column(kCategoryId));
  category.name = row.text(column(kCategoryName));
  category.flag = row.text(column(kCategoryFlag));
  category.sport = mapSportModelFromResultSet(resultSet, layout);
  category.fieldTranslations = row.translations(column(kCategoryFieldTranslations));
  tournament.category = std::move(category);

  model::Season season;
  season.ID = row.integerOrZero(column(kSeasonId));
  season.name = row.text(column(kSeasonName));
  season.year = row.text(column(kSeasonYear));
  tournament.season = std::move(season);

  tournament.uniqueName = row.text(column(kTournamentUniqueName));
  tournament.hasEventPlayerHeatMap = row.boolean(column(kTournamentPlayerHeatmap));
  tournament.hasEventPlayerStatistics = row.boolean(column(kTournamentPlayerStatistics));
  tournament.hasBoxScore = row.boolean(column(kTournamentBoxScore));
  tournament.displayInverseHomeAwayTeams =
      row.boolean(column(kTournamentDisplayInverseHomeAwayTeams));
  tournament.groundType = row.text(column(kTournamentGroundType));
  tournament.tennisPoints = row.integer(column(kTournamentTennisPoints));
  return tournament;
}

model::Sport DBTableEvent::mapSportModelFromResultSet(const FMResultSet& resultSet,
                                                      const RowLayout& layout) {
  const Row row(resultSet, layout);
  model::Sport sport;
  sport.ID = row.integerOrZero(column(kSportId));
  sport.name = row.text(column(kSportName));
  sport.slug = row.text(column(kSportSlug));
  return sport;
}

model::Team DBTableEvent::mapTeamFromResultSet(const FMResultSet& resultSet,
                                               const RowLayout& layout,
                                               const TeamColumns& columns) {
  const Row row(resultSet, layout);
  model::Team team;
  team.ID = row.integerOrZero(columns.id);
  team.name = row.text(columns.name);
  team.shortName = row.text(columns.shortName);
  team.flag = row.text(columns.flag);
  team.sport = mapSportModelFromResultSet(resultSet, layout);
  auto subteam1 = mapSubteamFromsResultSet(resultSet, layout, columns.subteam1);
  auto subteam2 = mapSubteamFromsResultSet(resultSet, layout, columns.subteam2);
  team.nameCode = row.text(columns.nameCode);
  team.fieldTranslations = row.translations(columns.fieldTranslations);
  team.subTeams.reserve(2);
  team.subTeams.push_back(std::move(subteam1));
  team.subTeams.push_back(std::move(subteam2));
  return team;
}

model::Team DBTableEvent::mapSubteamFromsResultSet(const FMResultSet& resultSet,
                                                   const RowLayout& layout,
                                                   const SubteamColumns& columns) {
  const Row row(resultSet, layout);
  model::Team subteam;
  subteam.ID = row.integerOrZero(columns.id);
  subteam.name = row.text(columns.name);
  subteam.fieldTranslations = row.translations(columns.fieldTranslations);
  return subteam;
}

model::EventTime DBTableEvent::mapTimeFromResultSet(const FMResultSet& resultSet,
                                                    const RowLayout& layout) {
  const Row row(resultSet, layout);
  model::EventTime time;
  time.currentTime = row.integer(column(kTimeCurrent));
  time.periodTimes = splitIntegers(row.text(column(kTimePeriodTimes)));
  return time;
}

model::EventScore DBTableEvent::mapScoreFromResultSet(const FMResultSet& resultSet,
                                                      const RowLayout& layout,
                                                      const ScoreColumns& columns) {
  const Row row(resultSet, layout);
  model::EventScore score;
  score.display = row.integer(columns.current);
  score.normalTime = row.integer(columns.normalTime);
  score.aggregated = row.integer(columns.aggregated);
  score.penalties = row.integer(columns.penalties);
  score.point = row.text(columns.point);
  score.cricketScoreDescription = row.text(columns.scoreDescription);
  score.periods = splitIntegers(row.text(columns.periods));
  score.period1 = row.integer(columns.period[0]);
  score.period2 = row.integer(columns.period[1]);
  score.period3 = row.integer(columns.period[2]);
  score.period4 = row.integer(columns.period[3]);
  score.period5 = row.integer(columns.period[4]);
  score.period6 = row.integer(columns.period[5]);
  score.period7 = row.integer(columns.period[6]);
  score.tieBreaks = splitIntegers(row.text(columns.tieBreaks));
  return score;
}

model::EventChanges DBTableEvent::mapChangesFromResultSet(const FMResultSet& resultSet,
                                                          const RowLayout& layout,
                                                          const ChangesColumns& columns) {
  const Row row(resultSet, layout);
  return model::EventChanges(splitTexts(row.text(columns.changes)), row.integer(columns.timestamp),
                             row.boolean(columns.hasChanges));
}

model::StatusTime DBTableEvent::mapStatusTimeFromResultSet(const FMResultSet& resultSet,
                                                           const RowLayout& layout) {
  const Row row(resultSet, layout);
  model::StatusTime statusTime;
  statusTime.initial = row.integer(column(kStatusInitial));
  statusTime.max = row.integer(column(kStatusMax));
  statusTime.extra = row.integer(column(kStatusExtra));
  statusTime.timestamp = row.integer(column(kStatusTimestamp));
  statusTime.prefix = row.text(column(kStatusPrefix));
  return statusTime;
}

model::TimeInfo DBTableEvent::mapTimeinfoFromResultSet(const FMResultSet& resultSet,
                                                       const RowLayout& layout) {
  const Row row(resultSet, layout);
  return model::TimeInfo(
      row.integer(column(kTimeinfoPlayed)), row.integer(column(kTimeinfoPeriodLength)),
      row.integer(column(kTimeinfoOvertimeLength)), row.integer(column(kTimeinfoTotalPeriodCount)));
}

model::YardDistance DBTableEvent::mapYardDistanceFromResultSet(const FMResultSet& resultSet,
                                                               const RowLayout& layout) {
  const Row row(resultSet, layout);
  return model::YardDistance(row.integer(column(kAmFootballYardsToFirstDown)),
                             row.integer(column(kAmFootballCurrentDown)),
                             row.integer(column(kAmFootballCurrentYardline)),
                             row.integer(column(kAmFootballIsGoalPossession)),
                             row.integer(column(kAmFootballCurrentPossession)),
                             row.integer(column(kAmFootballCurrentTeamHalf)));
}

}  // namespace kestrel
