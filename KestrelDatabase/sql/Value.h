// One SQL value as the layer passes it around: the argument of a statement,
// an entry of a column/value map, or what objectForColumn() reads back.
//
// A value is one of: the null marker (Value::null()), a 64-bit integer, a
// double, text, a blob, or a date. Any C++ argument converts to a Value the
// way the connection binds it:
//   char                          -> integer of its character value
//   bool                          -> integer 0 or 1
//   signed/unsigned integral      -> integer (unsigned 64-bit kept bit for bit)
//   float, double                 -> double
//   strings                       -> text
//   byte vectors and spans        -> blob (an empty blob stays a blob, not NULL)
//   system_clock::time_point      -> date
//   std::nullopt, nullptr         -> the null marker
//   std::optional<T>              -> T's value, or the null marker
//   anything else that streams    -> the text it writes to an ostream
//                                    (in the classic locale)
//
// Thread-safety: a plain value type.
#pragma once

#include <chrono>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <locale>
#include <optional>
#include <ostream>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace kestrel {

class Value {
 public:
  enum class Type { Null, Integer, Double, Text, Blob, Date };
  using Blob = std::vector<std::uint8_t>;
  using Date = std::chrono::system_clock::time_point;

  /// The null marker.
  Value() = default;
  /// The one shared null marker object.
  static const Value& null();

  Value(std::nullptr_t) {}                                // NOLINT(google-explicit-constructor)
  Value(std::nullopt_t) {}                                // NOLINT(google-explicit-constructor)
  Value(char c) : data_(static_cast<std::int64_t>(c)) {}  // NOLINT
  Value(bool b) : data_(static_cast<std::int64_t>(b ? 1 : 0)) {}  // NOLINT
  template <std::integral T>
  requires(!std::same_as<T, bool> && !std::same_as<T, char>) Value(T v)
      : data_(static_cast<std::int64_t>(v)) {}  // NOLINT
  template <std::floating_point T>
  Value(T v) : data_(static_cast<double>(v)) {}                       // NOLINT
  Value(std::string s) : data_(std::move(s)) {}                       // NOLINT
  Value(std::string_view s) : data_(std::string(s)) {}                // NOLINT
  Value(const char* s) : data_(s ? std::string(s) : std::string()) {  // NOLINT
    if (!s) data_ = std::monostate{};
  }
  Value(Blob b) : data_(std::move(b)) {}                                       // NOLINT
  Value(std::span<const std::uint8_t> b) : data_(Blob(b.begin(), b.end())) {}  // NOLINT
  Value(const std::vector<std::byte>& b);                                      // NOLINT
  Value(Date d) : data_(d) {}                                                  // NOLINT
  /// Pointers other than C strings have no SQL value; without this they would
  /// silently turn into the boolean 1.
  template <class T>
  requires(!std::same_as<std::remove_cv_t<T>, char>) Value(T*)
  = delete;
  template <class T>
  Value(const std::optional<T>& v) {  // NOLINT
    if (v) *this = Value(*v);
  }
  /// Any other type with a textual description (operator<<) binds as text.
  template <class T>
  requires(!std::is_arithmetic_v<std::remove_cvref_t<T>> && !std::is_pointer_v<T> &&
           !std::is_convertible_v<const T&, std::string_view> &&
           !std::is_same_v<std::remove_cvref_t<T>, Value> &&
           requires(std::ostream & os, const T& t) { os << t; }) Value(const T& v) {  // NOLINT
    std::ostringstream out;
    out.imbue(std::locale::classic());  // not the application's global locale
    out << v;
    data_ = out.str();
  }

  Type type() const { return static_cast<Type>(data_.index()); }
  bool isNull() const { return type() == Type::Null; }

  /// The stored alternative, or nullptr for another type.
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&data_); }
  const double* real() const { return std::get_if<double>(&data_); }
  const std::string* text() const { return std::get_if<std::string>(&data_); }
  const Blob* blob() const { return std::get_if<Blob>(&data_); }
  const Date* date() const { return std::get_if<Date>(&data_); }

  /// Numeric reading with SQLite-like conversion: integer and double convert
  /// (a double beyond the 64-bit range saturates, NaN is 0), text is parsed
  /// as a leading number ('.' as the decimal point), anything else is 0.
  std::int64_t toInt64() const;
  double toDouble() const;

  /// The text form used where a value is written into SQL text or shown:
  /// integers in decimal, doubles with the fewest digits that read back as
  /// the same value and never with an exponent ("3", "1.5", "1700000000",
  /// "0.1"), text as it is, a blob as "<hex bytes>", a date as
  /// "YYYY-MM-DD HH:MM:SS +0000", the null marker as "<null>". The same
  /// whatever locale the process has set.
  std::string description() const;

  bool operator==(const Value& other) const = default;

  /// Writes description(). Takes exactly a Value (no conversions), so asking
  /// whether some other type streams never goes through the converting
  /// constructor above, which would ask the same question again.
  template <class V>
  requires std::same_as<V, Value>
  friend std::ostream& operator<<(std::ostream& out, const V& value) {
    return out << value.description();
  }

 private:
  std::variant<std::monostate, std::int64_t, double, std::string, Blob, Date> data_;
};

}  // namespace kestrel
