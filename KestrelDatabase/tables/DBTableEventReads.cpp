// The event table's reads: one row, the favourite lists and ID sets, the
// refresh selection, the finished count and the generic query reads.
#include <KestrelDatabase/tables/DBTableEvent.h>

#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/Clock.h>

#include <utility>

namespace kestrel {

namespace {

using model::Event;

// Maps each row of a result set, resolving the column layout once, after the
// first step.
class EventRowMapper {
 public:
  Event operator()(const FMResultSet& row) {
    if (!layout_) layout_ = DBTableEvent::rowLayoutForResultSet(row);
    return DBTableEvent::mapEventFromResultSet(row, *layout_);
  }

 private:
  std::optional<DBTableEvent::RowLayout> layout_;
};

}  // namespace

void DBTableEvent::getEvent(std::int64_t eventID, const std::shared_ptr<FMDatabaseQueue>& queue,
                            const EventCompletion& completion) {
  if (!queue || !completion) return;
  const auto sql = NewSQLBuilder::selectAllFromTable(kTableName, ConditionList{kId, "=", eventID});
  queue->inDatabase([&](FMDatabase* db) {
    std::optional<Event> event;
    const bool read = db != nullptr && sql && forEachRow(*db, *sql, [&](const FMResultSet& row) {
                        // A row without columns would give an empty result dictionary.
                        if (!event && row.columnCount() > 0) {
                          event = mapEventFromResultSet(row, rowLayoutForResultSet(row));
                        }
                      });
    if (db && db->hasOpenResultSets()) db->closeOpenResultSets();
    completion(read ? ReadResult<std::optional<Event>>(std::move(event)) : std::nullopt);
  });
}

void DBTableEvent::getAllFavoriteEvents(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const EventListCompletion& completion) {
  if (!queue || !completion) return;
  readRows(allFavoriteEventsQuery(platform::Clock::now()), queue, EventRowMapper{}, completion);
}

void DBTableEvent::getAllFavoriteEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const IDSetCompletion& completion) {
  getIDs(allFavoriteEventIDsQuery(), queue, completion);
}

void DBTableEvent::getAllEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                  const IDSetCompletion& completion) {
  getIDs(allEventIDsQuery(), queue, completion);
}

void DBTableEvent::getFavoriteEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                       const IDSetCompletion& completion) {
  getIDs(favoriteEventIDsQuery(), queue, completion);
}

void DBTableEvent::getMutedEventIDs(const std::shared_ptr<FMDatabaseQueue>& queue,
                                    const IDSetCompletion& completion) {
  getIDs(mutedEventIDsQuery(), queue, completion);
}

void DBTableEvent::getEventIDsToRefresh(const std::shared_ptr<FMDatabaseQueue>& queue,
                                        const IDSetCompletion& completion) {
  if (!queue || !completion) return;
  getIDs(eventIDsToRefreshQuery(platform::Clock::now()), queue, completion);
}

void DBTableEvent::getFinishedEventsCount(const std::shared_ptr<FMDatabaseQueue>& queue,
                                          const CountCompletion& completion) {
  if (!queue || !completion) return;
  readCount(finishedEventsCountQuery(platform::Clock::now()), queue, completion);
}

void DBTableEvent::getIDs(const std::string& sql, const std::shared_ptr<FMDatabaseQueue>& queue,
                          const IDSetCompletion& completion) {
  readIDs(sql, kId, queue, completion);
}

void DBTableEvent::getIntColumn(const std::string& column, const std::string& sql,
                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                const IDSetCompletion& completion) {
  readIDs(sql, column, queue, completion);
}

void DBTableEvent::getAllEventsWithQuery(const std::string& sql,
                                         const std::shared_ptr<FMDatabaseQueue>& queue,
                                         const EventSetCompletion& completion) {
  readRows(sql, queue, EventRowMapper{}, completion);
}

}  // namespace kestrel
