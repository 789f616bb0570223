#include <KestrelPlatform/ObjectStore/ModelVersion.h>

#include <KestrelPlatform/Log.h>

#include <cstdint>

namespace kestrel::platform {
namespace {

// FNV-1a, 64 bits: stable across builds and machines, which is all a
// layout fingerprint needs.
std::string layoutHash(const std::vector<std::shared_ptr<const EntityDescription>>& entities) {
  std::uint64_t hash = 14695981039346656037ull;
  for (const auto& entity : entities) {
    for (unsigned char c : entity->layoutText()) {
      hash ^= c;
      hash *= 1099511628211ull;
    }
  }
  return formatString("%016llx", static_cast<unsigned long long>(hash));
}

}  // namespace

ModelVersion::ModelVersion(std::string name,
                           std::vector<std::shared_ptr<const EntityDescription>> entities)
    : name_(std::move(name)), entities_(std::move(entities)), versionHash_(layoutHash(entities_)) {}

const std::shared_ptr<const EntityDescription>& ModelVersion::entity(std::string_view name) const {
  static const std::shared_ptr<const EntityDescription> kNone;
  for (const auto& entity : entities_) {
    if (entity->name() == name) return entity;
  }
  return kNone;
}

}  // namespace kestrel::platform
