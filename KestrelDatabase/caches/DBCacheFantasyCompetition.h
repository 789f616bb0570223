// The IDs of the followed fantasy competitions; the facade keeps it in step
// with cacheID() and removeIDFromCache().
//
// Fills when its IDs are absent and it has a database queue, from
// DBTableFantasyCompetition::getCompetitionIds(), waiting for the read. A
// cache made without a queue, or with a value that is not a database queue,
// never fills: its IDs stay absent (getIDs() gives the empty set).
//
// Thread-safety and ownership: as DBCacheAbstract.
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>

#include <any>

namespace kestrel {

class DBCacheFantasyCompetition final : public DBCacheAbstract {
 public:
  /// No queue: the cache never fills.
  DBCacheFantasyCompetition();
  /// Holds the queue weakly and fills the cache, waiting for the read.
  explicit DBCacheFantasyCompetition(WeakQueue queue);
  explicit DBCacheFantasyCompetition(const Queue& queue)
      : DBCacheFantasyCompetition(WeakQueue(queue)) {}
  /// Takes the queue as a value of any kind, passed on as it is: a
  /// std::shared_ptr or std::weak_ptr of FMDatabaseQueue is the database
  /// queue; anything else, or an empty value, is no database queue.
  explicit DBCacheFantasyCompetition(const std::any& queue);

 private:
  static WeakQueue databaseQueueIn(const std::any& value);
  void fill() override;
};

}  // namespace kestrel
