// DataManager: vote records.
#include <KestrelDatabase/objectstore/DataManager.h>

#include <KestrelDatabase/objectstore/ResolvingPromise.h>

#include <algorithm>

namespace kestrel {

using platform::Predicate;

ReadResult<std::optional<MOVote>> DataManager::findVote(Context& context, std::int64_t eventId,
                                                        const std::string& type) const {
  auto object = first(context, MOVote::kEntityName,
                      Predicate::andPredicate({Predicate::withFormat("eventId = %@", {std::to_string(eventId)}),
                                               Predicate::withFormat("type = %@", {type})}));
  if (!object) return std::nullopt;
  if (!*object) return std::optional<MOVote>();
  return std::optional<MOVote>(MOVote(std::move(*object)));
}

void DataManager::fetchVote(std::int64_t eventId, const std::string& type, VoteCompletion completion) {
  completion = calledOnce<ReadResult<std::optional<MOVote>>>(std::nullopt, std::move(completion));
  onBackground([eventId, type, completion](DataManager& self, Context& background) {
    completion(self.findVote(background, eventId, type));
  });
}

std::future<ReadResult<std::optional<MOVote>>> DataManager::fetchVote(std::int64_t eventId,
                                                                      const std::string& type) {
  return futureOf<ReadResult<std::optional<MOVote>>>(std::nullopt,
                                                     [&](auto done) { fetchVote(eventId, type, done); });
}

void DataManager::saveVote(std::int64_t eventId, std::int64_t timestamp, const std::string& type,
                           const std::string& vote, bool isAddSuccessful, BoolCompletion completion) {
  write(
      [eventId, timestamp, type, vote, isAddSuccessful](DataManager& self, Context& background) {
        ReadResult<std::optional<MOVote>> found = self.findVote(background, eventId, type);
        // A fetch that failed is not "no vote": a second record would follow.
        if (!found) return false;
        std::optional<MOVote> record = std::move(*found);
        if (!record) {
          auto object = self.insert(background, MOVote::kEntityName);
          if (!object) return false;
          record.emplace(std::move(object));
          record->setEventId(eventId);
          record->setEventTimestamp(timestamp);
          record->setType(type);
        }
        // A stored vote keeps its timestamp and previous value.
        record->setVote(vote);
        record->setIsAddSuccessful(isAddSuccessful);
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::saveVote(std::int64_t eventId, std::int64_t timestamp,
                                        const std::string& type, const std::string& vote,
                                        bool isAddSuccessful) {
  return futureOf(false, [&](auto done) { saveVote(eventId, timestamp, type, vote, isAddSuccessful, done); });
}

void DataManager::editVote(std::int64_t eventId, const std::string& type, const std::string& vote,
                           bool isEditSuccessful, BoolCompletion completion) {
  write(
      [eventId, type, vote, isEditSuccessful](DataManager& self, Context& background) {
        const ReadResult<std::optional<MOVote>> found = self.findVote(background, eventId, type);
        if (!found || !*found) return false;
        MOVote record = **found;
        record.setPreviousVote(record.vote());
        record.setVote(vote);
        record.setIsEditSuccessful(isEditSuccessful);
        return true;
      },
      std::move(completion));
}

std::future<bool> DataManager::editVote(std::int64_t eventId, const std::string& type,
                                        const std::string& vote, bool isEditSuccessful) {
  return futureOf(false, [&](auto done) { editVote(eventId, type, vote, isEditSuccessful, done); });
}

void DataManager::markVote(std::int64_t eventId, const std::string& type, bool added,
                           BoolCompletion completion) {
  write(
      [eventId, type, added](DataManager& self, Context& background) {
        const ReadResult<std::optional<MOVote>> found = self.findVote(background, eventId, type);
        if (!found || !*found) return false;
        MOVote record = **found;
        if (added) {
          record.setIsAddSuccessful(true);
        } else {
          record.setIsEditSuccessful(true);
        }
        return true;
      },
      std::move(completion));
}

void DataManager::markAsAdded(std::int64_t eventId, const std::string& type, BoolCompletion completion) {
  markVote(eventId, type, true, std::move(completion));
}

std::future<bool> DataManager::markAsAdded(std::int64_t eventId, const std::string& type) {
  return futureOf(false, [&](auto done) { markVote(eventId, type, true, done); });
}

void DataManager::markAsEdited(std::int64_t eventId, const std::string& type, BoolCompletion completion) {
  markVote(eventId, type, false, std::move(completion));
}

std::future<bool> DataManager::markAsEdited(std::int64_t eventId, const std::string& type) {
  return futureOf(false, [&](auto done) { markVote(eventId, type, false, done); });
}

ReadResult<std::optional<std::string>> DataManager::getVoteForEvent(std::int64_t eventId,
                                                                    const std::string& type) {
  ReadResult<std::optional<std::string>> vote;  // stays a failure when the store does not load
  initializeIfNeeded([&] {
    // On the main queue the main context answers: it holds every finished
    // save, and the main queue must not wait for the background queue.
    const auto context =
        platform::DispatchQueue::main()->isCurrent() ? mainContext() : backgroundContext();
    if (!context) return;
    context->performAndWait([&] {
      const ReadResult<std::optional<MOVote>> found = findVote(*context, eventId, type);
      if (!found) return;
      vote = *found ? (*found)->vote() : std::nullopt;
    });
  });
  return vote;
}

void DataManager::getUnsuccessfulVotesWithCompletion(VotesCompletion completion) {
  completion = calledOnce<ReadResult<std::vector<MOVote>>>(std::nullopt, std::move(completion));
  const std::string startsNowOrLater = std::to_string(now());
  onBackground([startsNowOrLater, completion](DataManager& self, Context& background) {
    const Predicate unsent = Predicate::orPredicate({Predicate::withFormat("isAddSuccessful = %@", {"false"}),
                                                     Predicate::withFormat("isEditSuccessful = %@", {"false"})});
    const Predicate upcoming = Predicate::withFormat("eventTimestamp >= %@", {startsNowOrLater});
    ReadResult<Objects> found = self.fetch(background, MOVote::kEntityName, Predicate::andPredicate({unsent, upcoming}));
    if (!found) {
      completion(std::nullopt);
      return;
    }
    std::vector<MOVote> votes;
    votes.reserve(found->size());
    for (auto& object : *found) votes.emplace_back(std::move(object));
    completion(std::move(votes));
  });
}

std::future<ReadResult<std::vector<MOVote>>> DataManager::getUnsuccessfulVotesWithCompletion() {
  return futureOf<ReadResult<std::vector<MOVote>>>(std::nullopt,
                                                   [&](auto done) { getUnsuccessfulVotesWithCompletion(done); });
}

void DataManager::getVotesForCache(VoteDictionaryCompletion completion) {
  completion = calledOnce<ReadResult<VoteDictionary>>(std::nullopt, std::move(completion));
  onBackground(
      [completion](DataManager& self, Context& background) {
        VoteDictionary votes;
        const bool read = self.enumerate(
            background, MOVote::kEntityName, {"eventId", "type", "vote"},
            [&](std::int64_t, std::span<platform::ObjectValue> row) {
              // The cache key, "<eventId>-<type>" (DuplicateVoteKey::cacheKey()).
              std::string key = std::to_string(row[0].integer() ? *row[0].integer() : 0);
              key += '-';
              if (const std::string* type = row[1].text()) key += *type;
              if (const std::string* vote = row[2].text()) {
                votes.insert_or_assign(std::move(key), *vote);  // a later record wins
              } else {
                votes.erase(key);
              }
            });
        completion(read ? ReadResult<VoteDictionary>(std::move(votes)) : std::nullopt);
      },
      /*queued=*/true);
}

std::future<ReadResult<DataManager::VoteDictionary>> DataManager::getVotesForCache() {
  return futureOf<ReadResult<VoteDictionary>>(std::nullopt, [&](auto done) { getVotesForCache(done); });
}

void DataManager::deleteVotesOlderThan90Days(BoolCompletion completion) {
  purgeOld(MOVote::kEntityName, "eventTimestamp", kVoteRetentionSeconds, false, StoreChange::votes, {},
           std::move(completion));
}

std::future<bool> DataManager::deleteVotesOlderThan90Days() {
  return futureOf(false, [&](auto done) { deleteVotesOlderThan90Days(done); });
}

void DataManager::deleteVotes(BoolCompletion completion) {
  deleteEvery(MOVote::kEntityName, StoreChange::votes, std::move(completion));
}

std::future<bool> DataManager::deleteVotes() {
  return futureOf(false, [&](auto done) { deleteVotes(done); });
}

void DataManager::fixDuplicateVotes(BoolCompletion completion) {
  write(
      [](DataManager& self, Context& background) {
        ReadResult<Objects> all = self.fetch(background, MOVote::kEntityName);
        if (!all) return false;
        std::unordered_map<DuplicateVoteKey, Objects> groups;
        std::vector<DuplicateVoteKey> order;
        for (auto& object : *all) {
          const MOVote vote(object);
          DuplicateVoteKey key{vote.eventId(), vote.type().value_or("")};
          Objects& group = groups[key];
          if (group.empty()) order.push_back(std::move(key));
          group.push_back(std::move(object));
        }
        Objects duplicates;
        for (const DuplicateVoteKey& key : order) {
          const Objects& group = groups[key];
          if (group.size() < 2) continue;
          const auto accepted = [](const auto& object) { return MOVote(object).isAddSuccessful(); };
          auto keep = std::find_if(group.begin(), group.end(), [&](const auto& object) {
            return accepted(object) && MOVote(object).isEditSuccessful();
          });
          if (keep == group.end()) keep = std::find_if(group.begin(), group.end(), accepted);
          if (keep == group.end()) keep = group.begin();
          for (auto it = group.begin(); it != group.end(); ++it) {
            if (it != keep) duplicates.push_back(*it);
          }
        }
        return deleteObjects(duplicates);
      },
      std::move(completion), StoreChange::votes);
}

std::future<bool> DataManager::fixDuplicateVotes() {
  return futureOf(false, [&](auto done) { fixDuplicateVotes(done); });
}

}  // namespace kestrel
