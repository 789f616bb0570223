// The system's one source of "now": seconds since 1970-01-01 UTC as a double.
// Every time-dependent statement of the layer reads Clock::now(); tests and
// the tool's --now option fix it.
//
// now() never hands out a time that is not a finite number: a fixed time
// that is NaN or infinite is logged and ignored (the clock stays as it was),
// and a source that gives one is logged (once per installed source) and
// answered by the system clock instead.
//
// Thread-safety: all functions may be called from any thread.
#pragma once

#include <functional>

namespace kestrel::platform {

class Clock {
 public:
  using Source = std::function<double()>;

  Clock() = delete;

  /// The current time from the installed source (the system clock by default).
  static double now();

  /// Installs a source; an empty function restores the system clock.
  static void setSource(Source source);

  /// Fixes "now" at the given number of seconds since 1970; a value that is
  /// not finite is logged and ignored.
  static void setFixed(double secondsSince1970);

  /// Restores the system clock.
  static void reset();

  /// The real wall clock, whatever source is installed.
  static double systemNow();
};

}  // namespace kestrel::platform
