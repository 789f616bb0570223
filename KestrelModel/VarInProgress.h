// Whether a video review is under way for the home and for the away team.
//
// Equality: value equality.
//
// Thread-safety: a plain value; concurrent reads are safe, writes need a lock.
#pragma once

namespace kestrel::model {

struct VarInProgress {
  bool homeTeam = false;
  bool awayTeam = false;

  VarInProgress() = default;
  VarInProgress(bool home, bool away) : homeTeam(home), awayTeam(away) {}

  bool operator==(const VarInProgress&) const = default;
};

}  // namespace kestrel::model
