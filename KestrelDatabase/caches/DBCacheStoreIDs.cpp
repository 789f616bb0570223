#include <KestrelDatabase/caches/DBCacheStoreIDs.h>

namespace kestrel {

DBCacheStoreIDs::DBCacheStoreIDs(const char* name, WeakQueue queue,
                                 std::shared_ptr<DataManager> dataManager, StoreRead read)
    : DBCacheAbstract(name, std::move(queue)),
      dataManager_(dataManager ? std::move(dataManager) : DataManager::shared()),
      read_(read),
      delivery_(std::make_shared<StoreDelivery<IDSet>>()) {}

void DBCacheStoreIDs::fill() {
  if (auto answer = delivery_->take()) setIDs(std::move(*answer));
  if (IDs()) return;
  (*dataManager_.*read_)([delivery = delivery_](ReadResult<DataManager::IDSet> ids) {
    if (ids) delivery->deliver(std::move(*ids));
  });
}

void DBCacheStoreIDs::dropContainers() {
  DBCacheAbstract::dropContainers();
  delivery_->discard();
}

}  // namespace kestrel
