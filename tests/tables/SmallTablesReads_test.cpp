#include <KestrelDatabase/tables/DBTableChatReport.h>
#include <KestrelDatabase/tables/DBTableChatUpvote.h>
#include <KestrelDatabase/tables/DBTableFantasyCompetition.h>
#include <KestrelDatabase/tables/DBTablePinnedUniqueTournaments.h>
#include <KestrelDatabase/tables/DBTableScheduledChannels.h>
#include <KestrelDatabase/tables/DBTableTvChannels.h>
#include <KestrelDatabase/tables/DBTableVote.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "tables/SmallTableFixture.h"

// The reads of the pinned, vote, chat, TV channel and fantasy tables, several
// of which fill caches that wait for the answer: without a queue nothing runs
// and nothing is called; with missing tables or a connection that cannot be
// reopened, every completion still comes exactly once, with the failure.
namespace kestrel {
namespace {

using Queue = std::shared_ptr<FMDatabaseQueue>;

// One read, started with a queue and a completion that records whether the
// read failed.
struct Read {
  const char* name;
  std::function<void(const Queue&, std::function<void(bool failed)>)> start;
};

template <class T>
std::function<void(ReadResult<T>)> failure(std::function<void(bool)> record) {
  return [record](ReadResult<T> result) { record(!result.has_value()); };
}

std::vector<Read> everyRead() {
  using Pinned = DBTablePinnedUniqueTournaments;
  using Tournaments = std::vector<model::UniqueTournament>;
  using Channels = std::vector<model::TVScheduleChannelCountry>;
  using Votes = DBTableVote::VoteMap;
  return {
      {"getAllUniqueTournamentIDs",
       [](auto q, auto done) { Pinned::getAllUniqueTournamentIDs(q, failure<IDSet>(done)); }},
      {"getAllUniqueTournaments",
       [](auto q, auto done) { Pinned::getAllUniqueTournaments(q, failure<Tournaments>(done)); }},
      {"getVotes", [](auto q, auto done) { DBTableVote::getVotes(q, failure<Votes>(done)); }},
      {"getUnsuccessfulVotes",
       [](auto q, auto done) { DBTableVote::getUnsuccessfulVotes(q, failure<Votes>(done)); }},
      {"getMessageIDsForEventID",
       [](auto q, auto done) {
         DBTableChatUpvote::getMessageIDsForEventID(1, q, failure<IDSet>(done));
       }},
      {"getReportedMessageIDs",
       [](auto q, auto done) {
         DBTableChatReport::getReportedMessageIDs(q, failure<IDSet>(done));
       }},
      {"getTvChannelTvChannelSuggestions",
       [](auto q, auto done) {
         DBTableTvChannels::getTvChannelTvChannelSuggestions(
             q, failure<DBTableTvChannels::SuggestionSet>(done));
       }},
      {"getTvChannelCountryList",
       [](auto q, auto done) {
         DBTableScheduledChannels::getTvChannelCountryList(q, failure<Channels>(done));
       }},
      {"getCompetitionIds",
       [](auto q, auto done) {
         DBTableFantasyCompetition::getCompetitionIds(q, failure<IDSet>(done));
       }},
  };
}

const char* const kTables[] = {"PinnedUniqueTournamentsTable",
                               "VoteTable",
                               "ChatMessageTable",
                               "ChatReportTable",
                               "TvChannelContributedTable",
                               "ScheduledChannelsTable",
                               "FantasyCompetitionTable"};

class SmallTablesReadsTest : public testing::SmallTableTest {
 protected:
  void expectEveryReadOnceAndFailed() {
    for (const auto& read : everyRead()) {
      int calls = 0;
      bool failed = false;
      read.start(queue_, [&](bool hasFailed) {
        ++calls;
        failed = hasFailed;
      });
      EXPECT_EQ(calls, 1) << read.name;
      EXPECT_TRUE(failed) << read.name << ": a failed read never answers as an empty one";
    }
  }
};

TEST_F(SmallTablesReadsTest, WithoutAQueueNothingRunsAndNothingIsCalled) {
  for (const auto& read : everyRead()) {
    int calls = 0;
    read.start(nullptr, [&](bool) { ++calls; });
    EXPECT_EQ(calls, 0) << read.name;
  }
  EXPECT_EQ(logs_.lines(), std::vector<std::string>{});
}

TEST_F(SmallTablesReadsTest, MissingTablesAndALostConnectionStillAnswerEveryReadOnce) {
  for (const char* table : kTables) exec(std::string("DROP TABLE ") + table);
  logs_.clear();
  expectEveryReadOnceAndFailed();
  EXPECT_GT(logs_.countContaining("no such table"), 0u);

  // A queue that cannot reopen its connection hands its blocks no database.
  queue_->close();
  const auto folder = helper_->databasePath().parent_path();
  std::filesystem::remove_all(folder);
  std::ofstream(folder) << "a file where the folder was";
  expectEveryReadOnceAndFailed();
}

}  // namespace
}  // namespace kestrel
