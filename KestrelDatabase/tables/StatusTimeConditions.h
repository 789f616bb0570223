// The conditions on status and time that the event and stage tables share:
// which rows count as finished, and the clauses of their refresh selections.
// Both tables keep the same status codes (1 finished, 2 in progress, 3 not
// started; 4, 5 and 6 finished once the start has passed; 8, 9, 10 live);
// they differ in their columns and time limits, which the caller gives.
//
// Every "now" is written with "%f".
//
// Thread-safety: pure text builders; call from any thread.
#pragma once

#include <cstddef>
#include <span>
#include <string>

namespace kestrel {

class StatusTimeConditions {
 public:
  StatusTimeConditions() = delete;

  /// The columns a condition reads.
  struct Columns {
    const char* status;
    const char* start;
    const char* lastUpdate;
  };

  /// "S = 1 OR ((S = 4 OR S = 5 OR S = 6) AND <start> < now)", without outer
  /// parentheses: the finished rows at `now`.
  static std::string finished(const Columns& columns, double now);

  /// One clause of a refresh selection: a status (or any), an optional window
  /// on the time to the start (before) or since the start (after) with strict
  /// bounds, and the age of the row's data above which it is due.
  struct RefreshClause {
    enum class Window { None, BeforeStart, AfterStart };
    static constexpr unsigned long kAnyStatus = 0;

    unsigned long status;  // kAnyStatus: no status test
    Window window;
    int lower;  // 0 with `upper` 0: no window
    int upper;  // 0: no upper bound
    int maxAge;
  };

  /// The clauses, each "( (S = n) AND ((start - now) > a) AND ... AND
  /// (ABS(now - last) > age) )", joined with " OR  ".
  static std::string refreshClauses(std::span<const RefreshClause> clauses, const Columns& columns,
                                    double now);
};

}  // namespace kestrel
