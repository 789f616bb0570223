#include "DatabaseAccess.h"

#include "Output.h"

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMError.h>
#include <KestrelDatabase/sql/FMResultSet.h>

namespace kestrel::tool {

std::unique_ptr<FMDBHelper> openExistingDatabase(const CommonOptions& options,
                                                 const std::filesystem::path& home,
                                                 const std::filesystem::path& reportedPath) {
  auto helper = FMDBHelper::forHome(home, options.wait);
  if (const auto error = helper->startError(); error || !helper->getDBQueue()) {
    reportFailure(options, reportedPath, error.value_or("cannot be opened"));
    return nullptr;
  }
  return helper;
}

std::optional<IDSet> idsFrom(const std::shared_ptr<FMDatabaseQueue>& queue,
                             const std::string& sql) {
  std::optional<IDSet> ids;
  queue->inDatabase([&](FMDatabase* db) {
    if (!db) return;
    auto rs = db->executeQuery(sql);
    if (!rs) return;
    IDSet read;
    FMError error;
    while (rs->nextWithError(&error)) read.insert(rs->longLongIntForColumnIndex(0));
    rs->close();
    if (error.code == 0) ids = std::move(read);
  });
  return ids;
}

}  // namespace kestrel::tool
