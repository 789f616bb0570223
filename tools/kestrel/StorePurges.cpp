#include "StorePurges.h"

#include "DatabaseAccess.h"
#include "Output.h"

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelPlatform/Log.h>

#include <algorithm>
#include <tuple>

namespace kestrel::tool {
namespace {

std::vector<std::string> cacheKeys(const std::vector<DuplicateVoteKey>& votes) {
  std::vector<std::string> keys;
  keys.reserve(votes.size());
  for (const DuplicateVoteKey& vote : votes) keys.push_back(vote.cacheKey());
  return keys;
}

}  // namespace

platform::Json StorePurge::votesJson() const {
  return {{"deleted", votes.size()}, {"deletedVotes", cacheKeys(votes)}};
}

platform::Json StorePurge::highlightsJson() const {
  return {{"deleted", highlights.size()}, {"deletedIDs", highlights}};
}

void StorePurge::print() const {
  platform::print("storeVotes: deleted %zu\n", votes.size());
  if (!votes.empty()) platform::print("  deleted: %s\n", joined(cacheKeys(votes)).c_str());
  platform::print("highlights: deleted %zu\n", highlights.size());
  if (!highlights.empty()) platform::print("  deleted: %s\n", joined(highlights).c_str());
}

std::optional<StorePurge> unusableStore(const std::filesystem::path& file) {
  std::optional<std::string> why = whyNotUsable(file);
  if (!why) return std::nullopt;
  StorePurge purge;
  purge.error = std::move(why);
  purge.ok = false;
  return purge;
}

StorePurge purgeStore(const std::filesystem::path& home, bool dryRun) {
  StorePurge purge;
  if (fileState(DataManager::storePath(home)) != FileState::regularFile) return purge;
  const auto manager = DataManager::forHome(home);
  if (const auto error = manager->loadStore()) {
    purge.error = describe(*error);
    purge.ok = false;
    return purge;
  }
  // The futures resolve on the store's own queues (this thread is not the
  // main queue, which the saves need).
  PurgeReport<DuplicateVoteKey> votes = manager->purgeVotesOlderThan90Days(dryRun).get();
  PurgeReport<std::int64_t> highlights = manager->purgeHighlightsOlderThan7Days(dryRun).get();
  purge.ok = votes.succeeded && highlights.succeeded;
  purge.votes = std::move(votes.records);
  purge.highlights = std::move(highlights.records);
  std::sort(purge.votes.begin(), purge.votes.end(), [](const auto& a, const auto& b) {
    return std::tie(a.eventId, a.type) < std::tie(b.eventId, b.type);
  });
  std::sort(purge.highlights.begin(), purge.highlights.end());
  return purge;
}

}  // namespace kestrel::tool
