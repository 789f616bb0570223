#include "storage/StorageFixture.h"

#include "support/ModelValues.h"

#include <KestrelDatabase/caches/DBCacheStage.h>
#include <KestrelDatabase/caches/DBCacheVote.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/DispatchQueue.h>

#include <cstring>
#include <map>
#include <utility>

namespace kestrel::testing {

void StorageTest::SetUp() {
  platform::Clock::setFixed(static_cast<double>(kNow));
  dataManager_ = DataManager::forHome(home_.path());
  ASSERT_FALSE(dataManager_->loadStore());
  storage_ = StorageManager::forHome(home_.path(), dataManager_);
  settleStore();
}

void StorageTest::TearDown() {
  if (dataManager_ && dataManager_->backgroundContext()) settleStore();
  storage_.reset();
  dataManager_.reset();
  platform::DispatchQueue::main()->waitUntilDrained();
  platform::Clock::reset();
}

void StorageTest::settleStore() {
  for (int round = 0; round < 2; ++round) {
    if (const auto background = dataManager_->backgroundContext())
      background->performAndWait([] {});
    platform::DispatchQueue::main()->waitUntilDrained();
  }
}

DBCacheAbstract& StorageTest::cache(const char* name) const {
  for (DBCacheAbstract* cache : storage_->allCaches()) {
    if (std::strcmp(cache->cacheName(), name) == 0) return *cache;
  }
  ADD_FAILURE() << "no cache " << name;
  return *storage_->allCaches()[0];
}

// ---- Model values ------------------------------------------------------------------------------

model::Event StorageTest::event(std::int64_t id, std::int64_t start, int status,
                                std::int64_t homeTeam, std::int64_t uniqueTournament) {
  return values::event(id, start, status, homeTeam, uniqueTournament);
}

model::Stage StorageTest::stage(std::int64_t id, std::optional<std::int64_t> start,
                                std::int64_t parent, std::int64_t uniqueStage) {
  return values::stage(id, start, parent, uniqueStage);
}

model::Team StorageTest::team(std::int64_t id) { return values::team(id); }

model::Player StorageTest::player(std::int64_t id, const std::string& sportSlug) {
  return values::player(id, sportSlug);
}

model::Tournament StorageTest::tournament(std::int64_t uniqueId) {
  return values::tournament(uniqueId);
}

model::UniqueTournament StorageTest::uniqueTournament(std::int64_t id) {
  return values::uniqueTournament(id);
}

void StorageTest::storeOneOfEach() {
  ASSERT_TRUE(storage_->insertEvent(event(1), false).get());
  ASSERT_TRUE(storage_->insertEvent(event(2, kNow, 3, 4), true).get());
  ASSERT_TRUE(storage_->insertStage(stage(3, kNow, 30, 1)).get());
  ASSERT_TRUE(storage_->insertMutedStage(stage(5)).get());
  ASSERT_TRUE(storage_->followTeam(team(4), true).get());
  ASSERT_TRUE(storage_->followPlayer(player(6), true).get());
  ASSERT_TRUE(storage_->followTournament(tournament(7), true).get());
  ASSERT_TRUE(storage_->pinUniqueTournament(uniqueTournament(8)).get());
  ASSERT_TRUE(storage_->saveFantasyCompetition(9).get());
  ASSERT_TRUE(storage_
                  ->saveTvChannelSuggestion(
                      {.channelId = 10, .eventId = 1, .startTimestamp = kNow, .approve = true})
                  .get());
}

// ---- Fresh reads -------------------------------------------------------------------------------

namespace {

/// What a table read delivered; a failed read (or none) fails the test.
template <class T, class Read>
T stored(Read read) {
  ReadResult<T> answer;
  read([&](ReadResult<T> result) { answer = std::move(result); });
  if (!answer) ADD_FAILURE() << "a fresh read of the store failed";
  return answer ? std::move(*answer) : T{};
}

template <class Read>
StorageManager::IDSet readIDs(Read read) {
  return stored<StorageManager::IDSet>(read);
}

}  // namespace

StorageManager::IDSet StorageTest::storedFavoriteEventIDs() const {
  return readIDs([&](auto done) { DBTableEvent::getFavoriteEventIDs(storage_->dbQueue(), done); });
}

StorageManager::IDSet StorageTest::storedMutedEventIDs() const {
  return readIDs([&](auto done) { DBTableEvent::getMutedEventIDs(storage_->dbQueue(), done); });
}

StorageManager::IDSet StorageTest::storedFavoriteStageIDs() const {
  IDSet ids;
  for (const model::Stage& stage : stored<std::vector<model::Stage>>(
           [&](auto done) { DBTableStage::getAllFavoriteStages(storage_->dbQueue(), done); })) {
    ids.insert(stage.ID);
  }
  return ids;
}

StorageManager::IDSet StorageTest::storedMutedStageIDs() const {
  IDSet ids;
  for (const model::Stage& stage : stored<std::unordered_set<model::Stage>>(
           [&](auto done) { DBTableStage::getMutedStages(storage_->dbQueue(), done); })) {
    ids.insert(stage.ID);
  }
  return ids;
}

StorageManager::IDSet StorageTest::storedTeamIDs() const {
  IDSet ids;
  for (const model::Team& team : stored<std::unordered_set<model::Team>>(
           [&](auto done) { DBTableTeam::getTeams(storage_->dbQueue(), done); })) {
    ids.insert(team.ID);
  }
  return ids;
}

StorageManager::IDSet StorageTest::storedTeamNotificationIDs() const {
  return readIDs(
      [&](auto done) { DBTableTeam::getNotificationTeamIDs(storage_->dbQueue(), done); });
}

StorageManager::IDSet StorageTest::storedPlayerIDs() const {
  IDSet ids;
  for (const model::Player& player : stored<std::unordered_set<model::Player>>(
           [&](auto done) { DBTablePlayer::getPlayers(storage_->dbQueue(), done); })) {
    ids.insert(player.ID);
  }
  return ids;
}

StorageManager::IDSet StorageTest::storedPlayerNotificationIDs() const {
  return readIDs(
      [&](auto done) { DBTablePlayer::getNotificationPlayerIDs(storage_->dbQueue(), done); });
}

StorageManager::IDSet StorageTest::storedTournamentIDs() const {
  IDSet ids;
  for (const model::Tournament& t : stored<DBTableTournament::TournamentSet>(
           [&](auto done) { DBTableTournament::getTournaments(storage_->dbQueue(), done); })) {
    if (t.uniqueId) ids.insert(*t.uniqueId);
  }
  return ids;
}

StorageManager::IDSet StorageTest::storedTournamentNotificationIDs() const {
  return readIDs([&](auto done) {
    DBTableTournament::getNotificationTournamentIDs(storage_->dbQueue(), done);
  });
}

std::vector<std::int64_t> StorageTest::storedPinnedIDs() const {
  std::vector<std::int64_t> ids;
  for (const model::UniqueTournament& t :
       stored<std::vector<model::UniqueTournament>>([&](auto done) {
         DBTablePinnedUniqueTournaments::getAllUniqueTournaments(storage_->dbQueue(), done);
       })) {
    ids.push_back(t.ID);
  }
  return ids;
}

StorageManager::IDSet StorageTest::storedFantasyIDs() const {
  return stored<IDSet>(
      [&](auto done) { DBTableFantasyCompetition::getCompetitionIds(storage_->dbQueue(), done); });
}

std::string StorageTest::suggestionText(const model::TVChannelSuggestion& suggestion) {
  const auto number = [](const std::optional<std::int64_t>& value) {
    return value ? std::to_string(*value) : std::string("-");
  };
  return number(suggestion.channelId) + "/" + number(suggestion.eventId) + "/" +
         number(suggestion.startTimestamp) + "/" + (suggestion.approve ? "yes" : "no");
}

std::set<std::string> StorageTest::storedTvSuggestions() const {
  std::set<std::string> texts;
  for (const auto& suggestion : stored<DBTableTvChannels::SuggestionSet>([&](auto done) {
         DBTableTvChannels::getTvChannelTvChannelSuggestions(storage_->dbQueue(), done);
       })) {
    texts.insert(suggestionText(suggestion));
  }
  return texts;
}

std::set<std::string> StorageTest::storedVotes() const {
  std::set<std::string> votes;
  const auto stored = dataManager_->getVotesForCache().get();
  EXPECT_TRUE(stored) << "the votes could not be read";
  if (stored) {
    for (const auto& [key, value] : *stored) votes.insert(key + "=" + value);
  }
  return votes;
}

StorageManager::IDSet StorageTest::storedHighlightIDs() const {
  const auto stored = dataManager_->getHighlightsForCacheWithCompletion().get();
  EXPECT_TRUE(stored) << "the highlights could not be read";
  return stored ? IDSet(stored->begin(), stored->end()) : IDSet{};
}

StorageManager::IDSet StorageTest::storedUniqueStageIDs() const {
  const auto stored = dataManager_->getUniqueStagesForCacheWithCompletion().get();
  EXPECT_TRUE(stored) << "the unique stages could not be read";
  return stored ? IDSet(stored->begin(), stored->end()) : IDSet{};
}

// ---- The facade's answers ----------------------------------------------------------------------

std::vector<std::int64_t> StorageTest::pinnedIDs() const {
  std::vector<std::int64_t> ids;
  for (const model::UniqueTournament& t : storage_->getPinnedUniqueTournaments())
    ids.push_back(t.ID);
  return ids;
}

std::set<std::string> StorageTest::tvSuggestions() const {
  std::set<std::string> texts;
  for (const auto& suggestion : storage_->getTvChannelSuggestions()) {
    texts.insert(suggestionText(suggestion));
  }
  return texts;
}

std::set<std::string> StorageTest::cachedVotes() const {
  std::set<std::string> votes;
  for (const auto& [key, value] : storage_->cacheVote().getObjectDictionary().snapshot()) {
    votes.insert(key + "=" + value);
  }
  return votes;
}

void StorageTest::expectStoreCachesAgree(const std::string& step) {
  SCOPED_TRACE(step);
  for (const char* name : {"DBCacheVote", "DBCacheHighlights", "DBCacheUniqueStage"}) cache(name).initCache();
  settleStore();
  EXPECT_EQ(cachedVotes(), storedVotes());
  const auto highlights = cache("DBCacheHighlights").getIDs();
  EXPECT_EQ(IDSet(highlights.begin(), highlights.end()), storedHighlightIDs());
  EXPECT_EQ(storage_->getFollowedUniqueStageIDs(), storedUniqueStageIDs());
}

void StorageTest::expectCachesAgreeWithStores(const std::string& step) const {
  SCOPED_TRACE(step);
  StorageManager& s = *storage_;
  EXPECT_EQ(s.getFavoriteEventIDs(), storedFavoriteEventIDs());
  EXPECT_EQ(s.getMutedEventIDs(), storedMutedEventIDs());

  // The stage cache: its objects, its map, and the membership questions.
  std::map<std::int64_t, std::int64_t> storedMap;
  for (const model::Stage& stage : stored<std::vector<model::Stage>>(
           [&](auto done) { DBTableStage::getAllFavoriteStages(s.dbQueue(), done); })) {
    storedMap[stage.ID] = DBCacheStageMap::groupHeadOf(stage);
  }
  const auto cachedMap = s.cacheStage().getObjectDictionary().snapshot();
  using StageMap = std::map<std::int64_t, std::int64_t>;
  EXPECT_EQ(StageMap(cachedMap.begin(), cachedMap.end()), storedMap);
  IDSet cachedStages;
  for (const model::Stage& stage : s.getFavoriteStages()) cachedStages.insert(stage.ID);
  EXPECT_EQ(cachedStages, storedFavoriteStageIDs());
  const IDSet muted = storedMutedStageIDs();
  for (std::int64_t id = 0; id <= 64; ++id) {
    EXPECT_EQ(s.isMutedStage(id), muted.contains(id)) << "stage " << id;
  }

  EXPECT_EQ(s.getFavoriteTeamIDs(), storedTeamIDs());
  EXPECT_EQ(s.getNotificationEnabledTeamIDs(), storedTeamNotificationIDs());
  EXPECT_EQ(s.getFavoritePlayerIDs(), storedPlayerIDs());
  EXPECT_EQ(s.getNotificationEnabledPlayerIDs(), storedPlayerNotificationIDs());
  EXPECT_EQ(s.getFavoriteTournamentUniqueIDs(), storedTournamentIDs());
  EXPECT_EQ(s.getNotificationEnabledTournamentUniqueIDs(), storedTournamentNotificationIDs());
  EXPECT_EQ(pinnedIDs(), storedPinnedIDs());
  EXPECT_EQ(s.getAllFantasyCompetitionIds(), storedFantasyIDs());
  EXPECT_EQ(tvSuggestions(), storedTvSuggestions());
}

}  // namespace kestrel::testing
