// Reads what a database holds (tables, their columns and row counts) and what
// the current schema expects, for the tool's inspect and check commands.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kestrel {
class FMDatabase;
}

namespace kestrel::tool {

struct TableReport {
  std::string name;
  std::vector<std::string> columns;  // in declaration order
  std::int64_t rows = 0;
};

/// The tables the current schema creates, in creation order, with their
/// columns (built on an in-memory database from the table classes' own
/// CREATE statements).
std::vector<TableReport> expectedSchema();

/// The columns of a table in the given database, in declaration order; empty
/// when the table does not exist. When the schema cannot be read, `failed`
/// (if given) is set and the columns read so far are returned.
std::vector<std::string> columnsOf(FMDatabase& db, const std::string& table,
                                   bool* failed = nullptr);

}  // namespace kestrel::tool
