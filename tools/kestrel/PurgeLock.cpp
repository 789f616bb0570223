#include "PurgeLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <thread>

namespace kestrel::tool {

PurgeLock::~PurgeLock() {
  if (fd_ >= 0) ::close(fd_);  // closing releases the lock
}

bool PurgeLock::acquire(const std::filesystem::path& database, double wait, std::string& error) {
  return take(database, true, wait, error);
}

bool PurgeLock::acquireShared(const std::filesystem::path& database, double wait,
                              std::string& error) {
  return take(database, false, wait, error);
}

bool PurgeLock::take(const std::filesystem::path& database, bool exclusive, double wait,
                     std::string& error) {
  const std::string path = database.string() + kSuffix;
  // O_NONBLOCK and O_NOFOLLOW: never hang on, or follow, something that is
  // not our lock file. Only the exclusive lock (a real purge) creates it.
  const int flags = O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | (exclusive ? O_RDWR | O_CREAT : O_RDONLY);
  fd_ = ::open(path.c_str(), flags, 0644);
  if (fd_ < 0 && !exclusive && errno == ENOENT) return true;
  struct stat info {};
  if (fd_ < 0 || ::fstat(fd_, &info) != 0 || !S_ISREG(info.st_mode)) {
    error = "cannot use the purge lock " + path;
    return false;
  }
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(wait);
  while (::flock(fd_, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
    if (errno != EWOULDBLOCK && errno != EINTR) {
      error = "cannot take the purge lock " + path;
      return false;
    }
    if (std::chrono::steady_clock::now() >= deadline) {
      error = "another purge of this database is still running";
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}

}  // namespace kestrel::tool
