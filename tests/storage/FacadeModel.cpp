#include "storage/FacadeModel.h"

#include <algorithm>

namespace kestrel::testing {

// ---- Events -----------------------------------------------------------------------------------

FacadeModel::EventRow FacadeModel::rowOf(const EventValue& event) {
  return EventRow{.start = event.start,
                  .status = event.status,
                  .homeTeam = event.homeTeam,
                  .awayTeam = event.awayTeam,
                  .uniqueTournament = event.uniqueTournament};
}

bool FacadeModel::finished(std::int64_t status, const std::optional<std::int64_t>& start) const {
  if (status == 1) return true;
  return (status == 4 || status == 5 || status == 6) && start && *start < now;
}

bool FacadeModel::ownedByFollowed(const EventRow& row) const {
  if (row.uniqueTournament && leagues.contains(*row.uniqueTournament)) return true;
  return (row.homeTeam != 0 && teams.contains(row.homeTeam)) ||
         (row.awayTeam != 0 && teams.contains(row.awayTeam));
}

FacadeModel::Expected FacadeModel::insertEvent(const EventValue& event, bool muted) {
  // The row is replaced: a hidden or entity-owned one becomes a plain favourite.
  EventRow row = rowOf(event);
  row.muted = muted;
  events[event.id] = row;
  return true;
}

FacadeModel::Expected FacadeModel::insertEntityOwnedEvent(const EventValue& event) {
  if (events.contains(event.id)) return false;  // a stored row is never overwritten
  events[event.id] = rowOf(event);
  return true;
}

FacadeModel::Expected FacadeModel::updateEvent(const EventValue& event) {
  const auto found = events.find(event.id);
  if (found != events.end()) {
    found->second.start = event.start;
    found->second.status = event.status;
  }
  return true;
}

namespace {

/// Sets the muted flag of the row, if there is one.
template <class Rows>
FacadeModel::Expected setMuted(Rows& rows, FacadeModel::ID id, bool muted) {
  if (const auto found = rows.find(id); found != rows.end()) found->second.muted = muted;
  return true;
}

/// The IDs of the rows with a true muted flag.
template <class Rows>
FacadeModel::IDs mutedIDs(const Rows& rows) {
  FacadeModel::IDs ids;
  for (const auto& [id, row] : rows) {
    if (row.muted == true) ids.insert(id);
  }
  return ids;
}

}  // namespace

FacadeModel::Expected FacadeModel::muteEvent(ID id) { return setMuted(events, id, true); }
FacadeModel::Expected FacadeModel::unmuteEvent(ID id) { return setMuted(events, id, false); }

FacadeModel::Expected FacadeModel::deleteEvent(ID id) {
  events.erase(id);
  return true;
}

FacadeModel::Expected FacadeModel::deleteEvents(const IDs& ids) {
  if (ids.empty()) return false;
  for (const ID id : ids) events.erase(id);
  return true;
}

FacadeModel::Expected FacadeModel::deleteFinishedEvents() {
  std::erase_if(events, [&](const auto& entry) {
    return finished(entry.second.status, entry.second.start) && !ownedByFollowed(entry.second);
  });
  for (auto& [id, row] : events) {
    if (finished(row.status, row.start)) row.hidden = true;
  }
  return true;
}

FacadeModel::Expected FacadeModel::deleteOldEvents() {
  std::erase_if(events, [&](const auto& entry) {
    const EventRow& row = entry.second;
    return now - row.start > kWeek || (row.start - now > kFarAhead && ownedByFollowed(row));
  });
  return true;
}

FacadeModel::IDs FacadeModel::favoriteEventIDs() const {
  IDs ids;
  for (const auto& [id, row] : events) {
    if (row.muted && !row.hidden) ids.insert(id);
  }
  return ids;
}

FacadeModel::IDs FacadeModel::mutedEventIDs() const { return mutedIDs(events); }

std::vector<std::pair<FacadeModel::ID, FacadeModel::EventRow>> FacadeModel::allFavoriteEvents()
    const {
  std::vector<std::pair<ID, EventRow>> list;
  for (const auto& [id, row] : events) {
    if (!row.hidden && now - row.start <= kWeek) list.emplace_back(id, row);
  }
  std::stable_sort(list.begin(), list.end(),
                   [](const auto& a, const auto& b) { return a.second.start < b.second.start; });
  return list;
}

// ---- Stages -----------------------------------------------------------------------------------

void FacadeModel::cacheStageEntry(const StageValue& stage) {
  CachedStage entry{.id = stage.id,
                    .head = stage.parent.value_or(stage.id),
                    .start = stage.rowStart(),
                    .uniqueStage = stage.uniqueStage,
                    .desc = stage.desc,
                    .tieKey = nextTieKey_++};
  // A stage cached again keeps its place.
  const auto found = std::find_if(stageCache.begin(), stageCache.end(),
                                  [&](const CachedStage& cached) { return cached.id == stage.id; });
  if (found != stageCache.end()) {
    entry.tieKey = found->tieKey;
    *found = entry;
  } else {
    stageCache.push_back(entry);
  }
}

void FacadeModel::removeCachedStage(ID id) {
  std::erase_if(stageCache, [id](const CachedStage& cached) { return cached.id == id; });
}

FacadeModel::Expected FacadeModel::insertStage(const StageValue& stage,
                                               std::optional<bool> muted) {
  stages[stage.id] = StageRow{.value = stage, .muted = muted};
  if (inStageWindow(stage.rowStart())) {
    cacheStageEntry(stage);
  } else {
    removeCachedStage(stage.id);
  }
  return true;
}

FacadeModel::Expected FacadeModel::insertEntityOwnedStage(const StageValue& stage) {
  if (stages.contains(stage.id)) return false;
  stages[stage.id] = StageRow{.value = stage};
  if (inStageWindow(stage.rowStart())) cacheStageEntry(stage);
  return true;
}

FacadeModel::Expected FacadeModel::updateStage(const StageValue& stage) {
  const auto found = stages.find(stage.id);
  if (found != stages.end()) {
    // What the stage lacks stays as stored.
    StageValue& stored = found->second.value;
    if (stage.rowStart()) {
      stored.start = stage.start;
      stored.parentStart = stage.parentStart;
    }
    stored.status = stage.status;
    stored.desc = stage.desc;
  }
  const bool cached = std::any_of(stageCache.begin(), stageCache.end(),
                                  [&](const CachedStage& entry) { return entry.id == stage.id; });
  if (cached) {
    // The cache takes the row as it now is, or lets it go when it left the window.
    if (found != stages.end() && !found->second.hidden &&
        inStageWindow(found->second.value.rowStart())) {
      cacheStageEntry(found->second.value);
    } else {
      removeCachedStage(stage.id);
    }
  } else if (inStageWindow(stage.rowStart())) {
    // A row the cache did not hold may have come into the window: the
    // list is read again.
    reloadStageCache();
  }
  return true;
}

FacadeModel::Expected FacadeModel::muteStage(ID id) { return setMuted(stages, id, true); }
FacadeModel::Expected FacadeModel::unmuteStage(ID id) { return setMuted(stages, id, false); }

FacadeModel::Expected FacadeModel::deleteStage(ID id) {
  // Only this stage goes; the other stages of its group stay.
  stages.erase(id);
  removeCachedStage(id);
  return true;
}

FacadeModel::Expected FacadeModel::deleteStagesWithUniqueStageID(ID uniqueStage) {
  std::erase_if(stages,
                [&](const auto& entry) { return entry.second.value.uniqueStage == uniqueStage; });
  std::erase_if(stageCache,
                [&](const CachedStage& cached) { return cached.uniqueStage == uniqueStage; });
  return true;
}

FacadeModel::Expected FacadeModel::deleteFinishedStages() {
  for (auto& [id, row] : stages) {
    if (finished(row.value.status, row.value.rowStart())) row.hidden = true;
  }
  reloadStageCache();
  return true;
}

FacadeModel::Expected FacadeModel::deleteOldStages() {
  std::erase_if(stages, [&](const auto& entry) {
    const std::optional<std::int64_t> start = entry.second.value.rowStart();
    return start && (now - *start > kWeek || *start - now > kFarAhead);
  });
  reloadStageCache();
  return true;
}

FacadeModel::IDs FacadeModel::mutedStageIDs() const { return mutedIDs(stages); }

std::vector<FacadeModel::CachedStage> FacadeModel::favoriteStagesAsRead() const {
  std::vector<CachedStage> list;
  for (const auto& [id, row] : stages) {
    if (row.hidden || !inStageWindow(row.value.rowStart())) continue;
    const StageValue& value = row.value;
    list.push_back(CachedStage{.id = id,
                               .head = value.parent.value_or(id),
                               .start = value.rowStart(),
                               .uniqueStage = value.uniqueStage,
                               .desc = value.desc,
                               .tieKey = 0});
  }
  std::stable_sort(list.begin(), list.end(),
                   [](const CachedStage& a, const CachedStage& b) { return *a.start < *b.start; });
  return list;
}

void FacadeModel::reloadStageCache() {
  stageCache = favoriteStagesAsRead();
  // Equal starts read in one go may come in either order.
  for (CachedStage& entry : stageCache) entry.tieKey = -*entry.start;
}

FacadeModel::IDs FacadeModel::stageGroup(ID head) const {
  IDs ids;
  for (const CachedStage& entry : stageCache) {
    if (entry.head == head) ids.insert(entry.id);
  }
  return ids;
}

// ---- Followed -----------------------------------------------------------------------------------

FacadeModel::Expected FacadeModel::follow(std::map<ID, Followed>& followed, ID id,
                                          Followed value) {
  followed[id] = std::move(value);
  return true;
}

FacadeModel::Expected FacadeModel::setNotifications(std::map<ID, Followed>& followed,
                                                    bool enabled, const IDs& ids) {
  for (const ID id : ids) {
    if (const auto found = followed.find(id); found != followed.end()) {
      found->second.notifications = enabled;
    }
  }
  return ids.empty() ? Expected{} : Expected{true};
}

FacadeModel::IDs FacadeModel::eventsOwnedOnlyByTeam(ID team) const {
  // Every event the team plays in, unless a followed league holds it or
  // another followed team plays in it, whatever its favourite flags.
  IDs owned;
  for (const auto& [id, row] : events) {
    if (row.homeTeam != team && row.awayTeam != team) continue;
    if (row.uniqueTournament && leagues.contains(*row.uniqueTournament)) continue;
    const bool otherTeam = (row.homeTeam != team && row.homeTeam != 0 && teams.contains(row.homeTeam)) ||
                           (row.awayTeam != team && row.awayTeam != 0 && teams.contains(row.awayTeam));
    if (!otherTeam) owned.insert(id);
  }
  return owned;
}

FacadeModel::IDs FacadeModel::eventsOwnedOnlyByLeague(ID uniqueTournament) const {
  IDs owned;
  for (const auto& [id, row] : events) {
    if (row.uniqueTournament != uniqueTournament) continue;
    const bool followedTeam = (row.homeTeam != 0 && teams.contains(row.homeTeam)) ||
                              (row.awayTeam != 0 && teams.contains(row.awayTeam));
    if (!followedTeam) owned.insert(id);
  }
  return owned;
}

FacadeModel::Expected FacadeModel::unfollowTeam(ID team) {
  for (const ID id : eventsOwnedOnlyByTeam(team)) events.erase(id);
  teams.erase(team);
  return true;
}

FacadeModel::Expected FacadeModel::unfollowLeague(ID uniqueTournament) {
  for (const ID id : eventsOwnedOnlyByLeague(uniqueTournament)) events.erase(id);
  leagues.erase(uniqueTournament);
  return true;
}

FacadeModel::Expected FacadeModel::unfollowPlayers(const IDs& ids) {
  for (const ID id : ids) players.erase(id);
  return ids.empty() ? Expected{} : Expected{true};
}

FacadeModel::IDs FacadeModel::keys(const std::map<ID, Followed>& followed) {
  IDs ids;
  for (const auto& [id, value] : followed) ids.insert(id);
  return ids;
}

FacadeModel::IDs FacadeModel::withNotifications(const std::map<ID, Followed>& followed) {
  IDs ids;
  for (const auto& [id, value] : followed) {
    if (value.notifications) ids.insert(id);
  }
  return ids;
}

// ---- Pinned, TV, chat ---------------------------------------------------------------------------

FacadeModel::Expected FacadeModel::pin(ID id, const std::string& name) {
  unpin(id);  // pinned again, it moves to the end
  pinned.push_back(Pin{.id = id, .name = name, .pinnedAt = now});
  return true;
}

FacadeModel::Expected FacadeModel::unpin(ID id) {
  std::erase_if(pinned, [id](const Pin& p) { return p.id == id; });
  return true;
}

FacadeModel::Expected FacadeModel::unpinAll() {
  pinned.clear();
  return true;
}

void FacadeModel::reloadPinned() {
  std::stable_sort(pinned.begin(), pinned.end(),
                   [](const Pin& a, const Pin& b) { return a.pinnedAt < b.pinnedAt; });
}

FacadeModel::IDs FacadeModel::upvotedMessages(ID event) const {
  IDs ids;
  for (const Upvote& upvote : upvotes) {
    if (upvote.event == event) ids.insert(upvote.message);
  }
  return ids;
}

FacadeModel::IDs FacadeModel::reportedMessages() const {
  IDs ids;
  for (const auto& [message, report] : reports) ids.insert(message);
  return ids;
}

// ---- Object store -------------------------------------------------------------------------------

FacadeModel::Expected FacadeModel::saveVote(ID event, int type, int value, std::int64_t timestamp,
                                            bool added) {
  const auto found = votes.find({event, type});
  if (found != votes.end()) {
    // The timestamp and the previous value stay as they were.
    found->second.vote = value;
    found->second.isAddSuccessful = added;
  } else {
    votes[{event, type}] = Vote{.eventTimestamp = timestamp, .vote = value, .isAddSuccessful = added};
  }
  return true;
}

FacadeModel::Expected FacadeModel::editVote(ID event, int type, int value, bool edited) {
  const auto found = votes.find({event, type});
  if (found == votes.end()) return false;
  found->second.previousVote = found->second.vote;
  found->second.vote = value;
  found->second.isEditSuccessful = edited;
  return true;
}

FacadeModel::Expected FacadeModel::markAs(ID event, int type, bool Vote::*flag) {
  const auto found = votes.find({event, type});
  if (found == votes.end()) return false;
  found->second.*flag = true;
  return true;
}

FacadeModel::Expected FacadeModel::deleteVotes() {
  votes.clear();
  return true;
}

FacadeModel::Expected FacadeModel::watchHighlight(ID id) {
  highlights[id] = now;
  return true;
}

FacadeModel::Expected FacadeModel::followUniqueStage(ID id) {
  uniqueStages.insert(id);
  return true;
}

FacadeModel::Expected FacadeModel::unfollowUniqueStage(ID id) {
  const bool was = uniqueStages.erase(id) > 0;
  return was ? Expected{true} : Expected{};
}

FacadeModel::Expected FacadeModel::deleteUniqueStages() {
  uniqueStages.clear();
  return true;
}

// ---- Lifecycle ----------------------------------------------------------------------------------

void FacadeModel::migrateFavoriteNotificationEvents() {
  for (auto& [id, row] : events) {
    if (row.muted == false && ownedByFollowed(row)) {
      row.muted.reset();
    } else if (!row.muted && !ownedByFollowed(row)) {
      row.muted = false;
    }
  }
}

void FacadeModel::cleanDB() {
  std::erase_if(reports, [&](const auto& entry) { return now - entry.second.at > kTenDays; });
  std::erase_if(upvotes, [&](const Upvote& upvote) { return now - upvote.at > kWeek; });
  std::erase_if(highlights, [&](const auto& entry) {
    return entry.second != 0 && now - entry.second > kWeek;
  });
  std::erase_if(tvRows, [&](const TvAnswer& answer) { return now - answer.start > kWeek; });
  std::erase_if(votes, [&](const auto& entry) {
    return entry.second.eventTimestamp != 0 && now - entry.second.eventTimestamp > kNinetyDays;
  });
}

void FacadeModel::clearDatabase() {
  events.clear();
  stages.clear();
  stageCache.clear();
  teams.clear();
  players.clear();
  leagues.clear();
  pinned.clear();
  fantasy.clear();
  tvRows.clear();
  upvotes.clear();
  reports.clear();
}

void FacadeModel::reloadAll() {
  reloadStageCache();
  reloadPinned();
}

}  // namespace kestrel::testing
