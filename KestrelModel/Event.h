// A match ("event"): its teams, scores, status, tournament, times and the
// many smaller facts the live-score screens show. The persistence layer
// stores one Event per row of the event table and rebuilds it from the row.
//
// Properties whose names end in "Original" are the values as received, before
// any display adjustment; they are the ones that are stored.
//
// Equality: compares equal when the IDs are equal (other fields are ignored);
// std::hash hashes the ID. Compare fields one by one to check a full copy.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

#include <KestrelModel/EventChanges.h>
#include <KestrelModel/EventScore.h>
#include <KestrelModel/EventStatus.h>
#include <KestrelModel/EventTime.h>
#include <KestrelModel/StatusTime.h>
#include <KestrelModel/Team.h>
#include <KestrelModel/TimeInfo.h>
#include <KestrelModel/Tournament.h>
#include <KestrelModel/VarInProgress.h>
#include <KestrelModel/YardDistance.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::model {

struct Event {
  std::int64_t ID = 0;
  /// Seconds since 1970-01-01 UTC.
  std::optional<std::int64_t> startTimestamp{};
  std::optional<std::int64_t> endTimestamp{};

  bool visible = false;
  bool hasGlobalHighlights = false;
  bool hasHighlightsStream = false;
  bool hasEventPlayerStatistics = false;
  bool crowdsourcingEnabled = false;
  bool crowdsourcingDataDisplayEnabled = false;

  std::optional<std::string> webUrl{};
  std::optional<std::string> cardsCodeOriginal{};
  std::optional<std::string> statusDescription{};
  EventStatus status{};
  /// Name of the last period played, e.g. "period2".
  std::optional<std::string> lastPeriod{};
  /// Which side serves first (1 home, 2 away).
  std::optional<std::int64_t> firstToServeOriginal{};
  /// Winner (1 home, 2 away, 3 draw) of the match and on aggregate.
  std::optional<std::int64_t> winnerCodeOriginal{};
  std::optional<std::int64_t> aggregatedWinnerCodeOriginal{};

  /// Tournament with its category (and the category's sport) and season.
  std::optional<Tournament> tournament{};
  std::optional<Team> homeTeamOriginal{};
  std::optional<Team> awayTeamOriginal{};
  std::optional<EventScore> homeScoreOriginal{};
  std::optional<EventScore> awayScoreOriginal{};
  std::optional<EventTime> time{};
  std::optional<EventChanges> changesOriginal{};
  std::optional<StatusTime> statusTime{};
  std::optional<TimeInfo> timeInfo{};
  std::optional<YardDistance> yardDistanceOriginal{};
  /// Absent when no video-review information is known.
  std::optional<VarInProgress> varInProgress{};

  /// Cricket: the batting team, given either as an ID or as a team; the ID
  /// takes precedence when both are set.
  std::optional<std::int64_t> currentBattingTeamId{};
  std::optional<Team> currentBattingTeam{};

  /// Whether this is a final-round match; absent when unknown.
  std::optional<bool> finalRound{};
  std::optional<std::int64_t> streamContentId{};
  /// Country codes in which the stream is not available.
  std::vector<std::string> streamContentGeoRestrictions{};
  std::optional<std::int64_t> bestOfSets{};

  friend bool operator==(const Event& lhs, const Event& rhs) { return lhs.ID == rhs.ID; }
};

}  // namespace kestrel::model

template <>
struct std::hash<kestrel::model::Event> {
  std::size_t operator()(const kestrel::model::Event& event) const noexcept {
    return std::hash<std::int64_t>{}(event.ID);
  }
};
