// The favourite event the benchmark cases write and read: every mapped part
// set (tournament with category and season, both teams with two sub-teams
// each, scores, time, changes, status time, sport-specific parts).
#pragma once

#include <KestrelModel/Model.h>

#include <cstdint>

namespace kestrel::bench {

/// Event `id`, started within the two hours around `now`, in progress.
model::Event makeEvent(std::int64_t id, double now);

}  // namespace kestrel::bench
