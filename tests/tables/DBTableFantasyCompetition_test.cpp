#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <future>
#include <limits>
#include <memory>

#include "tables/SmallTableFixture.h"

// Followed fantasy competitions: IDs at the edges of 64 bits, one row per ID,
// a missing table read as the empty set, and the future forms, ready on
// every path.
namespace kestrel {
namespace {

using Fantasy = DBTableFantasyCompetition;

constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kMin = std::numeric_limits<std::int64_t>::min();

template <class T>
bool ready(const std::future<T>& future) {
  return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
}

using DBTableFantasyCompetitionTest = testing::SmallTableTest;

TEST_F(DBTableFantasyCompetitionTest, IDsAtThe64BitEdgesAreStoredAndReadExactly) {
  const IDSet edges{kMin, -1, 0, 1, 4294967295, 4294967296, kMax};
  for (const std::int64_t id : edges) {
    ASSERT_EQ(outcome<bool>([&](auto done) { Fantasy::saveCompetition(id, queue_, done); }), true)
        << id;
  }
  ASSERT_EQ(outcome<bool>([&](auto done) { Fantasy::saveCompetition(kMax, queue_, done); }), true);
  EXPECT_EQ(rows("SELECT COUNT(*) FROM FantasyCompetitionTable"), (std::vector<Row>{{"7"}}));
  EXPECT_EQ(read<IDSet>([&](auto done) { Fantasy::getCompetitionIds(queue_, done); }), edges);

  EXPECT_EQ(outcome<bool>([&](auto done) { Fantasy::deleteCompetition(kMin, queue_, done); }),
            true);
  EXPECT_EQ(outcome<bool>([&](auto done) { Fantasy::deleteCompetition(42, queue_, done); }), true)
      << "an ID that is not stored";
  EXPECT_EQ(Fantasy::getCompetitionIds(queue_).get(),
            (ReadResult<IDSet>{{-1, 0, 1, 4294967295, 4294967296, kMax}}));
}

TEST_F(DBTableFantasyCompetitionTest, EveryFutureIsReadyWhenReturnedOnEveryPath) {
  // Each future holds, as soon as it is returned, what the completion gives.
  const auto expectAnswers = [](const std::shared_ptr<FMDatabaseQueue>& queue, bool written,
                                const ReadResult<IDSet>& read) {
    auto saved = Fantasy::saveCompetition(5, queue);
    auto ids = Fantasy::getCompetitionIds(queue);
    auto deleted = Fantasy::deleteCompetition(5, queue);
    ASSERT_TRUE(ready(saved) && ready(ids) && ready(deleted));
    EXPECT_EQ(saved.get(), written);
    EXPECT_EQ(ids.get(), read);
    EXPECT_EQ(deleted.get(), written);
  };
  expectAnswers(queue_, true, IDSet{5});
  expectAnswers(nullptr, false, std::nullopt);  // no queue: no work, still an answer

  // A missing table: the writes fail, and so does the read (never an empty set).
  exec("DROP TABLE FantasyCompetitionTable");
  expectAnswers(queue_, false, std::nullopt);
}

}  // namespace
}  // namespace kestrel
