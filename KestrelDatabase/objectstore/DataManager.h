// DataManager keeps the user's records that live outside "kestrel.db" in
// the object store: votes, recent searches, watched highlights, score
// suggestions, player-value votes, followed unique stages and read news
// items. It owns the persistent container built from the model
// "KestrelDatabaseModel" (embedded in this library's resource bundle), the
// main context (on the main queue) and a private background context whose
// parent is the main context. The store file is
// <home>/Library/Application Support/KestrelDatabaseModel.sqlite.
//
// Every record operation first makes sure the stack is loaded
// (initializeIfNeeded), works on the background context, and writes
// through the two-step save: saveContext() saves the background context
// into the main context, then saveMainContext() saves the main context to
// the store. Save failures are printed on standard output as one line,
// "CoreData error -> " followed by the error and its details, and the
// failed changes are discarded so that later saves are not held up.
//
// Acknowledged means durable. A write (every save, edit, mark, follow,
// delete and purge) runs as one block on the background queue: its fetch,
// its change and both saves, in the order the writes were called. Its
// completion runs once that save has reached the store file, with true;
// with false when the store did not load, a fetch it needed failed, the
// record to change is not there, or a save failed. A fetch that fails (the
// file locked by another connection past the busy wait, unreadable) is
// never taken for "no such record": the write changes nothing and reports
// false, and a delete or purge then sends no change notice. This departs
// from the first design on purpose: there, editVote, markAsAdded and
// markAsEdited reported true just before their save, and a save that failed
// never called its completion at all.
//
// Completion forms and futures. Each record operation exists with a
// completion block and, as an overload without it, with a std::future.
// Every completion runs exactly once, on every path: with the failure value
// (false, or std::nullopt for a read) when the operation cannot finish (the
// store does not load, the manager is gone). Reads deliver ReadResult
// (KestrelDatabase/sql/ReadResult.h): std::nullopt when the read failed
// (logged once, by the context), an empty value when it found nothing; a
// read of one record delivers ReadResult<std::optional<Record>>.
// Completions of writes run on the main queue inside the main context's
// save (or on the background queue when nothing needed saving or the write
// failed); every write's completion has run before the next write's block
// starts, so completions come in the order the store applied the writes.
// Reads run at once on the calling thread (holding the background queue)
// unless the caller is on the main queue, where they are queued so that
// the main queue never waits for the background queue; the ...ForCache
// reads are always queued, because caches call them while holding their
// locks. Do not wait on one of the futures from the main queue: the saves
// need it.
//
// Cache refreshes. Operations whose effect on the facade's in-memory caches
// cannot be foreseen by the facade (the vote and highlight purges, deleting
// all votes or unique stages, fixing duplicate votes) report it, in their
// main-context block, to the handler set with setStoreChangeHandler(). The
// facade sets it once; DataManager knows nothing of the caches.
//
// Thread-safety: every member may be called from any thread.
// Ownership: shared. shared() is created once and never released;
// forHome() makes separate instances (tests, the tool) that release
// everything when dropped. Blocks queued by an operation hold the manager
// weakly.
// REQUIRES: the application home (platform::AppHome) is set before
// shared() loads its store.
#pragma once

#include <KestrelDatabase/objectstore/DuplicateVoteKey.h>
#include <KestrelDatabase/objectstore/MOEventScoreItem.h>
#include <KestrelDatabase/objectstore/MOEventScoreSuggestion.h>
#include <KestrelDatabase/objectstore/MOHighlight.h>
#include <KestrelDatabase/objectstore/MONewsItem.h>
#include <KestrelDatabase/objectstore/MOPlayerValueUserVote.h>
#include <KestrelDatabase/objectstore/MORecentSearch.h>
#include <KestrelDatabase/objectstore/MOUniqueStage.h>
#include <KestrelDatabase/objectstore/MOVote.h>
#include <KestrelDatabase/sql/ReadResult.h>
#include <KestrelPlatform/ObjectStore/ObjectContext.h>
#include <KestrelPlatform/ObjectStore/PersistentContainer.h>
#include <KestrelPlatform/ObjectStore/StoreInspector.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace kestrel {

/// What a purge removed (or, as a dry run, would remove).
template <class Key>
struct PurgeReport {
  /// False when the store could not be loaded, or the fetch or the save failed
  /// (the records are then empty).
  bool succeeded = false;
  std::vector<Key> records;
};

class DataManager : public std::enable_shared_from_this<DataManager> {
 public:
  // ---- Constant texts ------------------------------------------------------

  static constexpr const char* kDataModelName = "KestrelDatabaseModel";
  static constexpr const char* kDataModelExtension = "momd";
  static constexpr const char* kErrorLabel = "CoreData error -> ";
  static constexpr const char* kFrameworkBundleIdentifier = "com.kestrel.KestrelDatabase";

  /// Votes go 90 days after their event's start, highlights 7 days after
  /// they were last watched, score suggestions 7 days after they were made.
  static constexpr std::int64_t kVoteRetentionSeconds = 7776000;
  static constexpr std::int64_t kHighlightRetentionSeconds = 604800;
  static constexpr std::int64_t kScoreSuggestionRetentionSeconds = 604800;
  /// Recent searches kept; saving one more drops the oldest.
  static constexpr std::size_t kRecentSearchLimit = 20;

  // ---- Creation --------------------------------------------------------------

  struct Configuration {
    /// The application home; absent: platform::AppHome, resolved at load.
    std::optional<std::filesystem::path> home;
    /// Where the model is looked for (tests point it elsewhere).
    std::string bundleIdentifier = kFrameworkBundleIdentifier;
    /// Off: a store of an older model version fails to load
    /// (migrationRequired) instead of being migrated, for runs that must
    /// change nothing (a tool's dry run).
    bool migrateAutomatically = true;
    /// How long a statement of the store waits for a lock that another
    /// connection holds before it fails (tests shorten it).
    std::chrono::milliseconds busyTimeout{5000};
  };

  /// The single instance, created on first use. Does not load the store.
  static const std::shared_ptr<DataManager>& shared();
  /// A separate instance for the application home `home`.
  static std::shared_ptr<DataManager> forHome(const std::filesystem::path& home);
  /// Builds the container from the model in the configured bundle; a
  /// missing bundle, resource or model stops the process with "CoreData
  /// error -> Unable to load persistent container.". Does not load the store.
  static std::shared_ptr<DataManager> create(Configuration configuration);

  /// The model in the bundle, or nullptr when the bundle, the resource or
  /// the model is missing.
  static std::shared_ptr<const platform::ObjectModel> loadModel(
      std::string_view bundleIdentifier = kFrameworkBundleIdentifier);
  /// The store file of the application home `home` (nothing is created).
  static std::filesystem::path storePath(const std::filesystem::path& home);

  ~DataManager();
  DataManager(const DataManager&) = delete;
  DataManager& operator=(const DataManager&) = delete;

  // ---- The stack -------------------------------------------------------------

  using Block = std::function<void()>;
  using ErrorHandler = std::function<void(const platform::StoreError& error)>;

  /// Called with the error when the store fails to load; absent by default.
  ErrorHandler stackInitializationErrorHandler() const;
  void setStackInitializationErrorHandler(ErrorHandler handler);

  /// The main-queue context; null until the store has loaded.
  std::shared_ptr<platform::ObjectContext> mainContext() const;
  /// The private-queue context, child of mainContext(); null until loaded.
  std::shared_ptr<platform::ObjectContext> backgroundContext() const;
  /// The store file (for the configured home, or the current application home).
  std::filesystem::path storeFile() const;

  /// Loads the store (migrating it if it is older) and sets up the
  /// contexts, then calls the block. On failure the error handler gets the
  /// error, the block is dropped and the contexts stay absent. After the
  /// first successful load, later loads of this manager do not migrate.
  void initialize(Block postInitBlock = {});
  /// Calls the block at once when both contexts exist, otherwise initialize().
  void initializeIfNeeded(Block postInitBlock = {});
  /// The two-step save. Without a background context nothing happens.
  /// Otherwise, on the background queue: completionBlock (make changes
  /// there); with nothing to save, mainContextBlock right there; else the
  /// background save (a failure prints one line and drops mainContextBlock),
  /// then saveMainContext({}, mainContextBlock).
  void saveContext(Block completionBlock, Block mainContextBlock);
  /// On the main context's queue, waiting: blockBeforeSave, the save (a
  /// failure prints one line and drops blockAfterSave), blockAfterSave.
  /// Without a main context nothing happens.
  void saveMainContext(Block blockBeforeSave, Block blockAfterSave);
  /// initializeIfNeeded(): loading the store migrates it.
  void migrateData();
  /// Destroys the store files and loads a fresh, empty store.
  void clearData();

  /// The entity of a record class's name, looked up in the background
  /// context; an unknown name stops the process ("CoreData error -> unknown
  /// managed object name <name>"). REQUIRES: the store has loaded.
  std::shared_ptr<const platform::EntityDescription> entityForName(std::string_view name) const;

  // ---- What the facade registers ---------------------------------------------

  enum class StoreChange { votes, highlights, uniqueStages };
  using StoreChangeHandler = std::function<void(StoreChange change)>;

  /// Called in the main-context block of the operations that change a kind
  /// of record wholesale, once their save has succeeded: votes by
  /// deleteVotesOlderThan90Days(), deleteVotes() and fixDuplicateVotes(),
  /// highlights by deleteHiglightsOlderThan7Days(), unique stages by
  /// deleteUniqueStages(). It runs on the main queue inside the main
  /// context's save (or on the background queue when nothing needed
  /// saving), before the operation's completion; it may call DataManager
  /// again but must not wait for it. A failed operation sends nothing.
  void setStoreChangeHandler(StoreChangeHandler handler);

  // ---- Votes -------------------------------------------------------------------

  using BoolCompletion = std::function<void(bool success)>;
  using VoteCompletion = std::function<void(ReadResult<std::optional<MOVote>> vote)>;
  using VotesCompletion = std::function<void(ReadResult<std::vector<MOVote>> votes)>;
  /// Cache key ("<eventId>-<type>") to vote value text.
  using VoteDictionary = std::unordered_map<std::string, std::string>;
  using VoteDictionaryCompletion = std::function<void(ReadResult<VoteDictionary> votes)>;
  using IDSet = std::unordered_set<std::int64_t>;
  using IDSetCompletion = std::function<void(ReadResult<IDSet> ids)>;

  /// Replaces `vote` and `isAddSuccessful` of the vote stored for (eventId,
  /// type), or stores a new one with the timestamp. Completes after the save.
  void saveVote(std::int64_t eventId, std::int64_t timestamp, const std::string& type,
                const std::string& vote, bool isAddSuccessful, BoolCompletion completion);
  std::future<bool> saveVote(std::int64_t eventId, std::int64_t timestamp, const std::string& type,
                             const std::string& vote, bool isAddSuccessful);
  /// Keeps the old value as previousVote and sets the new one and the edit
  /// flag. False when there is no such vote. The completion runs after the
  /// save has reached the file, not just before the save.
  void editVote(std::int64_t eventId, const std::string& type, const std::string& vote,
                bool isEditSuccessful, BoolCompletion completion);
  std::future<bool> editVote(std::int64_t eventId, const std::string& type,
                             const std::string& vote, bool isEditSuccessful);
  /// Sets isAddSuccessful (isEditSuccessful) to true; false when there is no
  /// such vote. The completion runs after the save has reached the file,
  /// not just before the save.
  void markAsAdded(std::int64_t eventId, const std::string& type, BoolCompletion completion);
  std::future<bool> markAsAdded(std::int64_t eventId, const std::string& type);
  void markAsEdited(std::int64_t eventId, const std::string& type, BoolCompletion completion);
  std::future<bool> markAsEdited(std::int64_t eventId, const std::string& type);
  /// The value text of the vote for (eventId, type), read at once: an empty
  /// inner value when there is no such vote (or it has no value).
  ReadResult<std::optional<std::string>> getVoteForEvent(std::int64_t eventId, const std::string& type);
  /// The votes not yet accepted (first submission or last edit) whose event
  /// starts now or later (now truncated to whole seconds).
  void getUnsuccessfulVotesWithCompletion(VotesCompletion completion);
  std::future<ReadResult<std::vector<MOVote>>> getUnsuccessfulVotesWithCompletion();
  /// Every vote as cache key -> value text (later records win).
  void getVotesForCache(VoteDictionaryCompletion completion);
  std::future<ReadResult<VoteDictionary>> getVotesForCache();
  /// Deletes the votes whose event started more than 90 days ago
  /// (eventTimestamp not 0); reports StoreChange::votes, then completes.
  void deleteVotesOlderThan90Days(BoolCompletion completion);
  std::future<bool> deleteVotesOlderThan90Days();
  /// Deletes every vote; reports StoreChange::votes, then completes.
  void deleteVotes(BoolCompletion completion);
  std::future<bool> deleteVotes();
  /// Keeps one vote per (eventId, type): the first (in store order) with
  /// both flags true, else the first with isAddSuccessful, else the first.
  /// Reports StoreChange::votes (the kept record may not be the one whose
  /// value the vote cache showed), then completes.
  void fixDuplicateVotes(BoolCompletion completion);
  std::future<bool> fixDuplicateVotes();
  /// The first vote stored for (eventId, type).
  void fetchVote(std::int64_t eventId, const std::string& type, VoteCompletion completion);
  std::future<ReadResult<std::optional<MOVote>>> fetchVote(std::int64_t eventId, const std::string& type);

  // ---- Highlights ----------------------------------------------------------------

  using HighlightCompletion = std::function<void(ReadResult<std::optional<MOHighlight>> highlight)>;

  /// Records that the highlight was watched now, with its URL (one record
  /// per ID, made on first watch).
  void markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                            std::int64_t urlCreated, BoolCompletion completion);
  std::future<bool> markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                                         std::int64_t urlCreated);
  void fetchHighlight(std::int64_t id, HighlightCompletion completion);
  std::future<ReadResult<std::optional<MOHighlight>>> fetchHighlight(std::int64_t id);
  /// The IDs of every stored highlight.
  void getHighlightsForCacheWithCompletion(IDSetCompletion completion);
  std::future<ReadResult<IDSet>> getHighlightsForCacheWithCompletion();
  /// Deletes the highlights last watched more than 7 days ago (lastWatching
  /// not 0); reports StoreChange::highlights, then completes.
  void deleteHiglightsOlderThan7Days(BoolCompletion completion);
  std::future<bool> deleteHiglightsOlderThan7Days();

  // ---- Unique stages ---------------------------------------------------------------

  void followUniqueStage(std::int64_t id, BoolCompletion completion);
  std::future<bool> followUniqueStage(std::int64_t id);
  void unfollowUniqueStage(std::int64_t id, BoolCompletion completion);
  std::future<bool> unfollowUniqueStage(std::int64_t id);
  /// The IDs of every followed unique stage.
  void getUniqueStagesForCacheWithCompletion(IDSetCompletion completion);
  std::future<ReadResult<IDSet>> getUniqueStagesForCacheWithCompletion();
  /// Unfollows every unique stage; reports StoreChange::uniqueStages.
  void deleteUniqueStages(BoolCompletion completion);
  std::future<bool> deleteUniqueStages();

  // ---- Recent searches ---------------------------------------------------------------

  using RecentSearchesCompletion =
      std::function<void(ReadResult<std::vector<MORecentSearch>> searches)>;

  /// Saves the search of (id, type) with the caller's serialised entity as
  /// the newest one (a search saved before moves to the front); beyond
  /// kRecentSearchLimit the oldest go.
  void saveRecentSearch(std::int64_t id, const std::string& type, const platform::Bytes& searchEntity,
                        BoolCompletion completion);
  std::future<bool> saveRecentSearch(std::int64_t id, const std::string& type,
                                     const platform::Bytes& searchEntity);
  /// Newest first.
  void getRecentSearches(RecentSearchesCompletion completion);
  std::future<ReadResult<std::vector<MORecentSearch>>> getRecentSearches();
  void deleteRecentSearch(std::int64_t id, const std::string& type, BoolCompletion completion);
  std::future<bool> deleteRecentSearch(std::int64_t id, const std::string& type);
  void deleteRecentSearches(BoolCompletion completion);
  std::future<bool> deleteRecentSearches();

  // ---- Score suggestions -------------------------------------------------------------

  using ScoreSuggestionCompletion =
      std::function<void(ReadResult<std::optional<MOEventScoreSuggestion>> suggestion)>;

  /// Replaces the event's suggestion (and its items) with this one, made now.
  void saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                           const std::vector<MOEventScoreItem::Values>& items,
                           BoolCompletion completion);
  std::future<bool> saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                                        const std::vector<MOEventScoreItem::Values>& items);
  void getScoreSuggestion(std::int64_t eventId, ScoreSuggestionCompletion completion);
  std::future<ReadResult<std::optional<MOEventScoreSuggestion>>> getScoreSuggestion(std::int64_t eventId);
  /// Deletes the suggestions made more than 7 days ago (timestamp not 0).
  void deleteScoreSuggestionsOlderThan7Days(BoolCompletion completion);
  std::future<bool> deleteScoreSuggestionsOlderThan7Days();

  // ---- Player-value votes ----------------------------------------------------------------

  using PlayerValueVoteCompletion =
      std::function<void(ReadResult<std::optional<MOPlayerValueUserVote>> vote)>;

  /// One vote per player: a new one replaces the values of the old.
  void savePlayerValueVote(std::int64_t playerId, bool isValueHigher, std::int64_t value,
                           BoolCompletion completion);
  std::future<bool> savePlayerValueVote(std::int64_t playerId, bool isValueHigher,
                                        std::int64_t value);
  void getPlayerValueVote(std::int64_t playerId, PlayerValueVoteCompletion completion);
  std::future<ReadResult<std::optional<MOPlayerValueUserVote>>> getPlayerValueVote(std::int64_t playerId);

  // ---- News items -----------------------------------------------------------------------

  using ReadFlagCompletion = std::function<void(ReadResult<bool> read)>;

  void markNewsItemAsRead(const std::string& id, BoolCompletion completion);
  std::future<bool> markNewsItemAsRead(const std::string& id);
  /// Whether the item was marked read.
  void isNewsItemRead(const std::string& id, ReadFlagCompletion completion);
  std::future<ReadResult<bool>> isNewsItemRead(const std::string& id);

  // ---- For the tool -----------------------------------------------------------------------

  /// The store of the application home `home`, read without loading it:
  /// nothing is created, migrated or written. Its model version, integrity
  /// and records per entity.
  static platform::StoreInspection inspectStore(const std::filesystem::path& home);
  /// initializeIfNeeded(), waiting: the load error, or nothing once loaded
  /// (an older store is migrated).
  std::optional<platform::StoreError> loadStore();
  /// The 90-day vote purge; with dryRun only the selection, nothing changes
  /// (and no change is reported).
  std::future<PurgeReport<DuplicateVoteKey>> purgeVotesOlderThan90Days(bool dryRun);
  /// The 7-day highlight purge (IDs); with dryRun nothing changes.
  std::future<PurgeReport<std::int64_t>> purgeHighlightsOlderThan7Days(bool dryRun);

 private:
  using Context = platform::ObjectContext;
  using Objects = std::vector<std::shared_ptr<platform::ManagedObject>>;
  using Work = std::function<void(DataManager& self, Context& background)>;
  /// Makes a write's changes on the background context; false when they
  /// cannot be made (a fetch failed, the record is missing): then nothing
  /// is saved and the write reports false.
  using Change = std::function<bool(DataManager& self, Context& background)>;

  DataManager(Configuration configuration, std::shared_ptr<platform::PersistentContainer> container);

  std::optional<platform::StoreError> loadStackLocked();
  // Loads the stack unless both contexts exist; the load error, reported.
  std::optional<platform::StoreError> ensureLoaded();
  void reportLoadError(const platform::StoreError& error) const;
  platform::StoreDescription storeDescription(bool migrate) const;
  static void printError(const platform::StoreError& error);
  void notify(StoreChange change) const;

  // Runs the work on the background context once loaded: at once, or
  // queued when `queued` or when called on the main queue.
  void onBackground(Work work, bool queued = false);
  // A write: once loaded, one block queued on the background context runs
  // the change, then both saves; `done` (made to run exactly once, false
  // when dropped) gets true after the store save, having first sent
  // `notice`, or false when the change or a save failed.
  void write(Change change, BoolCompletion done, std::optional<StoreChange> notice = std::nullopt);
  // saveContext() on a given background context (the one its change block uses).
  void saveContext(std::shared_ptr<Context> background, Block completionBlock, Block mainContextBlock);
  // Inside a block of the background queue: saves the background context
  // into the main context and the main context to the store, then runs
  // `afterSave` on the main queue; with nothing to save, `afterSave` runs
  // at once. False (printed, the changes rolled back) when a save failed.
  bool saveBoth(Context& background, const Block& afterSave);
  // saveMainContext() telling whether the save succeeded.
  bool saveMain(const Block& blockBeforeSave, const Block& blockAfterSave);

  // Inside background blocks; std::nullopt when the fetch failed (logged).
  ReadResult<Objects> fetch(Context& context, const char* entity,
                            std::optional<platform::Predicate> predicate = std::nullopt,
                            std::size_t limit = 0) const;
  // Streams the properties' values of every record; false when the fetch failed.
  bool enumerate(Context& context, const char* entity, std::vector<std::string> properties,
                 Context::RowVisitor visit) const;
  // The first match (nullptr for none), or std::nullopt when the fetch failed.
  ReadResult<std::shared_ptr<platform::ManagedObject>> first(Context& context, const char* entity,
                                                             platform::Predicate predicate) const;
  std::shared_ptr<platform::ManagedObject> insert(Context& context, const char* entity) const;
  ReadResult<std::optional<MOVote>> findVote(Context& context, std::int64_t eventId,
                                             const std::string& type) const;
  // Marks the objects deleted; false when a cascade's fetch failed.
  static bool deleteObjects(const Objects& objects);
  // The write that deletes every record of the entity.
  void deleteEvery(const char* entity, std::optional<StoreChange> notice, BoolCompletion completion);

  void readIDs(const char* entity, IDSetCompletion completion);
  void markVote(std::int64_t eventId, const std::string& type, bool added, BoolCompletion completion);
  // Selects the records whose `attribute` is not 0 and more than `age`
  // seconds before now, hands them to `selected`, and (unless a dry run)
  // deletes them; `done` gets true after the save, false when the fetch or
  // the save failed.
  void purgeOld(const char* entity, const char* attribute, std::int64_t age, bool dryRun,
                std::optional<StoreChange> notice, std::function<void(const Objects& old)> selected,
                BoolCompletion done);
  static std::int64_t now();

  const Configuration configuration_;
  const std::shared_ptr<platform::PersistentContainer> container_;
  std::mutex loadMutex_;      // serialises loads
  mutable std::mutex mutex_;  // guards the members below
  ErrorHandler errorHandler_;
  StoreChangeHandler changeHandler_;
  std::shared_ptr<Context> mainContext_;
  std::shared_ptr<Context> backgroundContext_;
};

}  // namespace kestrel
