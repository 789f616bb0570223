// Makes a file read-only for this process while it lives: its mode loses
// every write bit and, when the process runs as root (whom modes do not
// stop), the file is also marked immutable where the file system allows
// it. available() tells whether the file really refused to be opened for
// writing; a test that needs it skips otherwise. The file is made writable
// again at the end. Header-only.
//
// Thread-safety: one thread at a time.
// Ownership: none; it changes the file's attributes only.
#pragma once

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <filesystem>

namespace kestrel::testing {

class ReadOnlyFile {
 public:
  explicit ReadOnlyFile(std::filesystem::path file) : file_(std::move(file)) {
    std::error_code ec;
    mode_ = std::filesystem::status(file_, ec).permissions();
    std::filesystem::permissions(file_, std::filesystem::perms::owner_read | std::filesystem::perms::group_read |
                                            std::filesystem::perms::others_read,
                                 ec);
    if (::geteuid() == 0) immutable_ = setImmutable(true);
    const int fd = ::open(file_.c_str(), O_RDWR);
    available_ = fd < 0;
    if (fd >= 0) ::close(fd);
  }
  ~ReadOnlyFile() { restore(); }
  ReadOnlyFile(const ReadOnlyFile&) = delete;
  ReadOnlyFile& operator=(const ReadOnlyFile&) = delete;

  /// Whether opening the file for writing now fails.
  bool available() const { return available_; }
  /// Makes the file writable again; later calls do nothing.
  void restore() {
    if (restored_) return;
    restored_ = true;
    if (immutable_) setImmutable(false);
    std::error_code ec;
    std::filesystem::permissions(file_, mode_, ec);
  }

 private:
  bool setImmutable(bool on) const {
    const int fd = ::open(file_.c_str(), O_RDONLY);
    if (fd < 0) return false;
    int flags = 0;
    bool done = ::ioctl(fd, FS_IOC_GETFLAGS, &flags) == 0;
    if (done) {
      flags = on ? (flags | FS_IMMUTABLE_FL) : (flags & ~FS_IMMUTABLE_FL);
      done = ::ioctl(fd, FS_IOC_SETFLAGS, &flags) == 0;
    }
    ::close(fd);
    return done;
  }

  std::filesystem::path file_;
  std::filesystem::perms mode_ = std::filesystem::perms::owner_read | std::filesystem::perms::owner_write;
  bool immutable_ = false;
  bool available_ = false;
  bool restored_ = false;
};

}  // namespace kestrel::testing
