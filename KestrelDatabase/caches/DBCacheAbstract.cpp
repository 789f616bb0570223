#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelPlatform/Fatal.h>

#include <semaphore>

namespace kestrel {

DBCacheAbstract::DBCacheAbstract(const char* name, WeakQueue queue, FillNeed fillNeed)
    : name_(name), fillNeed_(fillNeed), lock_(std::make_shared<std::recursive_mutex>()), dbQueue_(std::move(queue)) {}

DBCacheAbstract::~DBCacheAbstract() = default;

void DBCacheAbstract::fill() {}

void DBCacheAbstract::dropContainers() {
  ids_.reset();
}

void DBCacheAbstract::requireOutsideOwnQueue(const char* operation) const {
  const Queue queue = dbQueue().lock();
  if (queue && queue->dispatchQueue().isCurrent()) {
    platform::fatal(
        "%s: %s was called from inside a block of the database queue, which would never return: "
        "no cache operation may be started from inside a database queue block or a completion it "
        "runs",
        name_, operation);
  }
}

void DBCacheAbstract::initCache() {
  const Lock lock = enter("initCache");
  fill();
}

void DBCacheAbstract::invalidate() {
  const Lock lock = enter("invalidate");
  dropContainers();
}

void DBCacheAbstract::cacheID(std::int64_t id) {
  const Lock lock = enter("cacheID");
  fill();
  if (ids_) ids_->insert(id);
}

void DBCacheAbstract::removeIDFromCache(std::int64_t id) {
  const Lock lock = enter("removeIDFromCache");
  fill();
  if (ids_) ids_->erase(id);
}

DBCacheAbstract::IDSet DBCacheAbstract::getIDs() {
  const Lock lock = enter("getIDs");
  fill();
  return ids_ ? *ids_ : IDSet{};
}

void DBCacheAbstract::fillAndWait(const Request& request,
                                  const std::function<bool()>& stillNeeded) {
  // The request goes to the queue only while it exists, and a request that
  // is never sent is never waited for: a cache whose queue is gone stays
  // absent instead of hanging its caller.
  const Queue queue = dbQueue().lock();
  if (!queue) return;
  requireOutsideDatabaseQueue("fill");
  std::counting_semaphore<> filled(0);
  if (stillNeeded && !stillNeeded()) return;
  request(queue, [&filled] { filled.release(); });
  filled.acquire();
}

void DBCacheAbstract::fillIDsAndWait(ReadIDs read) {
  fillAndWait([this, read](const Queue& queue, const Signal& done) {
    read(queue, [this, &done](ReadResult<kestrel::IDSet> ids) {
      if (ids) setIDs(IDSet(ids->begin(), ids->end()));
      done();
    });
  });
}

}  // namespace kestrel
