#include <KestrelDatabase/sql/FMSQLFunctionContext.h>

#include <sqlite3.h>

namespace kestrel {

FMSQLFunctionContext::FMSQLFunctionContext(sqlite3_context* context, int argc, sqlite3_value** argv)
    : context_(context), argc_(argc), argv_(argv) {}

sqlite3_value* FMSQLFunctionContext::value(int index) const {
  return (index >= 0 && index < argc_) ? argv_[index] : nullptr;
}

SqliteValueType FMSQLFunctionContext::valueType(int index) const {
  sqlite3_value* v = value(index);
  return v ? static_cast<SqliteValueType>(sqlite3_value_type(v)) : SqliteValueType::Null;
}

int FMSQLFunctionContext::valueInt(int index) const {
  sqlite3_value* v = value(index);
  return v ? sqlite3_value_int(v) : 0;
}

std::int64_t FMSQLFunctionContext::valueLong(int index) const {
  sqlite3_value* v = value(index);
  return v ? sqlite3_value_int64(v) : 0;
}

double FMSQLFunctionContext::valueDouble(int index) const {
  sqlite3_value* v = value(index);
  return v ? sqlite3_value_double(v) : 0.0;
}

std::optional<std::vector<std::uint8_t>> FMSQLFunctionContext::valueData(int index) const {
  sqlite3_value* v = value(index);
  if (!v || sqlite3_value_type(v) == SQLITE_NULL) return std::nullopt;
  const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_value_blob(v));
  if (bytes == nullptr) return std::nullopt;
  return std::vector<std::uint8_t>(bytes, bytes + sqlite3_value_bytes(v));
}

std::optional<std::string> FMSQLFunctionContext::valueString(int index) const {
  sqlite3_value* v = value(index);
  if (!v || sqlite3_value_type(v) == SQLITE_NULL) return std::nullopt;
  const auto* text = reinterpret_cast<const char*>(sqlite3_value_text(v));
  if (text == nullptr) return std::nullopt;
  return std::string(text, static_cast<std::size_t>(sqlite3_value_bytes(v)));
}

void FMSQLFunctionContext::resultNull() {
  sqlite3_result_null(context_);
}

void FMSQLFunctionContext::resultInt(int value) {
  sqlite3_result_int(context_, value);
}

void FMSQLFunctionContext::resultLong(std::int64_t value) {
  sqlite3_result_int64(context_, value);
}

void FMSQLFunctionContext::resultDouble(double value) {
  sqlite3_result_double(context_, value);
}

void FMSQLFunctionContext::resultData(std::span<const std::uint8_t> data) {
  static const std::uint8_t kEmpty = 0;
  sqlite3_result_blob(context_, data.empty() ? &kEmpty : data.data(), static_cast<int>(data.size()),
                      SQLITE_TRANSIENT);
}

void FMSQLFunctionContext::resultString(std::string_view text) {
  sqlite3_result_text(context_, text.empty() ? "" : text.data(), static_cast<int>(text.size()),
                      SQLITE_TRANSIENT);
}

void FMSQLFunctionContext::resultError(std::string_view message) {
  sqlite3_result_error(context_, message.data(), static_cast<int>(message.size()));
}

void FMSQLFunctionContext::resultErrorCode(int code) {
  sqlite3_result_error_code(context_, code);
}

void FMSQLFunctionContext::resultErrorNoMemory() {
  sqlite3_result_error_nomem(context_);
}

void FMSQLFunctionContext::resultErrorTooBig() {
  sqlite3_result_error_toobig(context_);
}

}  // namespace kestrel
