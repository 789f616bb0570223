// Turns points in time into text and back with a fixed date pattern, always in
// GMT (offset +0000) and with English (en_US) month and weekday names, so the
// same instant gives the same text whatever the machine's time zone or locale.
//
// Pattern letters (a subset of the Unicode date pattern letters; a run of the
// same letter is one field, its length chooses the form):
//   y      year; "yy" the last two digits, any other length the year padded
//          to that many digits ("yyyy" -> 2024)
//   M, L   month; "M" 1-12, "MM" 01-12, "MMM" Jan, "MMMM" January
//   d      day of month; "d" 1-31, "dd" 01-31
//   H      hour 0-23; k hour 1-24; h hour 1-12; K hour 0-11
//   m, s   minute, second
//   S      fraction of a second, as many digits as letters (truncated)
//   a      AM or PM
//   E      weekday; "E"-"EEE" Mon, "EEEE" Monday
//   Z      the offset: "Z"-"ZZZ" +0000, "ZZZZ" GMT, "ZZZZZ" Z
// Text between single quotes is literal ('' is one quote, inside or outside
// quotes); every other character, letters outside this list included, stands
// for itself.
//
// Parsing is strict: the whole text must match the pattern, fields of length
// two or more take exactly that many digits ("dd" rejects "5"; years may run
// longer than "yyyy" when no numeric field follows), one-letter fields take
// one or two digits, names match without regard to case, and every value
// must exist (no February 30, no hour 24 for "HH"). Missing fields default to
// 1970-01-01 00:00:00. A two-digit year lands in the hundred years starting 80
// years before Clock::now(). A parsed offset ("+0100", "Z", "GMT+01:00") is
// honoured; a parsed weekday must agree with the parsed day. Anything else
// gives std::nullopt. Dates use the proleptic Gregorian calendar.
//
// Thread-safety: immutable after construction; use one instance from any
// number of threads.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

class DateFormatter {
 public:
  using TimePoint = std::chrono::system_clock::time_point;

  explicit DateFormatter(std::string pattern);

  const std::string& pattern() const { return pattern_; }

  /// The text of the instant in GMT.
  std::string stringFromDate(TimePoint date) const;

  /// The instant the text names, or std::nullopt when it does not match.
  std::optional<TimePoint> dateFromString(std::string_view text) const;

 private:
  struct Token {
    char letter = 0;  // 0 for literal text
    int count = 0;
    std::string literal;
  };

  static std::vector<Token> tokenize(std::string_view pattern);

  std::string pattern_;
  std::vector<Token> tokens_;
};

}  // namespace kestrel::platform
