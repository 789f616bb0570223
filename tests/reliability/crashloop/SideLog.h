// SideLog is the writer's record of what it did, kept beside the home so
// that it survives the writer's kill: "begin <i>" before operation i starts
// and "done <i> ok|failed" once its future resolved ("hang <i>" when it did
// not resolve in time). Every line is appended (O_APPEND) and synced to the
// disk before the writer goes on, so a line in the file happened.
//
// Thread-safety: none; one writer appends, the driver reads after the
// writer has gone.
// Ownership: a SideLog owns its file descriptor.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::reliability {

class SideLog {
 public:
  /// What a side log says about one run of the writer.
  struct Reading {
    /// Operations whose future resolved, in order, with their results.
    std::vector<std::pair<std::uint64_t, bool>> done;
    /// The operation begun and not resolved when the writer stopped.
    std::optional<std::uint64_t> inFlight;
    /// The operation that did not resolve in time.
    std::optional<std::uint64_t> hung;
    /// Lines that do not fit the writer's order (a begin without its done
    /// followed by another begin, an index out of sequence).
    std::vector<std::string> disorder;
  };

  /// Opens (creating) the log at `path` for appending.
  explicit SideLog(const std::filesystem::path& path);
  ~SideLog();
  SideLog(const SideLog&) = delete;
  SideLog& operator=(const SideLog&) = delete;

  bool isOpen() const { return fd_ >= 0; }
  /// Appends the line and syncs the file; false when either failed.
  bool append(const std::string& line);

  /// Reads a log written by a writer that started at operation `from`. A
  /// last line cut short by the kill is ignored.
  static Reading read(const std::filesystem::path& path, std::uint64_t from);

 private:
  int fd_ = -1;
};

}  // namespace kestrel::reliability
