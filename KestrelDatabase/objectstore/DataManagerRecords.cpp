// DataManager: the records other than votes (highlights, unique stages,
// recent searches, score suggestions, player-value votes, news items).
#include <KestrelDatabase/objectstore/DataManager.h>

#include <KestrelDatabase/objectstore/ResolvingPromise.h>

#include <algorithm>

namespace kestrel {

using platform::Predicate;

namespace {

Predicate withID(std::int64_t id) { return Predicate::withFormat("id = %@", {id}); }

// The record a one-record read found, as its view.
template <class View>
ReadResult<std::optional<View>> viewOf(ReadResult<std::shared_ptr<platform::ManagedObject>> found) {
  if (!found) return std::nullopt;
  if (!*found) return std::optional<View>();
  return std::optional<View>(View(std::move(*found)));
}

}  // namespace

// ---- Highlights -------------------------------------------------------------------

void DataManager::markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                                       std::int64_t urlCreated, BoolCompletion completion) {
  const std::int64_t watched = now();
  write(
      [id, url, urlCreated, watched](DataManager& self, Context& background) {
        auto found = self.first(background, MOHighlight::kEntityName, withID(id));
        if (!found) return false;
        auto object = *found ? std::move(*found) : self.insert(background, MOHighlight::kEntityName);
        if (!object) return false;
        MOHighlight highlight(std::move(object));
        highlight.setId(id);
        highlight.setLastWatching(watched);
        highlight.setUrl(url);
        highlight.setUrlCreated(urlCreated);
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                                                    std::int64_t urlCreated) {
  return futureOf(false, [&](auto done) { markHighlightWatched(id, url, urlCreated, done); });
}

void DataManager::fetchHighlight(std::int64_t id, HighlightCompletion completion) {
  completion = calledOnce<ReadResult<std::optional<MOHighlight>>>(std::nullopt, std::move(completion));
  onBackground([id, completion](DataManager& self, Context& background) {
    completion(viewOf<MOHighlight>(self.first(background, MOHighlight::kEntityName, withID(id))));
  });
}

std::future<ReadResult<std::optional<MOHighlight>>> DataManager::fetchHighlight(std::int64_t id) {
  return futureOf<ReadResult<std::optional<MOHighlight>>>(std::nullopt,
                                                          [&](auto done) { fetchHighlight(id, done); });
}

void DataManager::getHighlightsForCacheWithCompletion(IDSetCompletion completion) {
  readIDs(MOHighlight::kEntityName, std::move(completion));
}

std::future<ReadResult<DataManager::IDSet>> DataManager::getHighlightsForCacheWithCompletion() {
  return futureOf<ReadResult<IDSet>>(std::nullopt,
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
  write(
      [id](DataManager& self, Context& background) {
        const auto found = self.first(background, MOUniqueStage::kEntityName, withID(id));
        if (!found) return false;
        if (*found) return true;  // followed already
        auto object = self.insert(background, MOUniqueStage::kEntityName);
        if (!object) return false;
        MOUniqueStage(std::move(object)).setId(id);
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::followUniqueStage(std::int64_t id) {
  return futureOf(false, [&](auto done) { followUniqueStage(id, done); });
}

void DataManager::unfollowUniqueStage(std::int64_t id, BoolCompletion completion) {
  write(
      [id](DataManager& self, Context& background) {
        const ReadResult<Objects> found = self.fetch(background, MOUniqueStage::kEntityName, withID(id));
        return found && deleteObjects(*found);
      },
      std::move(completion));
}

std::future<bool> DataManager::unfollowUniqueStage(std::int64_t id) {
  return futureOf(false, [&](auto done) { unfollowUniqueStage(id, done); });
}

void DataManager::getUniqueStagesForCacheWithCompletion(IDSetCompletion completion) {
  readIDs(MOUniqueStage::kEntityName, std::move(completion));
}

std::future<ReadResult<DataManager::IDSet>> DataManager::getUniqueStagesForCacheWithCompletion() {
  return futureOf<ReadResult<IDSet>>(std::nullopt,
                                     [&](auto done) { getUniqueStagesForCacheWithCompletion(done); });
}

void DataManager::deleteUniqueStages(BoolCompletion completion) {
  deleteEvery(MOUniqueStage::kEntityName, StoreChange::uniqueStages, std::move(completion));
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
  write(
      [id, type, searchEntity, searched](DataManager& self, Context& background) {
        // A search saved before is replaced, so that it becomes the newest.
        const ReadResult<Objects> before = self.fetch(background, MORecentSearch::kEntityName, searchOf(id, type));
        if (!before || !deleteObjects(*before)) return false;
        auto object = self.insert(background, MORecentSearch::kEntityName);
        if (!object) return false;
        MORecentSearch search(std::move(object));
        search.setId(id);
        search.setType(type);
        search.setSearchEntity(searchEntity);
        search.setTimestamp(searched);
        ReadResult<Objects> all = self.fetch(background, MORecentSearch::kEntityName);
        if (!all) return false;
        sortNewestFirst(*all);
        if (all->size() > kRecentSearchLimit) {
          return deleteObjects(Objects(all->begin() + kRecentSearchLimit, all->end()));
        }
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::saveRecentSearch(std::int64_t id, const std::string& type,
                                                const platform::Bytes& searchEntity) {
  return futureOf(false, [&](auto done) { saveRecentSearch(id, type, searchEntity, done); });
}

void DataManager::getRecentSearches(RecentSearchesCompletion completion) {
  completion = calledOnce<ReadResult<std::vector<MORecentSearch>>>(std::nullopt, std::move(completion));
  onBackground([completion](DataManager& self, Context& background) {
    ReadResult<Objects> all = self.fetch(background, MORecentSearch::kEntityName);
    if (!all) {
      completion(std::nullopt);
      return;
    }
    sortNewestFirst(*all);
    if (all->size() > kRecentSearchLimit) all->resize(kRecentSearchLimit);
    std::vector<MORecentSearch> searches;
    searches.reserve(all->size());
    for (auto& object : *all) searches.emplace_back(std::move(object));
    completion(std::move(searches));
  });
}

std::future<ReadResult<std::vector<MORecentSearch>>> DataManager::getRecentSearches() {
  return futureOf<ReadResult<std::vector<MORecentSearch>>>(std::nullopt,
                                                           [&](auto done) { getRecentSearches(done); });
}

void DataManager::deleteRecentSearch(std::int64_t id, const std::string& type, BoolCompletion completion) {
  write(
      [id, type](DataManager& self, Context& background) {
        const ReadResult<Objects> found = self.fetch(background, MORecentSearch::kEntityName, searchOf(id, type));
        return found && deleteObjects(*found);
      },
      std::move(completion));
}

std::future<bool> DataManager::deleteRecentSearch(std::int64_t id, const std::string& type) {
  return futureOf(false, [&](auto done) { deleteRecentSearch(id, type, done); });
}

void DataManager::deleteRecentSearches(BoolCompletion completion) {
  deleteEvery(MORecentSearch::kEntityName, std::nullopt, std::move(completion));
}

std::future<bool> DataManager::deleteRecentSearches() {
  return futureOf(false, [&](auto done) { deleteRecentSearches(done); });
}

// ---- Score suggestions -------------------------------------------------------------------------

void DataManager::saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                                      const std::vector<MOEventScoreItem::Values>& items,
                                      BoolCompletion completion) {
  const std::int64_t made = now();
  write(
      [id, eventId, items, made](DataManager& self, Context& background) {
        // The event's earlier suggestion goes, and its items with it.
        const ReadResult<Objects> earlier = self.fetch(background, MOEventScoreSuggestion::kEntityName,
                                                       Predicate::withFormat("eventId = %@", {eventId}));
        if (!earlier || !deleteObjects(*earlier)) return false;
        auto object = self.insert(background, MOEventScoreSuggestion::kEntityName);
        if (!object) return false;
        MOEventScoreSuggestion suggestion(std::move(object));
        suggestion.setId(id);
        suggestion.setEventId(eventId);
        suggestion.setTimestamp(made);
        for (const MOEventScoreItem::Values& values : items) {
          auto itemObject = self.insert(background, MOEventScoreItem::kEntityName);
          if (!itemObject) return false;
          MOEventScoreItem item(std::move(itemObject));
          item.setValues(values);
          suggestion.addToEventScores(item);
        }
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                                                   const std::vector<MOEventScoreItem::Values>& items) {
  return futureOf(false, [&](auto done) { saveScoreSuggestion(id, eventId, items, done); });
}

void DataManager::getScoreSuggestion(std::int64_t eventId, ScoreSuggestionCompletion completion) {
  completion =
      calledOnce<ReadResult<std::optional<MOEventScoreSuggestion>>>(std::nullopt, std::move(completion));
  onBackground([eventId, completion](DataManager& self, Context& background) {
    completion(viewOf<MOEventScoreSuggestion>(self.first(background, MOEventScoreSuggestion::kEntityName,
                                                         Predicate::withFormat("eventId = %@", {eventId}))));
  });
}

std::future<ReadResult<std::optional<MOEventScoreSuggestion>>> DataManager::getScoreSuggestion(
    std::int64_t eventId) {
  return futureOf<ReadResult<std::optional<MOEventScoreSuggestion>>>(
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
  write(
      [playerId, isValueHigher, value](DataManager& self, Context& background) {
        auto found = self.first(background, MOPlayerValueUserVote::kEntityName, withID(playerId));
        if (!found) return false;
        auto object = *found ? std::move(*found) : self.insert(background, MOPlayerValueUserVote::kEntityName);
        if (!object) return false;
        MOPlayerValueUserVote vote(std::move(object));
        vote.setId(playerId);
        vote.setIsValueHigher(isValueHigher);
        vote.setValue(value);
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::savePlayerValueVote(std::int64_t playerId, bool isValueHigher,
                                                   std::int64_t value) {
  return futureOf(false, [&](auto done) { savePlayerValueVote(playerId, isValueHigher, value, done); });
}

void DataManager::getPlayerValueVote(std::int64_t playerId, PlayerValueVoteCompletion completion) {
  completion =
      calledOnce<ReadResult<std::optional<MOPlayerValueUserVote>>>(std::nullopt, std::move(completion));
  onBackground([playerId, completion](DataManager& self, Context& background) {
    completion(viewOf<MOPlayerValueUserVote>(
        self.first(background, MOPlayerValueUserVote::kEntityName, withID(playerId))));
  });
}

std::future<ReadResult<std::optional<MOPlayerValueUserVote>>> DataManager::getPlayerValueVote(
    std::int64_t playerId) {
  return futureOf<ReadResult<std::optional<MOPlayerValueUserVote>>>(
      std::nullopt, [&](auto done) { getPlayerValueVote(playerId, done); });
}

// ---- News items ----------------------------------------------------------------------------------------

void DataManager::markNewsItemAsRead(const std::string& id, BoolCompletion completion) {
  write(
      [id](DataManager& self, Context& background) {
        const auto found = self.first(background, MONewsItem::kEntityName, Predicate::withFormat("id = %@", {id}));
        if (!found) return false;
        if (*found) return true;  // read already
        auto object = self.insert(background, MONewsItem::kEntityName);
        if (!object) return false;
        MONewsItem(std::move(object)).setId(id);
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::markNewsItemAsRead(const std::string& id) {
  return futureOf(false, [&](auto done) { markNewsItemAsRead(id, done); });
}

void DataManager::isNewsItemRead(const std::string& id, ReadFlagCompletion completion) {
  completion = calledOnce<ReadResult<bool>>(std::nullopt, std::move(completion));
  onBackground([id, completion](DataManager& self, Context& background) {
    const auto found = self.first(background, MONewsItem::kEntityName, Predicate::withFormat("id = %@", {id}));
    completion(found ? ReadResult<bool>(*found != nullptr) : std::nullopt);
  });
}

std::future<ReadResult<bool>> DataManager::isNewsItemRead(const std::string& id) {
  return futureOf<ReadResult<bool>>(std::nullopt, [&](auto done) { isNewsItemRead(id, done); });
}

}  // namespace kestrel
