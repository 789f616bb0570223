// Numbers for the harnesses' summary lines, grouped by thousands with
// commas ("212,344"), whatever the process's locale.
#pragma once

#include <cstdint>
#include <string>

namespace kestrel::reliability {

inline std::string groupedNumber(std::uint64_t value) {
  std::string digits = std::to_string(value);
  for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > 0; at -= 3) {
    digits.insert(static_cast<std::size_t>(at), ",");
  }
  return digits;
}

}  // namespace kestrel::reliability
