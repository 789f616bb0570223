// The SQL text of the object store's file layout. Each entity is a table
// named after it, with an INTEGER PRIMARY KEY "_pk" and one column per
// attribute in model order; the table "_metadata" holds the model name and
// the version (name and hash) the store was written with. Names come from
// a validated model (identifiers only), so quoting them is enough; values
// are always bound parameters.
//
// Thread-safety: pure functions.
#pragma once

#include <KestrelPlatform/ObjectStore/EntityDescription.h>

#include <string>
#include <string_view>
#include <vector>

namespace kestrel::platform::storeschema {

inline constexpr const char* kPrimaryKey = "_pk";
inline constexpr const char* kMetadataTable = "_metadata";
inline constexpr const char* kModelKey = "model";
inline constexpr const char* kVersionKey = "version";
inline constexpr const char* kVersionHashKey = "versionHash";

/// "name" with double quotes.
std::string quoteName(std::string_view name);
/// A model default (integer, boolean or text) as an SQL literal.
std::string defaultLiteral(const ObjectValue& value);
/// CREATE TABLE for the entity under `table` (its own name by default).
std::string createTable(const EntityDescription& entity, std::string_view table = {});
/// CREATE INDEX for each fetch index of the entity.
std::vector<std::string> createIndexes(const EntityDescription& entity);
/// "_pk", then every attribute column, quoted and separated by ", ".
std::string columnList(const EntityDescription& entity);
/// SELECT of every column from the entity's table (no WHERE).
std::string selectAll(const EntityDescription& entity);
/// INSERT of "_pk" and every attribute, all as parameters.
std::string insert(const EntityDescription& entity);
/// UPDATE of every attribute of the row whose "_pk" is the last parameter.
std::string update(const EntityDescription& entity);
/// DELETE of the row whose "_pk" is the parameter.
std::string deleteRow(const EntityDescription& entity);

}  // namespace kestrel::platform::storeschema
