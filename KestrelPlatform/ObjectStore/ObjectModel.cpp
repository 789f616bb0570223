#include <KestrelPlatform/ObjectStore/ObjectModel.h>

#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/ObjectStore/ResourceBundle.h>

#include <algorithm>
#include <set>

namespace kestrel::platform {
namespace {

// The parts of one entity while its version is being read; relationship
// links are added to destination entities before the descriptions are made.
struct EntityParts {
  std::string name;
  std::vector<AttributeDescription> attributes;
  std::vector<RelationshipDescription> relationships;
  std::vector<FetchIndexDescription> indexes;
};

class ModelReader {
 public:
  std::shared_ptr<const ObjectModel> read(const Json& document);
  std::optional<StoreError> error;

 private:
  bool fail(const std::string& what) {
    if (!error) {
      error = StoreError{StoreErrorCode::invalidModel, "The model could not be read.",
                         {{"reason", what}}};
    }
    return false;
  }
  bool text(const Json& object, const char* key, std::string& out, const std::string& where);
  bool name(const Json& object, std::string& out, const std::string& where);
  const Json* array(const Json& object, const char* key, const std::string& where);
  bool attribute(const Json& json, const std::string& entity, AttributeDescription& out);
  bool entity(const Json& json, EntityParts& out);
  std::shared_ptr<const ModelVersion> version(const Json& json);
  bool mapping(const Json& json, const std::vector<std::shared_ptr<const ModelVersion>>& versions,
               VersionMapping& out);
};

bool ModelReader::text(const Json& object, const char* key, std::string& out,
                       const std::string& where) {
  const auto it = object.find(key);
  if (it == object.end() || !it->is_string()) {
    return fail(where + ": \"" + key + "\" must be a text");
  }
  out = it->get<std::string>();
  return true;
}

bool ModelReader::name(const Json& object, std::string& out, const std::string& where) {
  if (!text(object, "name", out, where)) return false;
  if (!isModelName(out)) return fail(where + ": \"" + out + "\" is not a valid name");
  return true;
}

const Json* ModelReader::array(const Json& object, const char* key, const std::string& where) {
  static const Json kEmpty = Json::array();
  const auto it = object.find(key);
  if (it == object.end()) return &kEmpty;
  if (!it->is_array()) {
    fail(where + ": \"" + key + "\" must be a list");
    return nullptr;
  }
  return &*it;
}

bool ModelReader::attribute(const Json& json, const std::string& entity, AttributeDescription& out) {
  const std::string where = "entity " + entity;
  if (!json.is_object()) return fail(where + ": an attribute must be an object");
  if (!name(json, out.name, where)) return false;
  const std::string at = where + ", attribute " + out.name;
  std::string type;
  if (!text(json, "type", type, at)) return false;
  if (type == "integer64") {
    out.type = AttributeType::integer64;
  } else if (type == "boolean") {
    out.type = AttributeType::boolean;
  } else if (type == "string") {
    out.type = AttributeType::string;
  } else if (type == "binary") {
    out.type = AttributeType::binary;
  } else {
    return fail(at + ": unknown type \"" + type + "\"");
  }
  const bool optionalByDefault = out.type == AttributeType::string || out.type == AttributeType::binary;
  out.optional = optionalByDefault;
  if (const auto it = json.find("optional"); it != json.end()) {
    if (!it->is_boolean()) return fail(at + ": \"optional\" must be true or false");
    out.optional = it->get<bool>();
  }
  const auto it = json.find("default");
  if (it == json.end() || it->is_null()) {
    if (out.type == AttributeType::integer64 && !out.optional) out.defaultValue = 0;
    if (out.type == AttributeType::boolean && !out.optional) out.defaultValue = false;
    return true;
  }
  if (out.type == AttributeType::integer64 && it->is_number_integer()) {
    out.defaultValue = it->get<std::int64_t>();
  } else if (out.type == AttributeType::boolean && it->is_boolean()) {
    out.defaultValue = it->get<bool>();
  } else if (out.type == AttributeType::string && it->is_string()) {
    out.defaultValue = it->get<std::string>();
  } else {
    return fail(at + ": the default does not fit the type");
  }
  return true;
}

bool ModelReader::entity(const Json& json, EntityParts& out) {
  if (!json.is_object()) return fail("an entity must be an object");
  if (!name(json, out.name, "entity")) return false;
  const std::string where = "entity " + out.name;
  std::set<std::string> names;
  const Json* attributes = array(json, "attributes", where);
  if (attributes == nullptr) return false;
  for (const Json& item : *attributes) {
    AttributeDescription attribute;
    if (!this->attribute(item, out.name, attribute)) return false;
    if (!names.insert(attribute.name).second) return fail(where + ": two members named " + attribute.name);
    out.attributes.push_back(std::move(attribute));
  }
  const Json* relationships = array(json, "relationships", where);
  if (relationships == nullptr) return false;
  for (const Json& item : *relationships) {
    RelationshipDescription relationship;
    if (!item.is_object() || !name(item, relationship.name, where) ||
        !text(item, "destination", relationship.destinationEntity, where)) {
      return fail(where + ": a relationship needs a name and a destination");
    }
    const auto toMany = item.find("toMany");
    if (toMany == item.end() || !toMany->is_boolean() || !toMany->get<bool>()) {
      return fail(where + ": relationship " + relationship.name + " must be to-many");
    }
    std::string rule = "nullify";
    if (item.contains("deleteRule") && !text(item, "deleteRule", rule, where)) return false;
    if (rule != "nullify" && rule != "cascade") {
      return fail(where + ": unknown delete rule \"" + rule + "\"");
    }
    relationship.deleteRule = rule == "cascade" ? DeleteRule::cascade : DeleteRule::nullify;
    relationship.linkAttribute = "_" + out.name + "_" + relationship.name;
    if (!names.insert(relationship.name).second) {
      return fail(where + ": two members named " + relationship.name);
    }
    out.relationships.push_back(std::move(relationship));
  }
  const Json* indexes = array(json, "fetchIndexes", where);
  if (indexes == nullptr) return false;
  for (const Json& item : *indexes) {
    FetchIndexDescription index;
    if (!item.is_object() || !name(item, index.name, where)) return false;
    const Json* columns = array(item, "attributes", where);
    if (columns == nullptr) return false;
    for (const Json& column : *columns) {
      const bool known = column.is_string() &&
                         std::any_of(out.attributes.begin(), out.attributes.end(),
                                     [&](const auto& a) { return a.name == column.get<std::string>(); });
      if (!known) return fail(where + ": index " + index.name + " names an unknown attribute");
      index.attributes.push_back(column.get<std::string>());
    }
    if (index.attributes.empty()) return fail(where + ": index " + index.name + " has no attribute");
    out.indexes.push_back(std::move(index));
  }
  return true;
}

std::shared_ptr<const ModelVersion> ModelReader::version(const Json& json) {
  std::string versionName;
  if (!json.is_object() || !text(json, "name", versionName, "version")) return nullptr;
  const Json* entities = array(json, "entities", "version " + versionName);
  if (entities == nullptr) return nullptr;
  std::vector<EntityParts> parts;
  for (const Json& item : *entities) {
    EntityParts entity;
    if (!this->entity(item, entity)) return nullptr;
    for (const auto& other : parts) {
      if (other.name == entity.name) {
        fail("version " + versionName + ": two entities named " + entity.name);
        return nullptr;
      }
    }
    parts.push_back(std::move(entity));
  }
  // Each relationship's owner link lives on its destination entity.
  for (const auto& source : parts) {
    for (const auto& relationship : source.relationships) {
      auto destination = std::find_if(parts.begin(), parts.end(), [&](const EntityParts& p) {
        return p.name == relationship.destinationEntity;
      });
      if (destination == parts.end()) {
        fail("entity " + source.name + ": relationship " + relationship.name +
             " leads to an unknown entity");
        return nullptr;
      }
      AttributeDescription link;
      link.name = relationship.linkAttribute;
      link.optional = true;
      link.isRelationshipLink = true;
      destination->attributes.push_back(link);
      destination->indexes.push_back({link.name, {link.name}});
    }
  }
  std::vector<std::shared_ptr<const EntityDescription>> descriptions;
  for (auto& entity : parts) {
    descriptions.push_back(std::make_shared<const EntityDescription>(
        std::move(entity.name), descriptions.size(), std::move(entity.attributes),
        std::move(entity.relationships), std::move(entity.indexes)));
  }
  return std::make_shared<const ModelVersion>(versionName, std::move(descriptions));
}

bool ModelReader::mapping(const Json& json,
                          const std::vector<std::shared_ptr<const ModelVersion>>& versions,
                          VersionMapping& out) {
  if (!json.is_object() || !text(json, "source", out.sourceVersion, "mapping") ||
      !text(json, "destination", out.destinationVersion, "mapping")) {
    return false;
  }
  const auto find = [&](const std::string& name) -> const ModelVersion* {
    for (const auto& version : versions) {
      if (version->name() == name) return version.get();
    }
    return nullptr;
  };
  const ModelVersion* source = find(out.sourceVersion);
  const ModelVersion* destination = find(out.destinationVersion);
  if (source == nullptr || destination == nullptr) {
    return fail("mapping " + out.sourceVersion + " -> " + out.destinationVersion +
                " names an unknown version");
  }
  const Json* entities = array(json, "entities", "mapping");
  if (entities == nullptr) return false;
  for (const Json& item : *entities) {
    EntityMapping entity;
    if (!item.is_object() || !text(item, "source", entity.sourceEntity, "mapping") ||
        !text(item, "destination", entity.destinationEntity, "mapping")) {
      return false;
    }
    if (item.contains("policy") && !text(item, "policy", entity.policy, "mapping")) return false;
    if (!source->entity(entity.sourceEntity) || !destination->entity(entity.destinationEntity)) {
      return fail("mapping " + out.sourceVersion + " -> " + out.destinationVersion +
                  " names an unknown entity");
    }
    out.entities.push_back(std::move(entity));
  }
  return true;
}

std::shared_ptr<const ObjectModel> ModelReader::read(const Json& document) {
  std::string modelName;
  if (!document.is_object() || !text(document, "name", modelName, "model")) return nullptr;
  const Json* versionList = array(document, "versions", "model");
  if (versionList == nullptr) return nullptr;
  std::vector<std::shared_ptr<const ModelVersion>> versions;
  for (const Json& item : *versionList) {
    auto version = this->version(item);
    if (!version) return nullptr;
    for (const auto& other : versions) {
      if (other->name() == version->name()) {
        fail("two versions named " + version->name());
        return nullptr;
      }
    }
    versions.push_back(std::move(version));
  }
  if (versions.empty()) {
    fail("the model has no version");
    return nullptr;
  }
  std::size_t current = versions.size() - 1;
  if (document.contains("currentVersion")) {
    std::string currentName;
    if (!text(document, "currentVersion", currentName, "model")) return nullptr;
    const auto it = std::find_if(versions.begin(), versions.end(),
                                 [&](const auto& v) { return v->name() == currentName; });
    if (it == versions.end()) {
      fail("the current version \"" + currentName + "\" is not one of the versions");
      return nullptr;
    }
    current = static_cast<std::size_t>(it - versions.begin());
  }
  std::vector<VersionMapping> mappings;
  const Json* mappingList = array(document, "mappings", "model");
  if (mappingList == nullptr) return nullptr;
  for (const Json& item : *mappingList) {
    VersionMapping mapping;
    if (!this->mapping(item, versions, mapping)) {
      fail("a mapping needs a source, a destination and entity mappings");
      return nullptr;
    }
    mappings.push_back(std::move(mapping));
  }
  return std::make_shared<const ObjectModel>(modelName, std::move(versions), current,
                                             std::move(mappings));
}

}  // namespace

std::shared_ptr<const ObjectModel> ObjectModel::fromJson(std::span<const std::uint8_t> bytes,
                                                         std::optional<StoreError>& error) {
  const std::optional<Json> document = parseJson(bytes);
  if (!document) {
    error = StoreError{StoreErrorCode::invalidModel, "The model could not be read.",
                       {{"reason", "not a JSON document"}}};
    return nullptr;
  }
  ModelReader reader;
  auto model = reader.read(*document);
  if (!model) error = reader.error;
  return model;
}

std::shared_ptr<const ObjectModel> ObjectModel::fromBundle(const ResourceBundle& bundle,
                                                           std::string_view name,
                                                           std::string_view extension,
                                                           std::optional<StoreError>& error) {
  const auto bytes = bundle.resource(name, extension);
  if (!bytes) {
    error = StoreError{StoreErrorCode::modelNotFound, "The model resource was not found.",
                       {{"bundle", bundle.identifier()},
                        {"resource", std::string(name) + "." + std::string(extension)}}};
    return nullptr;
  }
  return fromJson(*bytes, error);
}

ObjectModel::ObjectModel(std::string name, std::vector<std::shared_ptr<const ModelVersion>> versions,
                         std::size_t currentIndex, std::vector<VersionMapping> mappings)
    : name_(std::move(name)),
      versions_(std::move(versions)),
      currentIndex_(currentIndex),
      mappings_(std::move(mappings)) {}

std::optional<std::size_t> ObjectModel::versionIndex(std::string_view name) const {
  for (std::size_t i = 0; i < versions_.size(); ++i) {
    if (versions_[i]->name() == name) return i;
  }
  return std::nullopt;
}

const VersionMapping* ObjectModel::mapping(std::string_view source,
                                           std::string_view destination) const {
  for (const auto& mapping : mappings_) {
    if (mapping.sourceVersion == source && mapping.destinationVersion == destination) {
      return &mapping;
    }
  }
  return nullptr;
}

}  // namespace kestrel::platform
