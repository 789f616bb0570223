// Reading every favourite stage into Stage values: DBTableStage against raw
// sqlite3 reading the same 30 columns by index into the same values (parent
// stage, season, unique stage, colours, category, winner, type), on 10k fully
// populated stages. The clock is fixed so every case sees the same rows.
#include <KestrelDatabase/schema/NewSQLBuilder.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelModel/Stage.h>
#include <KestrelPlatform/Clock.h>

#include "BenchDatabase.h"
#include "BenchHome.h"
#include "RawStage.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::bench {
namespace {

using model::Stage;

constexpr double kNow = 1'800'000'000.0;

class StageHome {
 public:
  static StageHome& forRows(int rows) {
    static std::map<int, std::unique_ptr<StageHome>> homes;
    auto& home = homes[rows];
    if (!home) home.reset(new StageHome(rows));
    return *home;
  }
  int rows() const { return rows_; }
  const std::shared_ptr<FMDatabaseQueue>& queue() const { return home_.queue(); }
  std::string databasePath() const { return home_.databasePath(); }

 private:
  explicit StageHome(int rows) : rows_(rows), home_("kestrel-stage-bench") {
    platform::Clock::setFixed(kNow);
    std::vector<std::string> fill;
    for (int id = 1; id <= rows; ++id) {
      fill.push_back(*NewSQLBuilder::insertOrReplaceInTable(
          DBTableStage::kTableName, DBTableStage::mapAllPropertiesToColumns(makeStage(id, kNow))));
    }
    home_.run(fill);
  }

  int rows_;
  BenchHome home_;
};

StageHome& homeFor(const benchmark::State& state) {
  return StageHome::forRows(static_cast<int>(state.range(0)));
}

void checkCount(benchmark::State& state, std::size_t read, int expected) {
  if (read != static_cast<std::size_t>(expected)) {
    state.SkipWithError("the read did not return every favourite stage");
  }
}

void BM_Raw_ReadStagesByIndex(benchmark::State& state) {
  StageHome& home = homeFor(state);
  const auto db = BenchDatabase::openRaw(home.databasePath());
  const std::string query = DBTableStage::allFavoriteStagesQuery(kNow);
  std::size_t read = 0;
  for (auto _ : state) {
    std::vector<Stage> stages;
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db.get(), query.c_str(), -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) stages.push_back(rawStage(statement));
    sqlite3_finalize(statement);
    read = stages.size();
    benchmark::DoNotOptimize(stages.data());
  }
  state.SetItemsProcessed(state.iterations() * home.rows());
  checkCount(state, read, home.rows());
}

void BM_DBTableStage_GetAllFavoriteStages(benchmark::State& state) {
  StageHome& home = homeFor(state);
  std::size_t read = 0;
  for (auto _ : state) {
    DBTableStage::getAllFavoriteStages(home.queue(), [&](ReadResult<std::vector<Stage>> stages) {
      read = stages ? stages->size() : 0;
      if (stages) benchmark::DoNotOptimize(stages->data());
    });
  }
  state.SetItemsProcessed(state.iterations() * home.rows());
  checkCount(state, read, home.rows());
}

}  // namespace

BENCHMARK(BM_Raw_ReadStagesByIndex)->Arg(10000)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_DBTableStage_GetAllFavoriteStages)
    ->Arg(10000)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace kestrel::bench
