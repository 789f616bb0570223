#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelPlatform/Base64.h>

namespace kestrel {

void DBTableAbstract::runStatement(const std::string& statement,
                                   const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion) {
  if (!queue) return;
  queue->inTransaction([&](FMDatabase* db, bool*) {
    // No connection (the queue could not reopen it) is a failed statement.
    const bool success = db != nullptr && db->executeUpdate(statement);
    if (completion) completion(success);
  });
}

void DBTableAbstract::deleteRows(const std::string& statement,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion) {
  runStatement(statement, queue, completion);
}

void DBTableAbstract::updateRows(const std::string& statement,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion) {
  runStatement(statement, queue, completion);
}

std::optional<std::string> DBTableAbstract::convertFieldTranslationsToString(
    const std::optional<model::FieldTranslations>& translations) {
  if (!translations) return std::nullopt;
  return platform::base64Encode(translations->toJson());
}

std::optional<model::FieldTranslations> DBTableAbstract::convertStringToFieldTranslations(
    const std::optional<std::string>& text) {
  if (!text) return std::nullopt;
  const auto bytes = platform::base64Decode(*text);
  if (!bytes) return std::nullopt;
  return model::FieldTranslations::fromJson(
      std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()));
}

}  // namespace kestrel
