// What the tool's commands share: finding the home's database file without
// creating it, and writing. A report goes to standard output, an error to
// standard error; with --json both are one JSON object on standard output, so
// a script always has an object to read.
#pragma once

#include "Commands.h"

#include <KestrelPlatform/Json.h>

#include <filesystem>
#include <optional>
#include <string>

namespace kestrel::tool {

/// The JSON text of a value, indented by `indent` spaces (-1: compact). Bytes
/// that are not valid UTF-8 (a path may hold any bytes) become U+FFFD instead
/// of an exception.
std::string jsonText(const platform::Json& value, int indent = 2);

/// Reports that the command could not work on the database at `path`: with
/// --json the object {"database": path, "error": message} plus the members of
/// `extra` on standard output, otherwise "kestrel: <path>: <message>" on
/// standard error. Returns 1, the exit status of a failed operation.
int reportFailure(const CommonOptions& options, const std::filesystem::path& path,
                  const std::string& message,
                  const platform::Json& extra = platform::Json::object());

/// "<home>/Documents/kestrel.db" when it exists. Otherwise reports "no
/// database file" (or why its folder cannot be searched) through
/// reportFailure and returns std::nullopt. Only looks: creates nothing.
std::optional<std::filesystem::path> existingDatabaseFile(
    const CommonOptions& options, const platform::Json& extra = platform::Json::object());

}  // namespace kestrel::tool
