// Fuzz target: the SQL builder behind every table write, through the table
// base's checked path (the only way the tables hand it values), with
// arbitrary column/value maps and conditions.
//
// Input: the operation (insert or replace, plain insert, update, delete),
// the key and base row for update/delete, then (column, value) entries; an
// entry may name a column the table lacks, and a value may be of any type
// (integer, real with any bits, text with any bytes, blob, date, the null
// marker).
//
// Promises checked, against a reference table of the same layout written
// with bound values (which keep every value as given):
//   - a refused write is logged with its reason and runs no SQL;
//   - a statement the builder gives runs exactly when the bound statement
//     does, and afterwards both tables hold the same rows, value for value:
//     every text byte for byte, every integer and every real in a numeric
//     column exactly, a real in a TEXT column as the text of its shortest
//     exact form (see referenceValue()).
#include "FuzzSupport.h"

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/schema/TableColumns.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMResultSet.h>

#include <chrono>
#include <cmath>

using namespace kestrel;

namespace {

struct Column {
  const char* name;
};
constexpr Column kColumns[] = {{"ID"}, {"NAME"}, {"SLUG"}, {"SCORE"}, {"START_TIMESTAMP"}};
constexpr std::size_t kColumnCount = std::size(kColumns);

std::string createTable(const std::string& name) {
  return "CREATE TABLE " + name +
         " (ID INTEGER PRIMARY KEY, NAME TEXT, SLUG TEXT, SCORE INTEGER, START_TIMESTAMP INTEGER)";
}

const TableColumns& scratchColumns() {
  static const TableColumns columns("Scratch", {"ID", "NAME", "SLUG", "SCORE", "START_TIMESTAMP"},
                                     {"ID", "SCORE", "START_TIMESTAMP"});
  return columns;
}

Value fuzzedValue(fuzz::FuzzInput& in) {
  switch (in.byte() % 9) {
    case 0:
      return Value::null();
    case 1:
      return Value(in.interestingInt64());
    case 2:
      return Value(in.real());
    case 3: {
      const std::string bytes = in.text(16);
      return Value(Value::Blob(bytes.begin(), bytes.end()));
    }
    case 4:
      return Value(Value::Date(std::chrono::seconds(in.byte())));
    case 5: {  // a text naming a column, which reads as the column unless escaped
      std::string name = kColumns[in.byte() % kColumnCount].name;
      if (in.flag()) name[0] = static_cast<char>(name[0] + ('a' - 'A'));
      return Value(in.flag() ? std::string("rowid") : name);
    }
    default:
      return Value(in.text(48));
  }
}

// The value the reference binds for `value` written to or compared with
// `column`: in a TEXT column a finite real as the text of its shortest exact
// form (what the checked path writes there; a bound real would be stored as
// SQLite's own 15-digit text), everything else as it is, so that a real
// given to a numeric column must be stored as exactly that real.
Value referenceValue(std::string_view column, const Value& value) {
  if (value.real() && std::isfinite(*value.real()) && !scratchColumns().isNumeric(column)) {
    return Value(value.description());
  }
  return value;
}

std::string quotedName(const std::string& name) { return "\"" + name + "\""; }

struct Databases {
  std::shared_ptr<FMDatabase> db = FMDatabase::databaseWithPath(std::nullopt);
  Databases() {
    fuzz::check(db->open(), "the in-memory database opens");
    fuzz::check(db->executeUpdate(createTable("Scratch")) && db->executeUpdate(createTable("Reference")),
                "the scratch tables are created");
  }
};

std::vector<std::vector<Value>> rows(FMDatabase& db, const std::string& table) {
  std::vector<std::vector<Value>> out;
  auto resultSet = db.executeQuery("SELECT * FROM " + table + " ORDER BY ID");
  fuzz::check(resultSet != nullptr, "a scratch table is read");
  while (resultSet->next()) {
    std::vector<Value> row;
    for (int i = 0; i < static_cast<int>(kColumnCount); ++i) {
      row.push_back(resultSet->objectForColumnIndex(i).value_or(Value::null()));
    }
    out.push_back(std::move(row));
  }
  resultSet->close();
  return out;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  fuzz::FuzzInput in(data, size);
  fuzz::LogLines log;
  static Databases databases;
  FMDatabase& db = *databases.db;
  db.executeUpdate("DELETE FROM Scratch");
  db.executeUpdate("DELETE FROM Reference");

  const int operation = in.byte() % 4;  // 0 replace, 1 insert, 2 update, 3 delete
  const Value key = in.flag() ? fuzzedValue(in) : Value(in.interestingInt64());
  // update and delete work on one existing row.
  if (operation >= 2) {
    std::vector<Value> base{Value(in.interestingInt64()), Value(in.text(16)), Value(in.text(16)),
                            Value(in.interestingInt64()), Value::null()};
    if (in.flag()) base[0] = key;
    const char* insert = "(ID, NAME, SLUG, SCORE, START_TIMESTAMP) VALUES (?, ?, ?, ?, ?)";
    if (!db.executeUpdate(std::string("INSERT INTO Scratch ") + insert, base)) return 0;
    fuzz::check(db.executeUpdate(std::string("INSERT INTO Reference ") + insert, base),
                "the reference row is stored");
  }

  ColumnValueMap map;
  const std::size_t entries = operation == 3 ? 0 : in.byte() % 6;
  for (std::size_t i = 0; i < entries && !in.empty(); ++i) {
    const std::uint8_t pick = in.byte();
    const bool known = pick % 8 < kColumnCount;
    const Column& column = kColumns[pick % kColumnCount];
    map.emplace_back(known ? std::string(column.name) : in.text(12), fuzzedValue(in));
  }
  // update and delete: "ID" = key, and maybe one more condition.
  std::optional<ConditionList> conditions;
  if (operation >= 2) {
    conditions = ConditionList{"ID", "=", key};
    if (in.flag()) {
      static constexpr const char* kOperators[] = {"=", "<>", "<", ">=", "IS", "IS NOT", "LIKE", "GLOB", "BETWEEN"};
      const Column& column = kColumns[in.byte() % kColumnCount];
      Value value = fuzzedValue(in);
      conditions->insert(conditions->end(),
                         {Value(in.flag() ? "AND" : "OR"), Value(column.name),
                          Value(kOperators[in.byte() % std::size(kOperators)]), value});
    }
  }

  std::optional<DBTableAbstract::CheckedStatement> statement;
  switch (operation) {
    case 0:
      statement = DBTableAbstract::checkedInsertOrReplace(scratchColumns(), map);
      break;
    case 1:
      statement = DBTableAbstract::checkedInsert(scratchColumns(), map);
      break;
    case 2:
      statement = DBTableAbstract::checkedUpdate(scratchColumns(), map, conditions);
      break;
    default:
      statement = DBTableAbstract::checkedDelete(scratchColumns(), conditions);
  }
  if (!statement) {
    fuzz::check(log.contains("ERROR: write to Scratch refused") || log.contains("SQL Builder ERROR: "),
                "a refused write is logged with its reason");
    return 0;
  }
  for (const auto& [name, value] : map) {
    fuzz::check(scratchColumns().hasColumn(name), "a write naming no column of the table is refused");
    fuzz::check(!value.date() && !(value.real() && std::isnan(*value.real())),
                "a value nothing can write is refused");
  }

  // The same write with bound values.
  std::string reference;
  std::vector<Value> arguments;
  std::string names;
  std::string places;
  std::string sets;
  for (std::size_t i = 0; i < map.size(); ++i) {
    if (map[i].second.isNull()) continue;  // the builder leaves the null marker out
    const std::string name = quotedName(map[i].first);
    names += (names.empty() ? "" : ", ") + name;
    places += places.empty() ? "?" : ", ?";
    sets += (sets.empty() ? "" : ", ") + name + " = ?";
    arguments.push_back(referenceValue(map[i].first, map[i].second));
  }
  const auto where = [&] {
    std::string text = " WHERE ";
    for (std::size_t i = 0; i < conditions->size(); ++i) {
      switch (i % 4) {
        case 0:
          text += quotedName(*(*conditions)[i].text());
          break;
        case 2:
          text += "?";
          arguments.push_back(referenceValue(*(*conditions)[i - 2].text(), (*conditions)[i]));
          break;
        default:
          text += " " + *(*conditions)[i].text() + " ";
      }
    }
    return text;
  };
  switch (operation) {
    case 0:
    case 1:
      reference = std::string(operation == 0 ? "INSERT OR REPLACE" : "INSERT OR IGNORE") +
                  " INTO Reference ( " + names + " ) VALUES ( " + places + " )";
      break;
    case 2:
      reference = "UPDATE Reference SET " + sets + where();
      break;
    default:
      reference = "DELETE FROM Reference" + where();
  }

  const bool ran = db.executeUpdate(statement->text());
  const bool referenceRan = db.executeUpdate(reference, arguments);
  fuzz::check(ran == referenceRan, "the builder's statement runs exactly when the bound one does",
              fuzz::shown(statement->text()) + " | " + reference);
  if (!ran) {
    fuzz::check(log.contains("DB Error"), "a failed statement is logged");
  }
  const auto written = rows(db, "Scratch");
  const auto expected = rows(db, "Reference");
  fuzz::check(written.size() == expected.size(), "the builder's write touches the same rows",
              fuzz::shown(statement->text()));
  for (std::size_t r = 0; r < written.size(); ++r) {
    for (std::size_t c = 0; c < kColumnCount; ++c) {
      fuzz::check(written[r][c] == expected[r][c], "every value is stored exactly as given",
                  std::string(kColumns[c].name) + ": " + fuzz::shown(written[r][c].description()) +
                      " instead of " + fuzz::shown(expected[r][c].description()) + " by " +
                      fuzz::shown(statement->text()));
    }
  }
  return 0;
}
