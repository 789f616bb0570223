// Numbers as text and text as numbers, the same whatever locale the host
// process has set: an application that calls setlocale(LC_ALL, "de_DE.UTF-8")
// or installs a global std::locale still gets "1700000000.5", never
// "1700000000,5" or "1.700.000.000", in every statement the layer writes.
//
// ClassicLocaleScope switches the calling thread to the C locale for the C
// library's formatting and parsing functions; formatString(), log() and
// print() (Log.h) format inside one. The functions below never consult a
// locale at all.
//
// Thread-safety: all functions are pure and callable from any thread; a
// ClassicLocaleScope changes only the locale of the thread that made it.
#pragma once

#include <locale.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace kestrel::platform {

/// While it lives, the calling thread's C library functions (printf, strtod,
/// ...) use the C locale: '.' as the decimal point and no digit grouping. The
/// thread's previous locale comes back on destruction. Nests.
class ClassicLocaleScope {
 public:
  ClassicLocaleScope();
  ~ClassicLocaleScope();
  ClassicLocaleScope(const ClassicLocaleScope&) = delete;
  ClassicLocaleScope& operator=(const ClassicLocaleScope&) = delete;

 private:
  locale_t previous_;
};

/// The decimal text of a double: the fewest digits that read back as the same
/// value, in plain notation without an exponent ("1700000000", "0.1",
/// "-2.5"). Infinities and NaN give "inf", "-inf" and "nan".
std::string decimalText(double value);

/// The decimal integer at the start of `text`, after blanks and an optional
/// sign ("12" -> 12, " -3x" -> -3, "x" -> 0). Values beyond the 64-bit range
/// saturate at INT64_MIN or INT64_MAX.
std::int64_t leadingInteger(std::string_view text);

/// The number at the start of `text` as strtod reads it in the C locale
/// ("1.5e3 m" -> 1500, "x" -> 0); out-of-range values give +-HUGE_VAL or 0.
double leadingDouble(std::string_view text);

/// A double as a 64-bit integer, truncated toward zero; values beyond the
/// range saturate and NaN gives 0 (a plain cast would be undefined there).
std::int64_t saturatedInteger(double value);

}  // namespace kestrel::platform
