// DataManager: the records other than votes (highlights, unique stages,
// recent searches, score suggestions, player-value votes, news items).
#include <KestrelDatabase/objectstore/DataManager.h>

#include <KestrelDatabase/objectstore/ResolvingPromise.h>

#include <algorithm>

namespace kestrel {

using platform::Predicate;

namespace {

Predicate withID(std::int64_t id) { return Predicate::withFormat("id = %@", {id}); }

DataManager::Block completeWithTrue(DataManager::BoolCompletion completion) {
  return [completion = std::move(completion)] {
    if (completion) completion(true);
  };
}

}  // namespace

// ---- Highlights -------------------------------------------------------------------

void DataManager::markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                                       std::int64_t urlCreated, BoolCompletion completion) {
  const std::int64_t watched = now();
  change(
      [id, url, urlCreated, watched](DataManager& self, Context& background) {
        auto object = self.first(background, MOHighlight::kEntityName, withID(id));
        if (!object) object = self.insert(background, MOHighlight::kEntityName);
        if (!object) return;
        MOHighlight highlight(std::move(object));
        highlight.setId(id);
        highlight.setLastWatching(watched);
        highlight.setUrl(url);
        highlight.setUrlCreated(urlCreated);
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                                                    std::int64_t urlCreated) {
  return futureOf(false, [&](auto done) { markHighlightWatched(id, url, urlCreated, done); });
}

void DataManager::fetchHighlight(std::int64_t id, HighlightCompletion completion) {
  onBackground([id, completion = std::move(completion)](DataManager& self, Context& background) {
    auto object = self.first(background, MOHighlight::kEntityName, withID(id));
    if (!completion) return;
    completion(object ? std::optional<MOHighlight>(MOHighlight(std::move(object))) : std::nullopt);
  });
}

std::future<std::optional<MOHighlight>> DataManager::fetchHighlight(std::int64_t id) {
  return futureOf<std::optional<MOHighlight>>(std::nullopt, [&](auto done) { fetchHighlight(id, done); });
}

void DataManager::getHighlightsForCacheWithCompletion(IDSetCompletion completion) {
  readIDs(MOHighlight::kEntityName, std::move(completion));
}

std::future<std::optional<DataManager::IDSet>> DataManager::getHighlightsForCacheWithCompletion() {
  return futureOf<std::optional<IDSet>>(std::nullopt,
                                        [&](auto done) { getHighlightsForCacheWithCompletion(done); });
}

void DataManager::deleteHiglightsOlderThan7Days(BoolCompletion completion) {
  purgeOld(MOHighlight::kEntityName, "lastWatching", kHighlightRetentionSeconds, false,
           StoreChange::highlights, {}, std::move(completion));
}

std::future<bool> DataManager::deleteHiglightsOlderThan7Days() {
  return futureOf(false, [&](auto done) { deleteHiglightsOlderThan7Days(done); });
}

// ---- Unique stages --------------------------------------------------------------------

void DataManager::followUniqueStage(std::int64_t id, BoolCompletion completion) {
  change(
      [id](DataManager& self, Context& background) {
        if (self.first(background, MOUniqueStage::kEntityName, withID(id))) return;
        if (auto object = self.insert(background, MOUniqueStage::kEntityName)) MOUniqueStage(object).setId(id);
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::followUniqueStage(std::int64_t id) {
  return futureOf(false, [&](auto done) { followUniqueStage(id, done); });
}

void DataManager::unfollowUniqueStage(std::int64_t id, BoolCompletion completion) {
  change(
      [id](DataManager& self, Context& background) {
        deleteObjects(self.fetch(background, MOUniqueStage::kEntityName, withID(id)));
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::unfollowUniqueStage(std::int64_t id) {
  return futureOf(false, [&](auto done) { unfollowUniqueStage(id, done); });
}

void DataManager::getUniqueStagesForCacheWithCompletion(IDSetCompletion completion) {
  readIDs(MOUniqueStage::kEntityName, std::move(completion));
}

std::future<std::optional<DataManager::IDSet>> DataManager::getUniqueStagesForCacheWithCompletion() {
  return futureOf<std::optional<IDSet>>(std::nullopt,
                                        [&](auto done) { getUniqueStagesForCacheWithCompletion(done); });
}

void DataManager::deleteUniqueStages(BoolCompletion completion) {
  onBackground([completion = std::move(completion)](DataManager& self, Context& background) {
    self.deleteAll(background, MOUniqueStage::kEntityName, StoreChange::uniqueStages, completion);
  });
}

std::future<bool> DataManager::deleteUniqueStages() {
  return futureOf(false, [&](auto done) { deleteUniqueStages(done); });
}

// ---- Recent searches -----------------------------------------------------------------------

namespace {

// Newest first; within one second, the one saved last first.
void sortNewestFirst(std::vector<std::shared_ptr<platform::ManagedObject>>& searches) {
  std::sort(searches.begin(), searches.end(), [](const auto& a, const auto& b) {
    const auto at = a->integerValue("timestamp");
    const auto bt = b->integerValue("timestamp");
    if (at != bt) return at > bt;
    return a->objectID().primaryKey > b->objectID().primaryKey;
  });
}

Predicate searchOf(std::int64_t id, const std::string& type) {
  return Predicate::withFormat("id = %@ AND type = %@", {id, type});
}

}  // namespace

void DataManager::saveRecentSearch(std::int64_t id, const std::string& type,
                                   const platform::Bytes& searchEntity, BoolCompletion completion) {
  const std::int64_t searched = now();
  change(
      [id, type, searchEntity, searched](DataManager& self, Context& background) {
        // A search saved before is replaced, so that it becomes the newest.
        deleteObjects(self.fetch(background, MORecentSearch::kEntityName, searchOf(id, type)));
        if (auto object = self.insert(background, MORecentSearch::kEntityName)) {
          MORecentSearch search(std::move(object));
          search.setId(id);
          search.setType(type);
          search.setSearchEntity(searchEntity);
          search.setTimestamp(searched);
        }
        Objects all = self.fetch(background, MORecentSearch::kEntityName);
        sortNewestFirst(all);
        for (std::size_t i = kRecentSearchLimit; i < all.size(); ++i) background.deleteObject(all[i]);
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::saveRecentSearch(std::int64_t id, const std::string& type,
                                                const platform::Bytes& searchEntity) {
  return futureOf(false, [&](auto done) { saveRecentSearch(id, type, searchEntity, done); });
}

void DataManager::getRecentSearches(RecentSearchesCompletion completion) {
  onBackground([completion = std::move(completion)](DataManager& self, Context& background) {
    Objects all = self.fetch(background, MORecentSearch::kEntityName);
    sortNewestFirst(all);
    if (all.size() > kRecentSearchLimit) all.resize(kRecentSearchLimit);
    std::vector<MORecentSearch> searches;
    for (auto& object : all) searches.emplace_back(std::move(object));
    if (completion) completion(std::move(searches));
  });
}

std::future<std::vector<MORecentSearch>> DataManager::getRecentSearches() {
  return futureOf<std::vector<MORecentSearch>>({}, [&](auto done) { getRecentSearches(done); });
}

void DataManager::deleteRecentSearch(std::int64_t id, const std::string& type, BoolCompletion completion) {
  change(
      [id, type](DataManager& self, Context& background) {
        deleteObjects(self.fetch(background, MORecentSearch::kEntityName, searchOf(id, type)));
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::deleteRecentSearch(std::int64_t id, const std::string& type) {
  return futureOf(false, [&](auto done) { deleteRecentSearch(id, type, done); });
}

void DataManager::deleteRecentSearches(BoolCompletion completion) {
  onBackground([completion = std::move(completion)](DataManager& self, Context& background) {
    self.deleteAll(background, MORecentSearch::kEntityName, std::nullopt, completion);
  });
}

std::future<bool> DataManager::deleteRecentSearches() {
  return futureOf(false, [&](auto done) { deleteRecentSearches(done); });
}

// ---- Score suggestions -------------------------------------------------------------------------

void DataManager::saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                                      const std::vector<MOEventScoreItem::Values>& items,
                                      BoolCompletion completion) {
  const std::int64_t made = now();
  change(
      [id, eventId, items, made](DataManager& self, Context& background) {
        // The event's earlier suggestion goes, and its items with it.
        deleteObjects(self.fetch(background, MOEventScoreSuggestion::kEntityName,
                                 Predicate::withFormat("eventId = %@", {eventId})));
        auto object = self.insert(background, MOEventScoreSuggestion::kEntityName);
        if (!object) return;
        MOEventScoreSuggestion suggestion(std::move(object));
        suggestion.setId(id);
        suggestion.setEventId(eventId);
        suggestion.setTimestamp(made);
        for (const MOEventScoreItem::Values& values : items) {
          auto itemObject = self.insert(background, MOEventScoreItem::kEntityName);
          if (!itemObject) return;
          MOEventScoreItem item(std::move(itemObject));
          item.setValues(values);
          suggestion.addToEventScores(item);
        }
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                                                   const std::vector<MOEventScoreItem::Values>& items) {
  return futureOf(false, [&](auto done) { saveScoreSuggestion(id, eventId, items, done); });
}

void DataManager::getScoreSuggestion(std::int64_t eventId, ScoreSuggestionCompletion completion) {
  onBackground([eventId, completion = std::move(completion)](DataManager& self, Context& background) {
    auto object = self.first(background, MOEventScoreSuggestion::kEntityName,
                             Predicate::withFormat("eventId = %@", {eventId}));
    if (!completion) return;
    completion(object ? std::optional<MOEventScoreSuggestion>(MOEventScoreSuggestion(std::move(object)))
                      : std::nullopt);
  });
}

std::future<std::optional<MOEventScoreSuggestion>> DataManager::getScoreSuggestion(std::int64_t eventId) {
  return futureOf<std::optional<MOEventScoreSuggestion>>(
      std::nullopt, [&](auto done) { getScoreSuggestion(eventId, done); });
}

void DataManager::deleteScoreSuggestionsOlderThan7Days(BoolCompletion completion) {
  purgeOld(MOEventScoreSuggestion::kEntityName, "timestamp", kScoreSuggestionRetentionSeconds, false,
           std::nullopt, {}, std::move(completion));
}

std::future<bool> DataManager::deleteScoreSuggestionsOlderThan7Days() {
  return futureOf(false, [&](auto done) { deleteScoreSuggestionsOlderThan7Days(done); });
}

// ---- Player-value votes --------------------------------------------------------------------------

void DataManager::savePlayerValueVote(std::int64_t playerId, bool isValueHigher, std::int64_t value,
                                      BoolCompletion completion) {
  change(
      [playerId, isValueHigher, value](DataManager& self, Context& background) {
        auto object = self.first(background, MOPlayerValueUserVote::kEntityName, withID(playerId));
        if (!object) object = self.insert(background, MOPlayerValueUserVote::kEntityName);
        if (!object) return;
        MOPlayerValueUserVote vote(std::move(object));
        vote.setId(playerId);
        vote.setIsValueHigher(isValueHigher);
        vote.setValue(value);
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::savePlayerValueVote(std::int64_t playerId, bool isValueHigher,
                                                   std::int64_t value) {
  return futureOf(false, [&](auto done) { savePlayerValueVote(playerId, isValueHigher, value, done); });
}

void DataManager::getPlayerValueVote(std::int64_t playerId, PlayerValueVoteCompletion completion) {
  onBackground([playerId, completion = std::move(completion)](DataManager& self, Context& background) {
    auto object = self.first(background, MOPlayerValueUserVote::kEntityName, withID(playerId));
    if (!completion) return;
    completion(object ? std::optional<MOPlayerValueUserVote>(MOPlayerValueUserVote(std::move(object)))
                      : std::nullopt);
  });
}

std::future<std::optional<MOPlayerValueUserVote>> DataManager::getPlayerValueVote(std::int64_t playerId) {
  return futureOf<std::optional<MOPlayerValueUserVote>>(
      std::nullopt, [&](auto done) { getPlayerValueVote(playerId, done); });
}

// ---- News items ----------------------------------------------------------------------------------------

void DataManager::markNewsItemAsRead(const std::string& id, BoolCompletion completion) {
  change(
      [id](DataManager& self, Context& background) {
        if (self.first(background, MONewsItem::kEntityName, Predicate::withFormat("id = %@", {id}))) return;
        if (auto object = self.insert(background, MONewsItem::kEntityName)) MONewsItem(object).setId(id);
      },
      completeWithTrue(std::move(completion)));
}

std::future<bool> DataManager::markNewsItemAsRead(const std::string& id) {
  return futureOf(false, [&](auto done) { markNewsItemAsRead(id, done); });
}

void DataManager::isNewsItemRead(const std::string& id, BoolCompletion completion) {
  onBackground([id, completion = std::move(completion)](DataManager& self, Context& background) {
    const bool read = self.first(background, MONewsItem::kEntityName,
                                 Predicate::withFormat("id = %@", {id})) != nullptr;
    if (completion) completion(read);
  });
}

std::future<bool> DataManager::isNewsItemRead(const std::string& id) {
  return futureOf(false, [&](auto done) { isNewsItemRead(id, done); });
}

}  // namespace kestrel
