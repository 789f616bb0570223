// The facade's object-store operations: votes (with the vote cache updated
// first), watched highlights and followed unique stages (with their caches),
// and the records without a cache, passed through to DataManager. Every
// handler runs exactly once, after the store's save, also when the store
// drops an operation it cannot finish. A write's cache update runs in its
// completion, which DataManager calls in the order the store applied the
// writes, so the caches take the changes in that order too: whatever the
// callers' threads, a late change never undoes a later one. A write that
// failed re-reads the cache it touched.
#include <KestrelDatabase/caches/DBCacheHighlights.h>
#include <KestrelDatabase/caches/DBCacheUniqueStage.h>
#include <KestrelDatabase/caches/DBCacheVote.h>
#include <KestrelDatabase/storage/FacadeCalls.h>
#include <KestrelDatabase/storage/StorageManager.h>

#include <string>
#include <utility>

namespace kestrel {

using facade::deliver;
using facade::exactlyOnce;
using facade::futureFrom;
using facade::passOnce;

namespace {

std::string typeText(model::NMEventVoteType type) {
  return std::string(model::voteTypeText(type));
}

std::string valueText(model::NMEventVoteValue vote) {
  return std::string(model::voteValueText(vote));
}

}  // namespace

// ---- Votes ------------------------------------------------------------------------------------

std::string StorageManager::voteCacheKey(std::int64_t eventId, model::NMEventVoteType type) {
  return std::to_string(eventId) + "-" + typeText(type);
}

std::future<bool> StorageManager::save(model::NMEventVoteValue vote, model::NMEventVoteType type,
                                       std::int64_t eventId, std::int64_t eventTimestamp,
                                       bool isAddSuccessful) {
  return futureFrom(false, [&](BoolHandler done) {
    save(vote, type, eventId, eventTimestamp, isAddSuccessful, std::move(done));
  });
}

void StorageManager::save(model::NMEventVoteValue vote, model::NMEventVoteType type,
                          std::int64_t eventId, std::int64_t eventTimestamp, bool isAddSuccessful,
                          BoolHandler handler) {
  cacheVote_->cacheObject(valueText(vote), voteCacheKey(eventId, type));
  dataManager_->saveVote(eventId, eventTimestamp, typeText(type), valueText(vote),
                         isAddSuccessful, afterVoteWrite(vote, type, eventId, std::move(handler)));
}

std::future<bool> StorageManager::edit(model::NMEventVoteValue vote, model::NMEventVoteType type,
                                       std::int64_t eventId, bool isEditSuccessful) {
  return futureFrom(false, [&](BoolHandler done) {
    edit(vote, type, eventId, isEditSuccessful, std::move(done));
  });
}

void StorageManager::edit(model::NMEventVoteValue vote, model::NMEventVoteType type,
                          std::int64_t eventId, bool isEditSuccessful, BoolHandler handler) {
  cacheVote_->cacheObject(valueText(vote), voteCacheKey(eventId, type));
  // False also when there was no vote to edit.
  dataManager_->editVote(eventId, typeText(type), valueText(vote), isEditSuccessful,
                         afterVoteWrite(vote, type, eventId, std::move(handler)));
}

StorageManager::BoolHandler StorageManager::afterVoteWrite(model::NMEventVoteValue vote,
                                                           model::NMEventVoteType type,
                                                           std::int64_t eventId,
                                                           BoolHandler handler) {
  return exactlyOnce(false, [weak = weak_from_this(), key = voteCacheKey(eventId, type),
                             value = valueText(vote), handler = std::move(handler)](bool ok) {
    if (const auto self = weak.lock()) {
      // The value put in at the start may since have been replaced: by the
      // answer of a read sent before this write, or by another thread's
      // vote the store applied first. Put in again in the store's order, it
      // ends as the store holds it; a write that failed re-reads the cache.
      if (ok) {
        self->cacheVote_->cacheObject(value, key);
      } else {
        reload(*self->cacheVote_);
      }
    }
    deliver(handler, ok);
  });
}

std::future<bool> StorageManager::markAsAdded(std::int64_t eventId, model::NMEventVoteType type) {
  return dataManager_->markAsAdded(eventId, typeText(type));
}

void StorageManager::markAsAdded(std::int64_t eventId, model::NMEventVoteType type,
                                 BoolHandler handler) {
  dataManager_->markAsAdded(eventId, typeText(type), passOnce(false, std::move(handler)));
}

std::future<bool> StorageManager::markAsEdited(std::int64_t eventId, model::NMEventVoteType type) {
  return dataManager_->markAsEdited(eventId, typeText(type));
}

void StorageManager::markAsEdited(std::int64_t eventId, model::NMEventVoteType type,
                                  BoolHandler handler) {
  dataManager_->markAsEdited(eventId, typeText(type), passOnce(false, std::move(handler)));
}

std::future<ReadResult<std::vector<model::UnsavedVote>>> StorageManager::getUnsuccessfulVotes() {
  return futureFrom(ReadResult<std::vector<model::UnsavedVote>>{},
                    [&](UnsavedVotesHandler done) { getUnsuccessfulVotes(std::move(done)); });
}

void StorageManager::getUnsuccessfulVotes(UnsavedVotesHandler handler) {
  if (!handler) return;
  dataManager_->getUnsuccessfulVotesWithCompletion(exactlyOnce(
      ReadResult<std::vector<MOVote>>{},
      [handler = std::move(handler)](ReadResult<std::vector<MOVote>> records) {
        if (!records) {
          handler(std::nullopt);
          return;
        }
        std::vector<model::UnsavedVote> votes;
        votes.reserve(records->size());
        for (const MOVote& record : *records) {
          if (std::optional<model::UnsavedVote> vote = record.unsavedVote()) {
            votes.push_back(std::move(*vote));
          }
        }
        handler(std::move(votes));
      }));
}

std::future<bool> StorageManager::deleteVotes() { return dataManager_->deleteVotes(); }

void StorageManager::deleteVotes(BoolHandler handler) {
  // The store reports the change, and the vote cache is read again then.
  dataManager_->deleteVotes(passOnce(false, std::move(handler)));
}

std::optional<model::NMEventVoteValue> StorageManager::getVote(std::int64_t eventId,
                                                               model::NMEventVoteType type) const {
  const std::optional<std::string> text = cacheVote_->getObjectForKey(voteCacheKey(eventId, type));
  if (!text) return std::nullopt;
  return model::voteValueFromText(*text);
}

// ---- Highlights -------------------------------------------------------------------------------

std::future<bool> StorageManager::markHighlightWatched(std::int64_t id,
                                                       const std::optional<std::string>& url,
                                                       std::int64_t urlCreated) {
  return futureFrom(false, [&](BoolHandler done) {
    markHighlightWatched(id, url, urlCreated, std::move(done));
  });
}

void StorageManager::markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                                          std::int64_t urlCreated, BoolHandler handler) {
  dataManager_->markHighlightWatched(
      id, url, urlCreated, exactlyOnce(false, [weak = weak_from_this(), id, handler](bool ok) {
        if (const auto self = weak.lock()) {
          if (ok) {
            self->cacheHighlights_->cacheID(id);
          } else {
            reload(*self->cacheHighlights_);
          }
        }
        deliver(handler, ok);
      }));
}

std::future<ReadResult<std::optional<MOHighlight>>> StorageManager::fetchHighlight(std::int64_t id) {
  return dataManager_->fetchHighlight(id);
}

void StorageManager::fetchHighlight(std::int64_t id, HighlightHandler handler) {
  dataManager_->fetchHighlight(id,
                               passOnce(ReadResult<std::optional<MOHighlight>>{}, std::move(handler)));
}

bool StorageManager::isHighlightWatched(std::int64_t id) const {
  return cacheHighlights_->containsID(id);
}

// ---- Unique stages ------------------------------------------------------------------------------

std::future<bool> StorageManager::followUniqueStage(std::int64_t id) {
  return futureFrom(false, [&](BoolHandler done) { followUniqueStage(id, std::move(done)); });
}

void StorageManager::followUniqueStage(std::int64_t id, BoolHandler handler) {
  dataManager_->followUniqueStage(
      id, exactlyOnce(false, [weak = weak_from_this(), id, handler](bool ok) {
        if (const auto self = weak.lock()) {
          if (ok) {
            self->cacheUniqueStage_->cacheID(id);
          } else {
            reload(*self->cacheUniqueStage_);
          }
        }
        deliver(handler, ok);
      }));
}

std::future<bool> StorageManager::unfollowUniqueStage(std::int64_t id) {
  return futureFrom(false, [&](BoolHandler done) { unfollowUniqueStage(id, std::move(done)); });
}

void StorageManager::unfollowUniqueStage(std::int64_t id, BoolHandler handler) {
  // Out of memory at once, and again in the store's order: a follow the
  // store applies before this unfollow puts the ID back in meanwhile.
  cacheUniqueStage_->removeIDFromCache(id);
  dataManager_->unfollowUniqueStage(
      id, exactlyOnce(false, [weak = weak_from_this(), id, handler](bool ok) {
        if (const auto self = weak.lock()) {
          if (ok) {
            self->cacheUniqueStage_->removeIDFromCache(id);
          } else {
            reload(*self->cacheUniqueStage_);
          }
        }
        deliver(handler, ok);
      }));
}

std::future<bool> StorageManager::deleteUniqueStages() { return dataManager_->deleteUniqueStages(); }

void StorageManager::deleteUniqueStages(BoolHandler handler) {
  // The store reports the change, and the cache is read again then.
  dataManager_->deleteUniqueStages(passOnce(false, std::move(handler)));
}

bool StorageManager::isFollowedUniqueStage(std::int64_t id) const {
  return cacheUniqueStage_->containsID(id);
}

StorageManager::IDSet StorageManager::getFollowedUniqueStageIDs() const {
  const DBCacheAbstract::IDSet ids = cacheUniqueStage_->getIDs();
  return IDSet(ids.begin(), ids.end());
}

// ---- Records without a cache --------------------------------------------------------------------

std::future<bool> StorageManager::saveScoreSuggestion(
    const std::string& id, std::int64_t eventId,
    const std::vector<MOEventScoreItem::Values>& items) {
  return dataManager_->saveScoreSuggestion(id, eventId, items);
}

void StorageManager::saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                                         const std::vector<MOEventScoreItem::Values>& items,
                                         BoolHandler handler) {
  dataManager_->saveScoreSuggestion(id, eventId, items, passOnce(false, std::move(handler)));
}

std::future<ReadResult<std::optional<MOEventScoreSuggestion>>> StorageManager::getScoreSuggestion(
    std::int64_t eventId) {
  return dataManager_->getScoreSuggestion(eventId);
}

void StorageManager::getScoreSuggestion(std::int64_t eventId, ScoreSuggestionHandler handler) {
  dataManager_->getScoreSuggestion(
      eventId, passOnce(ReadResult<std::optional<MOEventScoreSuggestion>>{}, std::move(handler)));
}

std::future<bool> StorageManager::deleteScoreSuggestionsOlderThan7Days() {
  return dataManager_->deleteScoreSuggestionsOlderThan7Days();
}

void StorageManager::deleteScoreSuggestionsOlderThan7Days(BoolHandler handler) {
  dataManager_->deleteScoreSuggestionsOlderThan7Days(passOnce(false, std::move(handler)));
}

std::future<bool> StorageManager::saveRecentSearch(std::int64_t id, const std::string& type,
                                                   const platform::Bytes& searchEntity) {
  return dataManager_->saveRecentSearch(id, type, searchEntity);
}

void StorageManager::saveRecentSearch(std::int64_t id, const std::string& type,
                                      const platform::Bytes& searchEntity, BoolHandler handler) {
  dataManager_->saveRecentSearch(id, type, searchEntity, passOnce(false, std::move(handler)));
}

std::future<ReadResult<std::vector<MORecentSearch>>> StorageManager::getRecentSearches() {
  return dataManager_->getRecentSearches();
}

void StorageManager::getRecentSearches(RecentSearchesHandler handler) {
  dataManager_->getRecentSearches(
      passOnce(ReadResult<std::vector<MORecentSearch>>{}, std::move(handler)));
}

std::future<bool> StorageManager::deleteRecentSearch(std::int64_t id, const std::string& type) {
  return dataManager_->deleteRecentSearch(id, type);
}

void StorageManager::deleteRecentSearch(std::int64_t id, const std::string& type,
                                        BoolHandler handler) {
  dataManager_->deleteRecentSearch(id, type, passOnce(false, std::move(handler)));
}

std::future<bool> StorageManager::deleteRecentSearches() {
  return dataManager_->deleteRecentSearches();
}

void StorageManager::deleteRecentSearches(BoolHandler handler) {
  dataManager_->deleteRecentSearches(passOnce(false, std::move(handler)));
}

std::future<bool> StorageManager::savePlayerValueVote(std::int64_t playerId, bool isValueHigher,
                                                      std::int64_t value) {
  return dataManager_->savePlayerValueVote(playerId, isValueHigher, value);
}

void StorageManager::savePlayerValueVote(std::int64_t playerId, bool isValueHigher,
                                         std::int64_t value, BoolHandler handler) {
  dataManager_->savePlayerValueVote(playerId, isValueHigher, value,
                                    passOnce(false, std::move(handler)));
}

std::future<ReadResult<std::optional<MOPlayerValueUserVote>>> StorageManager::getPlayerValueVote(
    std::int64_t playerId) {
  return dataManager_->getPlayerValueVote(playerId);
}

void StorageManager::getPlayerValueVote(std::int64_t playerId, PlayerValueVoteHandler handler) {
  dataManager_->getPlayerValueVote(
      playerId, passOnce(ReadResult<std::optional<MOPlayerValueUserVote>>{}, std::move(handler)));
}

std::future<bool> StorageManager::markNewsItemAsRead(const std::string& id) {
  return dataManager_->markNewsItemAsRead(id);
}

void StorageManager::markNewsItemAsRead(const std::string& id, BoolHandler handler) {
  dataManager_->markNewsItemAsRead(id, passOnce(false, std::move(handler)));
}

std::future<ReadResult<bool>> StorageManager::isNewsItemRead(const std::string& id) {
  return dataManager_->isNewsItemRead(id);
}

void StorageManager::isNewsItemRead(const std::string& id, ReadFlagHandler handler) {
  dataManager_->isNewsItemRead(id, passOnce(ReadResult<bool>{}, std::move(handler)));
}

}  // namespace kestrel
