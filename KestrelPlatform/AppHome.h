// The application home: a root folder laid out like a mobile app's sandbox.
//
//   <home>/Documents                      the relational store ("kestrel.db")
//   <home>/Library/Preferences            user defaults
//   <home>/Library/Application Support    the object store
//
// The root is, in order of preference: the one set in-process (tests, the
// tool's --home), $KESTREL_HOME, $XDG_DATA_HOME/kestrel, ~/.local/share/kestrel.
// Folders are created on demand when asked for.
//
// Thread-safety: all functions may be called from any thread.
#pragma once

#include <filesystem>
#include <optional>

namespace kestrel::platform {

class AppHome {
 public:
  AppHome() = delete;

  /// Sets the root for this process; std::nullopt returns to the environment.
  static void setRoot(std::optional<std::filesystem::path> root);

  /// The resolved root (not created).
  static std::filesystem::path root();

  /// <home>/Documents, created if missing.
  static std::filesystem::path documents();
  /// <home>/Library/Preferences, created if missing.
  static std::filesystem::path preferences();
  /// <home>/Library/Application Support, created if missing.
  static std::filesystem::path applicationSupport();
};

}  // namespace kestrel::platform
