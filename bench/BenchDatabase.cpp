#include "BenchDatabase.h"

#include <KestrelPlatform/Fatal.h>

#include <cstdlib>
#include <filesystem>
#include <map>
#include <system_error>

namespace kestrel::bench {
namespace {

// The temporary folder of the benchmark files, removed at exit.
class TempFolder {
 public:
  TempFolder() {
    std::string pattern =
        (std::filesystem::temp_directory_path() / "kestrel-bench-XXXXXX").string();
    if (mkdtemp(pattern.data()) == nullptr) {
      platform::fatal("kestrel-bench: cannot make a temporary folder from %s", pattern.c_str());
    }
    path_ = pattern;
  }
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
};

const TempFolder& tempFolder() {
  static const TempFolder folder;
  return folder;
}

void exec(sqlite3* db, const char* sql) {
  char* message = nullptr;
  if (sqlite3_exec(db, sql, nullptr, nullptr, &message) != SQLITE_OK) {
    platform::fatal("kestrel-bench: %s failed: %s", sql, message != nullptr ? message : "?");
  }
}

std::string columnName(int column) {
  if (column == 0) return "id";
  std::string number = std::to_string(column);
  number.insert(0, 3 - number.size(), '0');
  return (BenchDatabase::isText(column) ? "textField" : "intField") + number;
}

}  // namespace

const BenchDatabase& BenchDatabase::forRows(int rows) {
  static std::map<int, std::unique_ptr<BenchDatabase>> databases;
  auto& database = databases[rows];
  if (!database) {
    const std::string path =
        (tempFolder().path() / ("bench-" + std::to_string(rows) + ".sqlite")).string();
    database.reset(new BenchDatabase(path, rows));
    database->create();
  }
  return *database;
}

BenchDatabase::BenchDatabase(std::string path, int rows) : path_(std::move(path)), rows_(rows) {
  columnNames_.reserve(kColumnCount);
  for (int column = 0; column < kColumnCount; ++column) columnNames_.push_back(columnName(column));

  insertPrefix_ = std::string("INSERT OR REPLACE INTO ") + kTableName + " (";
  for (int column = 0; column < kColumnCount; ++column) {
    if (column > 0) insertPrefix_ += ", ";
    insertPrefix_ += columnNames_[static_cast<std::size_t>(column)];
  }
  insertPrefix_ += ") VALUES (";

  for (std::int64_t id = 1; id <= rows_; ++id) {
    const ReadSink row = expectedRow(id);
    expectedAll_.integerSum += row.integerSum;
    expectedAll_.textBytes += row.textBytes;
    expectedAll_.values += row.values;
  }
}

std::int64_t BenchDatabase::integerValue(std::int64_t id, int column) {
  if (column == 0) return id;
  // Timestamps, identifiers and small counts, as an event row has them.
  switch (column % 3) {
    case 1:
      return 1'700'000'000 + id * 60 + column;
    default:
      return (id * 31 + column) % 1000;
  }
}

std::string BenchDatabase::textValue(std::int64_t id, int column) {
  // Appended piece by piece: GCC 12 warns falsely (-Wrestrict) on
  // "literal" + std::string&& in release builds.
  std::string text(1, 't');
  text.append(std::to_string(id)).append(1, '_').append(std::to_string(column));
  return text;
}

std::int64_t BenchDatabase::keyForIteration(std::int64_t iteration) const {
  // 7919 is prime and shares no factor with the row counts used (powers of
  // ten), so this visits every key once per `rows` iterations.
  return (iteration * 7919) % rows_ + 1;
}

std::string BenchDatabase::insertSql(std::int64_t id) const {
  std::string sql = insertPrefix_;
  sql.reserve(insertPrefix_.size() + kColumnCount * 16);
  for (int column = 0; column < kColumnCount; ++column) {
    if (column > 0) sql += ", ";
    sql += '"';
    sql += isText(column) ? textValue(id, column) : std::to_string(integerValue(id, column));
    sql += '"';
  }
  sql += ')';
  return sql;
}

ReadSink BenchDatabase::expectedRow(std::int64_t id) {
  ReadSink sink;
  for (int column = 0; column < kColumnCount; ++column) {
    if (isText(column)) {
      sink.textBytes += textValue(id, column).size();
    } else {
      sink.integerSum += integerValue(id, column);
    }
    ++sink.values;
  }
  return sink;
}

BenchDatabase::RawHandle BenchDatabase::openRaw(const std::string& path) {
  sqlite3* handle = nullptr;
  const int rc =
      sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  RawHandle db(handle);
  if (rc != SQLITE_OK) {
    platform::fatal("kestrel-bench: cannot open %s (%d)", path.c_str(), rc);
  }
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DML, 1, nullptr);
  sqlite3_db_config(handle, SQLITE_DBCONFIG_DQS_DDL, 1, nullptr);
  return db;
}

void BenchDatabase::create() const {
  const RawHandle db = openRaw(path_);

  std::string createSql = std::string("CREATE TABLE ") + kTableName + " (id INTEGER PRIMARY KEY";
  for (int column = 1; column < kColumnCount; ++column) {
    createSql += ", " + columnNames_[static_cast<std::size_t>(column)] +
                 (isText(column) ? " TEXT" : " INTEGER");
  }
  createSql += ")";
  exec(db.get(), createSql.c_str());

  std::string insert = std::string("INSERT INTO ") + kTableName + " VALUES (?";
  for (int column = 1; column < kColumnCount; ++column) insert += ", ?";
  insert += ")";
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db.get(), insert.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    platform::fatal("kestrel-bench: cannot prepare the fill: %s", sqlite3_errmsg(db.get()));
  }
  exec(db.get(), "BEGIN");
  for (std::int64_t id = 1; id <= rows_; ++id) {
    for (int column = 0; column < kColumnCount; ++column) {
      if (isText(column)) {
        const std::string text = textValue(id, column);
        sqlite3_bind_text(statement, column + 1, text.c_str(), static_cast<int>(text.size()),
                          SQLITE_TRANSIENT);
      } else {
        sqlite3_bind_int64(statement, column + 1, integerValue(id, column));
      }
    }
    if (sqlite3_step(statement) != SQLITE_DONE) {
      platform::fatal("kestrel-bench: cannot fill row %lld: %s", static_cast<long long>(id),
                      sqlite3_errmsg(db.get()));
    }
    sqlite3_reset(statement);
  }
  sqlite3_finalize(statement);
  exec(db.get(), "COMMIT");
}

}  // namespace kestrel::bench
