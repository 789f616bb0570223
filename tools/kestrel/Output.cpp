#include "Output.h"

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelPlatform/AppHome.h>
#include <KestrelPlatform/Log.h>

#include <system_error>

namespace kestrel::tool {

std::string jsonText(const platform::Json& value, int indent) {
  return value.dump(indent, ' ', false, platform::Json::error_handler_t::replace);
}

int reportFailure(const CommonOptions& options, const std::filesystem::path& path,
                  const std::string& message, const platform::Json& extra) {
  if (options.json) {
    platform::Json report = {{"database", path.string()}, {"error", message}};
    report.update(extra);
    platform::print("%s\n", jsonText(report).c_str());
  } else {
    platform::log("kestrel: %s: %s", path.c_str(), message.c_str());
  }
  return 1;
}

std::string describe(const platform::StoreError& error) {
  std::string details;
  for (const auto& [key, value] : error.userInfo) {
    if (key == "path" || key == "sql" || key == "sqliteCode") continue;
    details += (details.empty() ? "" : "; ") + key + " = " + value;
  }
  return details.empty() ? error.description : error.description + " (" + details + ")";
}

FileState fileState(const std::filesystem::path& path, std::string* why) {
  std::error_code error;
  const auto status = std::filesystem::status(path, error);
  if (error && error != std::errc::no_such_file_or_directory) {
    if (why != nullptr) *why = error.message();
    return FileState::unreadable;
  }
  if (!std::filesystem::exists(status)) return FileState::missing;
  return std::filesystem::is_regular_file(status) ? FileState::regularFile
                                                  : FileState::notRegularFile;
}

std::optional<std::string> whyNotUsable(const std::filesystem::path& path) {
  std::string why;
  switch (fileState(path, &why)) {
    case FileState::notRegularFile:
      return "not a regular file";
    case FileState::unreadable:
      return "cannot be read: " + why;
    case FileState::missing:
    case FileState::regularFile:
      break;
  }
  return std::nullopt;
}

std::optional<std::filesystem::path> existingDatabaseFile(const CommonOptions& options,
                                                          const platform::Json& extra) {
  const std::filesystem::path path =
      platform::AppHome::root() / "Documents" / FMDBHelper::kDatabaseFileName;
  std::error_code error;
  if (std::filesystem::exists(path, error)) return path;
  reportFailure(options, path, error ? "cannot be read: " + error.message() : "no database file",
                extra);
  return std::nullopt;
}

}  // namespace kestrel::tool
