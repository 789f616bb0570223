// The object store's purges as `kestrel purge` runs them, after the tables:
// the votes whose event started more than 90 days ago, then the highlights
// last watched more than 7 days ago.
#pragma once

#include <KestrelDatabase/objectstore/DuplicateVoteKey.h>
#include <KestrelPlatform/Json.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::tool {

struct StorePurge {
  /// Why the store could not be purged (it is not a regular file, or does
  /// not load); then nothing was deleted.
  std::optional<std::string> error;
  /// Every purge succeeded (false with an error, or when a save failed).
  bool ok = true;
  /// By event ID, then type.
  std::vector<DuplicateVoteKey> votes;
  /// Ascending.
  std::vector<std::int64_t> highlights;

  /// {"deleted": n, "deletedVotes": ["<eventId>-<type>", ...]}.
  platform::Json votesJson() const;
  /// {"deleted": n, "deletedIDs": [...]}.
  platform::Json highlightsJson() const;
  /// "storeVotes: deleted n" and "highlights: deleted n", each with what it
  /// deleted on the next line.
  void print() const;
};

/// For a store file that is there but cannot be used (not a regular file,
/// or its folder cannot be searched), the failed purge; otherwise nothing.
std::optional<StorePurge> unusableStore(const std::filesystem::path& file);

/// Purges the object store of `home`: loads it (migrating an older one, as
/// the application's start would) and runs both purges; with `dryRun` they
/// only select. A home without a store (as a regular file) has nothing to
/// purge: no store is created.
StorePurge purgeStore(const std::filesystem::path& home, bool dryRun);

}  // namespace kestrel::tool
