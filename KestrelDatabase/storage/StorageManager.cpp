// The facade's lifecycle: creation, the list of caches, reInit, cleanDB,
// clearEventCache, the one-time migration and the store-change handler.
// The per-entity operations live in StorageManagerEvents.cpp,
// StorageManagerFollowed.cpp, StorageManagerTables.cpp and
// StorageManagerStore.cpp.
#include <KestrelDatabase/storage/StorageManager.h>

#include <KestrelDatabase/caches/DBCacheDefaultUniqueTournaments.h>
#include <KestrelDatabase/caches/DBCacheEvent.h>
#include <KestrelDatabase/caches/DBCacheFantasyCompetition.h>
#include <KestrelDatabase/caches/DBCacheHighlights.h>
#include <KestrelDatabase/caches/DBCacheMutedEvent.h>
#include <KestrelDatabase/caches/DBCacheMutedStage.h>
#include <KestrelDatabase/caches/DBCachePlayer.h>
#include <KestrelDatabase/caches/DBCachePlayerNotifications.h>
#include <KestrelDatabase/caches/DBCacheStage.h>
#include <KestrelDatabase/caches/DBCacheTeam.h>
#include <KestrelDatabase/caches/DBCacheTeamNotifications.h>
#include <KestrelDatabase/caches/DBCacheTournament.h>
#include <KestrelDatabase/caches/DBCacheTournamentNotifications.h>
#include <KestrelDatabase/caches/DBCacheTvChannels.h>
#include <KestrelDatabase/caches/DBCacheUniqueStage.h>
#include <KestrelDatabase/caches/DBCacheVote.h>
#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/storage/FacadeCalls.h>
#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelPlatform/DispatchQueue.h>
#include <KestrelPlatform/Fatal.h>

#include <utility>

namespace kestrel {

const std::shared_ptr<StorageManager>& StorageManager::shared() {
  // A function-local static is initialised once, and other first readers
  // wait for it.
  static const std::shared_ptr<StorageManager> instance = [] {
    auto manager = std::make_shared<StorageManager>(Key{}, FMDBHelper::getFMDBHelper(), nullptr,
                                                    DataManager::shared(), nullptr);
    manager->registerWithDataManager();
    return manager;
  }();
  return instance;
}

std::shared_ptr<StorageManager> StorageManager::forHome(const std::filesystem::path& home,
                                                        std::shared_ptr<DataManager> dataManager) {
  std::unique_ptr<FMDBHelper> helper = FMDBHelper::forHome(home);
  FMDBHelper& helperRef = *helper;
  if (!dataManager) dataManager = DataManager::forHome(home);
  auto defaults = platform::UserDefaults::create(home / "Library" / "Preferences" /
                                                 platform::UserDefaults::kStandardFileName);
  auto manager = std::make_shared<StorageManager>(Key{}, helperRef, std::move(helper),
                                                  std::move(dataManager), std::move(defaults));
  manager->registerWithDataManager();
  return manager;
}

StorageManager::StorageManager(Key, FMDBHelper& helper, std::unique_ptr<FMDBHelper> ownHelper,
                               std::shared_ptr<DataManager> dataManager,
                               std::shared_ptr<platform::UserDefaults> userDefaults)
    : helper_(helper),
      ownHelper_(std::move(ownHelper)),
      dataManager_(std::move(dataManager)),
      userDefaults_(std::move(userDefaults)) {
  const std::shared_ptr<FMDatabaseQueue> current = dbQueue();
  if (!current) {
    platform::fatal("StorageManager: no database queue (%s)",
                    helper_.startError().value_or("the database could not be opened").c_str());
  }
  const DBCacheAbstract::WeakQueue queue = current;
  cacheEvent_ = std::make_unique<DBCacheEvent>(queue);
  cacheHighlights_ = std::make_unique<DBCacheHighlights>(queue, dataManager_);
  cacheMutedEvent_ = std::make_unique<DBCacheMutedEvent>(queue);
  cacheMutedStage_ = std::make_unique<DBCacheMutedStage>(queue);
  cacheDefaultUniqueTournaments_ = std::make_unique<DBCacheDefaultUniqueTournaments>(queue);
  cachePlayer_ = std::make_unique<DBCachePlayer>(queue);
  cachePlayerNotifications_ = std::make_unique<DBCachePlayerNotifications>(queue);
  cacheTeam_ = std::make_unique<DBCacheTeam>(queue);
  cacheTeamNotifications_ = std::make_unique<DBCacheTeamNotifications>(queue);
  cacheTournament_ = std::make_unique<DBCacheTournament>(queue);
  cacheTournamentNotifications_ = std::make_unique<DBCacheTournamentNotifications>(queue);
  cacheTVChannels_ = std::make_unique<DBCacheTvChannels>(queue);
  cacheVote_ = std::make_unique<DBCacheVote>(queue, dataManager_);
  cacheStage_ = std::make_unique<DBCacheStage>(queue);
  cacheUniqueStage_ = std::make_unique<DBCacheUniqueStage>(queue, dataManager_);
  cacheFantasyCompetition_ = std::make_unique<DBCacheFantasyCompetition>(queue);
}

StorageManager::~StorageManager() = default;

std::shared_ptr<FMDatabaseQueue> StorageManager::dbQueue() const {
  return helper_.getDBQueue();
}

std::shared_ptr<platform::UserDefaults> StorageManager::userDefaults() const {
  return userDefaults_ ? userDefaults_ : platform::UserDefaults::standard();
}

std::array<DBCacheAbstract*, StorageManager::kCacheCount> StorageManager::allCaches() const {
  return {cacheEvent_.get(),
          cacheHighlights_.get(),
          cacheMutedEvent_.get(),
          cacheMutedStage_.get(),
          cacheDefaultUniqueTournaments_.get(),
          cachePlayer_.get(),
          cachePlayerNotifications_.get(),
          cacheTeam_.get(),
          cacheTeamNotifications_.get(),
          cacheTournament_.get(),
          cacheTournamentNotifications_.get(),
          cacheTVChannels_.get(),
          cacheVote_.get(),
          cacheStage_.get(),
          cacheUniqueStage_.get(),
          cacheFantasyCompetition_.get()};
}

void StorageManager::registerWithDataManager() {
  dataManager_->setStoreChangeHandler([weak = weak_from_this()](DataManager::StoreChange change) {
    const std::shared_ptr<StorageManager> self = weak.lock();
    if (!self) return;
    switch (change) {
      case DataManager::StoreChange::votes:
        reload(*self->cacheVote_);
        break;
      case DataManager::StoreChange::highlights:
        reload(*self->cacheHighlights_);
        break;
      case DataManager::StoreChange::uniqueStages:
        reload(*self->cacheUniqueStage_);
        break;
    }
  });
}

void StorageManager::reload(DBCacheAbstract& cache) {
  cache.invalidate();
  cache.initCache();
}

void StorageManager::reloadEventCaches() {
  reload(*cacheEvent_);
  reload(*cacheMutedEvent_);
}

void StorageManager::reloadStageCaches() {
  reload(*cacheStage_);
  reload(*cacheMutedStage_);
}

void StorageManager::reInit() {
  // The caches hold the queue weakly. Kept alive until they all point at
  // the new one, the old queue serves the fills of other threads meanwhile
  // (it reopens the same file on demand); dropped at once, it would leave
  // every cache that empties meanwhile unable to fill, answering "not a
  // favourite" for favourites.
  const std::shared_ptr<FMDatabaseQueue> previous = dbQueue();
  helper_.reInitDB();
  // The helper has a new queue (or none, when the file cannot be opened):
  // every cache fills from it from now on.
  const DBCacheAbstract::WeakQueue queue = dbQueue();
  for (DBCacheAbstract* cache : allCaches()) cache->setDbQueue(queue);
  for (DBCacheAbstract* cache : allCaches()) reload(*cache);
}

void StorageManager::cleanDB() {
  DBTableChatReport::deleteReportedMessages(dbQueue());
  DBTableChatUpvote::deleteUpvotedMessages(dbQueue());
  dataManager_->deleteHiglightsOlderThan7Days(DataManager::BoolCompletion{});
  cacheTVChannels_->invalidate();
  DBTableTvChannels::deleteTvChannelTvChannelSuggestions(dbQueue());
  // Again once the delete has returned: a fill beside it may have read the
  // rows before they went. The refill itself runs on the main queue.
  cacheTVChannels_->invalidate();
  platform::DispatchQueue::main()->async([weak = weak_from_this()] {
    if (const std::shared_ptr<StorageManager> self = weak.lock()) self->cacheTVChannels_->initCache();
  });
  dataManager_->deleteVotesOlderThan90Days(DataManager::BoolCompletion{});
}

void StorageManager::clearEventCache() {
  cacheEvent_->invalidate();
  cacheMutedEvent_->invalidate();
}

std::future<void> StorageManager::migrateFavoriteNotificationEvents() {
  const std::shared_ptr<platform::UserDefaults> defaults = userDefaults();
  if (defaults->boolForKey(kFavoriteNotificationMigrationKey)) {
    std::promise<void> done;
    done.set_value();
    return done.get_future();
  }
  return std::async(std::launch::async, [self = shared_from_this(), defaults] {
    bool migrated = false;
    DBTableEvent::migrateFavoriteNotificationEvents(self->dbQueue(),
                                                    [&migrated](bool ok) { migrated = ok; });
    // Only a migration that committed is recorded; a failed one runs again
    // next time.
    if (migrated) defaults->setBool(true, kFavoriteNotificationMigrationKey);
    self->clearEventCache();
  });
}

}  // namespace kestrel
