// The fuzz target of a table's row mapping (event_row.cpp, stage_row.cpp):
// a row of arbitrary column values, each of any type SQLite holds (integer,
// real, text with any bytes, blob, NULL), stored with bound values in a real
// table on an in-memory database and mapped through a real result set, as
// the application reads its rows.
//
// Input: the first byte's low bit chooses SELECT * or a projection (then 16
// bytes are a bit mask over the table's columns); then (column, kind, value)
// entries until the input ends.
//
// Promises checked:
//   - mapping any row neither crashes nor is undefined behaviour;
//   - the model read from a row writes through the table's checked path
//     (never refused), and every text and integer of the write is stored
//     exactly as the mapping gave it;
//   - reading that row again gives the same model: its mapping to columns
//     equals the first one, column by column (a read-write-read cycle is
//     stable, so re-saving what the app read changes nothing).
#pragma once

#include "FuzzSupport.h"

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/Base64.h>
#include <KestrelPlatform/Clock.h>

#include <map>

namespace kestrel::fuzz {

inline Value fuzzedColumnValue(FuzzInput& in) {
  switch (in.byte() % 8) {
    case 0:
      return Value::null();
    case 1:
      return Value(in.interestingInt64());
    case 2:
      return Value(in.real());
    case 3:
      return Value(in.text(64));
    case 4: {
      const std::string bytes = in.text(16);
      return Value(Value::Blob(bytes.begin(), bytes.end()));
    }
    case 5:
      return Value(std::to_string(in.interestingInt64()));
    case 6:  // a stored field-translations text, so the JSON is reached
      return Value(platform::base64Encode(in.text(128)));
    default: {  // a list as the tables join it
      std::string list;
      for (int n = in.byte() % 5; n > 0; --n) list += std::to_string(in.interestingInt64()) + ",";
      if (!list.empty() && in.flag()) list.pop_back();
      return Value(list);
    }
  }
}

template <class Table, class Read>
int runRowMapper(const std::uint8_t* data, std::size_t size, Read read) {
  FuzzInput in(data, size);
  LogLines quiet;
  platform::Clock::setFixed(1700000000);

  static const std::shared_ptr<FMDatabase> db = [] {
    auto database = FMDatabase::databaseWithPath(std::nullopt);
    check(database->open(), "the in-memory database opens");
    check(database->executeUpdate(Table::createTableQuery()), "the table is created");
    for (const auto& upgrade : Table::updateTableQueries()) database->executeUpdate(upgrade);
    return database;
  }();
  const std::string table = Table::tableColumns().tableName();
  check(db->executeUpdate("DELETE FROM " + table), "the scratch table is emptied");

  std::string projection = "*";
  if (in.flag()) {
    projection.clear();
    for (std::size_t i = 0; i < Table::kColumnCount; i += 8) {
      const std::uint8_t bits = in.byte();
      for (std::size_t k = 0; k < 8 && i + k < Table::kColumnCount; ++k) {
        if ((bits >> k) & 1) {
          projection += (projection.empty() ? "" : ", ") + std::string(Table::kColumns[i + k].name);
        }
      }
    }
    if (projection.empty()) projection = Table::kColumns[0].name;
  }
  const std::string select = "SELECT " + projection + " FROM " + table;

  std::map<std::size_t, Value> row;
  while (!in.empty()) {
    const std::size_t column = in.byte() % Table::kColumnCount;
    row[column] = fuzzedColumnValue(in);
  }
  std::string names;
  std::string places;
  std::vector<Value> values;
  for (const auto& [column, value] : row) {
    names += (names.empty() ? "\"" : ", \"") + std::string(Table::kColumns[column].name) + "\"";
    places += places.empty() ? "?" : ", ?";
    values.push_back(value);
  }
  const std::string insert = values.empty()
                                 ? "INSERT INTO " + table + " DEFAULT VALUES"
                                 : "INSERT INTO " + table + " (" + names + ") VALUES (" + places + ")";
  // A key that is not an integer is refused by SQLite: nothing to map.
  if (!db->executeUpdate(insert, values)) return 0;

  const auto mapRow = [&] {
    auto resultSet = db->executeQuery(select);
    check(resultSet != nullptr && resultSet->next(), "the stored row is read");
    const auto layout = Table::rowLayoutForResultSet(*resultSet);
    auto model = read(*resultSet, layout);
    resultSet->close();
    return Table::mapAllPropertiesToColumns(model);
  };

  const ColumnValueMap first = mapRow();
  const auto statement = DBTableAbstract::checkedInsertOrReplace(Table::tableColumns(), first);
  check(statement.has_value(), "the mapping of a read row is never refused");
  check(db->executeUpdate("DELETE FROM " + table), "the scratch table is emptied");
  check(db->executeUpdate(statement->text()), "the mapping of a read row is written",
        shown(statement->text()));

  {
    auto stored = db->executeQuery("SELECT * FROM " + table);
    check(stored != nullptr && stored->next(), "the written row is read");
    for (const auto& entry : first) {
      const std::string& name = entry.first;
      const Value& value = entry.second;
      const auto column = std::find_if(Table::kColumns.begin(), Table::kColumns.end(),
                                       [&](const auto& c) { return name == c.name; });
      const bool textColumn = column != Table::kColumns.end() && column->dataType == 1;
      if (value.text() && textColumn) {
        check(stored->stringForColumn(name) == *value.text(), "a text is stored byte for byte",
              name + ": " + shown(*value.text()));
      } else if (value.integer()) {
        check(stored->getIntegerForColumnName(name) == *value.integer(),
              "an integer is stored as given", name + ": " + value.description());
      } else if (value.isNull()) {
        check(stored->columnIsNull(name), "a null marker is stored as NULL", name);
      }
    }
    stored->close();
  }

  const ColumnValueMap second = mapRow();
  check(first.size() == second.size(), "a re-read row maps to as many columns");
  for (std::size_t i = 0; i < first.size(); ++i) {
    check(first[i] == second[i], "a read-write-read cycle keeps every column",
          first[i].first + ": " + shown(first[i].second.description()) + " became " +
              shown(second[i].second.description()));
  }
  platform::Clock::reset();
  return 0;
}

}  // namespace kestrel::fuzz
