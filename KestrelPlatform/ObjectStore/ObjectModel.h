// A versioned model: the entities of every layout a store may have been
// written with, oldest first, which of them is current, and the mappings
// between consecutive versions that need more than the inferred one.
//
// A model is a JSON document, usually a resource of a bundle:
//
//   {"name": "M", "currentVersion": "M 2",
//    "versions": [{"name": "M", "entities": [...]}, {"name": "M 2", ...}],
//    "mappings": [{"source": "M", "destination": "M 2",
//                  "entities": [{"source": "E", "destination": "E",
//                                "policy": "EV2Mapping"}]}]}
//
// An entity: {"name", "attributes": [{"name", "type": integer64 | boolean |
// string | binary, "optional": bool, "default": value}], "relationships":
// [{"name", "destination", "toMany": true, "deleteRule": cascade |
// nullify}], "fetchIndexes": [{"name", "attributes": [names]}]}.
// Integers and booleans are non-optional by default and start at 0/false;
// strings and data are optional by default. A non-optional attribute
// without a default must be given a value before a save.
//
// Thread-safety: immutable once read; read from any thread.
// Ownership: shared by containers, coordinators and stores.
#pragma once

#include <KestrelPlatform/ObjectStore/ModelVersion.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

class ResourceBundle;

/// How the objects of one destination entity are made during a migration:
/// from the source entity's objects, by the named migration policy (empty:
/// the inferred copy of same-named attributes).
struct EntityMapping {
  std::string sourceEntity;
  std::string destinationEntity;
  std::string policy;
};

struct VersionMapping {
  std::string sourceVersion;
  std::string destinationVersion;
  std::vector<EntityMapping> entities;
};

class ObjectModel {
 public:
  /// Reads a model document; nullptr and `error` set when it is not one.
  static std::shared_ptr<const ObjectModel> fromJson(std::span<const std::uint8_t> bytes,
                                                     std::optional<StoreError>& error);
  /// The model in a bundle's resource; nullptr and `error` set when the
  /// resource is missing or is not a model.
  static std::shared_ptr<const ObjectModel> fromBundle(const ResourceBundle& bundle,
                                                       std::string_view name,
                                                       std::string_view extension,
                                                       std::optional<StoreError>& error);

  ObjectModel(std::string name, std::vector<std::shared_ptr<const ModelVersion>> versions,
              std::size_t currentIndex, std::vector<VersionMapping> mappings);

  const std::string& name() const { return name_; }
  /// Every version, oldest first.
  const std::vector<std::shared_ptr<const ModelVersion>>& versions() const { return versions_; }
  const std::shared_ptr<const ModelVersion>& currentVersion() const {
    return versions_[currentIndex_];
  }
  std::size_t currentIndex() const { return currentIndex_; }
  /// The position of the version of that name, or std::nullopt.
  std::optional<std::size_t> versionIndex(std::string_view name) const;
  /// The declared mapping between two versions, or nullptr (inferred).
  const VersionMapping* mapping(std::string_view source, std::string_view destination) const;

 private:
  std::string name_;
  std::vector<std::shared_ptr<const ModelVersion>> versions_;
  std::size_t currentIndex_;
  std::vector<VersionMapping> mappings_;
};

}  // namespace kestrel::platform
