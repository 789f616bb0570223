// Resource bundles: named byte resources compiled into a library, found by
// the bundle's identifier and each resource's name and extension. A library
// embeds its data files at build time (kestrel_embed_resources() in
// EmbedResources.cmake generates a registration function) and calls that
// function before it looks its bundle up.
//
// Thread-safety: registration and lookup may run on any thread.
// Ownership: a registered bundle lives until the process ends; its bytes are
// the library's own static data.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

class ResourceBundle {
 public:
  struct Resource {
    std::string name;
    std::string extension;
    std::span<const std::uint8_t> bytes;
  };

  /// Registers (or replaces) the bundle with this identifier.
  static void registerBundle(std::string identifier, std::vector<Resource> resources);

  /// The bundle with this identifier, or nullptr when none is registered.
  static std::shared_ptr<const ResourceBundle> bundleWithIdentifier(std::string_view identifier);

  ResourceBundle(std::string identifier, std::vector<Resource> resources);
  ResourceBundle(const ResourceBundle&) = delete;
  ResourceBundle& operator=(const ResourceBundle&) = delete;

  const std::string& identifier() const { return identifier_; }

  /// The bytes of the resource with this name and extension, or std::nullopt.
  std::optional<std::span<const std::uint8_t>> resource(std::string_view name,
                                                        std::string_view extension) const;

 private:
  std::string identifier_;
  std::vector<Resource> resources_;
};

}  // namespace kestrel::platform
