// LockHolder starts kestrel_lock_holder on a file: another process that
// takes a SHARED, RESERVED or EXCLUSIVE lock on it and keeps it for a given
// time, then lets it go on its own, whatever the facade is doing.
//
// Thread-safety: one thread at a time.
// Ownership: owns the child process; destruction waits for it to end.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>

namespace kestrel::reliability {

class LockHolder {
 public:
  enum class Kind { shared, reserved, exclusive };
  static const char* name(Kind kind);

  /// Starts the holder and returns once it holds the lock (held()) or has
  /// failed to take it (error()).
  LockHolder(const std::filesystem::path& program, const std::filesystem::path& file, Kind kind,
             std::chrono::milliseconds hold);
  ~LockHolder();
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

  bool held() const { return held_; }
  /// Why the lock could not be taken (or the holder not started).
  const std::optional<std::string>& error() const { return error_; }
  /// True once the holder has let the lock go (it never waits).
  bool released();
  /// Waits until the holder has let the lock go and ended.
  void waitReleased();
  /// Ends the holder at once (SIGKILL: the system drops its locks, as for
  /// a process that crashed), then waitReleased().
  void stop();

 private:
  std::optional<std::string> readLine(bool wait);

  pid_t child_ = -1;
  int output_ = -1;
  std::string buffer_;
  bool held_ = false;
  bool released_ = false;
  std::optional<std::string> error_;
};

}  // namespace kestrel::reliability
