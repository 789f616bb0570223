// A small persisted key -> value store for settings and one-time flags that
// must outlive the process (and the database file): booleans, integers,
// doubles and text, kept as one JSON object in a file under
// <home>/Library/Preferences.
//
// Every write goes to disk before it returns, atomically: the whole store is
// written to a temporary file beside the real one, which then replaces it by
// rename, so a crash leaves either the old or the new file. The file is read
// once, when the store is created. A missing file is an empty store; a
// corrupt or unreadable one is an empty store too, with one warning logged,
// and the next write replaces it with a good file. Nothing here throws or
// stops the process.
//
// Reading a key of another kind converts: numbers and booleans into each
// other (true is 1, a non-zero number is true); text to a boolean by its first
// meaningful character ("YES", "true", "1" are true) and to a number by its
// leading digits; numbers to their text, booleans to "1"/"0". Missing keys read as
// false, 0, 0.0 and std::nullopt. Non-finite doubles are kept as the text
// "nan", "inf" or "-inf" (JSON has no such numbers) and read back as doubles.
// Text that is not valid UTF-8 is stored with U+FFFD for the broken bytes.
//
// Thread-safety: every member may be called from any thread.
// Ownership: shared. standard() keeps the store of the current application
// home alive; two stores on the same file in one process do not see each
// other's writes, so use standard() (or one instance per file).
#pragma once

#include <KestrelPlatform/Json.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace kestrel::platform {

class UserDefaults {
 public:
  /// The name of the standard store's file in <home>/Library/Preferences.
  static constexpr std::string_view kStandardFileName = "com.kestrel.defaults.json";

  /// The store of the current application home. The same instance is
  /// returned while the home's root stays the same; after AppHome::setRoot
  /// (or an environment change) moves it, a fresh store for the new home.
  static std::shared_ptr<UserDefaults> standard();

  /// A store kept in the given file (read now if it exists).
  static std::shared_ptr<UserDefaults> create(std::filesystem::path file);

  explicit UserDefaults(std::filesystem::path file);
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  const std::filesystem::path& path() const { return path_; }

  bool boolForKey(std::string_view key) const;
  std::int64_t integerForKey(std::string_view key) const;
  double doubleForKey(std::string_view key) const;
  std::optional<std::string> stringForKey(std::string_view key) const;
  /// True when the key has a value of any kind.
  bool containsKey(std::string_view key) const;

  void setBool(bool value, std::string_view key);
  void setInteger(std::int64_t value, std::string_view key);
  void setDouble(double value, std::string_view key);
  void setString(std::string_view value, std::string_view key);
  void removeObjectForKey(std::string_view key);

  /// Writes the store to its file again (writes already persist on their
  /// own; this repairs a file damaged or removed behind the store's back).
  /// True when the file now holds the store's values.
  bool synchronize();

 private:
  void load();
  const Json* findLocked(std::string_view key) const;
  void store(std::string_view key, Json value);
  bool writeLocked();

  const std::filesystem::path path_;
  mutable std::mutex mutex_;
  Json values_;
};

}  // namespace kestrel::platform
