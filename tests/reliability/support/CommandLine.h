// What every harness's command line reads the same way: numbers, the seed
// ("random" for one drawn from the system) and the folder it works in.
//
// Thread-safety: free functions, none keeps state.
#pragma once

#include <stdlib.h>

#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <random>
#include <string>
#include <system_error>

namespace kestrel::reliability {

/// A whole decimal number from `low` to `high`; nothing for any other text.
inline std::optional<std::uint64_t> parseNumber(
    const std::string& text, std::uint64_t low = 0,
    std::uint64_t high = std::numeric_limits<std::uint64_t>::max()) {
  if (text.empty() || text.front() < '0' || text.front() > '9') return std::nullopt;
  char* end = nullptr;
  errno = 0;
  const unsigned long long value = std::strtoull(text.c_str(), &end, 10);
  if (errno != 0 || *end != '\0' || value < low || value > high) return std::nullopt;
  return value;
}

/// A seed: a number, or "random" for 64 bits drawn from the system.
inline std::optional<std::uint64_t> parseSeed(const std::string& text) {
  if (text == "random") {
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32) | device();
  }
  return parseNumber(text);
}

/// A new, empty folder under the system's temporary folder, named
/// `prefix` and six random characters; nothing when it cannot be made.
inline std::optional<std::filesystem::path> newTemporaryFolder(const std::string& prefix) {
  std::string pattern = (std::filesystem::temp_directory_path() / (prefix + "XXXXXX")).string();
  if (::mkdtemp(pattern.data()) == nullptr) return std::nullopt;
  return std::filesystem::path(pattern);
}

/// Whether `folder` exists or could be made, and is empty.
inline bool isEmptyFolder(const std::filesystem::path& folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  return !error && std::filesystem::is_empty(folder, error) && !error;
}

/// Makes `home` ready for a harness: a new temporary folder named after
/// `prefix` when the harness owns its home, else the given folder, which
/// must be empty (or new). What is wrong, or nothing.
inline std::optional<std::string> prepareHome(std::filesystem::path& home, bool ownHome,
                                              const std::string& prefix) {
  if (!ownHome) {
    if (!isEmptyFolder(home)) return "--home must be an empty (or new) folder";
    return std::nullopt;
  }
  const auto folder = newTemporaryFolder(prefix);
  if (!folder) return "cannot make a temporary home";
  home = *folder;
  return std::nullopt;
}

}  // namespace kestrel::reliability
