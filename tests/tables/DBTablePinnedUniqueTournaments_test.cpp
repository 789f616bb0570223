#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tables/SmallTableFixture.h"

// Pinned unique tournaments: rows from before the time column come first,
// what a row keeps of the category and sport, the 32-bit ID read and hostile
// names. (Re-pinning and the deletes are walked by StorageManagerModelTest.)
namespace kestrel {
namespace {

using model::CategoryModel;
using model::Sport;
using model::UniqueTournament;
using Pinned = DBTablePinnedUniqueTournaments;

class DBTablePinnedUniqueTournamentsTest : public testing::SmallTableTest {
 protected:
  std::optional<bool> pin(const UniqueTournament& tournament) {
    return outcome<bool>(
        [&](auto done) { Pinned::saveUniqueTournament(tournament, queue_, done); });
  }
  std::vector<UniqueTournament> pinned() {
    return read<std::vector<UniqueTournament>>(
        [&](auto done) { Pinned::getAllUniqueTournaments(queue_, done); });
  }
  std::vector<std::int64_t> pinnedOrder() {
    std::vector<std::int64_t> ids;
    for (const auto& tournament : pinned()) ids.push_back(tournament.ID);
    return ids;
  }
  IDSet pinnedIDs() {
    return read<IDSet>([&](auto done) { Pinned::getAllUniqueTournamentIDs(queue_, done); });
  }

  static UniqueTournament full(std::int64_t id) {
    return UniqueTournament{.ID = id,
                            .name = "Premier League",
                            .category = CategoryModel{.ID = 1,
                                                      .name = "England",
                                                      .flag = "england",
                                                      .priority = 10,
                                                      .sport = Sport{.ID = 7, .slug = "football"}}};
  }
};

TEST_F(DBTablePinnedUniqueTournamentsTest, RowsFromBeforeTheTimeColumnComeFirst) {
  // The table as it was before CREATED_AT_TIMESTAMP, with one pin, upgraded
  // the way every start upgrades it.
  exec("DROP TABLE PinnedUniqueTournamentsTable");
  exec(
      "CREATE TABLE PinnedUniqueTournamentsTable ( ID INTEGER PRIMARY KEY AUTOINCREMENT, "
      "NAME TEXT, CATEGORY_ID INTEGER, CATEGORY_NAME TEXT, CATEGORY_FLAG TEXT, "
      "CATEGORY_PRIORITY INTEGER, SPORT_ID INTEGER, SPORT_SLUG TEXT )");
  exec("INSERT INTO PinnedUniqueTournamentsTable (ID, NAME) VALUES (5, 'old pin')");
  for (const auto& statement : Pinned::updateTableQueries()) exec(statement);

  setNow(-86400 * 365);  // even a pin made long ago sorts after it
  ASSERT_EQ(pin(UniqueTournament{.ID = 9}), true);
  EXPECT_EQ(pinnedOrder(), (std::vector<std::int64_t>{5, 9}));
  EXPECT_EQ(pinned().front().name, "old pin");
}

TEST_F(DBTablePinnedUniqueTournamentsTest, ThePinsTimeIsStoredAsExactlyTheClocksTime) {
  // SQLite reads the shortest text of this time one unit in the last place
  // too high; the stamp must still be the clock's time, bit for bit.
  constexpr double kTime = 1739142721.649526;
  ASSERT_TRUE(platform::Clock::setFixed(kTime));
  ASSERT_EQ(pin(UniqueTournament{.ID = 9}), true);
  int exact = 0;
  queue_->inDatabase([&](FMDatabase* db) {
    exact = db->intForQuery(
        "SELECT count(*) FROM PinnedUniqueTournamentsTable WHERE CREATED_AT_TIMESTAMP = ?", kTime);
  });
  EXPECT_EQ(exact, 1);
}

TEST_F(DBTablePinnedUniqueTournamentsTest, CategoryAndSportRoundTripAndAbsentPartsAreNull) {
  ASSERT_EQ(pin(full(17)), true);
  setNow(1);
  ASSERT_EQ(pin(UniqueTournament{.ID = 18}), true);  // no name, no category
  setNow(2);
  UniqueTournament noSport = full(19);
  noSport.category->sport.reset();
  ASSERT_EQ(pin(noSport), true);

  const std::optional<std::string> null;
  EXPECT_EQ(
      rows("SELECT * FROM PinnedUniqueTournamentsTable ORDER BY ID"),
      (std::vector<Row>{
          {"17", "Premier League", "1", "England", "england", "10", "7", "football", "1700000000"},
          {"18", null, null, null, null, "0", null, null, "1700000001"},
          {"19", "Premier League", "1", "England", "england", "10", null, null, "1700000002"},
      }));

  // Read back, every row has a category with a sport, empty ones from NULLs.
  std::vector<Row> read;
  for (const auto& t : pinned()) {
    ASSERT_TRUE(t.category && t.category->sport);
    const auto& c = *t.category;
    read.push_back({std::to_string(t.ID), t.name, std::to_string(c.ID), c.name, c.flag,
                    std::to_string(c.priority), std::to_string(c.sport->ID), c.sport->slug});
  }
  EXPECT_EQ(read, (std::vector<Row>{
                      {"17", "Premier League", "1", "England", "england", "10", "7", "football"},
                      {"18", null, "0", null, null, "0", "0", null},
                      {"19", "Premier League", "1", "England", "england", "10", "0", null},
                  }));
}

TEST_F(DBTablePinnedUniqueTournamentsTest, IDsAbove32BitsReadBackWholeInTheIDSetAndTheTournaments) {
  ASSERT_EQ(pin(UniqueTournament{.ID = 4294967298}), true);
  EXPECT_EQ(pinnedIDs(), (IDSet{4294967298}));
  EXPECT_EQ(pinnedOrder(), (std::vector<std::int64_t>{4294967298}));
}

TEST_F(DBTablePinnedUniqueTournamentsTest, AHostileNameIsStoredAsItIsAndSetsNoOtherColumn) {
  ASSERT_EQ(pin(full(1)), true);
  UniqueTournament hostile = full(1);
  hostile.name = "x\", \"CATEGORY_PRIORITY\") VALUES (\"1\", \"99";
  logs_.clear();
  EXPECT_EQ(pin(hostile), true);
  EXPECT_TRUE(logs_.lines().empty());
  EXPECT_EQ(rows("SELECT NAME, CATEGORY_PRIORITY FROM PinnedUniqueTournamentsTable"),
            (std::vector<Row>{{*hostile.name, "10"}}));
}

}  // namespace
}  // namespace kestrel
