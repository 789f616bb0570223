#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/CommaLocale.h"
#include "tables/DBTableEventFixture.h"

// An application that switches the process to a locale with a decimal comma
// (setlocale and std::locale::global) gets the statements it would get under
// "C", and so the same favourites and the same purge.
namespace kestrel {
namespace {

using model::Event;
using testing::Captured;
using testing::CapturedRead;
using testing::DBTableEventTest;
using testing::kNow;

using DBTableEventLocaleTest = DBTableEventTest;

TEST_F(DBTableEventLocaleTest, CommaDecimalLocaleGivesTheSameStatementsFavouritesAndPurge) {
  const double now = kNow + 0.25;  // "%f" gives decimals to get wrong
  platform::Clock::setFixed(now);
  Event sample = event(1, 2, -3600);
  sample.homeScoreOriginal = model::EventScore{.display = 1234567, .periods = {1, 2}};
  const auto statements = [&] {
    return std::vector<std::string>{
        DBTableEvent::allFavoriteEventsQuery(now),
        DBTableEvent::finishedEventsCountQuery(now),
        DBTableEvent::eventIDsToRefreshQuery(now),
        DBTableEvent::finishedEventsDeleteStatement(now),
        DBTableEvent::hideFinishedEventsStatement(now),
        DBTableEvent::oldEventsDeleteStatement(now),
        NewSQLBuilder::insertOrReplaceInTable(DBTableEvent::kTableName,
                                              DBTableEvent::mapAllPropertiesToColumns(sample))
            .value_or(""),
        DBTableEvent::deleteEventsStatement({1234567, 2}).value_or("")};
  };
  const std::vector<std::string> underC = statements();

  const testing::CommaLocale comma;
  if (!comma.active()) GTEST_SKIP() << comma.reason();
  EXPECT_EQ(statements(), underC) << comma.name();

  ASSERT_TRUE(insertFavorite(sample));                // in progress
  ASSERT_TRUE(insertFavorite(event(2, 3, -604801)));  // started more than a week ago
  ASSERT_TRUE(insertFavorite(event(3, 1, -7200)));    // finished, nobody follows it
  ASSERT_TRUE(insertFavorite(event(4, 3, 86400)));    // tomorrow
  EXPECT_EQ(column(1, "LAST_UPDATE"), "1700000000.25");

  CapturedRead<std::vector<Event>> favourites;
  DBTableEvent::getAllFavoriteEvents(queue_, favourites.completion());
  ASSERT_TRUE(favourites.value.has_value());
  std::vector<std::int64_t> order;
  for (const auto& e : *favourites.value) order.push_back(e.ID);
  EXPECT_EQ(order, (std::vector<std::int64_t>{3, 1, 4}));
  CapturedRead<int> finished;
  DBTableEvent::getFinishedEventsCount(queue_, finished.completion());
  EXPECT_EQ(finished.value, 1);

  Captured<bool> pruned, purged;
  DBTableEvent::deleteFinishedEvents(queue_, pruned.completion());
  DBTableEvent::deleteOldEvents(queue_, purged.completion());
  EXPECT_EQ(pruned.value, true);
  EXPECT_EQ(purged.value, true);
  EXPECT_EQ(ids(&DBTableEvent::getAllEventIDs), (IDSet{1, 4}));
  EXPECT_EQ(logs_.countContaining("DB Error"), 0u);
}

}  // namespace
}  // namespace kestrel
