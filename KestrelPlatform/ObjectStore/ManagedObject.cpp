#include <KestrelPlatform/ObjectStore/ManagedObject.h>

#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/ObjectStore/ObjectContext.h>

#include <cmath>

namespace kestrel::platform {
namespace {

// The value in the form the attribute type stores, or std::nullopt.
std::optional<ObjectValue> storedForm(ObjectValue value, AttributeType type) {
  if (value.isNull()) return value;
  switch (type) {
    case AttributeType::integer64:
      if (value.integer()) return value;
      if (const double* real = value.real(); real && std::trunc(*real) == *real && std::fabs(*real) < 9.2e18) {
        return ObjectValue(static_cast<std::int64_t>(*real));
      }
      return std::nullopt;
    case AttributeType::boolean:
      if (value.boolean()) return value;
      if (const std::int64_t* integer = value.integer(); integer && (*integer == 0 || *integer == 1)) {
        return ObjectValue(*integer == 1);
      }
      return std::nullopt;
    case AttributeType::string:
      if (value.text()) return value;
      return std::nullopt;
    case AttributeType::binary:
      if (value.data()) return value;
      return std::nullopt;
  }
  return std::nullopt;
}

}  // namespace

ManagedObject::ManagedObject(std::shared_ptr<const EntityDescription> entity, ObjectID id,
                             std::vector<ObjectValue> values, std::weak_ptr<ObjectContext> context,
                             std::shared_ptr<std::mutex> lock)
    : entity_(std::move(entity)),
      id_(id),
      context_(std::move(context)),
      lock_(lock ? std::move(lock) : std::make_shared<std::mutex>()),
      values_(std::move(values)) {
  values_.resize(entity_->attributes().size());
}

std::optional<std::size_t> ManagedObject::indexFor(std::string_view key) const {
  const auto index = entity_->attributeIndex(key);
  if (!index) {
    log("Object store: %s has no attribute \"%.*s\"", entity_->name().c_str(),
        static_cast<int>(key.size()), key.data());
  }
  return index;
}

const RelationshipDescription* ManagedObject::relationshipFor(std::string_view name) const {
  const RelationshipDescription* relationship = entity_->relationship(name);
  if (relationship == nullptr) {
    log("Object store: %s has no relationship \"%.*s\"", entity_->name().c_str(),
        static_cast<int>(name.size()), name.data());
  }
  return relationship;
}

ObjectValue ManagedObject::value(std::string_view key) const {
  const auto index = indexFor(key);
  return index ? valueAt(*index) : ObjectValue::null();
}

ObjectValue ManagedObject::valueAt(std::size_t index) const {
  std::lock_guard lock(*lock_);
  return index < values_.size() ? values_[index] : ObjectValue::null();
}

std::vector<ObjectValue> ManagedObject::values() const {
  std::lock_guard lock(*lock_);
  return values_;
}

bool ManagedObject::setValue(std::string_view key, ObjectValue value) {
  const auto index = indexFor(key);
  return index && setValueAt(*index, std::move(value));
}

bool ManagedObject::setValueAt(std::size_t index, ObjectValue value) {
  if (index >= entity_->attributes().size()) return false;
  const AttributeDescription& attribute = entity_->attributes()[index];
  auto stored = storedForm(std::move(value), attribute.type);
  if (!stored) {
    log("Object store: %s.%s takes a %s value", entity_->name().c_str(), attribute.name.c_str(),
        attributeTypeName(attribute.type));
    return false;
  }
  const auto context = context_.lock();
  std::lock_guard lock(*lock_);
  if (state_ == State::deleted) {
    log("Object store: a deleted %s cannot be changed", entity_->name().c_str());
    return false;
  }
  if (values_[index] == *stored) return true;
  values_[index] = std::move(*stored);
  if (state_ == State::unchanged && context) {
    state_ = State::updated;
    context->noteChangeLocked(shared_from_this());
  }
  return true;
}

std::int64_t ManagedObject::integerValue(std::string_view key) const {
  const ObjectValue stored = value(key);
  return stored.integer() ? *stored.integer() : 0;
}

std::optional<std::int64_t> ManagedObject::optionalIntegerValue(std::string_view key) const {
  const ObjectValue stored = value(key);
  if (stored.integer()) return *stored.integer();
  return std::nullopt;
}

bool ManagedObject::boolValue(std::string_view key) const {
  const ObjectValue stored = value(key);
  return stored.boolean() && *stored.boolean();
}

std::optional<std::string> ManagedObject::stringValue(std::string_view key) const {
  ObjectValue stored = value(key);
  if (const std::string* text = stored.text()) return *text;
  return std::nullopt;
}

std::optional<Bytes> ManagedObject::dataValue(std::string_view key) const {
  ObjectValue stored = value(key);
  if (const Bytes* data = stored.data()) return *data;
  return std::nullopt;
}

std::optional<std::vector<std::shared_ptr<ManagedObject>>> ManagedObject::relatedObjects(
    std::string_view relationship) const {
  const RelationshipDescription* description = relationshipFor(relationship);
  if (description == nullptr) return std::vector<std::shared_ptr<ManagedObject>>{};
  const auto context = context_.lock();
  if (!context) return std::nullopt;
  FetchResult related = context->relatedObjects(*this, *description);
  if (related.error) return std::nullopt;
  return std::move(related.objects);
}

bool ManagedObject::addRelatedObject(std::string_view relationship,
                                     const std::shared_ptr<ManagedObject>& object) {
  const RelationshipDescription* description = relationshipFor(relationship);
  if (description == nullptr || !object) return false;
  if (object->entity().name() != description->destinationEntity ||
      object->context() != context() || !context()) {
    log("Object store: %s cannot join %s.%s", object->entity().name().c_str(),
        entity_->name().c_str(), description->name.c_str());
    return false;
  }
  const auto link = object->entity().attributeIndex(description->linkAttribute);
  return link && object->setValueAt(*link, id_.primaryKey);
}

bool ManagedObject::removeRelatedObject(std::string_view relationship,
                                        const std::shared_ptr<ManagedObject>& object) {
  const RelationshipDescription* description = relationshipFor(relationship);
  if (description == nullptr || !object || object->entity().name() != description->destinationEntity) {
    return false;
  }
  const auto link = object->entity().attributeIndex(description->linkAttribute);
  if (!link || object->valueAt(*link) != ObjectValue(id_.primaryKey)) return false;
  return object->setValueAt(*link, ObjectValue::null());
}

ManagedObject::State ManagedObject::state() const {
  std::lock_guard lock(*lock_);
  return state_;
}

}  // namespace kestrel::platform
