// The match day of `kestrel demo`, played through the application's two
// entry points only: StorageManager for the tables and the caches, and the
// DataManager it holds for the object store. Every phase answers with JSON
// (what it did, or what the application's screens would show), which the
// command prints as it is (--json) or as tables (DemoReport).
//
// The day: at the start the user follows, stars, mutes, votes, upvotes and
// reports in a chat, answers a TV question, pins tournaments and watches a
// highlight; half an hour later the screens are read; eight days on, the
// server's answers finish what has been played, and the cleaning runs.
// Times come from the platform clock, which play() sets for each phase.
//
// Thread-safety: one thread drives it; it waits on every future it starts,
// and never from the main queue.
// Ownership: shares the facade for its own life.
#pragma once

#include "MatchDayFixtures.h"

#include <KestrelDatabase/storage/StorageManager.h>
#include <KestrelPlatform/Json.h>

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>

namespace kestrel::tool {

/// A step of the day that the storage refused (its message says which).
class DemoStepFailed : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// What a read of the storage delivered; a read that failed is a refused
/// step (DemoStepFailed naming `what`), never taken for an empty answer.
template <class T>
T readOrFail(std::future<ReadResult<T>> read, const std::string& what) {
  ReadResult<T> answer = read.get();
  if (!answer) throw DemoStepFailed("could not read " + what);
  return std::move(*answer);
}

class MatchDay {
 public:
  /// Half an hour after the start the screens are read; eight days after
  /// it the week is over.
  static constexpr std::int64_t kScreensAfter = 1800;
  static constexpr std::int64_t kWeekLaterAfter = 8 * 86400;

  MatchDay(std::shared_ptr<StorageManager> storage, std::int64_t start);
  MatchDay(const MatchDay&) = delete;
  MatchDay& operator=(const MatchDay&) = delete;

  /// The whole day, setting the clock for each phase:
  /// {"start", "created", "matchDay": screens, "weekLater": {"now",
  /// "refreshed", "removed", "screens"}}. Throws DemoStepFailed when a
  /// step is refused; every future started before has been waited on.
  platform::Json play();

  /// The start's work; what it created, by kind.
  platform::Json setUp();
  /// What the screens show now, answered by the facade.
  platform::Json screens() const;
  /// The server's answers for what is due: matches and sessions whose start
  /// has passed are finished (with their results) and stored again.
  platform::Json refresh();
  /// cleanDB, then the event and stage prunings, each compared with what
  /// was there before it: what went (deleted, or hidden) and why.
  platform::Json clean();
  /// Returns once the object store's queued work, the cache refills it
  /// started and the main queue have all run.
  void settle() const;

 private:
  // What the storage holds of the day's events (or stages): every one still
  // stored, and those the favourites list shows.
  template <class T>
  struct Rows {
    std::map<std::int64_t, T> stored;
    std::set<std::int64_t> listed;
  };
  Rows<model::Event> eventRows() const;
  Rows<model::Stage> stageRows() const;
  platform::Json eventRow(const model::Event& event) const;
  platform::Json followed() const;
  platform::Json votes() const;
  platform::Json remembered() const;
  // "followed team X" / "followed league Y" for an event one owns.
  std::optional<std::string> ownerOf(const model::Event& event) const;
  std::string whyOld(std::optional<std::int64_t> start, const std::string& farAheadOwner) const;

  const std::shared_ptr<StorageManager> storage_;
  const std::int64_t start_;
  const MatchDayFixtures day_;
};

}  // namespace kestrel::tool
