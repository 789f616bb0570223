// Stages for the benchmark cases: a fully populated one (parent stage,
// season, unique stage, colours, category, winner, type), and the same
// value the stage table's mapping builds, read from a "StageTable" row by
// column index with raw sqlite3.
#pragma once

#include <KestrelModel/Stage.h>

#include <sqlite3.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel::bench {

/// Column `i` of the row `s` stands on; nothing for NULL.
std::optional<std::int64_t> integer(sqlite3_stmt* s, int i);
std::optional<std::string> text(sqlite3_stmt* s, int i);

/// Stage `id`, starting within the hour before `now`, in a group of ten
/// under one parent that started the day before.
model::Stage makeStage(std::int64_t id, double now);

/// The stage of the row `s` stands on (a SELECT * of "StageTable").
model::Stage rawStage(sqlite3_stmt* s);

}  // namespace kestrel::bench
