// The object store at the edges: the purges with the clock at the ends of
// its range delete exactly what is older than their windows, and texts keep
// every byte. (A value SQLite cannot take fails the store's save as a whole:
// tests/platform_objectstore/SqliteConnection_test.cpp; a failed save makes
// the operation report false.)
#include "DataManagerFixture.h"

#include <KestrelPlatform/Clock.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace kestrel {
namespace {

using platform::Clock;
using testing::DataManagerTest;

class DataManagerExtremeValuesTest : public DataManagerTest {
 protected:
  /// The event IDs of the stored votes.
  std::vector<std::int64_t> voteEvents() {
    std::vector<std::int64_t> ids;
    for (const auto& [key, value] :
         manager_->getVotesForCache().get().value_or(DataManager::VoteDictionary{})) {
      ids.push_back(std::stoll(key.substr(0, key.find('-', 1))));
    }
    std::sort(ids.begin(), ids.end());
    return ids;
  }
  void saveVote(std::int64_t eventId, std::int64_t eventStart) {
    EXPECT_TRUE(manager_->saveVote(eventId, eventStart, "fullTime", "1", true).get()) << eventId;
  }
  void watch(std::int64_t id, double at) {
    ASSERT_TRUE(Clock::setFixed(at));
    EXPECT_TRUE(manager_->markHighlightWatched(id, "https://h", 0).get()) << id;
  }
};

TEST_F(DataManagerExtremeValuesTest, PurgesAtTheEndsOfTheClocksRangeDeleteExactlyWhatIsOld) {
  constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  constexpr auto kEarliest = static_cast<std::int64_t>(Clock::kEarliest);
  constexpr auto kLatest = static_cast<std::int64_t>(Clock::kLatest);
  loaded();
  watch(1, Clock::kEarliest);
  watch(2, kNow);
  // Times near the top are doubles 1024 s apart: one well inside the seven
  // days, one well beyond.
  watch(3, Clock::kLatest - 1024.0 * 500);
  watch(4, Clock::kLatest - 1024.0 * 700);
  saveVote(1, kMin);
  saveVote(2, kEarliest);
  saveVote(3, static_cast<std::int64_t>(kNow));
  saveVote(4, kLatest - 7776000);  // exactly 90 days before the latest time: kept
  saveVote(5, kLatest - 7776001);
  saveVote(6, kMax);

  // At the earliest time nothing has been watched before, and only a vote
  // of an event before the range is older than 90 days.
  ASSERT_TRUE(Clock::setFixed(Clock::kEarliest));
  EXPECT_TRUE(manager_->deleteHiglightsOlderThan7Days().get());
  EXPECT_TRUE(manager_->deleteVotesOlderThan90Days().get());
  EXPECT_EQ(manager_->getHighlightsForCacheWithCompletion().get(),
            (DataManager::IDSet{1, 2, 3, 4}));
  EXPECT_EQ(voteEvents(), (std::vector<std::int64_t>{2, 3, 4, 5, 6}));

  // At the latest time everything but the last week's watches and the last
  // 90 days' (and future) events is old.
  ASSERT_TRUE(Clock::setFixed(Clock::kLatest));
  EXPECT_TRUE(manager_->deleteHiglightsOlderThan7Days().get());
  EXPECT_TRUE(manager_->deleteVotesOlderThan90Days().get());
  EXPECT_EQ(manager_->getHighlightsForCacheWithCompletion().get(), (DataManager::IDSet{3}));
  EXPECT_EQ(voteEvents(), (std::vector<std::int64_t>{4, 6}));
}

TEST_F(DataManagerExtremeValuesTest, TextsKeepEveryByte) {
  loaded();
  static constexpr char kRaw[] = "https://x/\0\"id\" 'O''Brien' \xFF\xFE";
  const std::string text(kRaw, sizeof kRaw - 1);
  EXPECT_TRUE(manager_->markHighlightWatched(1, text, 0).get());
  EXPECT_TRUE(manager_->saveVote(7, 100, text, text, true).get());
  const auto highlight = manager_->fetchHighlight(1).get();
  ASSERT_TRUE(highlight && *highlight);
  EXPECT_TRUE((*highlight)->url() == text);
  const auto vote = manager_->fetchVote(7, text).get();
  ASSERT_TRUE(vote && *vote);
  EXPECT_TRUE((*vote)->vote() == text);
  // The text up to its NUL byte is another key: read, and not found.
  const auto cut = manager_->fetchVote(7, text.substr(0, text.find('\0'))).get();
  ASSERT_TRUE(cut);
  EXPECT_FALSE(*cut);
}

}  // namespace
}  // namespace kestrel
