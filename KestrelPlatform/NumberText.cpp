#include <KestrelPlatform/NumberText.h>

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>

namespace kestrel::platform {
namespace {

// The C locale as a handle, made once and kept for the life of the process.
locale_t classicLocale() {
  static const locale_t locale = newlocale(LC_ALL_MASK, "C", locale_t{});
  return locale;
}

bool isBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

}  // namespace

ClassicLocaleScope::ClassicLocaleScope() : previous_(uselocale(classicLocale())) {}

ClassicLocaleScope::~ClassicLocaleScope() {
  uselocale(previous_);
}

std::string decimalText(double value) {
  if (std::isnan(value)) return "nan";
  // The longest plain form of a double: about 310 digits for the largest
  // values, "0." and about 325 digits for the smallest subnormals.
  char buffer[400];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed);
  return std::string(buffer, result.ptr);
}

std::int64_t leadingInteger(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && isBlank(text[i])) ++i;
  bool negative = false;
  if (i < text.size() && (text[i] == '-' || text[i] == '+')) negative = text[i++] == '-';
  // The magnitude is gathered unsigned, capped one above INT64_MAX so that
  // INT64_MIN itself still fits.
  constexpr std::uint64_t kMax = std::uint64_t{1} << 63;
  const std::uint64_t limit = negative ? kMax : kMax - 1;
  std::uint64_t magnitude = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    const auto digit = static_cast<std::uint64_t>(text[i] - '0');
    magnitude = magnitude > (limit - digit) / 10 ? limit : magnitude * 10 + digit;
  }
  // Unsigned negation wraps; converting 2^63 gives INT64_MIN.
  return static_cast<std::int64_t>(negative ? 0 - magnitude : magnitude);
}

double leadingDouble(std::string_view text) {
  const std::string copy(text);  // strtod_l needs the terminating zero
  return strtod_l(copy.c_str(), nullptr, classicLocale());
}

std::int64_t saturatedInteger(double value) {
  if (std::isnan(value)) return 0;
  // 2^63 is exact as a double; -2^63 is the smallest value that converts.
  if (value >= 9223372036854775808.0) return std::numeric_limits<std::int64_t>::max();
  if (value < -9223372036854775808.0) return std::numeric_limits<std::int64_t>::min();
  return static_cast<std::int64_t>(value);
}

}  // namespace kestrel::platform
