// The workload and the dump the harnesses rely on: an operation is a
// function of (seed, index) alone and covers every entity; two homes that
// ran the same operations, one of them restarted midway, dump equal; and
// the dump sees a changed value, a lost row and an extra record, while it
// ignores the object store's own keys.
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <set>
#include <sstream>
#include <string>

#include "reliability/support/FacadeSnapshot.h"
#include "reliability/workload/HomeDump.h"
#include "reliability/workload/OpenedHome.h"
#include "reliability/workload/Workload.h"
#include "support/TempDir.h"

namespace kestrel::reliability {
namespace {

constexpr std::chrono::milliseconds kHang{60000};

// Runs operations [from, to) and returns their results as "i:ok|failed".
std::string run(const Workload& workload, StorageManager& facade, std::uint64_t from, std::uint64_t to) {
  std::ostringstream results;
  for (std::uint64_t i = from; i < to; ++i) {
    const WorkloadOperation op = workload.operation(i);
    std::future<bool> result = op.start(facade);
    const auto ok = Workload::await(result, kHang);
    EXPECT_TRUE(ok.has_value()) << op.description << " did not resolve";
    results << i << ":" << (ok.value_or(false) ? "ok" : "failed") << " ";
  }
  return results.str();
}

void execute(const std::filesystem::path& file, const std::string& sql) {
  sqlite3* db = nullptr;
  ASSERT_EQ(sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
  char* message = nullptr;
  const int rc = sqlite3_exec(db, sql.c_str(), nullptr, nullptr, &message);
  EXPECT_EQ(rc, SQLITE_OK) << (message ? message : "") << " in " << sql;
  sqlite3_free(message);
  sqlite3_close(db);
}

class WorkloadTest : public ::testing::Test {
 protected:
  void SetUp() override { Workload::fixClock(); }
  void TearDown() override { platform::Clock::reset(); }
};

TEST_F(WorkloadTest, AnOperationDependsOnlyOnSeedAndIndexAndTheMixCoversEveryEntity) {
  const Workload a(7), b(7), other(8);
  std::set<std::string> names;
  int differing = 0, handlerForms = 0;
  for (std::uint64_t i = 0; i < 4000; ++i) {
    const std::string description = a.operation(i).description;
    ASSERT_EQ(description, b.operation(i).description) << i;
    differing += description != other.operation(i).description;
    handlerForms += description.ends_with("[handler]");
    names.insert(description.substr(0, description.find(' ')));
  }
  // Asked out of order, an operation is still the same.
  EXPECT_EQ(a.operation(3999).description, b.operation(3999).description);
  EXPECT_GT(differing, 3000);
  EXPECT_GT(handlerForms, 1600);
  EXPECT_LT(handlerForms, 2400);
  for (const char* name :
       {"insertEvent", "insertEntityOwnedEvent", "updateEvent", "muteEvent", "unmuteEvent", "deleteEvent",
        "deleteEvents", "deleteFinishedEvents", "deleteOldEvents", "insertStage", "insertMutedStage",
        "insertEntityOwnedStage", "updateStage", "muteStage", "unmuteStage", "deleteStage",
        "deleteStagesWithUniqueStageID", "deleteFinishedStages", "deleteOldStages", "followTeam",
        "unfollowTeam", "setTeamNotificationsEnabled", "followPlayer", "unfollowPlayer", "unfollowPlayers",
        "setPlayerNotificationsEnabled", "followTournament", "unfollowTournament",
        "setTournamentNotificationsEnabled", "pinUniqueTournament", "unpinUniqueTournament",
        "unpinAllUniqueTournaments", "saveFantasyCompetition", "deleteFantasyCompetition",
        "saveTvChannelSuggestion", "saveTvChannelCountry", "deleteChannelsWithCountryCode",
        "deleteChannelWithId", "upvoteMessage", "reportMessage", "save", "edit", "markAsAdded",
        "markAsEdited", "markHighlightWatched", "followUniqueStage", "unfollowUniqueStage",
        "saveScoreSuggestion", "savePlayerValueVote", "saveRecentSearch", "deleteRecentSearch",
        "markNewsItemAsRead", "deleteVotes", "deleteUniqueStages", "deleteRecentSearches",
        "deleteScoreSuggestionsOlderThan7Days", "getEvent", "getUnsuccessfulVotes", "reInit"}) {
    EXPECT_TRUE(names.contains(name)) << name;
  }
}

TEST_F(WorkloadTest, TwoHomesThatRanTheSameOperationsDumpEqualAlsoWhenOneRestartedMidway) {
  const Workload workload(20261124);
  constexpr std::uint64_t kOps = 160, kRestart = 70;
  testing::TempDir straight, restarted;
  std::string straightResults, restartedResults;
  {
    OpenedHome home(straight.path());
    straightResults = run(workload, home.facade(), 0, kOps);
    for (const std::string& line : memoryDisagreements(home.facade(), home.store(), straight.path())) {
      ADD_FAILURE() << line;
    }
  }
  {
    OpenedHome home(restarted.path());
    restartedResults = run(workload, home.facade(), 0, kRestart);
  }
  {
    OpenedHome home(restarted.path());
    restartedResults += run(workload, home.facade(), kRestart, kOps);
  }
  EXPECT_EQ(straightResults, restartedResults);
  const HomeDump a = HomeDump::of(straight.path()), b = HomeDump::of(restarted.path());
  ASSERT_FALSE(a.error) << *a.error;
  EXPECT_EQ(a, b);
  for (const std::string& line : a.differences(b)) ADD_FAILURE() << line;

  // The operations left something in most tables of both files.
  int filled = 0;
  for (const auto& [table, rows] : a.tables) filled += !rows.empty();
  EXPECT_GE(filled, 16);
}

TEST_F(WorkloadTest, TheDumpSeesAChangedValueALostRowAndAnExtraRecordButNotTheStoresOwnKeys) {
  testing::TempDir dir;
  const auto& home = dir.path();
  {
    OpenedHome opened(home);
    StorageManager& s = opened.facade();
    model::Team team{.ID = 5};
    team.name = "Team \"5\"";
    ASSERT_TRUE(s.followTeam(team, true).get());
    ASSERT_TRUE(s.saveFantasyCompetition(41).get());
    ASSERT_TRUE(s.saveFantasyCompetition(42).get());
    MOEventScoreItem::Values item{.id = 1, .teamId = 5, .homeScore = 1};
    ASSERT_TRUE(s.saveScoreSuggestion("a", 71, {item, item}).get());
    ASSERT_TRUE(s.saveScoreSuggestion("b", 72, {item}).get());
  }
  const HomeDump before = HomeDump::of(home);
  ASSERT_FALSE(before.error) << *before.error;
  EXPECT_EQ(before, HomeDump::of(home));

  // The store's keys renumbered, links included: the same content.
  execute(storeFile(home),
          "UPDATE MOEventScoreItem SET _MOEventScoreSuggestion_eventScores = "
          "_MOEventScoreSuggestion_eventScores + 100; UPDATE MOEventScoreSuggestion SET _pk = _pk + 100; "
          "UPDATE MOEventScoreItem SET _pk = _pk + 50");
  EXPECT_EQ(before, HomeDump::of(home));

  // An item moved to the other suggestion: same rows, other owner.
  execute(storeFile(home),
          "UPDATE MOEventScoreItem SET _MOEventScoreSuggestion_eventScores = "
          "(SELECT MAX(_pk) FROM MOEventScoreSuggestion) WHERE _pk = (SELECT MIN(_pk) FROM MOEventScoreItem)");
  HomeDump changed = HomeDump::of(home);
  EXPECT_NE(before, changed);

  // A changed value, a lost row, an extra record: each is named.
  execute(databaseFile(home), "UPDATE MyTeamTable SET NOTIFICATIONS_ENABLED = 0");
  execute(databaseFile(home), "DELETE FROM FantasyCompetitionTable WHERE ID = 42");
  execute(storeFile(home), "INSERT INTO MONewsItem (_pk, id) VALUES (9, 'n9')");
  changed = HomeDump::of(home);
  std::string report;
  for (const std::string& line : changed.differences(before, 100)) report += line + "\n";
  EXPECT_NE(report.find("kestrel.db: MyTeamTable"), std::string::npos) << report;
  EXPECT_NE(report.find("- object store: MONewsItem: id='n9'"), std::string::npos) << report;
  const std::vector<std::string> lost = changed.missingFrom(before);
  std::string lostText;
  for (const std::string& line : lost) lostText += line + "\n";
  EXPECT_NE(lostText.find("FantasyCompetitionTable: (rowid)=42"), std::string::npos) << lostText;
  EXPECT_EQ(HomeDump::integrityCheck(databaseFile(home)), "ok");
}

TEST_F(WorkloadTest, AnEmptyHomeDumpsAsNoFilesAndStaysEmpty) {
  testing::TempDir dir;
  const HomeDump dump = HomeDump::of(dir.path());
  EXPECT_FALSE(dump.error);
  EXPECT_EQ(dump.tables.at("kestrel.db"), std::vector<std::string>{"(no file)"});
  EXPECT_EQ(dump.tables.at("object store"), std::vector<std::string>{"(no file)"});
  EXPECT_EQ(HomeDump::integrityCheck(databaseFile(dir.path())), "ok");
  EXPECT_TRUE(std::filesystem::is_empty(dir.path()));
}

TEST_F(WorkloadTest, ADamagedFileFailsItsIntegrityCheckAndDumpsAsAnError) {
  testing::TempDir dir;
  { OpenedHome opened(dir.path()); }
  std::filesystem::resize_file(storeFile(dir.path()), 4096 + 100);
  const HomeDump dump = HomeDump::of(dir.path());
  EXPECT_TRUE(dump.error);
  EXPECT_NE(dump, dump);
  EXPECT_NE(HomeDump::integrityCheck(storeFile(dir.path())), "ok");
}

}  // namespace
}  // namespace kestrel::reliability
