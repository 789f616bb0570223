// The facade's event and stage operations, with the event, muted-event,
// stage and muted-stage caches kept in step.
#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/caches/DBCacheMutedEvent.h>
#include <KestrelDatabase/caches/DBCacheMutedStage.h>
#include <KestrelDatabase/caches/DBCacheStage.h>
#include <KestrelDatabase/storage/FacadeCalls.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelPlatform/Clock.h>

#include <utility>

namespace kestrel {

using facade::deliver;
using facade::futureFrom;
using facade::removeAround;
using facade::runTable;

namespace {

/// How long a favourite stage stays in the list after its start.
constexpr double kFavoriteStageWindowSeconds = 604800;

StorageManager::IDSet sorted(const DBCacheAbstract::IDSet& ids) {
  return StorageManager::IDSet(ids.begin(), ids.end());
}

}  // namespace

// ---- Events -----------------------------------------------------------------------------

std::future<bool> StorageManager::insertEvent(const model::Event& event, bool isMuted) {
  return futureFrom(false, [&](BoolHandler done) { insertEvent(event, isMuted, std::move(done)); });
}

void StorageManager::insertEvent(const model::Event& event, bool isMuted, BoolHandler handler) {
  // Unmuted, the event leaves the muted cache on both sides of the write: a
  // fill on another thread may read the old flag in between.
  const bool ok = removeAround(
      [&] {
        if (!isMuted) cacheMutedEvent_->removeEvent(event.ID);
      },
      [&] {
        return runTable(false, [&](BoolHandler done) {
          DBTableEvent::insertEvent(event, isMuted, dbQueue(), done);
        });
      });
  if (ok) {
    cacheEvent_->cacheEvent(event);
    if (isMuted) cacheMutedEvent_->cacheEvent(event);
  } else {
    reloadEventCaches();
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::insertEntityOwnedEvent(const model::Event& event) {
  return futureFrom(false,
                    [&](BoolHandler done) { insertEntityOwnedEvent(event, std::move(done)); });
}

void StorageManager::insertEntityOwnedEvent(const model::Event& event, BoolHandler handler) {
  // A row kept for a followed team or league is no favourite: no cache.
  deliver(handler, runTable(false, [&](BoolHandler done) {
            DBTableEvent::insertEntityOwnedEvent(event, dbQueue(), done);
          }));
}

std::future<bool> StorageManager::updateEvent(const model::Event& event) {
  return futureFrom(false, [&](BoolHandler done) { updateEvent(event, std::move(done)); });
}

void StorageManager::updateEvent(const model::Event& event, BoolHandler handler) {
  // The update leaves the favourite and mute flags alone: no cache.
  deliver(handler, runTable(false, [&](BoolHandler done) {
            DBTableEvent::updateEvent(event, dbQueue(), done);
          }));
}

std::future<bool> StorageManager::muteEvent(const model::Event& event) {
  return futureFrom(false, [&](BoolHandler done) { muteEvent(event, std::move(done)); });
}

void StorageManager::muteEvent(const model::Event& event, BoolHandler handler) {
  const bool ok =
      runTable(false, [&](BoolHandler done) { DBTableEvent::muteEvent(event, dbQueue(), done); });
  // Only the table knows whether the row exists and what it was (an
  // entity-owned row becomes a muted favourite): read both sets again.
  reloadEventCaches();
  deliver(handler, ok);
}

std::future<bool> StorageManager::unmuteEvent(std::int64_t eventID) {
  return futureFrom(false, [&](BoolHandler done) { unmuteEvent(eventID, std::move(done)); });
}

void StorageManager::unmuteEvent(std::int64_t eventID, BoolHandler handler) {
  cacheMutedEvent_->removeEvent(eventID);
  const bool ok = runTable(
      false, [&](BoolHandler done) { DBTableEvent::unmuteEvent(eventID, dbQueue(), done); });
  // An entity-owned row becomes an unmuted favourite: read both sets again.
  reloadEventCaches();
  deliver(handler, ok);
}

std::future<bool> StorageManager::deleteEvent(std::int64_t eventID) {
  return futureFrom(false, [&](BoolHandler done) { deleteEvent(eventID, std::move(done)); });
}

void StorageManager::deleteEvent(std::int64_t eventID, BoolHandler handler) {
  const auto leave = [&] {
    cacheEvent_->removeEvent(eventID);
    cacheMutedEvent_->removeEvent(eventID);
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(
        false, [&](BoolHandler done) { DBTableEvent::deleteEvent(eventID, dbQueue(), done); });
  });
  if (!ok) {
    reloadEventCaches();
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::deleteEvents(const IDSet& eventIDs) {
  return futureFrom(false, [&](BoolHandler done) { deleteEvents(eventIDs, std::move(done)); });
}

void StorageManager::deleteEvents(const IDSet& eventIDs, BoolHandler handler) {
  const auto leave = [&] {
    for (const std::int64_t id : eventIDs) {
      cacheEvent_->removeEvent(id);
      cacheMutedEvent_->removeEvent(id);
    }
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(
        false, [&](BoolHandler done) { DBTableEvent::deleteEvents(eventIDs, dbQueue(), done); });
  });
  if (!ok && !eventIDs.empty()) {
    reloadEventCaches();
  }
  deliver(handler, ok);
}

std::future<ReadResult<std::optional<model::Event>>> StorageManager::getEvent(
    std::int64_t eventID) {
  return futureFrom(ReadResult<std::optional<model::Event>>{},
                    [&](EventHandler done) { getEvent(eventID, std::move(done)); });
}

void StorageManager::getEvent(std::int64_t eventID, EventHandler handler) {
  deliver(handler, runTable(ReadResult<std::optional<model::Event>>{}, [&](EventHandler done) {
            DBTableEvent::getEvent(eventID, dbQueue(), done);
          }));
}

std::future<ReadResult<std::vector<model::Event>>> StorageManager::getAllFavoriteEvents() {
  return futureFrom(ReadResult<std::vector<model::Event>>{},
                    [&](EventListHandler done) { getAllFavoriteEvents(std::move(done)); });
}

void StorageManager::getAllFavoriteEvents(EventListHandler handler) {
  deliver(handler, runTable(ReadResult<std::vector<model::Event>>{}, [&](EventListHandler done) {
            DBTableEvent::getAllFavoriteEvents(dbQueue(), done);
          }));
}

std::future<ReadResult<StorageManager::IDSet>> StorageManager::getEventIDsToRefresh() {
  return futureFrom(ReadResult<IDSet>{},
                    [&](IDSetHandler done) { getEventIDsToRefresh(std::move(done)); });
}

void StorageManager::getEventIDsToRefresh(IDSetHandler handler) {
  deliver(handler, runTable(ReadResult<IDSet>{}, [&](IDSetHandler done) {
            DBTableEvent::getEventIDsToRefresh(dbQueue(), done);
          }));
}

std::future<ReadResult<int>> StorageManager::getFinishedEventsCount() {
  return futureFrom(ReadResult<int>{},
                    [&](CountHandler done) { getFinishedEventsCount(std::move(done)); });
}

void StorageManager::getFinishedEventsCount(CountHandler handler) {
  deliver(handler, runTable(ReadResult<int>{}, [&](CountHandler done) {
            DBTableEvent::getFinishedEventsCount(dbQueue(), done);
          }));
}

std::future<bool> StorageManager::deleteFinishedEvents() {
  return futureFrom(false, [&](BoolHandler done) { deleteFinishedEvents(std::move(done)); });
}

void StorageManager::deleteFinishedEvents(BoolHandler handler) {
  const bool ok = runTable(
      false, [&](BoolHandler done) { DBTableEvent::deleteFinishedEvents(dbQueue(), done); });
  reloadEventCaches();
  deliver(handler, ok);
}

std::future<bool> StorageManager::deleteOldEvents() {
  return futureFrom(false, [&](BoolHandler done) { deleteOldEvents(std::move(done)); });
}

void StorageManager::deleteOldEvents(BoolHandler handler) {
  const bool ok =
      runTable(false, [&](BoolHandler done) { DBTableEvent::deleteOldEvents(dbQueue(), done); });
  reloadEventCaches();
  deliver(handler, ok);
}

bool StorageManager::isFavoriteEvent(std::int64_t eventID) const {
  return cacheEvent_->containsID(eventID);
}

bool StorageManager::isMutedEvent(std::int64_t eventID) const {
  return cacheMutedEvent_->containsID(eventID);
}

StorageManager::IDSet StorageManager::getFavoriteEventIDs() const {
  return sorted(cacheEvent_->getIDs());
}

StorageManager::IDSet StorageManager::getMutedEventIDs() const {
  return sorted(cacheMutedEvent_->getIDs());
}

// ---- Stages -------------------------------------------------------------------------------

bool StorageManager::startsInFavoriteWindow(const model::Stage& stage) {
  // The row keeps the parent's start when the stage has none of its own.
  std::optional<std::int64_t> start = stage.startDateTimestamp;
  if (!start && stage.stageEvent) start = stage.stageEvent->startDateTimestamp;
  return start &&
         static_cast<double>(*start) >= platform::Clock::now() - kFavoriteStageWindowSeconds;
}

void StorageManager::leaveStageCacheUnlessInWindow(const model::Stage& stage) {
  // A favourite stored again with a start that left the window leaves the
  // stage cache before its row is replaced.
  if (!startsInFavoriteWindow(stage)) cacheStage_->removeStage(stage.ID);
}

void StorageManager::cacheStageAsStored(std::int64_t stageID) {
  // The row is not the stage as given: a stage without its own start is
  // stored with its parent's, and its competitor and team flags read back
  // from the parent's columns.
  const ReadResult<std::optional<model::Stage>> stored =
      runTable(ReadResult<std::optional<model::Stage>>{},
               [&](StageHandler done) { DBTableStage::getStage(stageID, dbQueue(), done); });
  if (!stored) {
    // The row could not be read back: the whole list is read again.
    reload(*cacheStage_);
  } else if (*stored && startsInFavoriteWindow(**stored)) {
    cacheStage_->cacheStage(**stored);
  } else {
    cacheStage_->removeStage(stageID);
  }
}

std::future<bool> StorageManager::insertStage(const model::Stage& stage) {
  return futureFrom(false, [&](BoolHandler done) { insertStage(stage, std::move(done)); });
}

void StorageManager::insertStage(const model::Stage& stage, BoolHandler handler) {
  const auto leave = [&] {
    cacheMutedStage_->removeMutedStage(stage.ID);
    leaveStageCacheUnlessInWindow(stage);
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(false,
                    [&](BoolHandler done) { DBTableStage::insertStage(stage, dbQueue(), done); });
  });
  if (ok) {
    if (startsInFavoriteWindow(stage)) cacheStageAsStored(stage.ID);
  } else {
    reloadStageCaches();
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::insertMutedStage(const model::Stage& stage) {
  return futureFrom(false, [&](BoolHandler done) { insertMutedStage(stage, std::move(done)); });
}

void StorageManager::insertMutedStage(const model::Stage& stage, BoolHandler handler) {
  const bool ok = removeAround([&] { leaveStageCacheUnlessInWindow(stage); }, [&] {
    return runTable(
        false, [&](BoolHandler done) { DBTableStage::insertMutedStage(stage, dbQueue(), done); });
  });
  if (ok) {
    if (startsInFavoriteWindow(stage)) cacheStageAsStored(stage.ID);
    cacheMutedStage_->cacheMutedStage(stage);
  } else {
    reloadStageCaches();
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::insertEntityOwnedStage(const model::Stage& stage) {
  return futureFrom(false,
                    [&](BoolHandler done) { insertEntityOwnedStage(stage, std::move(done)); });
}

void StorageManager::insertEntityOwnedStage(const model::Stage& stage, BoolHandler handler) {
  // False also when the row exists, which is then left as it was: only a
  // row inserted changes what the caches hold.
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTableStage::insertEntityOwnedStage(stage, dbQueue(), done);
  });
  if (ok && startsInFavoriteWindow(stage)) cacheStageAsStored(stage.ID);
  deliver(handler, ok);
}

std::future<bool> StorageManager::updateStage(const model::Stage& stage) {
  return futureFrom(false, [&](BoolHandler done) { updateStage(stage, std::move(done)); });
}

void StorageManager::updateStage(const model::Stage& stage, BoolHandler handler) {
  const bool ok =
      runTable(false, [&](BoolHandler done) { DBTableStage::updateStage(stage, dbQueue(), done); });
  if (ok) {
    const bool hasStart =
        stage.startDateTimestamp || (stage.stageEvent && stage.stageEvent->startDateTimestamp);
    if (isFavoriteStage(stage.ID)) {
      // The update leaves every column the stage lacks (its start, parent,
      // unique stage, ...) as stored: the cache takes the row as it now is.
      cacheStageAsStored(stage.ID);
    } else if (hasStart && startsInFavoriteWindow(stage)) {
      // A row the cache does not hold may have moved into the window; only
      // the table knows whether it exists and is not hidden.
      reload(*cacheStage_);
    }
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::muteStage(const model::Stage& stage) {
  return futureFrom(false, [&](BoolHandler done) { muteStage(stage, std::move(done)); });
}

void StorageManager::muteStage(const model::Stage& stage, BoolHandler handler) {
  const bool ok =
      runTable(false, [&](BoolHandler done) { DBTableStage::muteStage(stage, dbQueue(), done); });
  // Only the table knows whether the row exists: read the muted set again.
  reload(*cacheMutedStage_);
  deliver(handler, ok);
}

std::future<bool> StorageManager::unmuteStage(std::int64_t stageID) {
  return futureFrom(false, [&](BoolHandler done) { unmuteStage(stageID, std::move(done)); });
}

void StorageManager::unmuteStage(std::int64_t stageID, BoolHandler handler) {
  const bool ok = removeAround([&] { cacheMutedStage_->removeMutedStage(stageID); }, [&] {
    return runTable(
        false, [&](BoolHandler done) { DBTableStage::unmuteStage(stageID, dbQueue(), done); });
  });
  if (!ok) reload(*cacheMutedStage_);
  deliver(handler, ok);
}

std::future<bool> StorageManager::deleteStage(std::int64_t stageID) {
  return futureFrom(false, [&](BoolHandler done) { deleteStage(stageID, std::move(done)); });
}

void StorageManager::deleteStage(std::int64_t stageID, BoolHandler handler) {
  // Only the stage's own row goes: the other stages of its group stay
  // favourites in the table, and so in the stage map.
  const auto leave = [&] {
    cacheStage_->removeStage(stageID);
    cacheMutedStage_->removeMutedStage(stageID);
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(
        false, [&](BoolHandler done) { DBTableStage::deleteStage(stageID, dbQueue(), done); });
  });
  if (!ok) {
    reloadStageCaches();
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::deleteStagesWithUniqueStageID(std::int64_t uniqueStageID) {
  return futureFrom(false, [&](BoolHandler done) {
    deleteStagesWithUniqueStageID(uniqueStageID, std::move(done));
  });
}

void StorageManager::deleteStagesWithUniqueStageID(std::int64_t uniqueStageID,
                                                   BoolHandler handler) {
  const auto leave = [&] {
    for (const model::Stage& stage : cacheStage_->getObjects()) {
      const model::UniqueStage* unique = stage.uniqueStage();
      if (unique && unique->ID == uniqueStageID) cacheStage_->removeStage(stage.ID);
    }
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(false, [&](BoolHandler done) {
      DBTableStage::deleteStagesWithUniqueStageID(uniqueStageID, dbQueue(), done);
    });
  });
  // The muted cache keeps bare IDs, so which of them went only the table knows.
  if (ok) {
    reload(*cacheMutedStage_);
  } else {
    reloadStageCaches();
  }
  deliver(handler, ok);
}

std::future<ReadResult<std::optional<model::Stage>>> StorageManager::getStage(
    std::int64_t stageID) {
  return futureFrom(ReadResult<std::optional<model::Stage>>{},
                    [&](StageHandler done) { getStage(stageID, std::move(done)); });
}

void StorageManager::getStage(std::int64_t stageID, StageHandler handler) {
  deliver(handler, runTable(ReadResult<std::optional<model::Stage>>{}, [&](StageHandler done) {
            DBTableStage::getStage(stageID, dbQueue(), done);
          }));
}

std::future<ReadResult<std::vector<model::Stage>>> StorageManager::getAllFavoriteStages() {
  return futureFrom(ReadResult<std::vector<model::Stage>>{},
                    [&](StageListHandler done) { getAllFavoriteStages(std::move(done)); });
}

void StorageManager::getAllFavoriteStages(StageListHandler handler) {
  deliver(handler, runTable(ReadResult<std::vector<model::Stage>>{}, [&](StageListHandler done) {
            DBTableStage::getAllFavoriteStages(dbQueue(), done);
          }));
}

std::future<ReadResult<StorageManager::IDSet>> StorageManager::getStageIDsToRefresh() {
  return futureFrom(ReadResult<IDSet>{},
                    [&](IDSetHandler done) { getStageIDsToRefresh(std::move(done)); });
}

void StorageManager::getStageIDsToRefresh(IDSetHandler handler) {
  deliver(handler, runTable(ReadResult<IDSet>{}, [&](IDSetHandler done) {
            DBTableStage::getStageIDsToRefresh(dbQueue(), done);
          }));
}

std::future<ReadResult<int>> StorageManager::getFinishedStagesCount() {
  return futureFrom(ReadResult<int>{},
                    [&](CountHandler done) { getFinishedStagesCount(std::move(done)); });
}

void StorageManager::getFinishedStagesCount(CountHandler handler) {
  deliver(handler, runTable(ReadResult<int>{}, [&](CountHandler done) {
            DBTableStage::getFinishedStagesCount(dbQueue(), done);
          }));
}

std::future<bool> StorageManager::deleteFinishedStages() {
  return futureFrom(false, [&](BoolHandler done) { deleteFinishedStages(std::move(done)); });
}

void StorageManager::deleteFinishedStages(BoolHandler handler) {
  const bool ok = runTable(
      false, [&](BoolHandler done) { DBTableStage::deleteFinishedStages(dbQueue(), done); });
  reloadStageCaches();
  deliver(handler, ok);
}

std::future<bool> StorageManager::deleteOldStages() {
  return futureFrom(false, [&](BoolHandler done) { deleteOldStages(std::move(done)); });
}

void StorageManager::deleteOldStages(BoolHandler handler) {
  const bool ok =
      runTable(false, [&](BoolHandler done) { DBTableStage::deleteOldStages(dbQueue(), done); });
  reloadStageCaches();
  deliver(handler, ok);
}

bool StorageManager::isFavoriteStage(std::int64_t stageID) const {
  return cacheStage_->getObjectForKey(stageID).has_value();
}

bool StorageManager::isMutedStage(std::int64_t stageID) const {
  return cacheMutedStage_->getObjectForKey(stageID).has_value();
}

std::vector<model::Stage> StorageManager::getFavoriteStages() const {
  return cacheStage_->getObjects();
}

StorageManager::IDSet StorageManager::getFavoriteStageIDsInGroup(std::int64_t headStageID) const {
  IDSet ids;
  for (const auto& [stageID, head] : cacheStage_->getObjectDictionary().snapshot()) {
    if (head == headStageID) ids.insert(stageID);
  }
  return ids;
}

}  // namespace kestrel
