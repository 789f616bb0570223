// Object-store cases: DataManager's vote operations against raw sqlite3 on
// the same store file (or a file with the same settings: a rollback journal
// and synchronous=FULL).
//
//   SaveVote        one new vote through the two-step save, waited for,
//                   against one bound INSERT in its own transaction;
//   FetchVote       one vote by (eventId, type) among 10k, as an object,
//                   against the indexed SELECT of that row's columns;
//   GetVotesForCache every vote as the cache's key -> value dictionary,
//                   against reading the same columns into the same map.
//
// All are timed by wall-clock time: the saves wait for the disk, and the
// cache read runs on the background context's queue.
#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelPlatform/Fatal.h>

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <cstdlib>
#include <filesystem>
#include <future>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <unordered_map>

namespace kestrel::bench {
namespace {

constexpr const char* kType = "fullTime";

void exec(sqlite3* db, const char* sql) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &message) != SQLITE_OK) {
    platform::fatal("kestrel-bench: %s failed: %s", sql, message != nullptr ? message : "?");
  }
}

struct RawCloser {
  void operator()(sqlite3* db) const noexcept { sqlite3_close_v2(db); }
};
using RawHandle = std::unique_ptr<sqlite3, RawCloser>;
struct StatementCloser {
  void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, StatementCloser>;

RawHandle openRaw(const std::filesystem::path& path) {
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr) != SQLITE_OK) {
    platform::fatal("kestrel-bench: cannot open %s", path.c_str());
  }
  RawHandle handle(db);
  exec(db, "PRAGMA journal_mode=DELETE; PRAGMA synchronous=FULL");
  return handle;
}

Statement prepare(sqlite3* db, const char* sql) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql, -1, &statement, nullptr) != SQLITE_OK) {
    platform::fatal("kestrel-bench: cannot prepare %s: %s", sql, sqlite3_errmsg(db));
  }
  return Statement(statement);
}

// An application home in a temporary folder with a loaded DataManager;
// with `votes`, that many stored votes (event IDs 1...votes), written in one save.
class VoteHome {
 public:
  static VoteHome& withVotes(int votes) {
    static std::map<int, std::unique_ptr<VoteHome>> homes;
    auto& home = homes[votes];
    if (!home) home.reset(new VoteHome(votes));
    return *home;
  }
  ~VoteHome() {
    manager_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(root_, ignored);
  }
  VoteHome(const VoteHome&) = delete;
  VoteHome& operator=(const VoteHome&) = delete;

  DataManager& manager() { return *manager_; }
  std::filesystem::path storeFile() const { return DataManager::storePath(root_); }
  const std::filesystem::path& root() const { return root_; }

 private:
  explicit VoteHome(int votes) {
    std::string pattern = (std::filesystem::temp_directory_path() / "kestrel-store-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) platform::fatal("cannot make %s", pattern.c_str());
    root_ = pattern;
    manager_ = DataManager::forHome(root_);
    if (manager_->loadStore()) platform::fatal("kestrel-bench: the object store does not load");
    if (votes == 0) return;
    std::promise<void> saved;
    manager_->saveContext(
        [&] {
          const auto context = manager_->backgroundContext();
          for (int id = 1; id <= votes; ++id) {
            MOVote vote(context->insertNewObject(MOVote::kEntityName));
            vote.setEventId(id);
            vote.setEventTimestamp(1'800'000'000 + id);
            vote.setType(kType);
            vote.setVote(id % 3 == 0 ? "X" : "1");
            vote.setIsAddSuccessful(true);
          }
        },
        [&] { saved.set_value(); });
    saved.get_future().get();
  }

  std::filesystem::path root_;
  std::shared_ptr<DataManager> manager_;
};

// The vote the i-th iteration reads: every one once per `rows` iterations,
// in a scattered order.
std::int64_t voteForIteration(std::int64_t iteration, std::int64_t rows) {
  return (iteration * 7919) % rows + 1;
}

void BM_DataManager_SaveVote(benchmark::State& state) {
  DataManager& manager = VoteHome::withVotes(0).manager();
  static std::int64_t nextEventId = 1;
  for (auto _ : state) {
    const std::int64_t eventId = nextEventId++;
    if (!manager.saveVote(eventId, 1'800'000'000, kType, "1", true).get()) {
      state.SkipWithError("a save failed");
      break;
    }
  }
}
BENCHMARK(BM_DataManager_SaveVote)->UseRealTime();

void BM_Raw_InsertVoteRow(benchmark::State& state) {
  VoteHome& home = VoteHome::withVotes(0);
  const auto db = openRaw(home.root() / "raw-votes.sqlite");
  exec(db.get(),
       "CREATE TABLE IF NOT EXISTS votes (pk INTEGER PRIMARY KEY, eventTimestamp INTEGER NOT NULL, "
       "eventId INTEGER NOT NULL, isAddSuccessful INTEGER NOT NULL, vote TEXT, previousVote TEXT, "
       "type TEXT, isEditSuccessful INTEGER NOT NULL);"
       "CREATE INDEX IF NOT EXISTS votes_key ON votes (eventId, type)");
  const Statement begin = prepare(db.get(), "BEGIN IMMEDIATE");
  const Statement commit = prepare(db.get(), "COMMIT");
  const Statement insert = prepare(db.get(),
                                   "INSERT INTO votes (pk, eventTimestamp, eventId, isAddSuccessful, vote, "
                                   "previousVote, type, isEditSuccessful) VALUES (?, ?, ?, ?, ?, ?, ?, ?)");
  static std::int64_t nextEventId = 1;
  for (auto _ : state) {
    const std::int64_t eventId = nextEventId++;
    sqlite3_step(begin.get());
    sqlite3_reset(begin.get());
    sqlite3_bind_int64(insert.get(), 1, eventId);
    sqlite3_bind_int64(insert.get(), 2, 1'800'000'000);
    sqlite3_bind_int64(insert.get(), 3, eventId);
    sqlite3_bind_int64(insert.get(), 4, 1);
    sqlite3_bind_text(insert.get(), 5, "1", 1, SQLITE_STATIC);
    sqlite3_bind_null(insert.get(), 6);
    sqlite3_bind_text(insert.get(), 7, kType, -1, SQLITE_STATIC);
    sqlite3_bind_int64(insert.get(), 8, 1);
    const int inserted = sqlite3_step(insert.get());
    sqlite3_reset(insert.get());
    const int committed = sqlite3_step(commit.get());
    sqlite3_reset(commit.get());
    if (inserted != SQLITE_DONE || committed != SQLITE_DONE) {
      state.SkipWithError("an insert failed");
      break;
    }
  }
}
BENCHMARK(BM_Raw_InsertVoteRow)->UseRealTime();

void BM_DataManager_FetchVote(benchmark::State& state) {
  const std::int64_t rows = state.range(0);
  DataManager& manager = VoteHome::withVotes(static_cast<int>(rows)).manager();
  std::int64_t iteration = 0;
  std::int64_t found = 0;
  for (auto _ : state) {
    const std::int64_t eventId = voteForIteration(iteration++, rows);
    manager.fetchVote(eventId, kType, [&](ReadResult<std::optional<MOVote>> vote) {
      if (vote && *vote && (*vote)->eventId() == eventId) ++found;
      benchmark::DoNotOptimize(vote);
    });
  }
  if (found != iteration) state.SkipWithError("a vote was not found");
}
BENCHMARK(BM_DataManager_FetchVote)->Arg(10000)->UseRealTime();

void BM_Raw_SelectVoteByKey(benchmark::State& state) {
  const std::int64_t rows = state.range(0);
  const auto db = openRaw(VoteHome::withVotes(static_cast<int>(rows)).storeFile());
  // Every column of the row, as the object is made with all of them.
  const Statement select = prepare(db.get(),
                                   "SELECT \"_pk\", \"eventTimestamp\", \"eventId\", \"isAddSuccessful\", "
                                   "\"vote\", \"previousVote\", \"type\", \"isEditSuccessful\" "
                                   "FROM \"MOVote\" WHERE \"eventId\" = ? AND \"type\" = ? LIMIT 1");
  std::int64_t iteration = 0;
  std::int64_t found = 0;
  for (auto _ : state) {
    const std::int64_t eventId = voteForIteration(iteration++, rows);
    sqlite3_stmt* s = select.get();
    sqlite3_bind_int64(s, 1, eventId);
    sqlite3_bind_text(s, 2, kType, -1, SQLITE_STATIC);
    if (sqlite3_step(s) == SQLITE_ROW) {
      std::int64_t integers = sqlite3_column_int64(s, 0) + sqlite3_column_int64(s, 1) +
                              sqlite3_column_int64(s, 3) + sqlite3_column_int64(s, 7);
      const auto* vote = reinterpret_cast<const char*>(sqlite3_column_text(s, 4));
      std::string text(vote != nullptr ? vote : "");
      const auto* type = reinterpret_cast<const char*>(sqlite3_column_text(s, 6));
      std::string kind(type != nullptr ? type : "");
      benchmark::DoNotOptimize(integers);
      benchmark::DoNotOptimize(text);
      benchmark::DoNotOptimize(kind);
      if (sqlite3_column_int64(s, 2) == eventId) ++found;
    }
    sqlite3_reset(s);
  }
  if (found != iteration) state.SkipWithError("a vote was not found");
}
BENCHMARK(BM_Raw_SelectVoteByKey)->Arg(10000)->UseRealTime();

void BM_DataManager_GetVotesForCache(benchmark::State& state) {
  const auto rows = static_cast<std::size_t>(state.range(0));
  DataManager& manager = VoteHome::withVotes(static_cast<int>(rows)).manager();
  for (auto _ : state) {
    const auto votes = manager.getVotesForCache().get();
    if (!votes || votes->size() != rows) {
      state.SkipWithError("the dictionary is not complete");
      break;
    }
  }
}
BENCHMARK(BM_DataManager_GetVotesForCache)->Arg(10000)->UseRealTime();

void BM_Raw_ReadVoteCacheColumns(benchmark::State& state) {
  const auto rows = static_cast<std::size_t>(state.range(0));
  const auto db = openRaw(VoteHome::withVotes(static_cast<int>(rows)).storeFile());
  const Statement select = prepare(db.get(), "SELECT \"eventId\", \"type\", \"vote\" FROM \"MOVote\"");
  for (auto _ : state) {
    std::unordered_map<std::string, std::string> votes;
    sqlite3_stmt* s = select.get();
    while (sqlite3_step(s) == SQLITE_ROW) {
      const auto* type = reinterpret_cast<const char*>(sqlite3_column_text(s, 1));
      const auto* vote = reinterpret_cast<const char*>(sqlite3_column_text(s, 2));
      if (vote == nullptr) continue;
      std::string key = std::to_string(sqlite3_column_int64(s, 0));
      key += '-';
      key += type != nullptr ? type : "";
      votes[std::move(key)] = vote;
    }
    sqlite3_reset(s);
    if (votes.size() != rows) {
      state.SkipWithError("the dictionary is not complete");
      break;
    }
  }
}
BENCHMARK(BM_Raw_ReadVoteCacheColumns)->Arg(10000)->UseRealTime();

}  // namespace
}  // namespace kestrel::bench
