// What the commands that work on an existing database share: opening it
// through the start path, reading full 64-bit ID sets, and writing ID lists.
#pragma once

#include "Commands.h"

#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/schema/FMDBHelper.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace kestrel {
class FMDatabaseQueue;
}

namespace kestrel::tool {

/// The database of `home`, opened through FMDBHelper::forHome (which
/// upgrades it). A start that failed is reported through reportFailure with
/// `reportedPath` (the database the user named, which a dry run's copy is
/// not) and the result is null.
std::unique_ptr<FMDBHelper> openExistingDatabase(const CommonOptions& options,
                                                 const std::filesystem::path& home,
                                                 const std::filesystem::path& reportedPath);

/// Full 64-bit IDs of the first column of `sql` (the table layer's ID reads
/// are 32-bit); std::nullopt when the query cannot be prepared or a step
/// fails (the connection logs why).
std::optional<IDSet> idsFrom(const std::shared_ptr<FMDatabaseQueue>& queue, const std::string& sql);

/// The values separated by single blanks.
template <class Values>
std::string joined(const Values& values) {
  std::string text;
  for (const auto& value : values) {
    if (!text.empty()) text += ' ';
    if constexpr (std::is_arithmetic_v<std::decay_t<decltype(value)>>) {
      text += std::to_string(value);
    } else {
      text += value;
    }
  }
  return text;
}

}  // namespace kestrel::tool
