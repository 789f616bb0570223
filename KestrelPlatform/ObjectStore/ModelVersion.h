// One version of a model: the entities of one store layout, with a hash of
// that layout. A store records the name and hash of the version it was
// written with; loading compares them with the model's versions.
//
// Thread-safety: immutable once built; read from any thread.
// Ownership: shared by its ObjectModel and by the stores opened with it.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityDescription.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

class ModelVersion {
 public:
  ModelVersion(std::string name, std::vector<std::shared_ptr<const EntityDescription>> entities);

  const std::string& name() const { return name_; }
  /// Entities in model order; entities()[i]->index() == i.
  const std::vector<std::shared_ptr<const EntityDescription>>& entities() const {
    return entities_;
  }
  /// The entity of that name, or nullptr.
  const std::shared_ptr<const EntityDescription>& entity(std::string_view name) const;
  /// Sixteen hexadecimal digits over the layout of every entity.
  const std::string& versionHash() const { return versionHash_; }

 private:
  std::string name_;
  std::vector<std::shared_ptr<const EntityDescription>> entities_;
  std::string versionHash_;
};

}  // namespace kestrel::platform
