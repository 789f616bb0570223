// The description of one entity of a model version: its typed attributes,
// its to-many relationships and its fetch indexes. Entities are built when a
// model is read (ModelVersion) and never change afterwards.
//
// A to-many relationship from entity S to entity D is kept on D's side: D
// gains a hidden optional integer attribute, named "_S_<relationship>",
// holding the primary key of the S object that owns it. Hidden attributes
// start with an underscore, which model names may not, so they never clash
// with declared ones.
//
// Thread-safety: immutable once built; read from any thread.
// Ownership: shared (std::shared_ptr<const EntityDescription>) by its model
// version and by every managed object of the entity.
#pragma once

#include <KestrelPlatform/ObjectStore/ObjectValue.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform {

enum class AttributeType { integer64, boolean, string, binary };

/// The model file's word for a type ("integer64", "boolean", "string", "binary").
const char* attributeTypeName(AttributeType type);

struct AttributeDescription {
  std::string name;
  AttributeType type = AttributeType::integer64;
  /// Whether the attribute may hold no value (nil).
  bool optional = false;
  /// What a new object starts with (null for optional attributes without one).
  ObjectValue defaultValue;
  /// A hidden attribute holding the owner of a to-many relationship.
  bool isRelationshipLink = false;

  /// A non-optional attribute without a default: a save needs a value.
  bool isRequired() const { return !optional && defaultValue.isNull(); }
};

enum class DeleteRule {
  nullify,  // deleting the owner leaves the destination objects, unowned
  cascade,  // deleting the owner deletes the destination objects too
};

struct RelationshipDescription {
  std::string name;
  std::string destinationEntity;
  DeleteRule deleteRule = DeleteRule::nullify;
  /// The hidden attribute of the destination entity that points to the owner.
  std::string linkAttribute;
};

struct FetchIndexDescription {
  std::string name;
  std::vector<std::string> attributes;
};

class EntityDescription {
 public:
  EntityDescription(std::string name, std::size_t index, std::vector<AttributeDescription> attributes,
                    std::vector<RelationshipDescription> relationships,
                    std::vector<FetchIndexDescription> fetchIndexes);

  const std::string& name() const { return name_; }
  /// The entity's position in its model version.
  std::size_t index() const { return index_; }
  /// Declared attributes in model order, then hidden relationship links.
  const std::vector<AttributeDescription>& attributes() const { return attributes_; }
  const std::vector<RelationshipDescription>& relationships() const { return relationships_; }
  /// Declared fetch indexes, then one per relationship link.
  const std::vector<FetchIndexDescription>& fetchIndexes() const { return fetchIndexes_; }

  /// The position of the attribute of that name, or std::nullopt.
  std::optional<std::size_t> attributeIndex(std::string_view name) const;
  const AttributeDescription* attribute(std::string_view name) const;
  const RelationshipDescription* relationship(std::string_view name) const;

  /// A canonical text of the layout (names, types, options, defaults,
  /// relationships, indexes) from which version hashes are made.
  std::string layoutText() const;

 private:
  std::string name_;
  std::size_t index_;
  std::vector<AttributeDescription> attributes_;
  std::vector<RelationshipDescription> relationships_;
  std::vector<FetchIndexDescription> fetchIndexes_;
};

/// Whether a model name (entity, attribute, relationship, index) is an
/// identifier that starts with a letter: [A-Za-z][A-Za-z0-9_]*.
bool isModelName(std::string_view name);

}  // namespace kestrel::platform
