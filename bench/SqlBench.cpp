// The SQL access layer against the raw SQLite C API,
// on the same file and rows (BenchDatabase). Every case reads the same
// values into the same sink (ReadSink) and checks after timing that it read
// what the rows hold.
//
// Row reads (SelectAll*, PointQuery*) are timed by CPU time; the inserts by
// wall-clock time (UseRealTime), because waiting for the disk is their cost.
#include "BenchDatabase.h"
#include "ReadSink.h"

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include <benchmark/benchmark.h>
#include <sqlite3.h>


#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::bench {
namespace {

constexpr int kColumns = BenchDatabase::kColumnCount;

// What a NULL text reads as (the rows hold none). An lvalue, so that
// `text ? *text : kNoText` hands the sink the result set's string itself
// rather than a copy.
const std::string kNoText;

const BenchDatabase& databaseFor(const benchmark::State& state) {
  return BenchDatabase::forRows(static_cast<int>(state.range(0)));
}

void checkRead(benchmark::State& state, const ReadSink& read, const ReadSink& expected) {
  if (!(read == expected)) state.SkipWithError("the values read differ from the stored rows");
}

std::shared_ptr<FMDatabase> openOurs(const BenchDatabase& data) {
  auto db = FMDatabase::databaseWithPath(data.path());
  return db->open() ? db : nullptr;
}

// ---- Raw C API: read by index ----

void readRowRaw(sqlite3_stmt* statement, ReadSink& sink) {
  for (int column = 0; column < kColumns; ++column) {
    if (BenchDatabase::isText(column)) {
      const auto* text = reinterpret_cast<const char*>(sqlite3_column_text(statement, column));
      sink.text(text != nullptr ? std::string(text, static_cast<std::size_t>(
                                                        sqlite3_column_bytes(statement, column)))
                                : std::string());
    } else {
      sink.integer(sqlite3_column_int64(statement, column));
    }
  }
}

// ---- Ours: by index and by name ----

void readRowByIndex(const FMResultSet& rs, ReadSink& sink) {
  for (int column = 0; column < kColumns; ++column) {
    if (BenchDatabase::isText(column)) {
      const std::optional<std::string> text = rs.stringForColumnIndex(column);
      sink.text(text ? *text : kNoText);
    } else {
      sink.integer(rs.longLongIntForColumnIndex(column));
    }
  }
}

void readRowByName(const FMResultSet& rs, const std::vector<std::string>& names, ReadSink& sink) {
  for (int column = 0; column < kColumns; ++column) {
    const std::string& name = names[static_cast<std::size_t>(column)];
    if (BenchDatabase::isText(column)) {
      const std::optional<std::string> text = rs.stringForColumn(name);
      sink.text(text ? *text : kNoText);
    } else {
      sink.integer(rs.longLongIntForColumn(name));
    }
  }
}

// ---- Every column of every row ----

void BM_Raw_SelectAllByIndex(benchmark::State& state) {
  const BenchDatabase& data = databaseFor(state);
  const auto db = BenchDatabase::openRaw(data.path());
  ReadSink sink;
  for (auto _ : state) {
    sink.clear();
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db.get(), BenchDatabase::kSelectAllSql, -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) readRowRaw(statement, sink);
    sqlite3_finalize(statement);
  }
  state.SetItemsProcessed(state.iterations() * data.rows());
  checkRead(state, sink, data.expectedAll());
}

void BM_FMDatabase_SelectAllByIndex(benchmark::State& state) {
  const BenchDatabase& data = databaseFor(state);
  const auto db = openOurs(data);
  ReadSink sink;
  for (auto _ : state) {
    sink.clear();
    const auto rs = db->executeQuery(BenchDatabase::kSelectAllSql);
    while (rs->next()) readRowByIndex(*rs, sink);
  }
  state.SetItemsProcessed(state.iterations() * data.rows());
  checkRead(state, sink, data.expectedAll());
}

void BM_FMDatabase_SelectAllByName(benchmark::State& state) {
  const BenchDatabase& data = databaseFor(state);
  const auto db = openOurs(data);
  const std::vector<std::string>& names = data.columnNames();
  ReadSink sink;
  for (auto _ : state) {
    sink.clear();
    const auto rs = db->executeQuery(BenchDatabase::kSelectAllSql);
    while (rs->next()) readRowByName(*rs, names, sink);
  }
  state.SetItemsProcessed(state.iterations() * data.rows());
  checkRead(state, sink, data.expectedAll());
}

// ---- One row by primary key ----

void BM_Raw_PointQueryPrepared(benchmark::State& state) {
  const BenchDatabase& data = databaseFor(state);
  const auto db = BenchDatabase::openRaw(data.path());
  sqlite3_stmt* statement = nullptr;
  sqlite3_prepare_v2(db.get(), BenchDatabase::kPointQuerySql, -1, &statement, nullptr);
  ReadSink sink;
  std::int64_t iteration = 0;
  std::int64_t key = 0;
  for (auto _ : state) {
    key = data.keyForIteration(iteration++);
    sink.clear();
    sqlite3_bind_int64(statement, 1, key);
    if (sqlite3_step(statement) == SQLITE_ROW) readRowRaw(statement, sink);
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  checkRead(state, sink, BenchDatabase::expectedRow(key));
}

void pointQueryOurs(benchmark::State& state, bool cached) {
  const BenchDatabase& data = databaseFor(state);
  const auto db = openOurs(data);
  db->setShouldCacheStatements(cached);
  const std::vector<std::string>& names = data.columnNames();
  ReadSink sink;
  std::int64_t iteration = 0;
  std::int64_t key = 0;
  for (auto _ : state) {
    key = data.keyForIteration(iteration++);
    sink.clear();
    const auto rs = db->executeQuery(BenchDatabase::kPointQuerySql, key);
    if (rs->next()) readRowByName(*rs, names, sink);
    rs->close();
  }
  checkRead(state, sink, BenchDatabase::expectedRow(key));
}

void BM_FMDatabase_PointQueryCached(benchmark::State& state) {
  pointQueryOurs(state, true);
}

void BM_FMDatabase_PointQueryUncached(benchmark::State& state) {
  pointQueryOurs(state, false);
}

// ---- One text-built INSERT OR REPLACE per exclusive transaction ----

void BM_Raw_InsertTextPerTransaction(benchmark::State& state) {
  const BenchDatabase& data = databaseFor(state);
  const auto db = BenchDatabase::openRaw(data.path());
  bool ok = true;
  std::int64_t iteration = 0;
  for (auto _ : state) {
    const std::int64_t key = data.keyForIteration(iteration++);
    ok &= sqlite3_exec(db.get(), "begin exclusive transaction", nullptr, nullptr, nullptr) ==
          SQLITE_OK;
    const std::string sql = data.insertSql(key);
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db.get(), sql.data(), static_cast<int>(sql.size()), &statement, nullptr);
    ok &= sqlite3_step(statement) == SQLITE_DONE;
    sqlite3_finalize(statement);
    ok &= sqlite3_exec(db.get(), "commit transaction", nullptr, nullptr, nullptr) == SQLITE_OK;
  }
  if (!ok) state.SkipWithError("an insert or its transaction failed");
}

void BM_FMDatabase_InsertTextPerTransaction(benchmark::State& state) {
  const BenchDatabase& data = databaseFor(state);
  const auto queue = FMDatabaseQueue::databaseQueueWithPath(data.path());
  bool ok = true;
  std::int64_t iteration = 0;
  for (auto _ : state) {
    const std::int64_t key = data.keyForIteration(iteration++);
    queue->inTransaction([&](FMDatabase* db, bool*) {
      const std::string sql = data.insertSql(key);
      ok &= db != nullptr && db->executeUpdate(sql);
    });
  }
  if (!ok) state.SkipWithError("an insert or its transaction failed");
}


}  // namespace

// Row counts of the shared rows; the point and insert cases run on the same
// files, so their argument is the size of the table they work on.
#define KESTREL_ROWS Arg(1000)->Arg(10000)

BENCHMARK(BM_Raw_SelectAllByIndex)->KESTREL_ROWS->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FMDatabase_SelectAllByIndex)->KESTREL_ROWS->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FMDatabase_SelectAllByName)->KESTREL_ROWS->Unit(benchmark::kMillisecond);

BENCHMARK(BM_Raw_PointQueryPrepared)->KESTREL_ROWS->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FMDatabase_PointQueryCached)->KESTREL_ROWS->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_FMDatabase_PointQueryUncached)->KESTREL_ROWS->Unit(benchmark::kMicrosecond);

BENCHMARK(BM_Raw_InsertTextPerTransaction)
    ->KESTREL_ROWS->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK(BM_FMDatabase_InsertTextPerTransaction)
    ->KESTREL_ROWS->Unit(benchmark::kMicrosecond)
    ->UseRealTime();

#undef KESTREL_ROWS

}  // namespace kestrel::bench
