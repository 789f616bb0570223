#include <KestrelPlatform/ObjectStore/StoreMigrator.h>

#include <KestrelPlatform/ObjectStore/ManagedObject.h>
#include <KestrelPlatform/ObjectStore/MigrationManager.h>
#include <KestrelPlatform/ObjectStore/SqliteConnection.h>
#include <KestrelPlatform/ObjectStore/StoreMetadata.h>
#include <KestrelPlatform/ObjectStore/StoreSchema.h>

#include <sqlite3.h>

namespace kestrel::platform {
namespace {

using namespace storeschema;

std::string newTable(const EntityDescription& entity) { return "_new_" + entity.name(); }

StoreError migrationError(const std::string& reason, const ModelVersion& source,
                          const ModelVersion& destination) {
  return StoreError{StoreErrorCode::migrationFailed, "The store could not be migrated.",
                    {{"reason", reason},
                     {"sourceVersion", source.name()},
                     {"destinationVersion", destination.name()}}};
}

// Every object of the entity in the old layout, made for a policy to read.
std::optional<StoreError> readSourceObjects(SqliteConnection& connection,
                                            const std::shared_ptr<const EntityDescription>& entity,
                                            std::vector<std::shared_ptr<ManagedObject>>& objects) {
  const std::string sql = selectAll(*entity) + " ORDER BY " + quoteName(kPrimaryKey);
  std::optional<StoreError> error;
  sqlite3_stmt* statement = connection.statement(sql, error);
  if (statement == nullptr) return error;
  int rc;
  const auto& attributes = entity->attributes();
  while ((rc = sqlite3_step(statement)) == SQLITE_ROW) {
    std::vector<ObjectValue> values;
    values.reserve(attributes.size());
    for (std::size_t i = 0; i < attributes.size(); ++i) {
      values.push_back(SqliteConnection::column(statement, static_cast<int>(i + 1), attributes[i].type));
    }
    const ObjectID id{0, entity->index(), sqlite3_column_int64(statement, 0)};
    objects.push_back(std::make_shared<ManagedObject>(entity, id, std::move(values),
                                                      std::weak_ptr<ObjectContext>(), nullptr));
  }
  if (rc != SQLITE_DONE) error = connection.lastError("The old store could not be read.", sql);
  sqlite3_reset(statement);
  return error;
}

// The inferred copy of one entity, done by SQLite: same keys, shared columns.
std::optional<StoreError> copyEntity(SqliteConnection& connection, const EntityDescription& from,
                                     const EntityDescription& to, const ModelVersion& source,
                                     const ModelVersion& destination) {
  std::string columns = quoteName(kPrimaryKey);
  std::string expressions = quoteName(kPrimaryKey);
  for (const auto& attribute : to.attributes()) {
    const AttributeDescription* old = from.attribute(attribute.name);
    if (old == nullptr) continue;
    if (old->type != attribute.type) {
      return migrationError("cannot infer a mapping for " + to.name() + "." + attribute.name +
                                ", whose type changed",
                            source, destination);
    }
    columns += ", " + quoteName(attribute.name);
    // A value that became required keeps its default where the old one was nil.
    if (old->optional && !attribute.optional && !attribute.defaultValue.isNull()) {
      expressions += ", COALESCE(" + quoteName(attribute.name) + ", " +
                     defaultLiteral(attribute.defaultValue) + ")";
    } else {
      expressions += ", " + quoteName(attribute.name);
    }
  }
  return connection.execute("INSERT INTO " + quoteName(newTable(to)) + " (" + columns + ") SELECT " +
                            expressions + " FROM " + quoteName(from.name()));
}

std::optional<StoreError> runPolicy(SqliteConnection& connection, const EntityMapping& mapping,
                                    const ModelVersion& source, const ModelVersion& destination,
                                    const MigrationPolicies& policies, MigrationManager& manager) {
  static EntityMigrationPolicy inferred;
  EntityMigrationPolicy* policy = &inferred;
  if (!mapping.policy.empty()) {
    const auto it = policies.find(mapping.policy);
    if (it == policies.end() || !it->second) {
      return migrationError("no migration policy named " + mapping.policy, source, destination);
    }
    policy = it->second.get();
  }
  std::vector<std::shared_ptr<ManagedObject>> objects;
  if (auto error = readSourceObjects(connection, source.entity(mapping.sourceEntity), objects)) {
    return error;
  }
  for (const auto& object : objects) {
    std::optional<StoreError> error;
    bool made = false;
    try {
      made = policy->createDestinationInstances(*object, mapping, manager, error);
    } catch (...) {
      return migrationError("the migration policy " + mapping.policy + " failed", source, destination);
    }
    if (!made) {
      return error ? *error
                   : migrationError("the migration policy " + mapping.policy + " failed", source,
                                    destination);
    }
  }
  return std::nullopt;
}

// Writes the objects the policies made for one destination entity.
std::optional<StoreError> writeObjects(SqliteConnection& connection, const EntityDescription& entity,
                                       const std::vector<std::shared_ptr<ManagedObject>>& objects) {
  std::string sql = "INSERT INTO " + quoteName(newTable(entity)) + " (" + columnList(entity) +
                    ") VALUES (?";
  for (std::size_t i = 0; i < entity.attributes().size(); ++i) sql += ", ?";
  sql += ")";
  for (const auto& object : objects) {
    std::vector<ObjectValue> parameters{ObjectValue(object->objectID().primaryKey)};
    for (auto& value : object->values()) parameters.push_back(std::move(value));
    for (std::size_t i = 0; i < entity.attributes().size(); ++i) {
      if (parameters[i + 1].isNull() && entity.attributes()[i].isRequired()) {
        return StoreError{StoreErrorCode::migrationFailed, "The store could not be migrated.",
                          {{"reason", "a migrated " + entity.name() + " has no " +
                                          entity.attributes()[i].name}}};
      }
    }
    if (auto error = connection.run(sql, parameters)) return error;
  }
  return std::nullopt;
}

std::optional<StoreError> migrateStep(SqliteConnection& connection, const ObjectModel& model,
                                      const std::shared_ptr<const ModelVersion>& source,
                                      const std::shared_ptr<const ModelVersion>& destination,
                                      bool inferMapping, const MigrationPolicies& policies) {
  const VersionMapping* declared = model.mapping(source->name(), destination->name());
  for (const auto& entity : destination->entities()) {
    if (auto error = connection.execute(createTable(*entity, newTable(*entity)))) return error;
  }
  MigrationManager manager(source, destination);
  for (const auto& entity : destination->entities()) {
    bool mapped = false;
    if (declared != nullptr) {
      for (const EntityMapping& mapping : declared->entities) {
        if (mapping.destinationEntity != entity->name()) continue;
        mapped = true;
        if (auto error = runPolicy(connection, mapping, *source, *destination, policies, manager)) {
          return error;
        }
      }
    }
    if (mapped) {
      if (auto error = writeObjects(connection, *entity, manager.takeDestinationObjects(entity->index()))) {
        return error;
      }
      continue;
    }
    const auto& old = source->entity(entity->name());
    if (!old) continue;  // a new entity starts empty
    if (!inferMapping) {
      return migrationError("no mapping for " + entity->name() + " and inferring is off", *source,
                            *destination);
    }
    if (auto error = copyEntity(connection, *old, *entity, *source, *destination)) return error;
  }
  for (const auto& entity : source->entities()) {
    if (auto error = connection.execute("DROP TABLE " + quoteName(entity->name()))) return error;
  }
  for (const auto& entity : destination->entities()) {
    if (auto error = connection.execute("ALTER TABLE " + quoteName(newTable(*entity)) + " RENAME TO " +
                                        quoteName(entity->name()))) {
      return error;
    }
    for (const std::string& index : createIndexes(*entity)) {
      if (auto error = connection.execute(index)) return error;
    }
  }
  return StoreMetadata::write(connection, model.name(), *destination);
}

}  // namespace

std::optional<StoreError> StoreMigrator::migrate(SqliteConnection& connection,
                                                 const ObjectModel& model, std::size_t from,
                                                 std::size_t to, bool inferMapping,
                                                 const MigrationPolicies& policies) {
  for (std::size_t step = from; step < to; ++step) {
    if (auto error = migrateStep(connection, model, model.versions()[step],
                                 model.versions()[step + 1], inferMapping, policies)) {
      return error;
    }
  }
  return std::nullopt;
}

}  // namespace kestrel::platform
