// The event tests' fresh database (all twelve tables, the clock fixed at
// kNow) with helpers to read any table's cells and to store event rows of
// given teams and leagues with raw SQL, for the tests of the stage and the
// followed-entity tables.
#pragma once

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <span>
#include <string>

#include "tables/DBTableEventFixture.h"

namespace kestrel::testing {

/// One row of a refresh check: status, start relative to now (absent: NULL),
/// age of the row's data (negative: stamped in the future), and whether the
/// row is due.
struct RefreshRow {
  std::int64_t status;
  std::optional<std::int64_t> start;
  std::int64_t age;
  bool due;
};

class TableRowsTest : public DBTableEventTest {
 protected:
  /// One cell of the row with this ID, as text (absent for NULL or no row).
  std::optional<std::string> cell(const std::string& table, std::int64_t id,
                                  const std::string& name) {
    std::optional<std::string> out;
    queue_->inDatabase([&](FMDatabase* db) {
      out = db->stringForQuery("SELECT " + name + " FROM " + table +
                               " WHERE ID = " + std::to_string(id));
    });
    return out;
  }

  /// The IDs of every event row.
  IDSet eventIDs() {
    CapturedRead<IDSet> done;
    DBTableEvent::getAllEventIDs(queue_, done.completion());
    return done.value.value_or(IDSet{});
  }

  int rowCount(const std::string& table) {
    int count = -1;
    queue_->inDatabase(
        [&](FMDatabase* db) { count = db->intForQuery("SELECT COUNT(*) FROM " + table); });
    return count;
  }

  /// An event row with these team columns (0: NULL), in the order home,
  /// away, home sub-teams 1 and 2, away sub-teams 1 and 2, and this league.
  void storeEvent(std::int64_t id, std::int64_t home, std::int64_t away, std::int64_t league = 0,
                  std::int64_t homeSub1 = 0, std::int64_t homeSub2 = 0, std::int64_t awaySub1 = 0,
                  std::int64_t awaySub2 = 0) {
    const auto v = [](std::int64_t value) {
      return value == 0 ? std::string("NULL") : std::to_string(value);
    };
    exec(
        "INSERT INTO EventTable_ (ID, IS_MUTED, HOME_TEAM_ID, AWAY_TEAM_ID, "
        "HOME_SUBTEAM1_COL_ID, HOME_SUBTEAM2_COL_ID, AWAY_SUBTEAM1_COL_ID, "
        "AWAY_SUBTEAM2_COL_ID, TOURNAMENT_UNIQUE_ID) VALUES (" +
        std::to_string(id) + ", NULL, " + v(home) + ", " + v(away) + ", " + v(homeSub1) + ", " +
        v(homeSub2) + ", " + v(awaySub1) + ", " + v(awaySub2) + ", " + v(league) + ")");
  }

  /// Stores the rows with IDs 1, 2, ... in `table`, whose start column is
  /// `startColumn`, then expects `due` to hold exactly the due ones.
  void storeRefreshRows(const std::string& table, const std::string& startColumn,
                        std::span<const RefreshRow> rows) {
    std::string insert =
        "INSERT INTO " + table + " (ID, STATUS_TYPE, " + startColumn + ", LAST_UPDATE) VALUES ";
    std::int64_t id = 0;
    for (const auto& row : rows) {
      const std::string start = row.start ? std::to_string(kNowSeconds + *row.start) : "NULL";
      ++id;
      insert += (id > 1 ? ", (" : "(") + std::to_string(id) + ", " + std::to_string(row.status) +
                ", " + start + ", " + std::to_string(kNowSeconds - row.age) + ")";
    }
    exec(insert);
  }
  static void expectDue(const IDSet& due, std::span<const RefreshRow> rows) {
    std::int64_t id = 0;
    for (const auto& row : rows) {
      EXPECT_EQ(due.count(++id) == 1, row.due)
          << "status " << row.status << ", start " << row.start.value_or(-1) << ", age " << row.age;
    }
  }

  /// Makes the queue unable to reopen its connection: every later block gets
  /// no database.
  void loseConnection() {
    queue_->close();
    const auto folder = helper_->databasePath().parent_path();
    std::filesystem::remove_all(folder);
    std::ofstream(folder) << "a file where the folder was";
  }
};

}  // namespace kestrel::testing
