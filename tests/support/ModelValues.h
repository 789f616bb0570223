// Model values with predictable contents, for the tests that store them:
// "Team <id>" and "Player <id>" playing football, "League <uniqueId>" (its
// tournament ID uniqueId + 1000), "Pinned <id>", "Stage <id>".
//
// Thread-safety: free functions. Ownership: plain values.
#pragma once

#include <KestrelModel/Event.h>
#include <KestrelModel/Player.h>
#include <KestrelModel/Stage.h>
#include <KestrelModel/Team.h>
#include <KestrelModel/Tournament.h>
#include <KestrelModel/UniqueTournament.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel::testing::values {

model::Team team(std::int64_t id);
model::Player player(std::int64_t id, const std::string& sportSlug = "football");
model::Tournament tournament(std::int64_t uniqueId);
model::UniqueTournament uniqueTournament(std::int64_t id);
/// An event with that status, with the team `homeTeam` at home and in the
/// league `uniqueTournament` (neither for 0).
model::Event event(std::int64_t id, std::int64_t start, int status = 3, std::int64_t homeTeam = 0,
                   std::int64_t uniqueTournament = 0);
/// A stage of the unique stage `uniqueStage`, under the parent `parent`
/// (none for 0), starting at `start` (none when absent).
model::Stage stage(std::int64_t id, std::optional<std::int64_t> start, std::int64_t parent = 0,
                   std::int64_t uniqueStage = 0, int status = 3);

}  // namespace kestrel::testing::values
