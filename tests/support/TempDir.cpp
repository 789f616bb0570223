#include "support/TempDir.h"

#include <KestrelPlatform/AppHome.h>

#include <cstdlib>
#include <string>
#include <system_error>

namespace kestrel::testing {

TempDir::TempDir(bool setAsHome) : isHome_(setAsHome) {
  std::string pattern = (std::filesystem::temp_directory_path() / "kestrel-test-XXXXXX").string();
  if (char* made = ::mkdtemp(pattern.data())) path_ = made;
  if (isHome_) platform::AppHome::setRoot(path_);
}

TempDir::~TempDir() {
  if (isHome_) platform::AppHome::setRoot(std::nullopt);
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

}  // namespace kestrel::testing
