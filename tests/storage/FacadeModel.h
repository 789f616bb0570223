// FacadeModel is what the application did to the storage facade, kept in
// plain containers by the facade's documented rules: which events and
// stages are favourites, muted, entity-owned or hidden, what an unfollow
// takes with it, which stages the favourite window holds, what the
// prunings and the clean-up remove at a given time, the pinned order, the
// votes with their flags, the watched highlights, the followed unique
// stages. It never reads a table or the object store: each operation
// applies its effect to the model's own rows, so a store that answers
// wrongly (an ID cut to 32 bits, a cascade that takes too much) disagrees
// with it even when the cache agrees with the store.
//
// Each write returns what the facade should report: true or false where
// the outcome follows from the rows, std::nullopt where it is not
// promised (then the test does not check it).
//
// Thread-safety: none; one thread drives it.
// Ownership: plain values.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace kestrel::testing {

class FacadeModel {
 public:
  using ID = std::int64_t;
  using IDs = std::set<ID>;
  using Expected = std::optional<bool>;

  /// Retention bounds, in seconds.
  static constexpr std::int64_t kWeek = 604800;
  static constexpr std::int64_t kTenDays = 864000;
  static constexpr std::int64_t kFarAhead = 4838400;
  static constexpr std::int64_t kNinetyDays = 7776000;

  /// The time the facade's clock shows (whole seconds).
  std::int64_t now = 0;

  // ---- Events -------------------------------------------------------------------------------

  struct EventRow {
    std::int64_t start = 0;
    std::int64_t status = 3;
    ID homeTeam = 0;  // 0: none
    ID awayTeam = 0;
    std::optional<ID> uniqueTournament{};
    std::optional<bool> muted{};  // nullopt: entity-owned (IS_MUTED NULL)
    bool hidden = false;
  };
  /// An event as the application hands it over (its shape, no flags).
  struct EventValue {
    ID id = 0;
    std::int64_t start = 0;
    std::int64_t status = 3;
    ID homeTeam = 0;
    ID awayTeam = 0;
    std::optional<ID> uniqueTournament{};
  };
  std::map<ID, EventRow> events;

  Expected insertEvent(const EventValue& event, bool muted);
  Expected insertEntityOwnedEvent(const EventValue& event);
  Expected updateEvent(const EventValue& event);
  Expected muteEvent(ID id);
  Expected unmuteEvent(ID id);
  Expected deleteEvent(ID id);
  Expected deleteEvents(const IDs& ids);
  Expected deleteFinishedEvents();
  Expected deleteOldEvents();

  IDs favoriteEventIDs() const;
  IDs mutedEventIDs() const;
  /// getAllFavoriteEvents(): not hidden, started at most a week ago or
  /// later, by start.
  std::vector<std::pair<ID, EventRow>> allFavoriteEvents() const;

  // ---- Stages -------------------------------------------------------------------------------

  struct StageValue {
    ID id = 0;
    std::optional<std::int64_t> start{};        // its own
    std::optional<ID> parent{};                 // the head of its group
    std::optional<std::int64_t> parentStart{};  // the parent's start
    ID uniqueStage = 0;                       // 0: none
    std::int64_t status = 3;
    std::string desc{};
    /// The start its row keeps: its own, else its parent's.
    std::optional<std::int64_t> rowStart() const { return start ? start : parentStart; }
  };
  struct StageRow {
    StageValue value;
    std::optional<bool> muted{};
    bool hidden = false;
  };
  /// One entry of the stage cache, in the cache's order.
  struct CachedStage {
    ID id = 0;
    ID head = 0;
    std::optional<std::int64_t> start{};
    ID uniqueStage = 0;
    std::string desc{};
    /// Entries next to each other with the same key may come in either
    /// order (a read of the table sorted them by an equal start).
    std::int64_t tieKey = 0;
  };
  std::map<ID, StageRow> stages;
  std::vector<CachedStage> stageCache;

  /// insertStage() leaves IS_MUTED NULL, insertMutedStage() sets it.
  Expected insertStage(const StageValue& stage, std::optional<bool> muted = std::nullopt);
  Expected insertMutedStage(const StageValue& stage) { return insertStage(stage, true); }
  Expected insertEntityOwnedStage(const StageValue& stage);
  Expected updateStage(const StageValue& stage);
  Expected muteStage(ID id);
  Expected unmuteStage(ID id);
  Expected deleteStage(ID id);
  Expected deleteStagesWithUniqueStageID(ID uniqueStage);
  Expected deleteFinishedStages();
  Expected deleteOldStages();

  bool inStageWindow(const std::optional<std::int64_t>& start) const {
    return start && *start >= now - kWeek;
  }
  IDs mutedStageIDs() const;
  /// getAllFavoriteStages(): not hidden, in the window, by start.
  std::vector<CachedStage> favoriteStagesAsRead() const;
  IDs stageGroup(ID head) const;
  /// The stage cache read again from the rows (as after reInit()).
  void reloadStageCache();

  // ---- Followed teams, players, leagues -----------------------------------------------------

  struct Followed {
    std::string name{};
    bool notifications = false;
    /// Tournaments: the tournament's own ID; players: unused.
    ID other = 0;
    std::string sport{};
  };
  std::map<ID, Followed> teams;
  std::map<ID, Followed> players;
  std::map<ID, Followed> leagues;  // by unique tournament ID

  Expected follow(std::map<ID, Followed>& followed, ID id, Followed value);
  Expected setNotifications(std::map<ID, Followed>& followed, bool enabled, const IDs& ids);
  /// The events an unfollow of the team or league takes with it.
  IDs eventsOwnedOnlyByTeam(ID team) const;
  IDs eventsOwnedOnlyByLeague(ID uniqueTournament) const;
  Expected unfollowTeam(ID team);
  Expected unfollowLeague(ID uniqueTournament);
  Expected unfollowPlayers(const IDs& ids);
  static IDs keys(const std::map<ID, Followed>& followed);
  static IDs withNotifications(const std::map<ID, Followed>& followed);

  // ---- Pinned unique tournaments, fantasy competitions ----------------------------------------

  struct Pin {
    ID id = 0;
    std::string name{};
    std::int64_t pinnedAt = 0;
  };
  std::vector<Pin> pinned;  // the cache's order
  IDs fantasy;

  Expected pin(ID id, const std::string& name);
  Expected unpin(ID id);
  Expected unpinAll();
  void reloadPinned();

  // ---- TV channel answers, chat -------------------------------------------------------------

  struct TvAnswer {
    ID channel = 0;
    ID event = 0;
    std::int64_t start = 0;
    bool approve = false;
    auto operator<=>(const TvAnswer&) const = default;
  };
  std::multiset<TvAnswer> tvRows;
  std::set<TvAnswer> tvAnswers() const { return {tvRows.begin(), tvRows.end()}; }

  struct Upvote {
    ID message = 0;
    ID event = 0;
    std::int64_t at = 0;
  };
  struct Report {
    ID event = 0;
    std::int64_t at = 0;
  };
  std::vector<Upvote> upvotes;
  std::map<ID, Report> reports;
  IDs upvotedMessages(ID event) const;
  IDs reportedMessages() const;

  // ---- Object store: votes, highlights, unique stages ----------------------------------------

  struct Vote {
    std::int64_t eventTimestamp = 0;
    int vote = 0;
    std::optional<int> previousVote{};
    bool isAddSuccessful = false;
    bool isEditSuccessful = true;  // the store's default for a new vote
  };
  std::map<std::pair<ID, int>, Vote> votes;  // (event, type)
  std::map<ID, std::int64_t> highlights;     // ID -> last watched
  IDs uniqueStages;

  Expected saveVote(ID event, int type, int value, std::int64_t timestamp, bool added);
  Expected editVote(ID event, int type, int value, bool edited);
  Expected markAsAdded(ID event, int type) { return markAs(event, type, &Vote::isAddSuccessful); }
  Expected markAsEdited(ID event, int type) { return markAs(event, type, &Vote::isEditSuccessful); }
  Expected deleteVotes();
  Expected watchHighlight(ID id);
  Expected followUniqueStage(ID id);
  Expected unfollowUniqueStage(ID id);
  Expected deleteUniqueStages();

  // ---- Lifecycle ----------------------------------------------------------------------------

  /// The one-time migration: unmuted favourites a followed team or league
  /// covers become entity-owned; entity-owned rows nobody follows become
  /// unmuted favourites; muted rows stay.
  void migrateFavoriteNotificationEvents();
  /// cleanDB(): chat reports and upvotes, highlights, TV answers, votes,
  /// each by its own age.
  void cleanDB();
  /// clearDB() and reInit(): the relational store starts empty; the object
  /// store keeps everything.
  void clearDatabase();
  /// reInit() or a new facade: every cache read again from its store.
  void reloadAll();

 private:
  bool finished(std::int64_t status, const std::optional<std::int64_t>& start) const;
  bool ownedByFollowed(const EventRow& row) const;
  void cacheStageEntry(const StageValue& stage);
  void removeCachedStage(ID id);
  static EventRow rowOf(const EventValue& event);
  Expected markAs(ID event, int type, bool Vote::*flag);

  std::int64_t nextTieKey_ = 1;
};

}  // namespace kestrel::testing
