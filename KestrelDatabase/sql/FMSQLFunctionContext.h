// What a custom SQL function (FMDatabase::makeFunctionNamed) sees while
// SQLite calls it: the argument values with typed accessors, and the setters
// of its result.
//
// Thread-safety: valid only during the call of the function's block.
// Ownership: refers to SQLite's context and argument values; owns nothing.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

struct sqlite3_context;
struct sqlite3_value;

namespace kestrel {

/// The SQLite storage class of an argument value.
enum class SqliteValueType { Integer = 1, Float = 2, Text = 3, Blob = 4, Null = 5 };

class FMSQLFunctionContext {
 public:
  FMSQLFunctionContext(sqlite3_context* context, int argc, sqlite3_value** argv);
  FMSQLFunctionContext(const FMSQLFunctionContext&) = delete;
  FMSQLFunctionContext& operator=(const FMSQLFunctionContext&) = delete;

  int argumentCount() const { return argc_; }

  // Argument values; an index out of range reads as NULL.
  SqliteValueType valueType(int index) const;
  int valueInt(int index) const;
  std::int64_t valueLong(int index) const;
  double valueDouble(int index) const;
  /// The bytes, or absent for NULL or an empty blob.
  std::optional<std::vector<std::uint8_t>> valueData(int index) const;
  /// The text, or absent for NULL.
  std::optional<std::string> valueString(int index) const;

  // The function's result.
  void resultNull();
  void resultInt(int value);
  void resultLong(std::int64_t value);
  void resultDouble(double value);
  void resultData(std::span<const std::uint8_t> data);
  void resultString(std::string_view text);
  void resultError(std::string_view message);
  void resultErrorCode(int code);
  void resultErrorNoMemory();
  void resultErrorTooBig();

 private:
  sqlite3_value* value(int index) const;

  sqlite3_context* context_;
  int argc_;
  sqlite3_value** argv_;
};

}  // namespace kestrel
