// ObjectContext: fetching, with the unsaved changes of the context and its
// ancestors laid over what the store holds.
#include <KestrelPlatform/ObjectStore/ObjectContext.h>

#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/ObjectStore/SqliteStore.h>
#include <KestrelPlatform/ObjectStore/StoreCoordinator.h>

#include <algorithm>
#include <iterator>
#include <tuple>

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

std::optional<StoreError> ObjectContext::visitRows(const FetchRequest& request,
                                                  const std::vector<std::size_t>* columns,
                                                  std::shared_ptr<const EntityDescription>& entity,
                                                  std::uint64_t& storeIdentifier, RowVisitor visit) {
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
    return store->fetch(query, visit);
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

  std::vector<ObjectValue> row(columns ? columns->size() : entity->attributes().size());
  for (const Candidate& candidate : candidates) {
    for (std::size_t i = 0; i < row.size(); ++i) row[i] = candidate.values[columns ? (*columns)[i] : i];
    visit(candidate.key, row);
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

std::optional<StoreError> ObjectContext::columnsOf(const FetchRequest& request,
                                                  std::vector<std::size_t>& columns) const {
  const auto entity = entityForName(request.entityName);
  for (const std::string& property : request.properties) {
    const auto index = entity ? entity->attributeIndex(property) : std::nullopt;
    if (!index) return fetchError("The fetch asks for an unknown attribute.", "key", property);
    columns.push_back(*index);
  }
  return std::nullopt;
}

FetchResult ObjectContext::execute(const FetchRequest& request) {
  FetchResult result;
  std::vector<std::size_t> columns;
  std::shared_ptr<const EntityDescription> entity;
  std::uint64_t store = 0;
  if (request.properties.empty()) {
    // The objects are made as the rows come (the store's lock is not the context's).
    std::vector<std::tuple<std::int64_t, std::vector<ObjectValue>>> found;
    result.error = visitRows(request, nullptr, entity, store, [&](std::int64_t key, std::span<ObjectValue> values) {
      found.emplace_back(key, std::vector<ObjectValue>(std::make_move_iterator(values.begin()),
                                                       std::make_move_iterator(values.end())));
    });
    if (!result.error) {
      result.objects.reserve(found.size());
      for (auto& [key, values] : found) {
        result.objects.push_back(materialize(entity, {store, entity->index(), key}, std::move(values)));
      }
    }
  } else {
    result.error = columnsOf(request, columns);
    if (!result.error) {
      result.rows = ValueRows(columns.size());
      result.error = visitRows(request, &columns, entity, store, [&](std::int64_t key, std::span<ObjectValue> values) {
        result.rows.appendKey(key);
        for (ObjectValue& value : values) result.rows.appendValue(std::move(value));
      });
    }
  }
  if (result.error) {
    log("Object store fetch of %s failed: %s", request.entityName.c_str(),
        result.error->fullDescription().c_str());
    result.objects.clear();
    result.rows = ValueRows();
  }
  return result;
}

std::optional<StoreError> ObjectContext::enumerate(const FetchRequest& request, RowVisitor visit) {
  std::vector<std::size_t> columns;
  std::shared_ptr<const EntityDescription> entity;
  std::uint64_t store = 0;
  auto error = columnsOf(request, columns);
  if (!error) error = visitRows(request, request.properties.empty() ? nullptr : &columns, entity, store, visit);
  if (error) {
    log("Object store fetch of %s failed: %s", request.entityName.c_str(), error->fullDescription().c_str());
  }
  return error;
}

std::optional<std::size_t> ObjectContext::count(const FetchRequest& request) {
  std::shared_ptr<const EntityDescription> entity;
  std::uint64_t store = 0;
  std::size_t count = 0;
  const std::vector<std::size_t> keysOnly;
  if (auto error = visitRows(request, &keysOnly, entity, store, [&](std::int64_t, std::span<ObjectValue>) { ++count; })) {
    log("Object store count of %s failed: %s", request.entityName.c_str(),
        error->fullDescription().c_str());
    return std::nullopt;
  }
  return count;
}

}  // namespace kestrel::platform
