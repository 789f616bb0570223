// ObjectContext: fetching, with the unsaved changes of the context and its
// ancestors laid over what the store holds.
#include <KestrelPlatform/ObjectStore/ObjectContext.h>

#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/ObjectStore/SqliteStore.h>
#include <KestrelPlatform/ObjectStore/StoreCoordinator.h>

#include <algorithm>

namespace kestrel::platform {
namespace {

// Orders values as SQLite does: nil first, then numbers, texts, data.
int orderValues(const ObjectValue& a, const ObjectValue& b) {
  const auto rank = [](const ObjectValue& v) {
    switch (v.kind()) {
      case ObjectValue::Kind::null:
        return 0;
      case ObjectValue::Kind::integer:
      case ObjectValue::Kind::real:
      case ObjectValue::Kind::boolean:
        return 1;
      case ObjectValue::Kind::text:
        return 2;
      case ObjectValue::Kind::data:
        return 3;
    }
    return 4;
  };
  if (rank(a) != rank(b)) return rank(a) < rank(b) ? -1 : 1;
  if (a.isNull()) return 0;
  if (a.text()) return a.text()->compare(*b.text()) < 0 ? -1 : (*a.text() == *b.text() ? 0 : 1);
  if (a.data()) return *a.data() < *b.data() ? -1 : (*a.data() == *b.data() ? 0 : 1);
  const auto number = [](const ObjectValue& v) {
    if (v.integer()) return static_cast<long double>(*v.integer());
    if (v.real()) return static_cast<long double>(*v.real());
    return static_cast<long double>(*v.boolean() ? 1 : 0);
  };
  const long double x = number(a);
  const long double y = number(b);
  return x < y ? -1 : (x > y ? 1 : 0);
}

StoreError fetchError(std::string description, std::string key, std::string value) {
  return StoreError{StoreErrorCode::invalidPredicate, std::move(description),
                    {{std::move(key), std::move(value)}}};
}

}  // namespace

void ObjectContext::collectPending(const EntityDescription& entity, std::uint64_t store,
                                   PendingMap& out) const {
  for (const ObjectContext* context = this; context != nullptr; context = context->parent_.get()) {
    if (context->changeCount_.load() == 0) continue;
    std::lock_guard lock(*context->lock_);
    for (const auto& [id, object] : context->changed_) {
      if (id.entity != entity.index() || id.store != store) continue;
      out.try_emplace(id, Pending{object->state_, object->values_});
    }
  }
}

std::optional<StoreError> ObjectContext::fetchRows(const FetchRequest& request,
                                                  std::shared_ptr<const EntityDescription>& entity,
                                                  std::uint64_t& storeIdentifier,
                                                  const std::vector<std::size_t>* columns,
                                                  ValueRows& out) {
  const auto coordinator = persistentStoreCoordinator();
  const auto store = coordinator ? coordinator->store() : nullptr;
  if (!store) return StoreError{StoreErrorCode::noStore, "No persistent store is loaded.", {}};
  entity = coordinator->model()->currentVersion()->entity(request.entityName);
  if (!entity) {
    return StoreError{StoreErrorCode::unknownEntity, "No entity of that name.",
                      {{"entity", request.entityName}}};
  }
  storeIdentifier = store->identifier();
  Predicate::Bound bound;
  if (request.predicate) {
    if (auto error = request.predicate->bind(*entity, bound)) return error;
  }
  SqliteStore::Query query;
  query.entity = entity.get();
  query.predicate = request.predicate ? &bound : nullptr;
  for (const SortKey& sort : request.sortBy) {
    const auto index = entity->attributeIndex(sort.attribute);
    if (!index) return fetchError("The fetch sorts by an unknown attribute.", "key", sort.attribute);
    query.sort.emplace_back(*index, sort.ascending);
  }

  PendingMap pending;
  collectPending(*entity, storeIdentifier, pending);
  if (pending.empty()) {
    query.limit = request.limit;
    query.columns = columns;
    return store->fetch(query, out);
  }

  // With unsaved changes to lay over, the store's rows come whole and
  // unlimited: the changes may take their places in the order.
  ValueRows stored;
  if (auto error = store->fetch(query, stored)) return error;
  struct Candidate {
    std::int64_t key;
    const ObjectValue* values;  // every attribute, in `stored` or in `pending`
  };
  std::vector<Candidate> candidates;
  candidates.reserve(stored.size() + pending.size());
  for (std::size_t row = 0; row < stored.size(); ++row) {
    if (pending.count({storeIdentifier, entity->index(), stored.key(row)})) continue;
    candidates.push_back({stored.key(row), stored[row].data()});
  }
  for (const auto& [id, change] : pending) {
    if (change.state == ManagedObject::State::deleted) continue;
    if (request.predicate && !bound.evaluate(change.values)) continue;
    candidates.push_back({id.primaryKey, change.values.data()});
  }
  std::sort(candidates.begin(), candidates.end(), [&](const Candidate& a, const Candidate& b) {
    for (const auto& [attribute, ascending] : query.sort) {
      const int order = orderValues(a.values[attribute], b.values[attribute]);
      if (order != 0) return ascending ? order < 0 : order > 0;
    }
    return a.key < b.key;
  });
  if (request.limit > 0 && candidates.size() > request.limit) candidates.resize(request.limit);

  const std::size_t width = columns ? columns->size() : entity->attributes().size();
  out = ValueRows(width);
  out.reserve(candidates.size());
  for (const Candidate& candidate : candidates) {
    out.appendKey(candidate.key);
    for (std::size_t i = 0; i < width; ++i) out.appendValue(candidate.values[columns ? (*columns)[i] : i]);
  }
  return std::nullopt;
}

std::shared_ptr<ManagedObject> ObjectContext::materialize(
    const std::shared_ptr<const EntityDescription>& entity, const ObjectID& id,
    std::vector<ObjectValue> values) {
  std::lock_guard lock(*lock_);
  auto& slot = registered_[id];
  if (auto object = slot.lock()) {
    // An object changed here keeps its own values; others show the latest.
    if (object->state_ == ManagedObject::State::unchanged) object->values_ = std::move(values);
    return object;
  }
  auto object = std::make_shared<ManagedObject>(entity, id, std::move(values), weak_from_this(), lock_);
  slot = object;
  if (registered_.size() >= sweepAt_) {
    std::erase_if(registered_, [](const auto& entry) { return entry.second.expired(); });
    sweepAt_ = std::max<std::size_t>(256, registered_.size() * 2);
  }
  return object;
}

FetchResult ObjectContext::execute(const FetchRequest& request) {
  FetchResult result;
  std::shared_ptr<const EntityDescription> entity;
  std::uint64_t store = 0;
  std::vector<std::size_t> columns;
  std::optional<StoreError> error;
  if (!request.properties.empty()) {
    entity = entityForName(request.entityName);
    for (const std::string& property : request.properties) {
      const auto index = entity ? entity->attributeIndex(property) : std::nullopt;
      if (!index) {
        error = fetchError("The fetch asks for an unknown attribute.", "key", property);
        break;
      }
      columns.push_back(*index);
    }
  }
  ValueRows rows;
  if (!error) {
    error = fetchRows(request, entity, store, request.properties.empty() ? nullptr : &columns, rows);
  }
  if (error) {
    log("Object store fetch of %s failed: %s", request.entityName.c_str(),
        error->fullDescription().c_str());
    result.error = std::move(error);
    return result;
  }
  if (!request.properties.empty()) {
    result.rows = std::move(rows);
    return result;
  }
  result.objects.reserve(rows.size());
  for (std::size_t row = 0; row < rows.size(); ++row) {
    const auto values = rows[row];
    result.objects.push_back(materialize(entity, {store, entity->index(), rows.key(row)},
                                         std::vector<ObjectValue>(std::make_move_iterator(values.begin()),
                                                                  std::make_move_iterator(values.end()))));
  }
  return result;
}

std::optional<std::size_t> ObjectContext::count(const FetchRequest& request) {
  std::shared_ptr<const EntityDescription> entity;
  std::uint64_t store = 0;
  ValueRows keys;
  const std::vector<std::size_t> keysOnly;
  if (auto error = fetchRows(request, entity, store, &keysOnly, keys)) {
    log("Object store count of %s failed: %s", request.entityName.c_str(),
        error->fullDescription().c_str());
    return std::nullopt;
  }
  return keys.size();
}

}  // namespace kestrel::platform
