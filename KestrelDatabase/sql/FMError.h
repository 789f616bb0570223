// The error a connection reports for a failed statement: the SQLite result
// code and the message that goes with it, in the domain "FMDatabase".
//
// Thread-safety: a plain value type.
#pragma once

#include <string>

namespace kestrel {

struct FMError {
  static constexpr const char* kDomain = "FMDatabase";

  std::string domain = kDomain;
  /// The SQLite result code (SQLITE_ERROR, SQLITE_BUSY, ...).
  int code = 0;
  /// What went wrong, as SQLite or the connection worded it.
  std::string message;

  bool operator==(const FMError& other) const = default;
};

}  // namespace kestrel
