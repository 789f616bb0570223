// What the tool's commands share: finding the home's database file without
// creating it, and writing. A report goes to standard output, an error to
// standard error; with --json both are one JSON object on standard output, so
// a script always has an object to read.
#pragma once

#include "Commands.h"

#include <KestrelPlatform/Json.h>
#include <KestrelPlatform/ObjectStore/StoreError.h>

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

/// An object-store error in one line: its description, then its details
/// but the file's path, the SQL and SQLite's number, e.g. "The persistent
/// store is not compatible with the model. (reason = unknown model version
/// "X")".
std::string describe(const platform::StoreError& error);

/// What is at a path where a database file is expected. Only a regular file
/// is ever opened: a FIFO or a device would block or misbehave under SQLite.
enum class FileState { missing, regularFile, notRegularFile, unreadable };

/// The state of `path` (following symbolic links); for `unreadable`, `why`
/// (if given) gets the reason.
FileState fileState(const std::filesystem::path& path, std::string* why = nullptr);

/// Why what is at `path` must not be opened as a database: "not a regular
/// file" or "cannot be read: <reason>"; nothing for a regular file or none.
std::optional<std::string> whyNotUsable(const std::filesystem::path& path);

/// "<home>/Documents/kestrel.db" when it exists. Otherwise reports "no
/// database file" (or why its folder cannot be searched) through
/// reportFailure and returns std::nullopt. Only looks: creates nothing.
std::optional<std::filesystem::path> existingDatabaseFile(
    const CommonOptions& options, const platform::Json& extra = platform::Json::object());

}  // namespace kestrel::tool
