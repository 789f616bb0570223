#include <KestrelDatabase/tables/DBTablePlayer.h>
#include <KestrelDatabase/tables/DBTableTeam.h>
#include <KestrelDatabase/tables/DBTableTournament.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <algorithm>
#include <chrono>
#include <future>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tables/TableRowsFixture.h"

// What the three followed-entity tables share, run on each: the notification
// flags in both styles with their exact texts and ID widths, the future forms
// ready on every path, the columns an older table gains, and the sport read
// that never lets a slug act as SQL.
namespace kestrel {
namespace {

using Queue = std::shared_ptr<FMDatabaseQueue>;
using testing::Captured;
using testing::CapturedRead;

// One followed-entity table through its operations.
struct FollowedTable {
  const char* name;
  std::future<bool> (*save)(std::int64_t id, const std::string& name, bool notify, const Queue&);
  void (*setFlag)(bool, const IDSet&, const Queue&, const BoolCompletion&);
  std::future<bool> (*setFlagLines)(bool, const IDSet&, const Queue&);
  void (*flagged)(const Queue&, const IDSetCompletion&);
  std::future<ReadResult<IDSet>> (*flaggedLines)(const Queue&);
};

// Test names and messages show the table's name, not the struct's bytes.
void PrintTo(const FollowedTable& table, std::ostream* out) {
  *out << table.name;
}

const FollowedTable kTables[] = {
    {"MyTeamTable",
     [](std::int64_t id, const std::string& name, bool notify, const Queue& q) {
       return DBTableTeam::saveTeam(model::Team{.ID = id, .name = name}, notify, q);
     },
     &DBTableTeam::setNotificationsEnabled,
     [](bool on, const IDSet& ids, const Queue& q) {
       return DBTableTeam::setTeamNotificationsEnabled(on, ids, q);
     },
     &DBTableTeam::getNotificationTeamIDs,
     [](const Queue& q) { return DBTableTeam::getNotificationEnabledTeamIds(q); }},
    {"MyPlayerTable",
     [](std::int64_t id, const std::string& name, bool notify, const Queue& q) {
       return DBTablePlayer::savePlayer(model::Player{.ID = id, .name = name}, notify, q);
     },
     &DBTablePlayer::setNotificationsEnabled,
     [](bool on, const IDSet& ids, const Queue& q) {
       return DBTablePlayer::setPlayerNotificationsEnabled(on, ids, q);
     },
     &DBTablePlayer::getNotificationPlayerIDs,
     [](const Queue& q) { return DBTablePlayer::getNotificationEnabledPlayerIds(q); }},
    {"MyLeagueTable",
     [](std::int64_t id, const std::string& name, bool notify, const Queue& q) {
       model::Tournament league{.name = name, .uniqueId = id};
       return DBTableTournament::saveTournament(league, notify, q);
     },
     &DBTableTournament::setNotificationsEnabled,
     [](bool on, const IDSet& ids, const Queue& q) {
       return DBTableTournament::setTournamentNotificationsEnabled(on, ids, q);
     },
     &DBTableTournament::getNotificationTournamentIDs,
     [](const Queue& q) {
       return DBTableTournament::getNotificationEnabledTournamentUniqueIds(q);
     }},
};

class FollowedTableTest : public testing::TableRowsTest,
                          public ::testing::WithParamInterface<FollowedTable> {
 protected:
  IDSet flagged() {
    CapturedRead<IDSet> done;
    GetParam().flagged(queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    EXPECT_FALSE(done.failed);
    return done.value.value_or(IDSet{});
  }
  std::string table() const { return GetParam().name; }
};

int recordStatement(unsigned, void* texts, void*, void* sql) {
  static_cast<std::vector<std::string>*>(texts)->push_back(static_cast<const char*>(sql));
  return 0;
}

constexpr std::int64_t kWide = 4294967303;  // low 32 bits: 7

TEST_P(FollowedTableTest, NotificationFlagsInBothStylesWithTheirTextsAnd64BitIDs) {
  const FollowedTable& t = GetParam();
  ASSERT_TRUE(t.save(1, "one", true, queue_).get());
  ASSERT_TRUE(t.save(2, "two", false, queue_).get());
  ASSERT_TRUE(t.save(kWide, "wide", true, queue_).get());
  EXPECT_EQ(flagged(), (IDSet{1, kWide})) << "both reads take 64 bits";
  EXPECT_EQ(t.flaggedLines(queue_).get(), (IDSet{1, kWide}));

  std::vector<std::string> texts;
  queue_->inDatabase([&](FMDatabase* db) {
    sqlite3_trace_v2(db->sqliteHandle(), SQLITE_TRACE_STMT, recordStatement, &texts);
  });
  Captured<bool> set;
  t.setFlag(true, {2}, queue_, set.completion());
  EXPECT_EQ(set.value, true);
  EXPECT_TRUE(t.setFlagLines(false, {1, kWide}, queue_).get());
  EXPECT_EQ(t.flaggedLines(queue_).get(), IDSet{2});
  queue_->inDatabase(
      [](FMDatabase* db) { sqlite3_trace_v2(db->sqliteHandle(), 0, nullptr, nullptr); });

  const auto ran = [&](const std::string& text) {
    return std::find(texts.begin(), texts.end(), text) != texts.end();
  };
  EXPECT_TRUE(ran("UPDATE " + table() + " SET NOTIFICATIONS_ENABLED = 1 WHERE ID IN (2)"));
  EXPECT_TRUE(ran("UPDATE " + table() + "\nSET NOTIFICATIONS_ENABLED = 0\nWHERE ID IN (1, " +
                  std::to_string(kWide) + ")"));
  EXPECT_TRUE(ran("SELECT ID\nFROM " + table() + "\nWHERE NOTIFICATIONS_ENABLED = 1"));
}

TEST_P(FollowedTableTest, EveryFutureIsReadyOnEveryPath) {
  const FollowedTable& t = GetParam();
  const auto ready = [](const auto& future) {
    return future.wait_for(std::chrono::seconds(0)) == std::future_status::ready;
  };
  // No queue: nothing runs, every future is ready with false or nothing.
  const Queue none;
  auto saved = t.save(1, "one", true, none);
  auto set = t.setFlagLines(true, {1}, none);
  auto read = t.flaggedLines(none);
  ASSERT_TRUE(ready(saved) && ready(set) && ready(read));
  EXPECT_FALSE(saved.get());
  EXPECT_FALSE(set.get());
  EXPECT_EQ(read.get(), std::nullopt);

  // A name in double quotes: stored as it is, ready at once.
  auto quoted = t.save(1, "a \"quoted\" name", true, queue_);
  ASSERT_TRUE(ready(quoted));
  EXPECT_TRUE(quoted.get());
  EXPECT_EQ(rowCount(table()), 1);
  EXPECT_EQ(logs_.countContaining("refused"), 0u);

  // No connection: false and nothing, again at once.
  ASSERT_TRUE(t.save(1, "one", true, queue_).get());
  loseConnection();
  saved = t.save(2, "two", true, queue_);
  set = t.setFlagLines(false, {1}, queue_);
  read = t.flaggedLines(queue_);
  ASSERT_TRUE(ready(saved) && ready(set) && ready(read));
  EXPECT_FALSE(saved.get());
  EXPECT_FALSE(set.get());
  EXPECT_EQ(read.get(), std::nullopt);
  CapturedRead<IDSet> classic;
  t.flagged(queue_, classic.completion());
  EXPECT_TRUE(classic.calls == 1 && classic.failed);
}

INSTANTIATE_TEST_SUITE_P(AllFollowedTables, FollowedTableTest, ::testing::ValuesIn(kTables),
                         [](const auto& instance) { return std::string(instance.param.name); });

using DBTableFollowedUpgradeTest = testing::TableRowsTest;

TEST_F(DBTableFollowedUpgradeTest, OlderTablesGainNotificationsOneAndTypeZeroOnStart) {
  exec("DROP TABLE MyTeamTable");
  exec("DROP TABLE MyPlayerTable");
  exec("DROP TABLE MyLeagueTable");
  exec("CREATE TABLE MyTeamTable (ID INTEGER PRIMARY KEY, SORT_ORDER INTEGER, TEAM_NAME TEXT)");
  exec("CREATE TABLE MyPlayerTable (ID INTEGER PRIMARY KEY, PLAYER_NAME TEXT)");
  exec("CREATE TABLE MyLeagueTable (ID INTEGER PRIMARY KEY, TOURNAMENT_NAME TEXT)");
  exec("INSERT INTO MyTeamTable (ID, SORT_ORDER, TEAM_NAME) VALUES (1, 0, 'Old')");
  exec("INSERT INTO MyPlayerTable (ID, PLAYER_NAME) VALUES (2, 'Old')");
  exec("INSERT INTO MyLeagueTable (ID, TOURNAMENT_NAME) VALUES (3, 'Old')");

  helper_.reset();
  helper_ = FMDBHelper::forHome(home_.path());
  queue_ = helper_->getDBQueue();
  ASSERT_NE(queue_, nullptr);

  EXPECT_EQ(cell("MyTeamTable", 1, "NOTIFICATIONS_ENABLED"), "1");
  EXPECT_EQ(cell("MyTeamTable", 1, "TYPE"), "0");
  EXPECT_EQ(cell("MyPlayerTable", 2, "NOTIFICATIONS_ENABLED"), "1");
  EXPECT_EQ(cell("MyLeagueTable", 3, "NOTIFICATIONS_ENABLED"), "1");
  EXPECT_EQ(DBTableTeam::getNotificationEnabledTeamIds(queue_).get(), IDSet{1});
  EXPECT_EQ(DBTablePlayer::getNotificationEnabledPlayerIds(queue_).get(), IDSet{2});
  EXPECT_EQ(DBTableTournament::getNotificationEnabledTournamentUniqueIds(queue_).get(), IDSet{3});
  // The old rows read as entities with the new columns' defaults.
  CapturedRead<std::unordered_set<model::Team>> teams;
  DBTableTeam::getTeams(queue_, teams.completion());
  ASSERT_EQ(teams.value->size(), 1u);
  EXPECT_EQ(teams.value->begin()->name, "Old");
  EXPECT_EQ(teams.value->begin()->type, 0);
}

TEST_F(DBTableFollowedUpgradeTest, SportReadsMatchTheSlugAsTextNeverAsSQL) {
  for (const auto& [id, slug] : {std::pair{1, "football"}, {2, "football"}, {3, "tennis"}}) {
    ASSERT_TRUE(DBTableTeam::saveTeam(
                    model::Team{.ID = id, .sport = model::Sport::sportWithSlug(slug)}, true, queue_)
                    .get());
    model::Tournament league{
        .uniqueId = id + 10,
        .category = model::CategoryModel{.sport = model::Sport::sportWithSlug(slug)}};
    ASSERT_TRUE(DBTableTournament::saveTournament(league, true, queue_).get());
  }
  const auto teamsOf = [&](const std::string& slug) {
    CapturedRead<IDSet> done;
    DBTableTeam::getTeamIDsForSport(slug, queue_, done.completion());
    return done.value.value_or(IDSet{99});
  };
  const auto leaguesOf = [&](const std::string& slug) {
    CapturedRead<IDSet> done;
    DBTableTournament::getTournamentIDsForSport(slug, queue_, done.completion());
    return done.value.value_or(IDSet{99});
  };
  EXPECT_EQ(teamsOf("football"), (IDSet{1, 2}));
  EXPECT_EQ(leaguesOf("tennis"), IDSet{13});
  for (const std::string hostile : {"SPORT_SLUG", "football\" OR \"1\" = \"1", "x' OR 1=1 --"}) {
    EXPECT_EQ(teamsOf(hostile), IDSet{}) << hostile;
    EXPECT_EQ(leaguesOf(hostile), IDSet{}) << hostile;
  }
}

}  // namespace
}  // namespace kestrel
