// Fuzz target: the object store's predicate format.
//
// Input: the format text up to the first NUL byte; after it the number of
// arguments (0-4) and each argument (nil, integer, real, boolean, text or
// data), then up to four more records for the scratch table.
//
// Promises checked:
//   - any format either parses or is refused with a reason (formatError),
//     and a refused one never compiles: bind() reports invalidPredicate;
//   - the same format parses the same way twice (the parse cache);
//   - a predicate that compiles against the entity selects, through its SQL
//     on a real SQLite table laid out as the store lays it out, exactly the
//     records its in-memory evaluation accepts (a fetch and the unsaved
//     objects laid over it must agree), and its SQL always prepares.
#include "FuzzSupport.h"

#include <KestrelPlatform/ObjectStore/EntityDescription.h>
#include <KestrelPlatform/ObjectStore/Predicate.h>
#include <KestrelPlatform/ObjectStore/SqliteConnection.h>
#include <KestrelPlatform/ObjectStore/StoreSchema.h>

#include <sqlite3.h>

#include <set>

using namespace kestrel;
using namespace kestrel::platform;

namespace {

const EntityDescription& entity() {
  static const EntityDescription description = [] {
    std::vector<AttributeDescription> attributes(6);
    attributes[0] = {"eventId", AttributeType::integer64, false, {}, false};
    attributes[1] = {"flag", AttributeType::boolean, false, {}, false};
    attributes[2] = {"type", AttributeType::string, true, {}, false};
    attributes[3] = {"name", AttributeType::string, false, {}, false};
    attributes[4] = {"blob", AttributeType::binary, true, {}, false};
    attributes[5] = {"count", AttributeType::integer64, true, {}, false};
    return EntityDescription("Record", 0, std::move(attributes), {}, {});
  }();
  return description;
}

ObjectValue argument(fuzz::FuzzInput& in) {
  switch (in.byte() % 6) {
    case 0:
      return ObjectValue::null();
    case 1:
      return ObjectValue(in.interestingInt64());
    case 2:
      return ObjectValue(in.real());
    case 3:
      return ObjectValue(in.flag());
    case 4:
      return ObjectValue(in.text(64));
    default: {
      const std::string bytes = in.text(16);
      return ObjectValue(Bytes(bytes.begin(), bytes.end()));
    }
  }
}

std::vector<ObjectValue> fuzzedRecord(fuzz::FuzzInput& in) {
  const auto optional = [&](ObjectValue value) { return in.flag() ? ObjectValue::null() : value; };
  const std::string blob = in.text(8);
  return {ObjectValue(in.interestingInt64()),
          ObjectValue(in.flag()),
          optional(ObjectValue(in.text(16))),
          ObjectValue(in.text(16)),
          optional(ObjectValue(Bytes(blob.begin(), blob.end()))),
          optional(ObjectValue(in.interestingInt64()))};
}

std::vector<std::vector<ObjectValue>> fixedRecords() {
  using namespace std::string_literals;
  return {
      {ObjectValue(0), ObjectValue(false), ObjectValue::null(), ObjectValue(""), ObjectValue::null(),
       ObjectValue::null()},
      {ObjectValue(INT64_MAX), ObjectValue(true), ObjectValue("fullTime"), ObjectValue("a'b\"c"),
       ObjectValue(Bytes{0, 1}), ObjectValue(-1)},
      {ObjectValue(INT64_MIN), ObjectValue(false), ObjectValue(""), ObjectValue("\xff\0z"s),
       ObjectValue(Bytes{}), ObjectValue(9007199254740993)},
      {ObjectValue(123), ObjectValue(true), ObjectValue("123"), ObjectValue("TRUE"),
       ObjectValue(Bytes{0xff}), ObjectValue(0)},
  };
}

struct Database {
  sqlite3* db = nullptr;
  Database() {
    sqlite3_open(":memory:", &db);
    fuzz::check(sqlite3_exec(db, storeschema::createTable(entity()).c_str(), nullptr, nullptr,
                             nullptr) == SQLITE_OK,
                "the scratch table is created");
  }
  ~Database() { sqlite3_close(db); }
};

// Runs `sql` with `parameters`; the first column of each row, or false when
// the statement does not prepare or step.
bool selectKeys(sqlite3* db, const std::string& sql, const std::vector<ObjectValue>& parameters,
                std::set<std::int64_t>& keys) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) return false;
  bool ok = true;
  for (std::size_t i = 0; i < parameters.size() && ok; ++i) {
    ok = SqliteConnection::bindValue(statement, static_cast<int>(i + 1), parameters[i]) == SQLITE_OK;
  }
  int rc = SQLITE_DONE;
  while (ok && (rc = sqlite3_step(statement)) == SQLITE_ROW) keys.insert(sqlite3_column_int64(statement, 0));
  sqlite3_finalize(statement);
  return ok && rc == SQLITE_DONE;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view whole(reinterpret_cast<const char*>(data), size);
  const std::size_t end = whole.find('\0');
  const std::string_view format = whole.substr(0, end);
  fuzz::FuzzInput in(data + format.size() + (end == std::string_view::npos ? 0 : 1),
                     size - format.size() - (end == std::string_view::npos ? 0 : 1));

  std::vector<ObjectValue> arguments(in.byte() % 5);
  for (auto& value : arguments) value = argument(in);
  auto records = fixedRecords();
  for (int i = 0; i < 4 && !in.empty(); ++i) records.push_back(fuzzedRecord(in));

  const Predicate predicate = Predicate::withFormat(format, arguments);
  const auto error = predicate.formatError();
  const auto again = Predicate::withFormat(format, arguments).formatError();
  fuzz::check(error == again, "a format parses the same way every time", std::string(format));
  (void)predicate.description();

  Predicate::Bound bound;
  const auto bindError = predicate.bind(entity(), bound);
  if (error) {
    fuzz::check(!error->empty(), "a refused format says why");
    fuzz::check(bindError && bindError->code == StoreErrorCode::invalidPredicate,
                "a refused format never compiles");
    return 0;
  }
  if (bindError) {
    fuzz::check(bindError->code == StoreErrorCode::invalidPredicate,
                "a predicate that does not compile is an invalid predicate");
    return 0;
  }

  // The records as the store holds them: written with bound values, read
  // back as their attribute types give them.
  static Database database;
  sqlite3* db = database.db;
  sqlite3_exec(db, "DELETE FROM \"Record\"", nullptr, nullptr, nullptr);
  const std::string insert = storeschema::insert(entity());
  for (std::size_t key = 0; key < records.size(); ++key) {
    std::vector<ObjectValue> row{ObjectValue(static_cast<std::int64_t>(key))};
    row.insert(row.end(), records[key].begin(), records[key].end());
    std::set<std::int64_t> none;
    fuzz::check(selectKeys(db, insert, row, none), "a scratch record is stored");
  }
  std::vector<std::vector<ObjectValue>> stored;
  {
    sqlite3_stmt* statement = nullptr;
    sqlite3_prepare_v2(db, storeschema::selectAll(entity()).c_str(), -1, &statement, nullptr);
    while (sqlite3_step(statement) == SQLITE_ROW) {
      std::vector<ObjectValue> values;
      for (std::size_t i = 0; i < entity().attributes().size(); ++i) {
        values.push_back(SqliteConnection::column(statement, static_cast<int>(i + 1),
                                                  entity().attributes()[i].type));
      }
      stored.push_back(std::move(values));
    }
    sqlite3_finalize(statement);
  }

  std::string sql = "SELECT \"_pk\" FROM \"Record\" WHERE ";
  std::vector<ObjectValue> parameters;
  bound.appendSql(entity(), sql, parameters);
  std::set<std::int64_t> selected;
  fuzz::check(selectKeys(db, sql, parameters, selected), "a compiled predicate's SQL runs", sql);
  for (std::size_t key = 0; key < stored.size(); ++key) {
    const bool inMemory = bound.evaluate(stored[key]);
    const bool bySql = selected.count(static_cast<std::int64_t>(key)) != 0;
    std::string detail;
    if (inMemory != bySql) {
      detail = predicate.description() + " on record " + std::to_string(key) + " (";
      for (const auto& value : stored[key]) detail += value.description() + " ";
      detail += "): memory " + std::to_string(inMemory) + ", SQL " + std::to_string(bySql) + "; " + sql;
    }
    fuzz::check(inMemory == bySql, "a fetch and the in-memory evaluation agree", fuzz::shown(detail));
  }
  return 0;
}
