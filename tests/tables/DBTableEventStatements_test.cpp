#include <KestrelDatabase/tables/DBTableEvent.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>

// The exact statement texts of the event table's reads, writes and purges,
// with "now" written as "%f".
namespace kestrel {
namespace {

constexpr double kNow = 1700000000.5;
const std::string kNowText = "1700000000.500000";

const std::string kTeamOwner =
    "SELECT * FROM MyTeamTable WHERE ID = HOME_TEAM_ID OR ID = AWAY_TEAM_ID OR ID = "
    "HOME_SUBTEAM1_COL_ID OR ID = HOME_SUBTEAM2_COL_ID OR ID = AWAY_SUBTEAM1_COL_ID OR ID = "
    "AWAY_SUBTEAM2_COL_ID";
const std::string kFinished =
    "STATUS_TYPE = 1 OR ((STATUS_TYPE = 4 OR STATUS_TYPE = 5 OR "
    "STATUS_TYPE = 6) AND START_DATE < " +
    kNowText + ")";

std::string collapsed(const std::string& text) {
  return std::regex_replace(text, std::regex("\\s+"), " ");
}

TEST(DBTableEventStatementsTest, ReadQueries) {
  EXPECT_EQ(DBTableEvent::allFavoriteEventsQuery(kNow),
            "SELECT * FROM EventTable_ WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND (" +
                kNowText + " - START_DATE) <= 604800 ORDER BY START_DATE ASC");
  EXPECT_EQ(DBTableEvent::allFavoriteEventIDsQuery(),
            "SELECT ID FROM EventTable_ WHERE IS_HIDDEN = 0 OR IS_HIDDEN IS NULL ORDER BY "
            "START_DATE ASC");
  EXPECT_EQ(DBTableEvent::allEventIDsQuery(), "SELECT ID FROM EventTable_;");
  EXPECT_EQ(DBTableEvent::favoriteEventIDsQuery(),
            "SELECT ID FROM EventTable_ WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND IS_MUTED IS "
            "NOT NULL");
  EXPECT_EQ(DBTableEvent::mutedEventIDsQuery(), "SELECT ID FROM EventTable_ WHERE IS_MUTED = 1;");
  EXPECT_EQ(DBTableEvent::finishedEventsCountQuery(kNow),
            "SELECT COUNT(*) FROM EventTable_ WHERE (IS_HIDDEN = 0 OR IS_HIDDEN IS NULL) AND (" +
                kFinished + ")");
}

TEST(DBTableEventStatementsTest, DeleteAndPurgeStatements) {
  EXPECT_EQ(DBTableEvent::deleteEventsStatement({30, 4, 1000}),
            "DELETE FROM EventTable_ WHERE ID IN (4, 30, 1000)");
  EXPECT_EQ(DBTableEvent::deleteEventsStatement({}), std::nullopt);
  EXPECT_EQ(DBTableEvent::finishedEventsDeleteStatement(kNow),
            "DELETE FROM EventTable_ WHERE (" + kFinished +
                ") AND NOT EXISTS (SELECT * FROM MyLeagueTable WHERE ID = TOURNAMENT_UNIQUE_ID) "
                "AND NOT EXISTS (" +
                kTeamOwner + ")");
  EXPECT_EQ(DBTableEvent::hideFinishedEventsStatement(kNow),
            "UPDATE EventTable_ SET IS_HIDDEN = 1 WHERE " + kFinished);
  EXPECT_EQ(DBTableEvent::oldEventsDeleteStatement(kNow),
            "DELETE FROM EventTable_ WHERE (" + kNowText +
                " - START_DATE) > 604800 OR ((START_DATE - " + kNowText +
                ") > 4838400 AND (EXISTS (SELECT * FROM MyLeagueTable WHERE ID = "
                "TOURNAMENT_UNIQUE_ID) OR EXISTS (" +
                kTeamOwner + "))) OR START_DATE IS NULL");
}

TEST(DBTableEventStatementsTest, RefreshQueryHasSixteenClausesInOrder) {
  const std::string n = kNowText;
  const auto before = [&](int status, int lower, int upper, int age) {
    return "( (STATUS_TYPE = " + std::to_string(status) + ") AND ((START_DATE - " + n + ") > " +
           std::to_string(lower) + ") AND " +
           (upper ? "((START_DATE - " + n + ") < " + std::to_string(upper) + ") AND " : "") +
           "(ABS(" + n + " - LAST_UPDATE) > " + std::to_string(age) + ") )";
  };
  const auto after = [&](int status, int lower, int upper, int age) {
    return "( (STATUS_TYPE = " + std::to_string(status) + ") AND ((" + n + " - START_DATE) > " +
           std::to_string(lower) + ") AND " +
           (upper ? "((" + n + " - START_DATE) < " + std::to_string(upper) + ") AND " : "") +
           "(ABS(" + n + " - LAST_UPDATE) > " + std::to_string(age) + ") )";
  };
  const auto any = [&](int status, int age) {
    return "( (STATUS_TYPE = " + std::to_string(status) + ") AND (ABS(" + n + " - LAST_UPDATE) > " +
           std::to_string(age) + ") )";
  };
  const std::vector<std::string> clauses = {
      before(3, 259200, 0, 43200),
      before(3, 86400, 259200, 43200),
      before(3, 3600, 86400, 3600),
      before(3, 900, 3600, 180),
      before(3, 0, 900, 14),
      after(3, 0, 900, 14),
      after(3, 900, 3600, 180),
      after(3, 3600, 0, 900),
      after(1, 0, 86400, 3600),
      after(1, 86400, 0, 86400),
      any(9, 180),
      any(8, 180),
      any(6, 180),
      any(10, 180),
      any(2, 14),
      any(4, 43200),
  };
  const std::string query = DBTableEvent::eventIDsToRefreshQuery(kNow);
  const std::string head = "SELECT ID FROM EventTable_ WHERE START_DATE >= 604800 AND (";
  ASSERT_EQ(query.substr(0, head.size()), head);
  ASSERT_EQ(query.substr(query.size() - 2), ");");
  // Clause after clause, separated by " OR" and blanks only.
  std::size_t at = head.size();
  for (std::size_t i = 0; i < clauses.size(); ++i) {
    if (i > 0) {
      ASSERT_EQ(query.substr(at, 3), " OR") << i;
      at = query.find_first_not_of(' ', at + 3);
    }
    ASSERT_EQ(query.substr(at, clauses[i].size()), clauses[i]) << "clause " << i + 1;
    at += clauses[i].size();
  }
  EXPECT_EQ(at, query.size() - 2);
}

TEST(DBTableEventStatementsTest, MigrationStatements) {
  const auto statements = DBTableEvent::migrationStatements();
  const std::string teams =
      "MyTeamTable.ID = EventTable_.HOME_TEAM_ID OR MyTeamTable.ID = EventTable_.AWAY_TEAM_ID OR "
      "MyTeamTable.ID = EventTable_.HOME_SUBTEAM1_COL_ID OR MyTeamTable.ID = "
      "EventTable_.AWAY_SUBTEAM1_COL_ID OR MyTeamTable.ID = EventTable_.HOME_SUBTEAM2_COL_ID OR "
      "MyTeamTable.ID = EventTable_.AWAY_SUBTEAM2_COL_ID";
  const std::string league = "MyLeagueTable.ID = EventTable_.TOURNAMENT_UNIQUE_ID";
  EXPECT_EQ(collapsed(statements[0]),
            "UPDATE EventTable_ SET IS_MUTED = NULL WHERE IS_MUTED IS NOT NULL AND IS_MUTED <> 1 "
            "AND (EXISTS (SELECT * FROM MyLeagueTable WHERE " +
                league + ") OR EXISTS (SELECT * FROM MyTeamTable WHERE " + teams + "))");
  EXPECT_EQ(collapsed(statements[1]),
            "UPDATE EventTable_ SET IS_MUTED = 0 WHERE IS_MUTED IS NULL AND NOT EXISTS (SELECT * "
            "FROM MyLeagueTable WHERE " +
                league + ") AND NOT EXISTS (SELECT * FROM MyTeamTable WHERE " + teams + ")");
  EXPECT_NE(statements[0].find(" OR\n"), std::string::npos) << "one condition per line";
}

}  // namespace
}  // namespace kestrel
