#include <KestrelPlatform/DateFormatter.h>

#include <KestrelPlatform/Clock.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>

namespace kestrel::platform {
namespace {

using namespace std::chrono;

constexpr std::array<std::string_view, 12> kMonthShort = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
constexpr std::array<std::string_view, 12> kMonthLong = {
    "January", "February", "March",     "April",   "May",      "June",
    "July",    "August",   "September", "October", "November", "December"};
constexpr std::array<std::string_view, 7> kWeekdayShort = {"Sun", "Mon", "Tue", "Wed",
                                                           "Thu", "Fri", "Sat"};
constexpr std::array<std::string_view, 7> kWeekdayLong = {
    "Sunday", "Monday", "Tuesday", "Wednesday", "Thursday", "Friday", "Saturday"};

constexpr std::string_view kLetters = "yMLdHkhKmsSaEZ";
constexpr int kMaxYear = 32767;  // the range of std::chrono::year

bool isPatternLetter(char c) {
  return kLetters.find(c) != std::string_view::npos;
}

char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool isNumericField(char letter, int count) {
  switch (letter) {
    case 'M':
    case 'L':
      return count <= 2;
    case 'y':
    case 'd':
    case 'H':
    case 'k':
    case 'h':
    case 'K':
    case 'm':
    case 's':
    case 'S':
      return true;
    default:
      return false;
  }
}

void appendPadded(std::string& out, long long value, int width) {
  // The magnitude in unsigned arithmetic, where negating LLONG_MIN is defined.
  const auto bits = static_cast<unsigned long long>(value);
  const std::string digits = std::to_string(value < 0 ? 0 - bits : bits);
  if (value < 0) out.push_back('-');
  if (static_cast<int>(digits.size()) < width) out.append(width - digits.size(), '0');
  out += digits;
}

// Reads a run of ASCII digits of length min..max at pos.
std::optional<long long> readDigits(std::string_view text, std::size_t& pos, int min, int max) {
  if (max > 18) return std::nullopt;  // would not fit in the value
  std::size_t end = pos;
  while (end < text.size() && static_cast<int>(end - pos) < max && text[end] >= '0' &&
         text[end] <= '9') {
    ++end;
  }
  const int length = static_cast<int>(end - pos);
  if (length < min) return std::nullopt;
  long long value = 0;
  for (std::size_t i = pos; i < end; ++i) value = value * 10 + (text[i] - '0');
  pos = end;
  return value;
}

bool matchesIgnoringCase(std::string_view text, std::size_t pos, std::string_view word) {
  if (text.size() - pos < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    if (lower(text[pos + i]) != lower(word[i])) return false;
  }
  return true;
}

// Index of the longest name that matches at pos, advancing pos past it.
template <std::size_t N>
std::optional<int> readName(std::string_view text, std::size_t& pos,
                            const std::array<std::string_view, N>& names) {
  std::optional<int> found;
  for (std::size_t i = 0; i < N; ++i) {
    if (matchesIgnoringCase(text, pos, names[i]) &&
        (!found || names[i].size() > names[*found].size())) {
      found = static_cast<int>(i);
    }
  }
  if (found) pos += names[*found].size();
  return found;
}

// "+HHMM" (colon false) or "+HH:MM" (colon true); returns seconds east of GMT.
std::optional<int> readOffset(std::string_view text, std::size_t& pos, bool colon) {
  if (pos >= text.size() || (text[pos] != '+' && text[pos] != '-')) return std::nullopt;
  const int sign = text[pos] == '-' ? -1 : 1;
  ++pos;
  const auto hours = readDigits(text, pos, 2, 2);
  if (!hours) return std::nullopt;
  if (colon) {
    if (pos >= text.size() || text[pos] != ':') return std::nullopt;
    ++pos;
  }
  const auto minutes = readDigits(text, pos, 2, 2);
  if (!minutes || *hours > 23 || *minutes > 59) return std::nullopt;
  return sign * static_cast<int>(*hours * 3600 + *minutes * 60);
}

struct Parsed {
  long long year = 1970;
  long long month = 1;
  long long day = 1;
  std::optional<long long> hour24;  // H or k
  std::optional<long long> hour12;  // h or K, 0-11
  bool pm = false;
  long long minute = 0;
  long long second = 0;
  nanoseconds fraction{0};
  std::optional<int> weekday;  // 0 = Sunday
  bool hasDay = false;
  int offsetSeconds = 0;
};

long long twoDigitYear(long long yy) {
  // The hundred years that start 80 years before now.
  const auto now = sys_seconds{seconds{static_cast<long long>(std::floor(Clock::now()))}};
  const int startYear = static_cast<int>(year_month_day{floor<days>(now)}.year()) - 80;
  long long year = (startYear / 100) * 100 + yy;
  if (year < startYear) year += 100;
  return year;
}

}  // namespace

DateFormatter::DateFormatter(std::string pattern)
    : pattern_(std::move(pattern)), tokens_(tokenize(pattern_)) {}

std::vector<DateFormatter::Token> DateFormatter::tokenize(std::string_view pattern) {
  std::vector<Token> tokens;
  auto appendLiteral = [&](std::string_view text) {
    if (tokens.empty() || tokens.back().letter != 0) tokens.push_back(Token{});
    tokens.back().literal.append(text);
  };
  std::size_t i = 0;
  while (i < pattern.size()) {
    const char c = pattern[i];
    if (c == '\'') {
      if (i + 1 < pattern.size() && pattern[i + 1] == '\'') {
        appendLiteral("'");
        i += 2;
        continue;
      }
      // Quoted text up to the closing quote (or the end); '' inside is a quote.
      ++i;
      while (i < pattern.size()) {
        if (pattern[i] == '\'') {
          if (i + 1 < pattern.size() && pattern[i + 1] == '\'') {
            appendLiteral("'");
            i += 2;
            continue;
          }
          ++i;
          break;
        }
        appendLiteral(pattern.substr(i, 1));
        ++i;
      }
      continue;
    }
    if (isPatternLetter(c)) {
      std::size_t end = i;
      while (end < pattern.size() && pattern[end] == c) ++end;
      tokens.push_back(Token{c, static_cast<int>(end - i), {}});
      i = end;
      continue;
    }
    appendLiteral(pattern.substr(i, 1));
    ++i;
  }
  return tokens;
}

std::string DateFormatter::stringFromDate(TimePoint date) const {
  const auto day = floor<days>(date);
  const year_month_day ymd{day};
  const auto sinceMidnight = duration_cast<nanoseconds>(date - day);
  const hh_mm_ss<nanoseconds> time{sinceMidnight};
  const long long hour = time.hours().count();
  const int weekdayIndex = static_cast<int>(weekday{day}.c_encoding());
  const int monthIndex = static_cast<int>(static_cast<unsigned>(ymd.month())) - 1;

  std::string out;
  for (const Token& token : tokens_) {
    const int n = token.count;
    switch (token.letter) {
      case 0:
        out += token.literal;
        break;
      case 'y': {
        const long long y = static_cast<int>(ymd.year());
        if (n == 2) {
          appendPadded(out, ((y % 100) + 100) % 100, 2);
        } else {
          appendPadded(out, y, n);
        }
        break;
      }
      case 'M':
      case 'L':
        if (n <= 2) {
          appendPadded(out, monthIndex + 1, n);
        } else {
          out += n == 3 ? kMonthShort[monthIndex] : kMonthLong[monthIndex];
        }
        break;
      case 'd':
        appendPadded(out, static_cast<unsigned>(ymd.day()), n);
        break;
      case 'H':
        appendPadded(out, hour, n);
        break;
      case 'k':
        appendPadded(out, hour == 0 ? 24 : hour, n);
        break;
      case 'h':
        appendPadded(out, hour % 12 == 0 ? 12 : hour % 12, n);
        break;
      case 'K':
        appendPadded(out, hour % 12, n);
        break;
      case 'm':
        appendPadded(out, time.minutes().count(), n);
        break;
      case 's':
        appendPadded(out, time.seconds().count(), n);
        break;
      case 'S': {
        // Nine digits of nanoseconds, cut (not rounded) to the field's length.
        std::string digits;
        appendPadded(digits, time.subseconds().count(), 9);
        digits.resize(static_cast<std::size_t>(n), '0');
        out += digits;
        break;
      }
      case 'a':
        out += hour < 12 ? "AM" : "PM";
        break;
      case 'E':
        out += n == 4 ? kWeekdayLong[weekdayIndex] : kWeekdayShort[weekdayIndex];
        break;
      case 'Z':
        out += n <= 3 ? "+0000" : n == 4 ? "GMT" : "Z";
        break;
      default:
        break;
    }
  }
  return out;
}

std::optional<DateFormatter::TimePoint> DateFormatter::dateFromString(std::string_view text) const {
  Parsed p;
  std::size_t pos = 0;
  for (std::size_t t = 0; t < tokens_.size(); ++t) {
    const Token& token = tokens_[t];
    const int n = token.count;
    // A numeric field directly followed by another takes exactly its length.
    const bool abutting = t + 1 < tokens_.size() && tokens_[t + 1].letter != 0 &&
                          isNumericField(tokens_[t + 1].letter, tokens_[t + 1].count);
    const int minDigits = n == 1 ? 1 : n;
    const int maxDigits = n == 1 ? (abutting ? 1 : 2) : n;
    switch (token.letter) {
      case 0:
        if (text.substr(pos, token.literal.size()) != token.literal) return std::nullopt;
        pos += token.literal.size();
        break;
      case 'y': {
        const std::size_t start = pos;
        const auto value = n == 2 ? readDigits(text, pos, 2, 2)
                                  : readDigits(text, pos, minDigits, abutting ? n : 5);
        if (!value) return std::nullopt;
        p.year = pos - start == 2 && n <= 2 ? twoDigitYear(*value) : *value;
        break;
      }
      case 'M':
      case 'L':
        if (n <= 2) {
          const auto value = readDigits(text, pos, minDigits, maxDigits);
          if (!value) return std::nullopt;
          p.month = *value;
        } else {
          const auto index =
              n == 3 ? readName(text, pos, kMonthShort) : readName(text, pos, kMonthLong);
          if (!index) return std::nullopt;
          p.month = *index + 1;
        }
        break;
      case 'd': {
        const auto value = readDigits(text, pos, minDigits, maxDigits);
        if (!value) return std::nullopt;
        p.day = *value;
        p.hasDay = true;
        break;
      }
      case 'H':
      case 'k': {
        const auto value = readDigits(text, pos, minDigits, maxDigits);
        if (!value) return std::nullopt;
        if (token.letter == 'H' ? *value > 23 : (*value < 1 || *value > 24)) return std::nullopt;
        p.hour24 = *value % 24;
        break;
      }
      case 'h':
      case 'K': {
        const auto value = readDigits(text, pos, minDigits, maxDigits);
        if (!value) return std::nullopt;
        if (token.letter == 'h' ? (*value < 1 || *value > 12) : *value > 11) return std::nullopt;
        p.hour12 = *value % 12;
        break;
      }
      case 'm':
      case 's': {
        const auto value = readDigits(text, pos, minDigits, maxDigits);
        if (!value || *value > 59) return std::nullopt;
        (token.letter == 'm' ? p.minute : p.second) = *value;
        break;
      }
      case 'S': {
        const auto value = readDigits(text, pos, n, n);
        if (!value) return std::nullopt;
        long long nanos = *value;
        for (int digits = n; digits < 9; ++digits) nanos *= 10;
        for (int digits = n; digits > 9; --digits) nanos /= 10;
        p.fraction = nanoseconds{nanos};
        break;
      }
      case 'a': {
        static constexpr std::array<std::string_view, 2> kMarkers = {"AM", "PM"};
        const auto index = readName(text, pos, kMarkers);
        if (!index) return std::nullopt;
        p.pm = *index == 1;
        break;
      }
      case 'E': {
        const auto index =
            n == 4 ? readName(text, pos, kWeekdayLong) : readName(text, pos, kWeekdayShort);
        if (!index) return std::nullopt;
        p.weekday = *index;
        break;
      }
      case 'Z': {
        std::optional<int> offset;
        if (n <= 3) {
          offset = readOffset(text, pos, false);
        } else if (n == 4) {
          if (!matchesIgnoringCase(text, pos, "GMT")) return std::nullopt;
          pos += 3;
          offset = pos < text.size() && (text[pos] == '+' || text[pos] == '-')
                       ? readOffset(text, pos, true)
                       : std::optional<int>(0);
        } else if (pos < text.size() && text[pos] == 'Z') {
          ++pos;
          offset = 0;
        } else {
          offset = readOffset(text, pos, true);
        }
        if (!offset) return std::nullopt;
        p.offsetSeconds = *offset;
        break;
      }
      default:
        break;
    }
  }
  if (pos != text.size()) return std::nullopt;

  if (p.year < 0 || p.year > kMaxYear || p.month < 1 || p.month > 12 || p.day < 1 || p.day > 31) {
    return std::nullopt;
  }
  const year_month_day ymd{year{static_cast<int>(p.year)}, month{static_cast<unsigned>(p.month)},
                           day{static_cast<unsigned>(p.day)}};
  if (!ymd.ok()) return std::nullopt;
  const sys_days date{ymd};
  if (p.weekday && p.hasDay && static_cast<int>(weekday{date}.c_encoding()) != *p.weekday) {
    return std::nullopt;
  }
  long long hour = 0;
  if (p.hour24) {
    hour = *p.hour24;
  } else if (p.hour12) {
    hour = *p.hour12 + (p.pm ? 12 : 0);
  } else if (p.pm) {
    hour = 12;
  }
  // Whole seconds first: the day alone may lie outside what the clock holds.
  const sys_seconds instant = sys_seconds{date} + hours{hour} + minutes{p.minute} +
                              seconds{p.second} - seconds{p.offsetSeconds};
  constexpr auto kLimit = duration_cast<seconds>(TimePoint::duration::max()) - seconds{1};
  if (instant.time_since_epoch() > kLimit || instant.time_since_epoch() < -kLimit) {
    return std::nullopt;
  }
  return time_point_cast<TimePoint::duration>(instant) +
         duration_cast<TimePoint::duration>(p.fraction);
}

}  // namespace kestrel::platform
