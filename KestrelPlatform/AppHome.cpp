#include <KestrelPlatform/AppHome.h>

#include <KestrelPlatform/Log.h>

#include <cstdlib>
#include <mutex>
#include <system_error>

namespace kestrel::platform {
namespace {

std::mutex gRootMutex;
std::optional<std::filesystem::path> gRoot;

std::filesystem::path fromEnvironment() {
  if (const char* home = std::getenv("KESTREL_HOME"); home && *home) return home;
  if (const char* xdg = std::getenv("XDG_DATA_HOME"); xdg && *xdg) {
    return std::filesystem::path(xdg) / "kestrel";
  }
  const char* user = std::getenv("HOME");
  return std::filesystem::path(user && *user ? user : ".") / ".local" / "share" / "kestrel";
}

// An absolute form of the root; a path that cannot be made absolute (an
// empty one, or a relative one under a removed working folder) is kept as is.
std::filesystem::path absoluteOrAsIs(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(path, error);
  if (error) {
    log("Could not resolve the application home \"%s\": %s", path.c_str(), error.message().c_str());
    return path;
  }
  return absolute;
}

std::filesystem::path ensure(std::filesystem::path folder) {
  std::error_code error;
  std::filesystem::create_directories(folder, error);
  if (error) log("Could not create folder %s: %s", folder.c_str(), error.message().c_str());
  return folder;
}

}  // namespace

void AppHome::setRoot(std::optional<std::filesystem::path> root) {
  std::lock_guard lock(gRootMutex);
  gRoot = std::move(root);
}

std::filesystem::path AppHome::root() {
  {
    std::lock_guard lock(gRootMutex);
    if (gRoot) return absoluteOrAsIs(*gRoot);
  }
  return absoluteOrAsIs(fromEnvironment());
}

std::filesystem::path AppHome::documents() {
  return ensure(root() / "Documents");
}

std::filesystem::path AppHome::preferences() {
  return ensure(root() / "Library" / "Preferences");
}

std::filesystem::path AppHome::applicationSupport() {
  return ensure(root() / "Library" / "Application Support");
}

}  // namespace kestrel::platform
