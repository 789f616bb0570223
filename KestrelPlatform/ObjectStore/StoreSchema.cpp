#include <KestrelPlatform/ObjectStore/StoreSchema.h>

namespace kestrel::platform::storeschema {

std::string quoteName(std::string_view name) {
  std::string text = "\"";
  text += name;
  text += "\"";
  return text;
}

std::string defaultLiteral(const ObjectValue& value) {
  if (const std::int64_t* integer = value.integer()) return std::to_string(*integer);
  if (const bool* flag = value.boolean()) return *flag ? "1" : "0";
  if (const std::string* text = value.text()) {
    // Model texts are written as literals with their quotes doubled.
    std::string literal = "'";
    for (char c : *text) {
      literal += c;
      if (c == '\'') literal += '\'';
    }
    return literal + "'";
  }
  return "NULL";
}

std::string createTable(const EntityDescription& entity, std::string_view table) {
  std::string sql = "CREATE TABLE " + quoteName(table.empty() ? entity.name() : table) + " (" +
                    quoteName(kPrimaryKey) + " INTEGER PRIMARY KEY";
  for (const auto& attribute : entity.attributes()) {
    sql += ", " + quoteName(attribute.name);
    switch (attribute.type) {
      case AttributeType::integer64:
      case AttributeType::boolean:
        sql += " INTEGER";
        break;
      case AttributeType::string:
        sql += " TEXT";
        break;
      case AttributeType::binary:
        sql += " BLOB";
        break;
    }
    if (!attribute.optional) sql += " NOT NULL";
    if (!attribute.defaultValue.isNull()) sql += " DEFAULT " + defaultLiteral(attribute.defaultValue);
  }
  return sql + ")";
}

std::vector<std::string> createIndexes(const EntityDescription& entity) {
  std::vector<std::string> statements;
  for (const auto& index : entity.fetchIndexes()) {
    std::string sql = "CREATE INDEX " + quoteName(entity.name() + "_" + index.name) + " ON " +
                      quoteName(entity.name()) + " (";
    for (std::size_t i = 0; i < index.attributes.size(); ++i) {
      if (i > 0) sql += ", ";
      sql += quoteName(index.attributes[i]);
    }
    statements.push_back(sql + ")");
  }
  return statements;
}

std::string columnList(const EntityDescription& entity) {
  std::string list = quoteName(kPrimaryKey);
  for (const auto& attribute : entity.attributes()) list += ", " + quoteName(attribute.name);
  return list;
}

std::string selectAll(const EntityDescription& entity) {
  return "SELECT " + columnList(entity) + " FROM " + quoteName(entity.name());
}

std::string insert(const EntityDescription& entity) {
  std::string sql = "INSERT INTO " + quoteName(entity.name()) + " (" + columnList(entity) + ") VALUES (?";
  for (std::size_t i = 0; i < entity.attributes().size(); ++i) sql += ", ?";
  return sql + ")";
}

std::string update(const EntityDescription& entity) {
  std::string sql = "UPDATE " + quoteName(entity.name()) + " SET ";
  for (std::size_t i = 0; i < entity.attributes().size(); ++i) {
    if (i > 0) sql += ", ";
    sql += quoteName(entity.attributes()[i].name) + " = ?";
  }
  return sql + " WHERE " + quoteName(kPrimaryKey) + " = ?";
}

std::string deleteRow(const EntityDescription& entity) {
  return "DELETE FROM " + quoteName(entity.name()) + " WHERE " + quoteName(kPrimaryKey) + " = ?";
}

}  // namespace kestrel::platform::storeschema
