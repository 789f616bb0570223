#include <KestrelDatabase/caches/DBCacheVote.h>

namespace kestrel {

DBCacheVote::DBCacheVote(WeakQueue queue, std::shared_ptr<DataManager> dataManager)
    : DBCache("DBCacheVote", std::move(queue)),
      dataManager_(dataManager ? std::move(dataManager) : DataManager::shared()),
      delivery_(std::make_shared<StoreDelivery<Dictionary>>()) {
  initCache();
}

void DBCacheVote::fill() {
  if (auto answer = delivery_->take()) setDictionary(std::move(*answer));
  if (dictionary() || objects()) return;
  dataManager_->getVotesForCache(
      [delivery = delivery_](ReadResult<DataManager::VoteDictionary> votes) {
        if (votes) delivery->deliver(std::move(*votes));
      });
}

void DBCacheVote::dropContainers() {
  DBCache::dropContainers();
  delivery_->discard();
}

}  // namespace kestrel
