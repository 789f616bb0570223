#include "reliability/support/FacadeSnapshot.h"

#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelDatabase/caches/DBCacheVote.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <KestrelPlatform/ObjectStore/ObjectContext.h>

#include <set>
#include <sstream>
#include <tuple>

namespace kestrel::reliability {
namespace {

template <class Range>
std::string joined(const Range& items) {
  std::ostringstream out;
  bool first = true;
  for (const auto& item : items) {
    if (!first) out << ' ';
    out << item;
    first = false;
  }
  return out.str();
}

std::string optionalText(const std::optional<std::string>& text) {
  return text ? "\"" + *text + "\"" : std::string("-");
}

template <class T>
std::string optionalNumber(const std::optional<T>& value) {
  return value ? std::to_string(*value) : std::string("-");
}

FacadeSnapshot read(StorageManager& s) {
  FacadeSnapshot snapshot;
  auto& a = snapshot.answers;
  a["favourite events"] = joined(s.getFavoriteEventIDs());
  a["muted events"] = joined(s.getMutedEventIDs());

  std::set<std::string> stages;
  for (const model::Stage& stage : s.getFavoriteStages()) {
    std::ostringstream out;
    out << stage.ID << "(head " << (stage.stageEvent ? stage.stageEvent->ID : stage.ID)
        << ", start " << optionalNumber(stage.startDateTimestamp) << ", muted "
        << s.isMutedStage(stage.ID) << ", " << optionalText(stage.desc) << ")";
    stages.insert(out.str());
  }
  a["favourite stages"] = joined(stages);

  std::set<std::string> teams, players, leagues;
  for (const model::Team& t : s.getFavoriteTeams()) {
    teams.insert(std::to_string(t.ID) + "/" + optionalText(t.name));
  }
  for (const model::Player& p : s.getFavoritePlayers()) {
    players.insert(std::to_string(p.ID) + "/" + optionalText(p.name) + "/" +
                   optionalText(p.sport ? p.sport->slug : std::nullopt));
  }
  for (const model::Tournament& t : s.getFavoriteTournaments()) {
    leagues.insert(optionalNumber(t.uniqueId) + "/" + std::to_string(t.ID) + "/" +
                   optionalText(t.name));
  }
  a["favourite teams"] = joined(teams);
  a["favourite teams, count"] = std::to_string(s.getFavoriteTeams().size());
  a["favourite team IDs"] = joined(s.getFavoriteTeamIDs());
  a["team notifications"] = joined(s.getNotificationEnabledTeamIDs());
  a["favourite players"] = joined(players);
  a["favourite player IDs"] = joined(s.getFavoritePlayerIDs());
  a["player notifications"] = joined(s.getNotificationEnabledPlayerIDs());
  a["favourite leagues"] = joined(leagues);
  a["favourite leagues, count"] = std::to_string(s.getFavoriteTournaments().size());
  a["favourite league IDs"] = joined(s.getFavoriteTournamentUniqueIDs());
  a["league notifications"] = joined(s.getNotificationEnabledTournamentUniqueIDs());

  std::vector<std::string> pins;
  for (const model::UniqueTournament& t : s.getPinnedUniqueTournaments()) {
    pins.push_back(std::to_string(t.ID) + "/" + optionalText(t.name));
  }
  a["pinned, in order"] = joined(pins);
  a["fantasy competitions"] = joined(s.getAllFantasyCompetitionIds());

  std::multiset<std::string> answers;
  for (const model::TVChannelSuggestion& t : s.getTvChannelSuggestions()) {
    answers.insert(optionalNumber(t.channelId) + "/" + optionalNumber(t.eventId) + "/" +
                   optionalNumber(t.startTimestamp) + "/" + (t.approve ? "yes" : "no"));
  }
  a["TV channel answers"] = joined(answers);

  std::set<std::string> votes;
  for (const auto& [key, value] : s.cacheVote().getObjectDictionary().snapshot()) {
    votes.insert(key + "=" + value);
  }
  a["votes"] = joined(votes);
  a["followed unique stages"] = joined(s.getFollowedUniqueStageIDs());

  // Every cache's own ID set, which covers the ones the facade asks only
  // one ID at a time (watched highlights, muted stages).
  for (DBCacheAbstract* cache : s.allCaches()) {
    const auto ids = cache->getIDs();  // unordered: compared as a set
    a[std::string("cache ") + cache->cacheName()] = joined(std::set<std::int64_t>(ids.begin(), ids.end()));
  }
  return snapshot;
}

}  // namespace

void settle(DataManager& store) {
  for (int round = 0; round < 2; ++round) {
    if (const auto background = store.backgroundContext()) background->performAndWait([] {});
    platform::DispatchQueue::main()->waitUntilDrained();
  }
}

FacadeSnapshot FacadeSnapshot::of(StorageManager& facade, DataManager& store) {
  settle(store);
  read(facade);  // the store-fed caches ask their first question
  settle(store);
  return read(facade);
}

std::vector<std::string> FacadeSnapshot::differences(const FacadeSnapshot& other) const {
  std::vector<std::string> lines;
  std::set<std::string> questions;
  for (const auto& [q, unused] : answers) questions.insert(q);
  for (const auto& [q, unused] : other.answers) questions.insert(q);
  for (const std::string& q : questions) {
    const auto mine = answers.find(q);
    const auto theirs = other.answers.find(q);
    const std::string left = mine == answers.end() ? "(not asked)" : mine->second;
    const std::string right = theirs == other.answers.end() ? "(not asked)" : theirs->second;
    if (left != right) lines.push_back(q + ": [" + left + "] vs [" + right + "]");
  }
  return lines;
}

std::vector<std::string> memoryDisagreements(StorageManager& facade, DataManager& store,
                                             const std::filesystem::path& home) {
  const FacadeSnapshot live = FacadeSnapshot::of(facade, store);
  const auto freshStore = DataManager::forHome(home);
  if (const auto error = freshStore->loadStore()) {
    return {"the object store does not load on the same home"};
  }
  std::vector<std::string> lines;
  {
    const auto fresh = StorageManager::forHome(home, freshStore);
    lines = live.differences(FacadeSnapshot::of(*fresh, *freshStore));
  }
  settle(*freshStore);
  return lines;
}

}  // namespace kestrel::reliability
