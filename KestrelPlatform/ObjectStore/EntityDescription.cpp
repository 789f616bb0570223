#include <KestrelPlatform/ObjectStore/EntityDescription.h>

namespace kestrel::platform {

const char* attributeTypeName(AttributeType type) {
  switch (type) {
    case AttributeType::integer64:
      return "integer64";
    case AttributeType::boolean:
      return "boolean";
    case AttributeType::string:
      return "string";
    case AttributeType::binary:
      return "binary";
  }
  return "?";
}

EntityDescription::EntityDescription(std::string name, std::size_t index,
                                     std::vector<AttributeDescription> attributes,
                                     std::vector<RelationshipDescription> relationships,
                                     std::vector<FetchIndexDescription> fetchIndexes)
    : name_(std::move(name)),
      index_(index),
      attributes_(std::move(attributes)),
      relationships_(std::move(relationships)),
      fetchIndexes_(std::move(fetchIndexes)) {}

std::optional<std::size_t> EntityDescription::attributeIndex(std::string_view name) const {
  for (std::size_t i = 0; i < attributes_.size(); ++i) {
    if (attributes_[i].name == name) return i;
  }
  return std::nullopt;
}

const AttributeDescription* EntityDescription::attribute(std::string_view name) const {
  const auto index = attributeIndex(name);
  return index ? &attributes_[*index] : nullptr;
}

const RelationshipDescription* EntityDescription::relationship(std::string_view name) const {
  for (const auto& relationship : relationships_) {
    if (relationship.name == name) return &relationship;
  }
  return nullptr;
}

std::string EntityDescription::layoutText() const {
  std::string text = "entity " + name_ + "\n";
  for (const auto& attribute : attributes_) {
    text += " attribute " + attribute.name + " " + attributeTypeName(attribute.type) +
            (attribute.optional ? " optional" : "") + " default " +
            attribute.defaultValue.description() + "\n";
  }
  for (const auto& relationship : relationships_) {
    text += " relationship " + relationship.name + " " + relationship.destinationEntity +
            (relationship.deleteRule == DeleteRule::cascade ? " cascade" : " nullify") + "\n";
  }
  for (const auto& index : fetchIndexes_) {
    text += " index " + index.name;
    for (const auto& attribute : index.attributes) text += " " + attribute;
    text += "\n";
  }
  return text;
}

bool isModelName(std::string_view name) {
  if (name.empty()) return false;
  const auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
  if (!letter(name.front())) return false;
  for (char c : name) {
    if (!letter(c) && !(c >= '0' && c <= '9') && c != '_') return false;
  }
  return true;
}

}  // namespace kestrel::platform
