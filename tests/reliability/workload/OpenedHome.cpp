#include "reliability/workload/OpenedHome.h"

#include <KestrelPlatform/DispatchQueue.h>

#include "reliability/support/FacadeSnapshot.h"

namespace kestrel::reliability {

OpenedHome::OpenedHome(const std::filesystem::path& home) : store_(DataManager::forHome(home)) {
  loadError_ = store_->loadStore();
  if (!loadError_) facade_ = StorageManager::forHome(home, store_);
}

OpenedHome::~OpenedHome() {
  if (facade_) settle(*store_);
  facade_.reset();
  store_.reset();
  platform::DispatchQueue::main()->waitUntilDrained();
}

}  // namespace kestrel::reliability
