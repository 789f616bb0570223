#include "Commands.h"
#include "DatabaseAccess.h"
#include "Output.h"

#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelDatabase/tables/DBTableStage.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/Log.h>

namespace kestrel::tool {

int runRefreshDue(const CommonOptions& options) {
  const std::optional<std::filesystem::path> path = existingDatabaseFile(options);
  if (!path) return kExitFailure;
  auto helper = openExistingDatabase(options, platform::AppHome::root(), *path);
  if (!helper) return kExitFailure;
  const double now = platform::Clock::now();
  const std::optional<IDSet> events =
      idsFrom(helper->getDBQueue(), DBTableEvent::eventIDsToRefreshQuery(now));
  if (!events) return reportFailure(options, *path, "cannot read the events");
  const std::optional<IDSet> stages =
      idsFrom(helper->getDBQueue(), DBTableStage::stageIDsToRefreshQuery(now));
  if (!stages) return reportFailure(options, *path, "cannot read the stages");
  if (options.json) {
    platform::print("%s\n", jsonText({{"events", *events}, {"stages", *stages}}, -1).c_str());
    return kExitSuccess;
  }
  platform::print("events due for a refresh: %zu\n", events->size());
  if (!events->empty()) platform::print("  %s\n", joined(*events).c_str());
  platform::print("stages due for a refresh: %zu\n", stages->size());
  if (!stages->empty()) platform::print("  %s\n", joined(*stages).c_str());
  return kExitSuccess;
}

}  // namespace kestrel::tool
