// A fresh temporary folder, removed with everything in it on destruction.
// With setAsHome, it also becomes the application home for its lifetime.
#pragma once

#include <filesystem>

namespace kestrel::testing {

class TempDir {
 public:
  explicit TempDir(bool setAsHome = false);
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::filesystem::path& path() const { return path_; }

 private:
  std::filesystem::path path_;
  bool isHome_;
};

}  // namespace kestrel::testing
