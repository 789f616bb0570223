// One attribute value of a managed object, or one argument of a predicate:
// nothing (null), a 64-bit integer, a real number, a boolean, a text or a
// byte string. Attribute values are kept in the form their attribute type
// stores (integers as integers, booleans as booleans); predicate arguments
// may be of any kind and are converted when a predicate is compiled against
// an entity.
//
// Thread-safety: a plain value; as safe as any standard container.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kestrel::platform {

using Bytes = std::vector<std::uint8_t>;

class ObjectValue {
 public:
  enum class Kind { null, integer, real, boolean, text, data };

  ObjectValue() = default;
  ObjectValue(bool value) : value_(value) {}  // NOLINT(google-explicit-constructor)
  template <std::integral Integer>
    requires(!std::same_as<Integer, bool>)
  ObjectValue(Integer value) : value_(static_cast<std::int64_t>(value)) {}  // NOLINT
  ObjectValue(double value) : value_(value) {}                              // NOLINT
  ObjectValue(std::string value) : value_(std::move(value)) {}              // NOLINT
  ObjectValue(std::string_view value) : value_(std::string(value)) {}       // NOLINT
  ObjectValue(const char* value) : value_(std::string(value)) {}            // NOLINT
  ObjectValue(Bytes value) : value_(std::move(value)) {}                    // NOLINT
  /// An optional value: nullopt is null.
  template <class T>
  ObjectValue(const std::optional<T>& value) {  // NOLINT
    if (value) *this = ObjectValue(*value);
  }

  static ObjectValue null() { return ObjectValue(); }

  Kind kind() const { return static_cast<Kind>(value_.index()); }
  bool isNull() const { return kind() == Kind::null; }

  /// The stored alternative, or nullptr when the value is of another kind.
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&value_); }
  const double* real() const { return std::get_if<double>(&value_); }
  const bool* boolean() const { return std::get_if<bool>(&value_); }
  const std::string* text() const { return std::get_if<std::string>(&value_); }
  const Bytes* data() const { return std::get_if<Bytes>(&value_); }

  /// A readable form for messages: nil, 12, 1.5, true, "text", <3 bytes>.
  std::string description() const;

  friend bool operator==(const ObjectValue&, const ObjectValue&) = default;

 private:
  std::variant<std::monostate, std::int64_t, double, bool, std::string, Bytes> value_;
};

/// The name of a kind as messages spell it ("integer", "text", ...).
const char* kindName(ObjectValue::Kind kind);

}  // namespace kestrel::platform
