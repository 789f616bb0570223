// The facade's followed teams, players and tournaments and the pinned unique
// tournaments, with their caches and notification caches kept in step. An
// unfollow that cascades to events reads which events go before anything
// is deleted, so that they leave the event caches first.
#include <KestrelDatabase/caches/DBCacheDefaultUniqueTournaments.h>
#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/caches/DBCacheMutedEvent.h>
#include <KestrelDatabase/caches/DBCachePlayer.h>
#include <KestrelDatabase/caches/DBCachePlayerNotifications.h>
#include <KestrelDatabase/caches/DBCacheTeam.h>
#include <KestrelDatabase/caches/DBCacheTeamNotifications.h>
#include <KestrelDatabase/caches/DBCacheTournament.h>
#include <KestrelDatabase/caches/DBCacheTournamentNotifications.h>
#include <KestrelDatabase/storage/FacadeCalls.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>

#include <utility>

namespace kestrel {

using facade::deliver;
using facade::futureFrom;
using facade::removeAround;
using facade::runTable;

namespace {

StorageManager::IDSet sorted(const DBCacheAbstract::IDSet& ids) {
  return StorageManager::IDSet(ids.begin(), ids.end());
}

/// Notifications turned off leave the cache before the store is touched.
void removeWhenDisabling(DBCacheAbstract& notifications, bool enabled,
                         const StorageManager::IDSet& ids) {
  if (enabled) return;
  for (const std::int64_t id : ids) notifications.removeIDFromCache(id);
}

/// After the store's success: notifications turned on enter the cache for
/// the IDs that are followed (the table changes no other row); turned off
/// leave it again, as a fill that ran beside the write may have read the
/// flag before it changed.
void settleNotifications(DBCacheAbstract& notifications, DBCacheAbstract& followed, bool enabled,
                         const StorageManager::IDSet& ids) {
  for (const std::int64_t id : ids) {
    if (!enabled) {
      notifications.removeIDFromCache(id);
    } else if (followed.containsID(id)) {
      notifications.cacheID(id);
    }
  }
}

}  // namespace

void StorageManager::leaveEventCaches(const ReadResult<IDSet>& eventIDs) {
  if (!eventIDs) {
    // Which events the cascade takes is not known: both event caches are
    // read again at their next use.
    clearEventCache();
    return;
  }
  for (const std::int64_t eventID : *eventIDs) {
    cacheEvent_->removeEvent(eventID);
    cacheMutedEvent_->removeEvent(eventID);
  }
}

ReadResult<StorageManager::IDSet> StorageManager::eventsOwnedBy(
    const std::string& ownedEventsQuery) const {
  return runTable(ReadResult<IDSet>{}, [&](IDSetHandler done) {
    DBTableEvent::getIDs(ownedEventsQuery, dbQueue(), done);
  });
}

// ---- Teams --------------------------------------------------------------------------------

std::future<bool> StorageManager::followTeam(const model::Team& team, bool enableNotifications) {
  return futureFrom(
      false, [&](BoolHandler done) { followTeam(team, enableNotifications, std::move(done)); });
}

void StorageManager::followTeam(const model::Team& team, bool enableNotifications,
                                BoolHandler handler) {
  removeWhenDisabling(*cacheTeamNotifications_, enableNotifications, {team.ID});
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTableTeam::saveTeam(team, enableNotifications, dbQueue(), done);
  });
  if (ok) {
    cacheTeam_->cacheTeam(team);
    settleNotifications(*cacheTeamNotifications_, *cacheTeam_, enableNotifications, {team.ID});
  } else {
    reload(*cacheTeam_);
    reload(*cacheTeamNotifications_);
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::unfollowTeam(std::int64_t teamID) {
  return futureFrom(false, [&](BoolHandler done) { unfollowTeam(teamID, std::move(done)); });
}

void StorageManager::unfollowTeam(std::int64_t teamID, BoolHandler handler) {
  const ReadResult<IDSet> owned = eventsOwnedBy(DBTableTeam::ownedEventsQuery(teamID));
  const auto leave = [&] {
    cacheTeam_->removeTeamFromCache(teamID);
    cacheTeamNotifications_->removeIDFromCache(teamID);
    leaveEventCaches(owned);
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(
        false, [&](BoolHandler done) { DBTableTeam::deleteTeamWithID(teamID, dbQueue(), done); });
  });
  if (!ok) {
    // A partly failed cascade commits what succeeded.
    reload(*cacheTeam_);
    reload(*cacheTeamNotifications_);
    reloadEventCaches();
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::setTeamNotificationsEnabled(bool enabled, const IDSet& teamIDs) {
  return futureFrom(false, [&](BoolHandler done) {
    setTeamNotificationsEnabled(enabled, teamIDs, std::move(done));
  });
}

void StorageManager::setTeamNotificationsEnabled(bool enabled, const IDSet& teamIDs,
                                                 BoolHandler handler) {
  removeWhenDisabling(*cacheTeamNotifications_, enabled, teamIDs);
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTableTeam::setTeamNotificationsEnabled(enabled, teamIDs, dbQueue(), done);
  });
  if (ok) {
    settleNotifications(*cacheTeamNotifications_, *cacheTeam_, enabled, teamIDs);
  } else {
    reload(*cacheTeamNotifications_);
  }
  deliver(handler, ok);
}

std::future<ReadResult<StorageManager::IDSet>> StorageManager::getTeamIDsForSport(
    const std::string& sportSlug) {
  return futureFrom(ReadResult<IDSet>{},
                    [&](IDSetHandler done) { getTeamIDsForSport(sportSlug, std::move(done)); });
}

void StorageManager::getTeamIDsForSport(const std::string& sportSlug, IDSetHandler handler) {
  deliver(handler, runTable(ReadResult<IDSet>{}, [&](IDSetHandler done) {
            DBTableTeam::getTeamIDsForSport(sportSlug, dbQueue(), done);
          }));
}

bool StorageManager::isFavoriteTeam(std::int64_t teamID) const {
  return cacheTeam_->containsID(teamID);
}

std::vector<model::Team> StorageManager::getFavoriteTeams() const {
  return cacheTeam_->getObjects();
}

StorageManager::IDSet StorageManager::getFavoriteTeamIDs() const {
  return sorted(cacheTeam_->getIDs());
}

bool StorageManager::isTeamNotificationEnabled(std::int64_t teamID) const {
  return cacheTeamNotifications_->containsID(teamID);
}

StorageManager::IDSet StorageManager::getNotificationEnabledTeamIDs() const {
  return sorted(cacheTeamNotifications_->getIDs());
}

// ---- Players ------------------------------------------------------------------------------

std::future<bool> StorageManager::followPlayer(const model::Player& player,
                                               bool enableNotifications) {
  return futureFrom(
      false, [&](BoolHandler done) { followPlayer(player, enableNotifications, std::move(done)); });
}

void StorageManager::followPlayer(const model::Player& player, bool enableNotifications,
                                  BoolHandler handler) {
  removeWhenDisabling(*cachePlayerNotifications_, enableNotifications, {player.ID});
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTablePlayer::savePlayer(player, enableNotifications, dbQueue(), done);
  });
  if (ok) {
    cachePlayer_->cachePlayer(player);
    settleNotifications(*cachePlayerNotifications_, *cachePlayer_, enableNotifications,
                        {player.ID});
  } else {
    reload(*cachePlayer_);
    reload(*cachePlayerNotifications_);
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::unfollowPlayer(std::int64_t playerID) {
  return futureFrom(false, [&](BoolHandler done) { unfollowPlayer(playerID, std::move(done)); });
}

void StorageManager::unfollowPlayer(std::int64_t playerID, BoolHandler handler) {
  const auto leave = [&] {
    cachePlayer_->removePlayer(playerID);
    cachePlayerNotifications_->removeIDFromCache(playerID);
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(false, [&](BoolHandler done) {
      DBTablePlayer::deletePlayerWithID(playerID, dbQueue(), done);
    });
  });
  if (!ok) {
    reload(*cachePlayer_);
    reload(*cachePlayerNotifications_);
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::unfollowPlayers(const IDSet& playerIDs) {
  return futureFrom(false, [&](BoolHandler done) { unfollowPlayers(playerIDs, std::move(done)); });
}

void StorageManager::unfollowPlayers(const IDSet& playerIDs, BoolHandler handler) {
  const auto leave = [&] {
    for (const std::int64_t id : playerIDs) {
      cachePlayer_->removePlayer(id);
      cachePlayerNotifications_->removeIDFromCache(id);
    }
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(false, [&](BoolHandler done) {
      DBTablePlayer::deletePlayersWithIDs(playerIDs, dbQueue(), done);
    });
  });
  if (!ok) {
    reload(*cachePlayer_);
    reload(*cachePlayerNotifications_);
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::setPlayerNotificationsEnabled(bool enabled,
                                                                const IDSet& playerIDs) {
  return futureFrom(false, [&](BoolHandler done) {
    setPlayerNotificationsEnabled(enabled, playerIDs, std::move(done));
  });
}

void StorageManager::setPlayerNotificationsEnabled(bool enabled, const IDSet& playerIDs,
                                                   BoolHandler handler) {
  removeWhenDisabling(*cachePlayerNotifications_, enabled, playerIDs);
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTablePlayer::setPlayerNotificationsEnabled(enabled, playerIDs, dbQueue(), done);
  });
  if (ok) {
    settleNotifications(*cachePlayerNotifications_, *cachePlayer_, enabled, playerIDs);
  } else {
    reload(*cachePlayerNotifications_);
  }
  deliver(handler, ok);
}

bool StorageManager::isFavoritePlayer(std::int64_t playerID) const {
  return cachePlayer_->containsID(playerID);
}

std::vector<model::Player> StorageManager::getFavoritePlayers() const {
  return cachePlayer_->getObjects();
}

StorageManager::IDSet StorageManager::getFavoritePlayerIDs() const {
  return sorted(cachePlayer_->getIDs());
}

StorageManager::IDSet StorageManager::getPlayerIDsForSport(std::string_view sportSlug) const {
  IDSet ids;
  for (const model::Player& player : cachePlayer_->getObjects()) {
    if (player.sport && player.sport->slug && *player.sport->slug == sportSlug)
      ids.insert(player.ID);
  }
  return ids;
}

bool StorageManager::isPlayerNotificationEnabled(std::int64_t playerID) const {
  return cachePlayerNotifications_->containsID(playerID);
}

StorageManager::IDSet StorageManager::getNotificationEnabledPlayerIDs() const {
  return sorted(cachePlayerNotifications_->getIDs());
}

// ---- Tournaments --------------------------------------------------------------------------

std::future<bool> StorageManager::followTournament(const model::Tournament& tournament,
                                                   bool enableNotifications) {
  return futureFrom(false, [&](BoolHandler done) {
    followTournament(tournament, enableNotifications, std::move(done));
  });
}

void StorageManager::followTournament(const model::Tournament& tournament, bool enableNotifications,
                                      BoolHandler handler) {
  if (tournament.uniqueId) {
    removeWhenDisabling(*cacheTournamentNotifications_, enableNotifications,
                        {*tournament.uniqueId});
  }
  // The table refuses a tournament without a unique ID, with a log line.
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTableTournament::saveTournament(tournament, enableNotifications, dbQueue(), done);
  });
  if (ok) {
    cacheTournament_->cacheTournament(tournament);
    if (enableNotifications) {
      cacheTournamentNotifications_->cacheID(*tournament.uniqueId);
    } else {
      // Again: a fill beside the write may have read the flag before it changed.
      cacheTournamentNotifications_->removeIDFromCache(*tournament.uniqueId);
    }
  } else if (tournament.uniqueId) {
    reload(*cacheTournament_);
    reload(*cacheTournamentNotifications_);
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::unfollowTournament(std::int64_t uniqueTournamentID) {
  return futureFrom(
      false, [&](BoolHandler done) { unfollowTournament(uniqueTournamentID, std::move(done)); });
}

void StorageManager::unfollowTournament(std::int64_t uniqueTournamentID, BoolHandler handler) {
  const ReadResult<IDSet> owned =
      eventsOwnedBy(DBTableTournament::ownedEventsQuery(uniqueTournamentID));
  const auto leave = [&] {
    cacheTournament_->removeTournament(uniqueTournamentID);
    cacheTournamentNotifications_->removeIDFromCache(uniqueTournamentID);
    leaveEventCaches(owned);
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(false, [&](BoolHandler done) {
      DBTableTournament::deleteTournamentWithID(uniqueTournamentID, dbQueue(), done);
    });
  });
  if (!ok) {
    reload(*cacheTournament_);
    reload(*cacheTournamentNotifications_);
    reloadEventCaches();
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::setTournamentNotificationsEnabled(
    bool enabled, const IDSet& uniqueTournamentIDs) {
  return futureFrom(false, [&](BoolHandler done) {
    setTournamentNotificationsEnabled(enabled, uniqueTournamentIDs, std::move(done));
  });
}

void StorageManager::setTournamentNotificationsEnabled(bool enabled,
                                                       const IDSet& uniqueTournamentIDs,
                                                       BoolHandler handler) {
  removeWhenDisabling(*cacheTournamentNotifications_, enabled, uniqueTournamentIDs);
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTableTournament::setTournamentNotificationsEnabled(enabled, uniqueTournamentIDs, dbQueue(),
                                                         done);
  });
  if (ok) {
    settleNotifications(*cacheTournamentNotifications_, *cacheTournament_, enabled, uniqueTournamentIDs);
  } else {
    reload(*cacheTournamentNotifications_);
  }
  deliver(handler, ok);
}

std::future<ReadResult<StorageManager::IDSet>> StorageManager::getTournamentIDsForSport(
    const std::string& sportSlug) {
  return futureFrom(ReadResult<IDSet>{}, [&](IDSetHandler done) {
    getTournamentIDsForSport(sportSlug, std::move(done));
  });
}

void StorageManager::getTournamentIDsForSport(const std::string& sportSlug, IDSetHandler handler) {
  deliver(handler, runTable(ReadResult<IDSet>{}, [&](IDSetHandler done) {
            DBTableTournament::getTournamentIDsForSport(sportSlug, dbQueue(), done);
          }));
}

bool StorageManager::isFavoriteTournament(std::int64_t uniqueTournamentID) const {
  return cacheTournament_->containsID(uniqueTournamentID);
}

std::vector<model::Tournament> StorageManager::getFavoriteTournaments() const {
  return cacheTournament_->getObjects();
}

StorageManager::IDSet StorageManager::getFavoriteTournamentUniqueIDs() const {
  return sorted(cacheTournament_->getIDs());
}

bool StorageManager::isTournamentNotificationEnabled(std::int64_t uniqueTournamentID) const {
  return cacheTournamentNotifications_->containsID(uniqueTournamentID);
}

StorageManager::IDSet StorageManager::getNotificationEnabledTournamentUniqueIDs() const {
  return sorted(cacheTournamentNotifications_->getIDs());
}

// ---- Pinned unique tournaments --------------------------------------------------------------

std::future<bool> StorageManager::pinUniqueTournament(const model::UniqueTournament& tournament) {
  return futureFrom(false,
                    [&](BoolHandler done) { pinUniqueTournament(tournament, std::move(done)); });
}

void StorageManager::pinUniqueTournament(const model::UniqueTournament& tournament,
                                         BoolHandler handler) {
  // The order of the pins is the table's (by the time each was stamped),
  // which appending here cannot follow: two threads pinning at once commit
  // in one order and may reach their cache update in the other, and two
  // pins stamped with the same time come back in the table's own order.
  // So a pin that committed makes the cache read its order again at its
  // next use; one that failed reads it at once.
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTablePinnedUniqueTournaments::saveUniqueTournament(tournament, dbQueue(), done);
  });
  if (ok) {
    cacheDefaultUniqueTournaments_->invalidate();
  } else {
    reload(*cacheDefaultUniqueTournaments_);
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::unpinUniqueTournament(std::int64_t uniqueTournamentID) {
  return futureFrom(
      false, [&](BoolHandler done) { unpinUniqueTournament(uniqueTournamentID, std::move(done)); });
}

void StorageManager::unpinUniqueTournament(std::int64_t uniqueTournamentID, BoolHandler handler) {
  const bool ok = removeAround(
      [&] { cacheDefaultUniqueTournaments_->removeTournament(uniqueTournamentID); },
      [&] {
        return runTable(false, [&](BoolHandler done) {
          DBTablePinnedUniqueTournaments::deleteUniqueTournamentWithID(uniqueTournamentID,
                                                                       dbQueue(), done);
        });
      });
  if (!ok) reload(*cacheDefaultUniqueTournaments_);
  deliver(handler, ok);
}

std::future<bool> StorageManager::unpinAllUniqueTournaments() {
  return futureFrom(false, [&](BoolHandler done) { unpinAllUniqueTournaments(std::move(done)); });
}

void StorageManager::unpinAllUniqueTournaments(BoolHandler handler) {
  const auto leave = [&] {
    for (const std::int64_t id : cacheDefaultUniqueTournaments_->getIDs()) {
      cacheDefaultUniqueTournaments_->removeTournament(id);
    }
  };
  const bool ok = removeAround(leave, [&] {
    return runTable(false, [&](BoolHandler done) {
      DBTablePinnedUniqueTournaments::deleteAllUniqueTournaments(dbQueue(), done);
    });
  });
  if (!ok) {
    reload(*cacheDefaultUniqueTournaments_);
  }
  deliver(handler, ok);
}

std::vector<model::UniqueTournament> StorageManager::getPinnedUniqueTournaments() const {
  return cacheDefaultUniqueTournaments_->getObjects();
}

bool StorageManager::isPinned(std::int64_t uniqueTournamentID) const {
  return cacheDefaultUniqueTournaments_->containsID(uniqueTournamentID);
}

}  // namespace kestrel
