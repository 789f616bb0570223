#include <KestrelPlatform/ObjectStore/ResourceBundle.h>

#include <map>
#include <mutex>

namespace kestrel::platform {
namespace {

std::mutex gBundlesMutex;

std::map<std::string, std::shared_ptr<const ResourceBundle>, std::less<>>& bundles() {
  static std::map<std::string, std::shared_ptr<const ResourceBundle>, std::less<>> registered;
  return registered;
}

}  // namespace

void ResourceBundle::registerBundle(std::string identifier, std::vector<Resource> resources) {
  auto bundle = std::make_shared<const ResourceBundle>(identifier, std::move(resources));
  std::lock_guard lock(gBundlesMutex);
  bundles()[std::move(identifier)] = std::move(bundle);
}

std::shared_ptr<const ResourceBundle> ResourceBundle::bundleWithIdentifier(
    std::string_view identifier) {
  std::lock_guard lock(gBundlesMutex);
  const auto it = bundles().find(identifier);
  return it == bundles().end() ? nullptr : it->second;
}

ResourceBundle::ResourceBundle(std::string identifier, std::vector<Resource> resources)
    : identifier_(std::move(identifier)), resources_(std::move(resources)) {}

std::optional<std::span<const std::uint8_t>> ResourceBundle::resource(
    std::string_view name, std::string_view extension) const {
  for (const auto& resource : resources_) {
    if (resource.name == name && resource.extension == extension) return resource.bytes;
  }
  return std::nullopt;
}

}  // namespace kestrel::platform
