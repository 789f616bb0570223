#include <KestrelDatabase/schema/DBTableAbstract.h>

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelPlatform/Base64.h>
#include <KestrelPlatform/Fatal.h>

namespace kestrel {

// ---- Running statements -------------------------------------------------------

void DBTableAbstract::requireOutsideQueue(const FMDatabaseQueue& queue) {
  if (queue.dispatchQueue().isCurrent()) {
    platform::fatal(
        "DBTableAbstract: a table write was started from inside a block of its own database "
        "queue (a completion or a queue block), which would deadlock");
  }
}

void DBTableAbstract::runStatement(const std::string& statement,
                                   const std::shared_ptr<FMDatabaseQueue>& queue,
                                   const BoolCompletion& completion, bool needsNewRow) {
  runWrite(
      queue,
      [&](FMDatabase& db) {
        return db.executeUpdate(statement) && (!needsNewRow || db.changes() > 0);
      },
      completion);
}

void DBTableAbstract::runWrite(const std::shared_ptr<FMDatabaseQueue>& queue,
                               platform::FunctionRef<bool(FMDatabase& db)> work,
                               const BoolCompletion& completion) {
  if (!queue) return;
  requireOutsideQueue(*queue);
  queue->inDatabase([&](FMDatabase* db) {
    // No connection (the queue could not reopen it) is a failed write. The
    // completion hears the outcome once the transaction has committed (or
    // failed to), still inside the queue's block.
    const bool success = db != nullptr && db->runWriteTransaction([&] { return work(*db); });
    if (completion) completion(success);
  });
}

void DBTableAbstract::deleteRows(const std::string& statement,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion) {
  runStatement(statement, queue, completion, /*needsNewRow=*/false);
}

void DBTableAbstract::updateRows(const std::string& statement,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion) {
  runStatement(statement, queue, completion, /*needsNewRow=*/false);
}

void DBTableAbstract::runChecked(const std::optional<CheckedStatement>& statement,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion) {
  if (!queue) return;
  requireOutsideQueue(*queue);
  if (!statement) {
    if (completion) completion(false);
    return;
  }
  runStatement(statement->text(), queue, completion, statement->needsNewRow());
}

namespace {

// The one-call forms: without a queue nothing is checked, logged or called;
// otherwise the statement is built (checked) and run.
template <class Build>
void checkAndRun(const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion,
                 Build build) {
  if (!queue) return;
  DBTableAbstract::runChecked(build(), queue, completion);
}

}  // namespace

void DBTableAbstract::insertRow(const TableColumns& table, const ColumnValueMap& columnsAndValues,
                                const std::shared_ptr<FMDatabaseQueue>& queue,
                                const BoolCompletion& completion) {
  checkAndRun(queue, completion, [&] { return checkedInsert(table, columnsAndValues); });
}

void DBTableAbstract::insertOrReplaceRow(const TableColumns& table,
                                         const ColumnValueMap& columnsAndValues,
                                         const std::shared_ptr<FMDatabaseQueue>& queue,
                                         const BoolCompletion& completion) {
  checkAndRun(queue, completion, [&] { return checkedInsertOrReplace(table, columnsAndValues); });
}

void DBTableAbstract::updateRows(
    const TableColumns& table, const ColumnValueMap& columnsAndValues,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction,
    const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion) {
  checkAndRun(queue, completion, [&] {
    return checkedUpdate(table, columnsAndValues, columnsOperatorsValuesConjunction);
  });
}

void DBTableAbstract::deleteRows(
    const TableColumns& table,
    const std::optional<ConditionList>& columnsOperatorsValuesConjunction,
    const std::shared_ptr<FMDatabaseQueue>& queue, const BoolCompletion& completion) {
  checkAndRun(queue, completion,
              [&] { return checkedDelete(table, columnsOperatorsValuesConjunction); });
}

void DBTableAbstract::updateRows(const TableColumns& table, const SplicedStatement& statement,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion) {
  checkAndRun(queue, completion, [&] { return checkedStatement(table, statement); });
}

void DBTableAbstract::deleteRows(const TableColumns& table, const SplicedStatement& statement,
                                 const std::shared_ptr<FMDatabaseQueue>& queue,
                                 const BoolCompletion& completion) {
  updateRows(table, statement, queue, completion);
}

// ---- Field translations ---------------------------------------------------------

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
