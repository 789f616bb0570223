// The system's one source of "now": seconds since 1970-01-01 UTC as a double.
// Every time-dependent statement of the layer reads Clock::now(); tests and
// the tool's --now option fix it.
//
// now() only hands out times between kEarliest and kLatest (finite, and far
// enough inside the 64-bit range that every time the layer derives from "now"
// is a whole number of seconds 64 bits hold: the layer subtracts at most
// 7776000 s and adds at most 4838400 s, and converts the results to
// integers). A fixed time outside is logged and ignored (the clock stays as
// it was), and a source that gives one is logged (once per installed source)
// and answered by the system clock instead.
//
// Thread-safety: all functions may be called from any thread.
#pragma once

#include <functional>

namespace kestrel::platform {

class Clock {
 public:
  using Source = std::function<double()>;

  Clock() = delete;

  /// The range of times the clock hands out, in seconds since 1970 (about
  /// 285 billion years either way: a margin of over 2 * 10^17 s to the ends
  /// of the 64-bit range).
  static constexpr double kEarliest = -9.0e18;
  static constexpr double kLatest = 9.0e18;

  /// Whether `secondsSince1970` is a time the clock can hand out: finite and
  /// within [kEarliest, kLatest].
  static bool isRepresentable(double secondsSince1970) {
    return secondsSince1970 >= kEarliest && secondsSince1970 <= kLatest;  // false for NaN
  }

  /// The current time from the installed source (the system clock by default).
  static double now();

  /// Installs a source; an empty function restores the system clock.
  static void setSource(Source source);

  /// Fixes "now" at the given number of seconds since 1970; a value the
  /// clock cannot hand out (!isRepresentable) is logged and ignored, and
  /// false is returned.
  static bool setFixed(double secondsSince1970);

  /// Restores the system clock.
  static void reset();

  /// The real wall clock, whatever source is installed.
  static double systemNow();
};

}  // namespace kestrel::platform
