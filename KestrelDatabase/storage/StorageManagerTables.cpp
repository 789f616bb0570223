// The facade's chat, TV channel and fantasy competition operations: the chat
// tables and the scheduled channels have no cache; the TV channel answers
// and the fantasy competitions keep theirs in step.
#include <KestrelDatabase/caches/DBCacheFantasyCompetition.h>
#include <KestrelDatabase/caches/DBCacheTvChannels.h>
#include <KestrelDatabase/storage/FacadeCalls.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTableScheduledChannels.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>

#include <utility>

namespace kestrel {

using facade::deliver;
using facade::futureFrom;
using facade::removeAround;
using facade::runTable;

// ---- Chat ---------------------------------------------------------------------------------

std::future<bool> StorageManager::upvoteMessage(std::int64_t messageID, std::int64_t eventID,
                                                std::optional<std::int64_t> upvote) {
  return futureFrom(
      false, [&](BoolHandler done) { upvoteMessage(messageID, eventID, upvote, std::move(done)); });
}

void StorageManager::upvoteMessage(std::int64_t messageID, std::int64_t eventID,
                                   std::optional<std::int64_t> upvote, BoolHandler handler) {
  deliver(handler, runTable(false, [&](BoolHandler done) {
            DBTableChatUpvote::saveUpvotedMessage(messageID, eventID, upvote, dbQueue(), done);
          }));
}

std::future<bool> StorageManager::reportMessage(std::int64_t messageID, std::int64_t eventID,
                                                std::int64_t choice) {
  return futureFrom(
      false, [&](BoolHandler done) { reportMessage(messageID, eventID, choice, std::move(done)); });
}

void StorageManager::reportMessage(std::int64_t messageID, std::int64_t eventID,
                                   std::int64_t choice, BoolHandler handler) {
  deliver(handler, runTable(false, [&](BoolHandler done) {
            DBTableChatReport::saveReportedMessage(messageID, eventID, choice, dbQueue(), done);
          }));
}

std::future<ReadResult<StorageManager::IDSet>> StorageManager::getUpvotedMessageIDs(
    std::int64_t eventID) {
  return futureFrom(ReadResult<IDSet>{},
                    [&](IDSetHandler done) { getUpvotedMessageIDs(eventID, std::move(done)); });
}

void StorageManager::getUpvotedMessageIDs(std::int64_t eventID, IDSetHandler handler) {
  deliver(handler, runTable(ReadResult<IDSet>{}, [&](IDSetHandler done) {
            DBTableChatUpvote::getMessageIDsForEventID(eventID, dbQueue(), done);
          }));
}

std::future<ReadResult<StorageManager::IDSet>> StorageManager::getReportedMessageIDs() {
  return futureFrom(ReadResult<IDSet>{},
                    [&](IDSetHandler done) { getReportedMessageIDs(std::move(done)); });
}

void StorageManager::getReportedMessageIDs(IDSetHandler handler) {
  deliver(handler, runTable(ReadResult<IDSet>{}, [&](IDSetHandler done) {
            DBTableChatReport::getReportedMessageIDs(dbQueue(), done);
          }));
}

// ---- TV channel answers -----------------------------------------------------------------------

std::future<bool> StorageManager::saveTvChannelSuggestion(
    const model::TVChannelSuggestion& suggestion) {
  return futureFrom(
      false, [&](BoolHandler done) { saveTvChannelSuggestion(suggestion, std::move(done)); });
}

void StorageManager::saveTvChannelSuggestion(const model::TVChannelSuggestion& suggestion,
                                             BoolHandler handler) {
  // Without its event or channel the table stores nothing and stays silent.
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTableTvChannels::saveTvChannelSuggestion(suggestion, dbQueue(), done);
  });
  if (ok) {
    cacheTVChannels_->cacheObject(suggestion);
  } else if (suggestion.eventId && suggestion.channelId) {
    reload(*cacheTVChannels_);
  }
  deliver(handler, ok);
}

std::vector<model::TVChannelSuggestion> StorageManager::getTvChannelSuggestions() const {
  return cacheTVChannels_->getObjects();
}

// ---- Scheduled channels -------------------------------------------------------------------------

std::future<bool> StorageManager::saveTvChannelCountry(
    const model::TVScheduleChannelCountry& channelCountry) {
  return futureFrom(
      false, [&](BoolHandler done) { saveTvChannelCountry(channelCountry, std::move(done)); });
}

void StorageManager::saveTvChannelCountry(const model::TVScheduleChannelCountry& channelCountry,
                                          BoolHandler handler) {
  deliver(handler, runTable(false, [&](BoolHandler done) {
            DBTableScheduledChannels::saveTvChannelCountry(channelCountry, dbQueue(), done);
          }));
}

std::future<ReadResult<std::vector<model::TVScheduleChannelCountry>>>
StorageManager::getTvChannelCountryList() {
  return futureFrom(
      ReadResult<std::vector<model::TVScheduleChannelCountry>>{},
      [&](ChannelCountryListHandler done) { getTvChannelCountryList(std::move(done)); });
}

void StorageManager::getTvChannelCountryList(ChannelCountryListHandler handler) {
  deliver(handler, runTable(ReadResult<std::vector<model::TVScheduleChannelCountry>>{},
                            [&](ChannelCountryListHandler done) {
                              DBTableScheduledChannels::getTvChannelCountryList(dbQueue(), done);
                            }));
}

std::future<bool> StorageManager::deleteChannelsWithCountryCode(const std::string& countryCode) {
  return futureFrom(false, [&](BoolHandler done) {
    deleteChannelsWithCountryCode(countryCode, std::move(done));
  });
}

void StorageManager::deleteChannelsWithCountryCode(const std::string& countryCode,
                                                   BoolHandler handler) {
  deliver(handler, runTable(false, [&](BoolHandler done) {
            DBTableScheduledChannels::deleteChannelsWithCountryCode(countryCode, dbQueue(), done);
          }));
}

std::future<bool> StorageManager::deleteChannelWithId(std::int64_t channelID,
                                                      const std::string& countryCode) {
  return futureFrom(false, [&](BoolHandler done) {
    deleteChannelWithId(channelID, countryCode, std::move(done));
  });
}

void StorageManager::deleteChannelWithId(std::int64_t channelID, const std::string& countryCode,
                                         BoolHandler handler) {
  deliver(handler, runTable(false, [&](BoolHandler done) {
            DBTableScheduledChannels::deleteChannelWithId(channelID, countryCode, dbQueue(), done);
          }));
}

// ---- Fantasy competitions
// ------------------------------------------------------------------------

std::future<bool> StorageManager::saveFantasyCompetition(std::int64_t id) {
  return futureFrom(false, [&](BoolHandler done) { saveFantasyCompetition(id, std::move(done)); });
}

void StorageManager::saveFantasyCompetition(std::int64_t id, BoolHandler handler) {
  const bool ok = runTable(false, [&](BoolHandler done) {
    DBTableFantasyCompetition::saveCompetition(id, dbQueue(), done);
  });
  if (ok) {
    cacheFantasyCompetition_->cacheID(id);
  } else {
    reload(*cacheFantasyCompetition_);
  }
  deliver(handler, ok);
}

std::future<bool> StorageManager::deleteFantasyCompetition(std::int64_t id) {
  return futureFrom(false,
                    [&](BoolHandler done) { deleteFantasyCompetition(id, std::move(done)); });
}

void StorageManager::deleteFantasyCompetition(std::int64_t id, BoolHandler handler) {
  const bool ok = removeAround([&] { cacheFantasyCompetition_->removeIDFromCache(id); }, [&] {
    return runTable(false, [&](BoolHandler done) {
      DBTableFantasyCompetition::deleteCompetition(id, dbQueue(), done);
    });
  });
  if (!ok) reload(*cacheFantasyCompetition_);
  deliver(handler, ok);
}

StorageManager::IDSet StorageManager::getAllFantasyCompetitionIds() const {
  const DBCacheAbstract::IDSet ids = cacheFantasyCompetition_->getIDs();
  return IDSet(ids.begin(), ids.end());
}

bool StorageManager::isFantasyCompetitionFollowed(std::int64_t id) const {
  return cacheFantasyCompetition_->containsID(id);
}

}  // namespace kestrel
