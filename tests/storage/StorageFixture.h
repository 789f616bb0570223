// What the facade tests share: a temporary home with a loaded object store
// and a StorageManager made for it, the clock fixed, model values made from
// a few numbers, and fresh reads of every store through the table classes
// and DataManager, to compare with what the facade answers from memory.
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelModel/Event.h>
#include <KestrelModel/Stage.h>
#include <KestrelModel/Team.h>
#include <KestrelModel/Tournament.h>
#include <KestrelModel/UniqueTournament.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "support/TempDir.h"

namespace kestrel::testing {

/// How long a wait may take before it counts as a hang: a bound that only
/// detects a future that never resolves, never a synchronisation.
inline constexpr std::chrono::seconds kHang{60};

class StorageTest : public ::testing::Test {
 protected:
  using IDSet = StorageManager::IDSet;
  static constexpr std::int64_t kNow = 1'700'000'000;

  void SetUp() override;
  void TearDown() override;

  /// Waits until the object store has answered every request sent so far,
  /// the main queue has run what it was given, and the cache reloads those
  /// blocks asked for have been answered too.
  void settleStore();
  /// The cache of that name among the facade's sixteen.
  DBCacheAbstract& cache(const char* name) const;

  // ---- Model values -----------------------------------------------------------------------

  static model::Event event(std::int64_t id, std::int64_t start = kNow, int status = 3,
                            std::int64_t homeTeam = 0, std::int64_t uniqueTournament = 0);
  /// A stage of the unique stage `uniqueStage`, under the parent `parent`
  /// (none for 0), starting at `start` (none when absent).
  static model::Stage stage(std::int64_t id, std::optional<std::int64_t> start = kNow,
                            std::int64_t parent = 0, std::int64_t uniqueStage = 0);
  static model::Team team(std::int64_t id);
  static model::Player player(std::int64_t id, const std::string& sportSlug = "football");
  static model::Tournament tournament(std::int64_t uniqueId);
  static model::UniqueTournament uniqueTournament(std::int64_t id);

  /// Something of every table-fed kind, stored and cached: favourite 1,
  /// muted favourite 2 of team 4, stage 3 under 30 (unique stage 1), muted
  /// stage 5, team 4, player 6 and league 7 with notifications, pinned 8,
  /// fantasy competition 9, a TV channel answer for event 1.
  void storeOneOfEach();

  // ---- Fresh reads of the stores -----------------------------------------------------------

  IDSet storedFavoriteEventIDs() const;
  IDSet storedMutedEventIDs() const;
  IDSet storedFavoriteStageIDs() const;
  IDSet storedMutedStageIDs() const;
  IDSet storedTeamIDs() const;
  IDSet storedTeamNotificationIDs() const;
  IDSet storedPlayerIDs() const;
  IDSet storedPlayerNotificationIDs() const;
  IDSet storedTournamentIDs() const;
  IDSet storedTournamentNotificationIDs() const;
  /// Pinned IDs, oldest pin first.
  std::vector<std::int64_t> storedPinnedIDs() const;
  IDSet storedFantasyIDs() const;
  std::set<std::string> storedTvSuggestions() const;
  /// The votes as "<key>=<value>", and the highlight and unique-stage IDs;
  /// a read that fails fails the test.
  std::set<std::string> storedVotes() const;
  IDSet storedHighlightIDs() const;
  IDSet storedUniqueStageIDs() const;

  // ---- What the facade answers from memory, in the same shapes ----------------------------

  std::vector<std::int64_t> pinnedIDs() const;
  std::set<std::string> tvSuggestions() const;
  std::set<std::string> cachedVotes() const;
  static std::string suggestionText(const model::TVChannelSuggestion& suggestion);

  /// Every cache answer of the facade against a fresh read of its store.
  void expectCachesAgreeWithStores(const std::string& step) const;
  /// The three caches fed from the object store against a fresh read of it,
  /// once each has asked the store again (if it had nothing) and every
  /// answer has come in.
  void expectStoreCachesAgree(const std::string& step);

  TempDir home_;
  std::shared_ptr<DataManager> dataManager_;
  std::shared_ptr<StorageManager> storage_;
};

}  // namespace kestrel::testing
