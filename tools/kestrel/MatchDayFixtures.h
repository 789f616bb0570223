// The made-up match day that `kestrel demo` plays: a football league and a
// cup with six clubs, one motor-racing weekend, and what one user follows,
// stars, mutes, votes on and watches that day. Every time is given relative
// to the start of the demo, so one start time always gives the same day.
//
// Thread-safety: plain values.
#pragma once

#include <KestrelModel/Event.h>
#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>
#include <KestrelModel/Player.h>
#include <KestrelModel/Stage.h>
#include <KestrelModel/TVChannelSuggestion.h>
#include <KestrelModel/Team.h>
#include <KestrelModel/Tournament.h>
#include <KestrelModel/UniqueTournament.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::tool {

/// How an event came to be on the user's list.
enum class EventRole { favourite, mutedFavourite, ownedByFollowed };

struct DemoEvent {
  model::Event event;
  EventRole role = EventRole::favourite;
  /// The score the server reports once the match has been played.
  std::pair<std::int64_t, std::int64_t> result{};
};

struct DemoStage {
  model::Stage stage;
  bool muted = false;
};

struct DemoVote {
  std::int64_t eventId = 0;
  model::NMEventVoteType type = model::NMEventVoteType::fullTime;
  model::NMEventVoteValue vote = model::NMEventVoteValue::home;
  /// Whether the server accepted the vote when it was sent.
  bool accepted = true;
  /// A change of mind later that day (accepted by the server).
  std::optional<model::NMEventVoteValue> editedTo{};
};

template <class T>
struct Followed {
  T value;
  bool notifications = true;
};

struct MatchDayFixtures {
  std::vector<Followed<model::Team>> teams;
  std::vector<Followed<model::Tournament>> leagues;
  std::vector<Followed<model::Player>> players;
  /// Followed in the object store; the store keeps only the ID.
  std::int64_t uniqueStageID = 0;
  std::string uniqueStageName;
  std::vector<model::UniqueTournament> pinned;
  /// Ascending by ID.
  std::vector<DemoEvent> events;
  std::vector<DemoStage> stages;
  std::vector<DemoVote> votes;
  struct ChatMessage {
    std::int64_t message = 0;  // a chat message is known by its timestamp
    std::int64_t event = 0;
  };
  ChatMessage upvoted;
  ChatMessage reported;
  std::int64_t reportChoice = 0;
  model::TVChannelSuggestion tvSuggestion;
  std::int64_t highlightID = 0;
  std::string highlightURL;
  std::int64_t highlightCreated = 0;

  /// The fixture of that event ID, or null.
  const DemoEvent* event(std::int64_t eventID) const;
};

/// The match day around `start` (seconds since 1970): what is on the
/// screens half an hour later, and what a week of matches makes of it.
MatchDayFixtures makeMatchDayFixtures(std::int64_t start);

}  // namespace kestrel::tool
