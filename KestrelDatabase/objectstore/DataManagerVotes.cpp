// DataManager: vote records.
#include <KestrelDatabase/objectstore/DataManager.h>

#include <KestrelDatabase/objectstore/ResolvingPromise.h>

#include <algorithm>

namespace kestrel {

using platform::Predicate;

std::optional<MOVote> DataManager::findVote(Context& context, std::int64_t eventId,
                                            const std::string& type) const {
  auto object = first(context, MOVote::kEntityName,
                      Predicate::andPredicate({Predicate::withFormat("eventId = %@", {std::to_string(eventId)}),
                                               Predicate::withFormat("type = %@", {type})}));
  if (!object) return std::nullopt;
  return MOVote(std::move(object));
}

void DataManager::fetchVote(std::int64_t eventId, const std::string& type, VoteCompletion completion) {
  onBackground([eventId, type, completion = std::move(completion)](DataManager& self, Context& background) {
    auto vote = self.findVote(background, eventId, type);
    if (completion) completion(std::move(vote));
  });
}

std::future<std::optional<MOVote>> DataManager::fetchVote(std::int64_t eventId, const std::string& type) {
  return futureOf<std::optional<MOVote>>(std::nullopt, [&](auto done) { fetchVote(eventId, type, done); });
}

void DataManager::saveVote(std::int64_t eventId, std::int64_t timestamp, const std::string& type,
                           const std::string& vote, bool isAddSuccessful, BoolCompletion completion) {
  fetchVote(eventId, type, [weak = weak_from_this(), eventId, timestamp, type, vote, isAddSuccessful,
                            completion = std::move(completion)](std::optional<MOVote> found) {
    const auto self = weak.lock();
    if (!self) return;
    self->change(
        [found, eventId, timestamp, type, vote, isAddSuccessful](DataManager& manager,
                                                                 Context& background) {
          std::optional<MOVote> record = found;
          // A save queued before this one may have stored the vote since the fetch.
          if (!record) record = manager.findVote(background, eventId, type);
          if (record) {
            record->setVote(vote);
            record->setIsAddSuccessful(isAddSuccessful);
            return;
          }
          auto object = manager.insert(background, MOVote::kEntityName);
          if (!object) return;
          MOVote created(std::move(object));
          created.setEventId(eventId);
          created.setEventTimestamp(timestamp);
          created.setType(type);
          created.setVote(vote);
          created.setIsAddSuccessful(isAddSuccessful);
        },
        [completion] {
          if (completion) completion(true);
        });
  });
}

std::future<bool> DataManager::saveVote(std::int64_t eventId, std::int64_t timestamp,
                                        const std::string& type, const std::string& vote,
                                        bool isAddSuccessful) {
  return futureOf(false, [&](auto done) { saveVote(eventId, timestamp, type, vote, isAddSuccessful, done); });
}

void DataManager::editVote(std::int64_t eventId, const std::string& type, const std::string& vote,
                           bool isEditSuccessful, BoolCompletion completion) {
  fetchVote(eventId, type, [weak = weak_from_this(), vote, isEditSuccessful,
                            completion = std::move(completion)](std::optional<MOVote> found) {
    if (!found) {
      if (completion) completion(false);
      return;
    }
    found->setPreviousVote(found->vote());
    found->setVote(vote);
    found->setIsEditSuccessful(isEditSuccessful);
    if (const auto self = weak.lock()) {
      self->saveContext(found->object()->context(), [completion] { if (completion) completion(true); }, {});
    }
  });
}

std::future<bool> DataManager::editVote(std::int64_t eventId, const std::string& type,
                                        const std::string& vote, bool isEditSuccessful) {
  return futureOf(false, [&](auto done) { editVote(eventId, type, vote, isEditSuccessful, done); });
}

void DataManager::markVote(std::int64_t eventId, const std::string& type, bool added,
                           BoolCompletion completion) {
  fetchVote(eventId, type, [weak = weak_from_this(), added,
                            completion = std::move(completion)](std::optional<MOVote> found) {
    if (!found) {
      if (completion) completion(false);
      return;
    }
    if (added) {
      found->setIsAddSuccessful(true);
    } else {
      found->setIsEditSuccessful(true);
    }
    if (const auto self = weak.lock()) {
      self->saveContext(found->object()->context(), [completion] { if (completion) completion(true); }, {});
    }
  });
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

std::optional<std::string> DataManager::getVoteForEvent(std::int64_t eventId, const std::string& type) {
  std::optional<std::string> vote;
  initializeIfNeeded([&] {
    // On the main queue the main context answers: it holds every finished
    // save, and the main queue must not wait for the background queue.
    const auto context =
        platform::DispatchQueue::main()->isCurrent() ? mainContext() : backgroundContext();
    if (!context) return;
    context->performAndWait([&] {
      if (const auto record = findVote(*context, eventId, type)) vote = record->vote();
    });
  });
  return vote;
}

void DataManager::getUnsuccessfulVotesWithCompletion(VotesCompletion completion) {
  const std::string startsNowOrLater = std::to_string(now());
  onBackground([startsNowOrLater, completion = std::move(completion)](DataManager& self,
                                                                      Context& background) {
    const Predicate unsent = Predicate::orPredicate({Predicate::withFormat("isAddSuccessful = %@", {"false"}),
                                                     Predicate::withFormat("isEditSuccessful = %@", {"false"})});
    const Predicate upcoming = Predicate::withFormat("eventTimestamp >= %@", {startsNowOrLater});
    std::vector<MOVote> votes;
    for (auto& object : self.fetch(background, MOVote::kEntityName, Predicate::andPredicate({unsent, upcoming}))) {
      votes.emplace_back(std::move(object));
    }
    if (completion) completion(std::move(votes));
  });
}

std::future<std::vector<MOVote>> DataManager::getUnsuccessfulVotesWithCompletion() {
  return futureOf<std::vector<MOVote>>({}, [&](auto done) { getUnsuccessfulVotesWithCompletion(done); });
}

void DataManager::getVotesForCache(VoteDictionaryCompletion completion) {
  onBackground(
      [completion = std::move(completion)](DataManager& self, Context& background) {
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
        if (!completion) return;
        if (!read) {
          completion(std::nullopt);
          return;
        }
        completion(std::move(votes));
      },
      /*queued=*/true);
}

std::future<std::optional<DataManager::VoteDictionary>> DataManager::getVotesForCache() {
  return futureOf<std::optional<VoteDictionary>>(std::nullopt, [&](auto done) { getVotesForCache(done); });
}

void DataManager::deleteVotesOlderThan90Days(BoolCompletion completion) {
  purgeOld(MOVote::kEntityName, "eventTimestamp", kVoteRetentionSeconds, false, StoreChange::votes, {},
           std::move(completion));
}

std::future<bool> DataManager::deleteVotesOlderThan90Days() {
  return futureOf(false, [&](auto done) { deleteVotesOlderThan90Days(done); });
}

void DataManager::deleteVotes(BoolCompletion completion) {
  onBackground([completion = std::move(completion)](DataManager& self, Context& background) {
    self.deleteAll(background, MOVote::kEntityName, StoreChange::votes, completion);
  });
}

std::future<bool> DataManager::deleteVotes() {
  return futureOf(false, [&](auto done) { deleteVotes(done); });
}

void DataManager::fixDuplicateVotes(BoolCompletion completion) {
  onBackground([completion = std::move(completion)](DataManager& self, Context& background) {
    std::unordered_map<DuplicateVoteKey, Objects> groups;
    std::vector<DuplicateVoteKey> order;
    for (auto& object : self.fetch(background, MOVote::kEntityName)) {
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
    self.deleteAll(background, std::move(duplicates), std::nullopt, completion);
  });
}

std::future<bool> DataManager::fixDuplicateVotes() {
  return futureOf(false, [&](auto done) { fixDuplicateVotes(done); });
}

}  // namespace kestrel
