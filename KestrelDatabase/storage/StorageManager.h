// StorageManager is the one object through which the application reaches the
// relational store: it holds the database queue and the sixteen in-memory
// caches, and offers every per-entity operation of the tables (and the
// object store's records) so that each write keeps its cache in step and
// every question a screen asks often ("is this event a favourite?", "are
// notifications on for this team?") is answered from memory, without SQL.
//
// Lifecycle. shared() builds the single instance on first use, synchronously
// on the calling thread: it takes the queue of the shared FMDBHelper and
// creates the caches in a fixed order (each cache fed from a table has read
// it when its constructor returns; the three fed from the object store have
// only asked for their contents). forHome() builds a separate instance with
// its own FMDBHelper, DataManager and user defaults, for tests and the tool.
// Neither opens the object store, runs the migration or cleans anything:
// the application calls initialize() on DataManager, then
// migrateFavoriteNotificationEvents(), cleanDB() and reInit() when it wants.
//
// How writes keep the caches in step (one rule for every operation):
//   - a removal leaves the cache before the store is touched, and again
//     once the store reported success (a fill on another thread may have
//     read the row in between);
//   - an addition enters the cache after the store reported success;
//   - a write that reports failure, and a write whose effect depends on rows
//     the facade cannot see (mute and unmute, the prunings, the deletes by
//     unique stage), re-read the caches they touch from the store;
//   - the vote save and edit put the new value into the vote cache first.
// Questions a cache answers (isFavoriteEvent(), getFavoriteTeamIDs(),
// getVote(), ...) are synchronous and never run SQL.
//
// Two forms of every operation that reads or writes a store. Each returns a
// std::future and, as an overload taking a handler, calls the handler. Both
// always resolve, on every path, failures included: a write with false, a
// read with std::nullopt (ReadResult.h: a failed read is never an empty
// answer). A write resolves true only once it is on disk (its transaction
// committed). Nothing throws.
//   - Table operations (events, stages, teams, players, tournaments, pinned
//     tournaments, chat, TV channels, fantasy competitions) run
//     synchronously on the calling thread: the database queue runs its
//     block on the caller's thread, the facade updates its caches after the
//     block has returned, then calls the handler, still on the calling
//     thread and before the operation returns; no block of the queue is
//     held then, so a handler may call the facade again. Their futures are
//     ready when returned. Like every table operation they block while the
//     queue is busy with another thread's block.
//   - Object-store operations (votes, highlights, unique stages, score
//     suggestions, recent searches, player-value votes, news items) do not
//     wait for their result. A write is queued on the store's background
//     queue and returns at once; off the main queue a read runs on the
//     calling thread and waits for that queue (which may be busy with a
//     save that needs the main queue), on the main queue it is queued.
//     Their handlers and futures resolve where DataManager completes (see
//     DataManager.h): a write's once its save has reached the store file,
//     with the save's result (false when it failed, the store could not be
//     read or did not load), on the main queue inside the main context's
//     save or on the store's background queue. A failure that DataManager
//     drops still reaches the handler, once, with the failure value. Reads
//     deliver ReadResult: std::nullopt when the store could not be read,
//     an empty value when it holds nothing. The cache update of a write
//     runs just before its handler, in the order the store applied the
//     writes, so the vote, highlight and unique-stage caches end as the
//     store is whatever the interleaving of callers. Never wait on one of
//     these futures from the main queue (the saves need it), nor from a
//     handler.
// A handler may be empty.
//
// Thread-safety: every member may be called from any thread, except from
// inside a block of the database queue or a table completion (the caches
// stop the process there) and, for waits on object-store futures, the main
// queue. The caches lock themselves; the facade adds no lock of its own, so
// two threads writing the same table entity at once may see their cache
// updates in either order (object-store writes take theirs in the store's
// order, above).
// Ownership: shared() lives until the process ends; an instance from
// forHome() owns its FMDBHelper (closing the database when dropped) and
// shares its DataManager. The caches hold the queue weakly; blocks queued
// by the facade (the TV channel refill, the store-change handler) hold the
// facade weakly.
// REQUIRES: the application home (platform::AppHome) is set before shared()
// is first read, and DataManager's store is loadable there.
#pragma once

#include <KestrelDatabase/caches/DBCacheAbstract.h>
#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/sql/ReadResult.h>
#include <KestrelModel/Event.h>
#include <KestrelModel/NMEventVoteType.h>
#include <KestrelModel/NMEventVoteValue.h>
#include <KestrelModel/Player.h>
#include <KestrelModel/Stage.h>
#include <KestrelModel/TVChannelSuggestion.h>
#include <KestrelModel/TVScheduleChannelCountry.h>
#include <KestrelModel/Team.h>
#include <KestrelModel/Tournament.h>
#include <KestrelModel/UniqueTournament.h>
#include <KestrelModel/UnsavedVote.h>
#include <KestrelPlatform/UserDefaults.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel {

class FMDBHelper;
class FMDatabaseQueue;
class DBCacheEvent;
class DBCacheHighlights;
class DBCacheMutedEvent;
class DBCacheMutedStage;
class DBCacheDefaultUniqueTournaments;
class DBCachePlayer;
class DBCachePlayerNotifications;
class DBCacheTeam;
class DBCacheTeamNotifications;
class DBCacheTournament;
class DBCacheTournamentNotifications;
class DBCacheTvChannels;
class DBCacheVote;
class DBCacheStage;
class DBCacheUniqueStage;
class DBCacheFantasyCompetition;

class StorageManager : public std::enable_shared_from_this<StorageManager> {
  struct Key {};  // lets make_shared reach the constructor, and no one else

 public:
  /// The user-defaults key of the one-time favourite/notification migration.
  static constexpr const char* kFavoriteNotificationMigrationKey =
      "storage_manager_has_finished_favorite_notification_migration";
  /// The number of caches, and of entries of allCaches().
  static constexpr std::size_t kCacheCount = 16;

  using IDSet = std::set<std::int64_t>;
  using BoolHandler = std::function<void(bool success)>;
  /// A table read's answer: std::nullopt when the read failed (ReadResult.h).
  using IDSetHandler = std::function<void(ReadResult<IDSet> ids)>;
  using CountHandler = std::function<void(ReadResult<int> count)>;

  // ---- Lifecycle --------------------------------------------------------------------

  /// The single instance, created once (thread-safely) on first use, on the
  /// shared FMDBHelper's queue and the shared DataManager. No database
  /// queue, or a cache that cannot be made, stops the process.
  static const std::shared_ptr<StorageManager>& shared();
  /// A separate instance on the application home `home`
  /// (<home>/Documents/kestrel.db), with its own FMDBHelper, `dataManager`
  /// (DataManager::forHome(home) when null) and the user defaults of that
  /// home. A file that cannot be opened stops the process, as for shared().
  static std::shared_ptr<StorageManager> forHome(
      const std::filesystem::path& home, std::shared_ptr<DataManager> dataManager = nullptr);

  StorageManager(Key, FMDBHelper& helper, std::unique_ptr<FMDBHelper> ownHelper,
                 std::shared_ptr<DataManager> dataManager,
                 std::shared_ptr<platform::UserDefaults> userDefaults);
  ~StorageManager();
  StorageManager(const StorageManager&) = delete;
  StorageManager& operator=(const StorageManager&) = delete;

  /// Reopens the database (FMDBHelper::reInitDB(): the old connection is
  /// closed, a new queue opens the file at the path), points every cache at
  /// the new queue, then empties and refills them in the order of
  /// allCaches(). Works any number of times, also after FMDBHelper::clearDB()
  /// (a reset of the user's data: the new file starts empty) and after a
  /// fault is gone (a folder recreated, permissions restored, disk space
  /// freed): the facade then works again. While the file cannot be opened,
  /// table operations report failure and the table-fed caches hold nothing.
  void reInit();
  /// Periodic clean-up, in this order and without waiting between steps:
  /// the old chat reports, the old chat upvotes, the highlights watched
  /// more than 7 days ago, the TV channel cache emptied, the old TV channel
  /// answers, the cache emptied again (a fill beside the delete may have
  /// read rows before they went) and its refill queued on the main queue
  /// (holding the facade weakly), the votes of events older than 90 days.
  /// Until the main queue has run the refill, the TV channel cache holds
  /// nothing (getTvChannelSuggestions() meanwhile reads the table itself).
  void cleanDB();
  /// Empties the followed-event and muted-event caches; nothing is re-read
  /// until their next use.
  void clearEventCache();
  /// The one-time move of followed/notification events: nothing when the
  /// user-defaults flag is set; otherwise the table migration, then the flag,
  /// then the event caches emptied. The flag is written only once the table
  /// step has committed, so a failed or interrupted migration runs again
  /// next time. The future is
  /// ready when all that is done (at once when the flag was set); the work
  /// runs on another thread, so the future may be waited on from any thread
  /// but the database queue.
  [[nodiscard]] std::future<void> migrateFavoriteNotificationEvents();

  /// The queue every table operation of the facade runs on: always the
  /// helper's current one (FMDBHelper::reInitDB() and clearDB() replace
  /// it); null while the database cannot be opened.
  std::shared_ptr<FMDatabaseQueue> dbQueue() const;
  const std::shared_ptr<DataManager>& dataManager() const { return dataManager_; }
  /// The helper that owns the database queue: FMDBHelper::getFMDBHelper()
  /// for shared(), the instance's own for forHome(). Its clearDB() resets the
  /// user's data; call reInit() after it.
  FMDBHelper& databaseHelper() const { return helper_; }
  /// The user defaults holding the migration flag.
  std::shared_ptr<platform::UserDefaults> userDefaults() const;
  DBCacheVote& cacheVote() const { return *cacheVote_; }
  DBCacheStage& cacheStage() const { return *cacheStage_; }
  /// The sixteen caches in their fixed order: event, highlights, muted event,
  /// muted stage, default unique tournaments, player, player notifications,
  /// team, team notifications, tournament, tournament notifications, TV
  /// channels, vote, stage, unique stage, fantasy competition. reInit() walks
  /// them in this order; diagnostics and tests read them here.
  std::array<DBCacheAbstract*, kCacheCount> allCaches() const;

  // ---- Events (cacheEvent, cacheMutedEvent) ----------------------------------------------

  /// The event, no event (no such row), or std::nullopt (the read failed).
  using EventHandler = std::function<void(ReadResult<std::optional<model::Event>> event)>;
  using EventListHandler = std::function<void(ReadResult<std::vector<model::Event>> events)>;

  /// Stores the event as a favourite with the mute flag (replacing its row).
  /// Unmuted: the event leaves the muted cache first and again on success
  /// (a fill beside the write may have read the old flag). On success it
  /// enters the event cache, and the muted cache when muted.
  [[nodiscard]] std::future<bool> insertEvent(const model::Event& event, bool isMuted);
  void insertEvent(const model::Event& event, bool isMuted, BoolHandler handler);
  /// Stores an event for a followed team or league; an existing row is left
  /// alone (false). Not a favourite: no cache changes.
  [[nodiscard]] std::future<bool> insertEntityOwnedEvent(const model::Event& event);
  void insertEntityOwnedEvent(const model::Event& event, BoolHandler handler);
  /// Rewrites the event's row with its new data (flags kept).
  [[nodiscard]] std::future<bool> updateEvent(const model::Event& event);
  void updateEvent(const model::Event& event, BoolHandler handler);
  /// Sets the row's mute flag; the two event caches are re-read after it.
  [[nodiscard]] std::future<bool> muteEvent(const model::Event& event);
  void muteEvent(const model::Event& event, BoolHandler handler);
  /// Clears the row's mute flag: the ID leaves the muted cache first; the
  /// event cache is re-read after it (an entity-owned row becomes a favourite).
  [[nodiscard]] std::future<bool> unmuteEvent(std::int64_t eventID);
  void unmuteEvent(std::int64_t eventID, BoolHandler handler);
  /// Deletes the row; the ID leaves both event caches first.
  [[nodiscard]] std::future<bool> deleteEvent(std::int64_t eventID);
  void deleteEvent(std::int64_t eventID, BoolHandler handler);
  /// Deletes the rows; the IDs leave both event caches first. No IDs: false.
  [[nodiscard]] std::future<bool> deleteEvents(const IDSet& eventIDs);
  void deleteEvents(const IDSet& eventIDs, BoolHandler handler);
  /// The event of that ID whatever its flags, or nothing.
  [[nodiscard]] std::future<ReadResult<std::optional<model::Event>>> getEvent(std::int64_t eventID);
  void getEvent(std::int64_t eventID, EventHandler handler);
  /// The favourites of the past week and later, oldest start first.
  [[nodiscard]] std::future<ReadResult<std::vector<model::Event>>> getAllFavoriteEvents();
  void getAllFavoriteEvents(EventListHandler handler);
  /// The IDs whose data is old enough to be fetched again.
  [[nodiscard]] std::future<ReadResult<IDSet>> getEventIDsToRefresh();
  void getEventIDsToRefresh(IDSetHandler handler);
  /// The number of finished, not hidden events.
  [[nodiscard]] std::future<ReadResult<int>> getFinishedEventsCount();
  void getFinishedEventsCount(CountHandler handler);
  /// Deletes finished events no followed team or league owns and hides the
  /// rest; the two event caches are re-read after it.
  [[nodiscard]] std::future<bool> deleteFinishedEvents();
  void deleteFinishedEvents(BoolHandler handler);
  /// Deletes the events of more than a week ago (and entity-owned ones far
  /// ahead); the two event caches are re-read after it.
  [[nodiscard]] std::future<bool> deleteOldEvents();
  void deleteOldEvents(BoolHandler handler);

  /// Whether the event is a favourite (muted ones included), from memory.
  bool isFavoriteEvent(std::int64_t eventID) const;
  /// Whether the event is muted, from memory.
  bool isMutedEvent(std::int64_t eventID) const;
  /// The favourite event IDs, from memory.
  IDSet getFavoriteEventIDs() const;
  /// The muted event IDs, from memory.
  IDSet getMutedEventIDs() const;

  // ---- Stages (cacheStage, cacheMutedStage) ------------------------------------------------
  //
  // The stage cache holds the favourite stages that started at most a week
  // ago or start later (what getAllFavoriteStages() reads), with the stage
  // map from each to the head of its group (its parent stage, or itself).
  // A stage enters it on success when its start (its own, else its
  // parent's) lies in that window.

  using StageHandler = std::function<void(ReadResult<std::optional<model::Stage>> stage)>;
  using StageListHandler = std::function<void(ReadResult<std::vector<model::Stage>> stages)>;

  /// Stores the stage as an unmuted favourite (replacing its row): it
  /// leaves the muted cache first and again on success, and enters the
  /// stage cache on success, as its row reads back (a stage without its
  /// own start has its parent's; its own competitor and team flags are the
  /// parent's).
  [[nodiscard]] std::future<bool> insertStage(const model::Stage& stage);
  void insertStage(const model::Stage& stage, BoolHandler handler);
  /// Stores the stage as a muted favourite: on success it enters both
  /// caches (the stage cache as its row reads back).
  [[nodiscard]] std::future<bool> insertMutedStage(const model::Stage& stage);
  void insertMutedStage(const model::Stage& stage, BoolHandler handler);
  /// Stores a stage for a followed unique stage unless its row exists
  /// (false); a stage inserted enters the stage cache as its row reads back.
  [[nodiscard]] std::future<bool> insertEntityOwnedStage(const model::Stage& stage);
  void insertEntityOwnedStage(const model::Stage& stage, BoolHandler handler);
  /// Rewrites the stage's row with the values the stage has (one it lacks
  /// stays as stored). On success a cached stage is replaced in the cache by
  /// its row as now stored (or leaves it when its start left the window).
  [[nodiscard]] std::future<bool> updateStage(const model::Stage& stage);
  void updateStage(const model::Stage& stage, BoolHandler handler);
  /// Sets the row's mute flag; the muted cache is re-read after it.
  [[nodiscard]] std::future<bool> muteStage(const model::Stage& stage);
  void muteStage(const model::Stage& stage, BoolHandler handler);
  /// Clears the row's mute flag; the stage leaves the muted cache first and
  /// again on success.
  [[nodiscard]] std::future<bool> unmuteStage(std::int64_t stageID);
  void unmuteStage(std::int64_t stageID, BoolHandler handler);
  /// Deletes the row. First the stage leaves the muted cache and the stage
  /// cache (its object and its entry of the stage map); the other stages of
  /// its group stay, as their rows do.
  [[nodiscard]] std::future<bool> deleteStage(std::int64_t stageID);
  void deleteStage(std::int64_t stageID, BoolHandler handler);
  /// Deletes every stage of the unique stage: the cached ones leave the
  /// stage cache first; the muted cache is re-read after it.
  [[nodiscard]] std::future<bool> deleteStagesWithUniqueStageID(std::int64_t uniqueStageID);
  void deleteStagesWithUniqueStageID(std::int64_t uniqueStageID, BoolHandler handler);
  [[nodiscard]] std::future<ReadResult<std::optional<model::Stage>>> getStage(std::int64_t stageID);
  void getStage(std::int64_t stageID, StageHandler handler);
  /// Read from the table, oldest start first.
  [[nodiscard]] std::future<ReadResult<std::vector<model::Stage>>> getAllFavoriteStages();
  void getAllFavoriteStages(StageListHandler handler);
  [[nodiscard]] std::future<ReadResult<IDSet>> getStageIDsToRefresh();
  void getStageIDsToRefresh(IDSetHandler handler);
  [[nodiscard]] std::future<ReadResult<int>> getFinishedStagesCount();
  void getFinishedStagesCount(CountHandler handler);
  /// Hides the finished stages; both stage caches are re-read after it.
  [[nodiscard]] std::future<bool> deleteFinishedStages();
  void deleteFinishedStages(BoolHandler handler);
  /// Deletes the stages of more than a week ago or far ahead; both stage
  /// caches are re-read after it.
  [[nodiscard]] std::future<bool> deleteOldStages();
  void deleteOldStages(BoolHandler handler);

  /// Whether the stage is in the stage cache (its stage map), from memory.
  bool isFavoriteStage(std::int64_t stageID) const;
  bool isMutedStage(std::int64_t stageID) const;
  /// The cached favourite stages: as read (oldest start first), then as added.
  std::vector<model::Stage> getFavoriteStages() const;
  /// The cached stages whose stage-map entry leads to `headStageID` (the
  /// head itself included when cached), from memory.
  IDSet getFavoriteStageIDsInGroup(std::int64_t headStageID) const;

  // ---- Teams (cacheTeam, cacheTeamNotifications) -----------------------------------------

  /// Follows the team, or updates the followed row in place, with the
  /// notification flag. Notifications off: the ID leaves the notification
  /// cache first. On success the team enters the team cache (and the
  /// notification cache when on).
  [[nodiscard]] std::future<bool> followTeam(const model::Team& team, bool enableNotifications);
  void followTeam(const model::Team& team, bool enableNotifications, BoolHandler handler);
  /// Unfollows the team and deletes the events kept only for it. The team
  /// and those events leave their caches first (the events are looked up
  /// before anything is deleted).
  [[nodiscard]] std::future<bool> unfollowTeam(std::int64_t teamID);
  void unfollowTeam(std::int64_t teamID, BoolHandler handler);
  /// Sets notifications of the followed teams among `teamIDs`. Off: they
  /// leave the notification cache first; on: the followed ones enter it on
  /// success.
  [[nodiscard]] std::future<bool> setTeamNotificationsEnabled(bool enabled, const IDSet& teamIDs);
  void setTeamNotificationsEnabled(bool enabled, const IDSet& teamIDs, BoolHandler handler);
  /// IDs of the followed teams of the sport with this slug (read from the table).
  [[nodiscard]] std::future<ReadResult<IDSet>> getTeamIDsForSport(const std::string& sportSlug);
  void getTeamIDsForSport(const std::string& sportSlug, IDSetHandler handler);

  bool isFavoriteTeam(std::int64_t teamID) const;
  /// The followed teams, from memory.
  std::vector<model::Team> getFavoriteTeams() const;
  IDSet getFavoriteTeamIDs() const;
  bool isTeamNotificationEnabled(std::int64_t teamID) const;
  IDSet getNotificationEnabledTeamIDs() const;

  // ---- Players (cachePlayer, cachePlayerNotifications) -----------------------------------

  /// As followTeam(), for a player.
  [[nodiscard]] std::future<bool> followPlayer(const model::Player& player,
                                               bool enableNotifications);
  void followPlayer(const model::Player& player, bool enableNotifications, BoolHandler handler);
  /// Unfollows the player (no events depend on players); it leaves both
  /// player caches first.
  [[nodiscard]] std::future<bool> unfollowPlayer(std::int64_t playerID);
  void unfollowPlayer(std::int64_t playerID, BoolHandler handler);
  /// Unfollows every player of the set; they leave both caches first.
  [[nodiscard]] std::future<bool> unfollowPlayers(const IDSet& playerIDs);
  void unfollowPlayers(const IDSet& playerIDs, BoolHandler handler);
  [[nodiscard]] std::future<bool> setPlayerNotificationsEnabled(bool enabled,
                                                                const IDSet& playerIDs);
  void setPlayerNotificationsEnabled(bool enabled, const IDSet& playerIDs, BoolHandler handler);

  bool isFavoritePlayer(std::int64_t playerID) const;
  std::vector<model::Player> getFavoritePlayers() const;
  IDSet getFavoritePlayerIDs() const;
  /// IDs of the followed players whose sport has this slug, from memory.
  IDSet getPlayerIDsForSport(std::string_view sportSlug) const;
  bool isPlayerNotificationEnabled(std::int64_t playerID) const;
  IDSet getNotificationEnabledPlayerIDs() const;

  // ---- Tournaments (cacheTournament, cacheTournamentNotifications) ------------------------
  //
  // Followed tournaments are keyed by their unique tournament ID
  // (Tournament::uniqueId); a tournament without one cannot be followed.

  /// As followTeam(), for a league; false (and no cache change) without a
  /// unique tournament ID.
  [[nodiscard]] std::future<bool> followTournament(const model::Tournament& tournament,
                                                   bool enableNotifications);
  void followTournament(const model::Tournament& tournament, bool enableNotifications,
                        BoolHandler handler);
  /// Unfollows the league and deletes the events kept only for it; the
  /// league and those events leave their caches first.
  [[nodiscard]] std::future<bool> unfollowTournament(std::int64_t uniqueTournamentID);
  void unfollowTournament(std::int64_t uniqueTournamentID, BoolHandler handler);
  [[nodiscard]] std::future<bool> setTournamentNotificationsEnabled(
      bool enabled, const IDSet& uniqueTournamentIDs);
  void setTournamentNotificationsEnabled(bool enabled, const IDSet& uniqueTournamentIDs,
                                         BoolHandler handler);
  [[nodiscard]] std::future<ReadResult<IDSet>> getTournamentIDsForSport(
      const std::string& sportSlug);
  void getTournamentIDsForSport(const std::string& sportSlug, IDSetHandler handler);

  bool isFavoriteTournament(std::int64_t uniqueTournamentID) const;
  std::vector<model::Tournament> getFavoriteTournaments() const;
  IDSet getFavoriteTournamentUniqueIDs() const;
  bool isTournamentNotificationEnabled(std::int64_t uniqueTournamentID) const;
  IDSet getNotificationEnabledTournamentUniqueIDs() const;

  // ---- Pinned unique tournaments (cacheDefaultUniqueTournaments) ---------------------------

  /// Pins the tournament (again: it moves to the end). It leaves the cache
  /// first and, on success, enters it at the end.
  [[nodiscard]] std::future<bool> pinUniqueTournament(const model::UniqueTournament& tournament);
  void pinUniqueTournament(const model::UniqueTournament& tournament, BoolHandler handler);
  /// Unpins it; it leaves the cache first.
  [[nodiscard]] std::future<bool> unpinUniqueTournament(std::int64_t uniqueTournamentID);
  void unpinUniqueTournament(std::int64_t uniqueTournamentID, BoolHandler handler);
  /// Unpins every tournament; they leave the cache first.
  [[nodiscard]] std::future<bool> unpinAllUniqueTournaments();
  void unpinAllUniqueTournaments(BoolHandler handler);

  /// The pinned tournaments, oldest pin first, from memory.
  std::vector<model::UniqueTournament> getPinnedUniqueTournaments() const;
  bool isPinned(std::int64_t uniqueTournamentID) const;

  // ---- Votes (cacheVote, object store) ---------------------------------------------------

  using UnsavedVotesHandler =
      std::function<void(ReadResult<std::vector<model::UnsavedVote>> votes)>;

  /// Puts the value into the vote cache at once, then saves the vote
  /// (replacing the value and add flag of a stored one). Once saved, the
  /// value is put into the cache again, in the store's order (so that a
  /// read answered before the save, or another vote saved first, does not
  /// stay); a failed save re-reads the cache.
  [[nodiscard]] std::future<bool> save(model::NMEventVoteValue vote, model::NMEventVoteType type,
                                       std::int64_t eventId, std::int64_t eventTimestamp,
                                       bool isAddSuccessful);
  void save(model::NMEventVoteValue vote, model::NMEventVoteType type, std::int64_t eventId,
            std::int64_t eventTimestamp, bool isAddSuccessful, BoolHandler handler);
  /// Puts the new value into the vote cache at once, then edits the stored
  /// vote (false when there is none). The cache is updated after it as
  /// after save().
  [[nodiscard]] std::future<bool> edit(model::NMEventVoteValue vote, model::NMEventVoteType type,
                                       std::int64_t eventId, bool isEditSuccessful);
  void edit(model::NMEventVoteValue vote, model::NMEventVoteType type, std::int64_t eventId,
            bool isEditSuccessful, BoolHandler handler);
  /// Records that the server accepted the vote (its first submission, or
  /// its last edit); false when there is no such vote. Resolves after the save.
  [[nodiscard]] std::future<bool> markAsAdded(std::int64_t eventId, model::NMEventVoteType type);
  void markAsAdded(std::int64_t eventId, model::NMEventVoteType type, BoolHandler handler);
  [[nodiscard]] std::future<bool> markAsEdited(std::int64_t eventId, model::NMEventVoteType type);
  void markAsEdited(std::int64_t eventId, model::NMEventVoteType type, BoolHandler handler);
  /// The votes the server has not accepted yet, on events not yet started
  /// (records whose texts the application does not know are left out).
  [[nodiscard]] std::future<ReadResult<std::vector<model::UnsavedVote>>> getUnsuccessfulVotes();
  void getUnsuccessfulVotes(UnsavedVotesHandler handler);
  /// Deletes every vote; the store re-reads the vote cache after it.
  [[nodiscard]] std::future<bool> deleteVotes();
  void deleteVotes(BoolHandler handler);

  /// The user's vote of this type on the event, from memory; nothing while
  /// the store has not answered the cache yet.
  std::optional<model::NMEventVoteValue> getVote(std::int64_t eventId,
                                                 model::NMEventVoteType type) const;
  /// The vote cache's key: the event ID in decimal, '-', the type text.
  static std::string voteCacheKey(std::int64_t eventId, model::NMEventVoteType type);

  // ---- Chat (no cache) ------------------------------------------------------------------------

  /// Remembers that the user upvoted the message (identified by its
  /// timestamp) in the event's chat.
  [[nodiscard]] std::future<bool> upvoteMessage(std::int64_t messageID, std::int64_t eventID,
                                                std::optional<std::int64_t> upvote = std::nullopt);
  void upvoteMessage(std::int64_t messageID, std::int64_t eventID,
                     std::optional<std::int64_t> upvote, BoolHandler handler);
  /// Remembers that the user reported the message, with the reason chosen.
  [[nodiscard]] std::future<bool> reportMessage(std::int64_t messageID, std::int64_t eventID,
                                                std::int64_t choice);
  void reportMessage(std::int64_t messageID, std::int64_t eventID, std::int64_t choice,
                     BoolHandler handler);
  [[nodiscard]] std::future<ReadResult<IDSet>> getUpvotedMessageIDs(std::int64_t eventID);
  void getUpvotedMessageIDs(std::int64_t eventID, IDSetHandler handler);
  [[nodiscard]] std::future<ReadResult<IDSet>> getReportedMessageIDs();
  void getReportedMessageIDs(IDSetHandler handler);

  // ---- TV channels (cacheTVChannels; scheduled channels have no cache) -----------------------

  using ChannelCountryListHandler =
      std::function<void(ReadResult<std::vector<model::TVScheduleChannelCountry>> channels)>;

  /// Stores the user's answer; on success it enters the TV channel cache.
  /// An answer without its event or channel is not stored (false).
  [[nodiscard]] std::future<bool> saveTvChannelSuggestion(
      const model::TVChannelSuggestion& suggestion);
  void saveTvChannelSuggestion(const model::TVChannelSuggestion& suggestion, BoolHandler handler);
  /// The answers given, from memory.
  std::vector<model::TVChannelSuggestion> getTvChannelSuggestions() const;

  [[nodiscard]] std::future<bool> saveTvChannelCountry(
      const model::TVScheduleChannelCountry& channelCountry);
  void saveTvChannelCountry(const model::TVScheduleChannelCountry& channelCountry,
                            BoolHandler handler);
  /// The scheduled channels, in the table's order.
  [[nodiscard]] std::future<ReadResult<std::vector<model::TVScheduleChannelCountry>>>
  getTvChannelCountryList();
  void getTvChannelCountryList(ChannelCountryListHandler handler);
  [[nodiscard]] std::future<bool> deleteChannelsWithCountryCode(const std::string& countryCode);
  void deleteChannelsWithCountryCode(const std::string& countryCode, BoolHandler handler);
  [[nodiscard]] std::future<bool> deleteChannelWithId(std::int64_t channelID,
                                                      const std::string& countryCode);
  void deleteChannelWithId(std::int64_t channelID, const std::string& countryCode,
                           BoolHandler handler);

  // ---- Fantasy competitions (cacheFantasyCompetition) ---------------------------------------

  /// Follows the competition; it enters the cache on success.
  [[nodiscard]] std::future<bool> saveFantasyCompetition(std::int64_t id);
  void saveFantasyCompetition(std::int64_t id, BoolHandler handler);
  /// Unfollows it; it leaves the cache first.
  [[nodiscard]] std::future<bool> deleteFantasyCompetition(std::int64_t id);
  void deleteFantasyCompetition(std::int64_t id, BoolHandler handler);
  /// The followed competition IDs, from memory.
  IDSet getAllFantasyCompetitionIds() const;
  bool isFantasyCompetitionFollowed(std::int64_t id) const;

  // ---- Highlights (cacheHighlights, object store) ------------------------------------------

  using HighlightHandler = std::function<void(ReadResult<std::optional<MOHighlight>> highlight)>;

  /// Records that the highlight was watched now; on success its ID enters
  /// the highlight cache.
  [[nodiscard]] std::future<bool> markHighlightWatched(std::int64_t id,
                                                       const std::optional<std::string>& url,
                                                       std::int64_t urlCreated);
  void markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                            std::int64_t urlCreated, BoolHandler handler);
  [[nodiscard]] std::future<ReadResult<std::optional<MOHighlight>>> fetchHighlight(std::int64_t id);
  void fetchHighlight(std::int64_t id, HighlightHandler handler);
  /// Whether the highlight was watched, from memory (false until the store
  /// has answered the cache).
  bool isHighlightWatched(std::int64_t id) const;

  // ---- Unique stages (cacheUniqueStage, object store) ----------------------------------------

  /// Follows the unique stage; it enters the cache on success.
  [[nodiscard]] std::future<bool> followUniqueStage(std::int64_t id);
  void followUniqueStage(std::int64_t id, BoolHandler handler);
  /// Unfollows it; it leaves the cache first, and again once the store has
  /// applied the unfollow (a follow applied before it may have put it back).
  [[nodiscard]] std::future<bool> unfollowUniqueStage(std::int64_t id);
  void unfollowUniqueStage(std::int64_t id, BoolHandler handler);
  /// Unfollows every unique stage; the store re-reads the cache after it.
  [[nodiscard]] std::future<bool> deleteUniqueStages();
  void deleteUniqueStages(BoolHandler handler);
  bool isFollowedUniqueStage(std::int64_t id) const;
  IDSet getFollowedUniqueStageIDs() const;

  // ---- Score suggestions, recent searches, player-value votes, news (object store) ----------

  using ScoreSuggestionHandler =
      std::function<void(ReadResult<std::optional<MOEventScoreSuggestion>> suggestion)>;
  using RecentSearchesHandler =
      std::function<void(ReadResult<std::vector<MORecentSearch>> searches)>;
  using PlayerValueVoteHandler =
      std::function<void(ReadResult<std::optional<MOPlayerValueUserVote>> vote)>;
  using ReadFlagHandler = std::function<void(ReadResult<bool> read)>;

  [[nodiscard]] std::future<bool> saveScoreSuggestion(
      const std::string& id, std::int64_t eventId,
      const std::vector<MOEventScoreItem::Values>& items);
  void saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                           const std::vector<MOEventScoreItem::Values>& items, BoolHandler handler);
  [[nodiscard]] std::future<ReadResult<std::optional<MOEventScoreSuggestion>>> getScoreSuggestion(
      std::int64_t eventId);
  void getScoreSuggestion(std::int64_t eventId, ScoreSuggestionHandler handler);
  [[nodiscard]] std::future<bool> deleteScoreSuggestionsOlderThan7Days();
  void deleteScoreSuggestionsOlderThan7Days(BoolHandler handler);

  [[nodiscard]] std::future<bool> saveRecentSearch(std::int64_t id, const std::string& type,
                                                   const platform::Bytes& searchEntity);
  void saveRecentSearch(std::int64_t id, const std::string& type,
                        const platform::Bytes& searchEntity, BoolHandler handler);
  /// Newest first.
  [[nodiscard]] std::future<ReadResult<std::vector<MORecentSearch>>> getRecentSearches();
  void getRecentSearches(RecentSearchesHandler handler);
  [[nodiscard]] std::future<bool> deleteRecentSearch(std::int64_t id, const std::string& type);
  void deleteRecentSearch(std::int64_t id, const std::string& type, BoolHandler handler);
  [[nodiscard]] std::future<bool> deleteRecentSearches();
  void deleteRecentSearches(BoolHandler handler);

  [[nodiscard]] std::future<bool> savePlayerValueVote(std::int64_t playerId, bool isValueHigher,
                                                      std::int64_t value);
  void savePlayerValueVote(std::int64_t playerId, bool isValueHigher, std::int64_t value,
                           BoolHandler handler);
  [[nodiscard]] std::future<ReadResult<std::optional<MOPlayerValueUserVote>>> getPlayerValueVote(
      std::int64_t playerId);
  void getPlayerValueVote(std::int64_t playerId, PlayerValueVoteHandler handler);

  [[nodiscard]] std::future<bool> markNewsItemAsRead(const std::string& id);
  void markNewsItemAsRead(const std::string& id, BoolHandler handler);
  [[nodiscard]] std::future<ReadResult<bool>> isNewsItemRead(const std::string& id);
  void isNewsItemRead(const std::string& id, ReadFlagHandler handler);

 private:
  // Refills the caches from their stores (invalidate, then initCache).
  static void reload(DBCacheAbstract& cache);
  void reloadEventCaches();
  void reloadStageCaches();
  // Whether the stage belongs in the stage cache by its start.
  static bool startsInFavoriteWindow(const model::Stage& stage);
  void leaveStageCacheUnlessInWindow(const model::Stage& stage);
  // After a stage write: the stage cache takes the row as it reads back
  // (not the stage as given, which the row does not keep whole), or loses
  // the stage when its row is gone or out of the window; a failed read
  // reloads the cache.
  void cacheStageAsStored(std::int64_t stageID);
  // The IDs of the event rows an unfollow's cascade deletes, read first;
  // std::nullopt when that read failed.
  ReadResult<IDSet> eventsOwnedBy(const std::string& ownedEventsQuery) const;
  // Takes the events a cascade deletes out of both event caches (both are
  // emptied, to be read again, when which ones is not known).
  void leaveEventCaches(const ReadResult<IDSet>& eventIDs);
  // The handler given to the store by a vote save or edit: it puts the
  // value into the vote cache again once saved, or re-reads the cache when
  // the write failed.
  BoolHandler afterVoteWrite(model::NMEventVoteValue vote, model::NMEventVoteType type,
                             std::int64_t eventId, BoolHandler handler);
  // Registers the store-change handler with the DataManager (weakly held).
  void registerWithDataManager();

  FMDBHelper& helper_;                           // owns the current queue; dbQueue() asks it
  const std::unique_ptr<FMDBHelper> ownHelper_;  // forHome() instances only
  const std::shared_ptr<DataManager> dataManager_;
  const std::shared_ptr<platform::UserDefaults> userDefaults_;  // null: standard()

  // In the fixed order of allCaches() (the order they are made in).
  std::unique_ptr<DBCacheEvent> cacheEvent_;
  std::unique_ptr<DBCacheHighlights> cacheHighlights_;
  std::unique_ptr<DBCacheMutedEvent> cacheMutedEvent_;
  std::unique_ptr<DBCacheMutedStage> cacheMutedStage_;
  std::unique_ptr<DBCacheDefaultUniqueTournaments> cacheDefaultUniqueTournaments_;
  std::unique_ptr<DBCachePlayer> cachePlayer_;
  std::unique_ptr<DBCachePlayerNotifications> cachePlayerNotifications_;
  std::unique_ptr<DBCacheTeam> cacheTeam_;
  std::unique_ptr<DBCacheTeamNotifications> cacheTeamNotifications_;
  std::unique_ptr<DBCacheTournament> cacheTournament_;
  std::unique_ptr<DBCacheTournamentNotifications> cacheTournamentNotifications_;
  std::unique_ptr<DBCacheTvChannels> cacheTVChannels_;
  std::unique_ptr<DBCacheVote> cacheVote_;
  std::unique_ptr<DBCacheStage> cacheStage_;
  std::unique_ptr<DBCacheUniqueStage> cacheUniqueStage_;
  std::unique_ptr<DBCacheFantasyCompetition> cacheFantasyCompetition_;
};

}  // namespace kestrel
