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
// Completion forms and futures. Each record operation exists with a
// completion block and, as an overload without it, with a std::future that
// always becomes ready: when the operation cannot finish (the store does
// not load, the save fails, the manager is gone) the future receives the
// failure value (false, nothing, empty) while the completion form simply
// never calls its block. Completions run on the background context's
// queue, or, for those that wait for the save, on the main queue inside the
// main context's save. Fetches run at once on the calling thread (holding
// the background queue) unless the caller is on the main queue, where they
// are queued so that the main queue never waits for the background queue;
// the ...ForCache reads are always queued, because caches call them while
// holding their locks. Do not wait on one of the futures from the main
// queue: the saves need it.
//
// Cache refreshes. Operations whose effect on the facade's in-memory caches
// cannot be foreseen by the facade (the vote and highlight purges, deleting
// all votes or unique stages) report it, in their main-context block, to
// the handler set with setStoreChangeHandler(). The facade sets it once;
// DataManager knows nothing of the caches.
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
#include <KestrelPlatform/ObjectStore/ObjectContext.h>
#include <KestrelPlatform/ObjectStore/PersistentContainer.h>
#include <KestrelPlatform/ObjectStore/StoreInspector.h>

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
  /// False when the store could not be loaded or the save failed.
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
  /// of record wholesale: votes by deleteVotesOlderThan90Days() and
  /// deleteVotes(), highlights by deleteHiglightsOlderThan7Days(), unique
  /// stages by deleteUniqueStages(). It runs on the main queue inside the
  /// main context's save (or on the background queue when nothing needed
  /// saving); it may call DataManager again but must not wait for it.
  void setStoreChangeHandler(StoreChangeHandler handler);

  // ---- Votes -------------------------------------------------------------------

  using BoolCompletion = std::function<void(bool success)>;
  using VoteCompletion = std::function<void(std::optional<MOVote> vote)>;
  using VotesCompletion = std::function<void(std::vector<MOVote> votes)>;
  /// Cache key ("<eventId>-<type>") to vote value text.
  using VoteDictionary = std::unordered_map<std::string, std::string>;
  using VoteDictionaryCompletion = std::function<void(std::optional<VoteDictionary> votes)>;
  using IDSet = std::unordered_set<std::int64_t>;
  using IDSetCompletion = std::function<void(std::optional<IDSet> ids)>;

  /// Replaces `vote` and `isAddSuccessful` of the vote stored for (eventId,
  /// type), or stores a new one with the timestamp. Completes with true
  /// after the save.
  void saveVote(std::int64_t eventId, std::int64_t timestamp, const std::string& type,
                const std::string& vote, bool isAddSuccessful, BoolCompletion completion);
  std::future<bool> saveVote(std::int64_t eventId, std::int64_t timestamp, const std::string& type,
                             const std::string& vote, bool isAddSuccessful);
  /// Keeps the old value as previousVote and sets the new one and the edit
  /// flag. Completes with false when there is no such vote, otherwise with
  /// true just before the save.
  void editVote(std::int64_t eventId, const std::string& type, const std::string& vote,
                bool isEditSuccessful, BoolCompletion completion);
  std::future<bool> editVote(std::int64_t eventId, const std::string& type,
                             const std::string& vote, bool isEditSuccessful);
  /// Sets isAddSuccessful (isEditSuccessful) to true; false when there is no
  /// such vote, otherwise true just before the save.
  void markAsAdded(std::int64_t eventId, const std::string& type, BoolCompletion completion);
  std::future<bool> markAsAdded(std::int64_t eventId, const std::string& type);
  void markAsEdited(std::int64_t eventId, const std::string& type, BoolCompletion completion);
  std::future<bool> markAsEdited(std::int64_t eventId, const std::string& type);
  /// The value text of the vote for (eventId, type), read at once.
  std::optional<std::string> getVoteForEvent(std::int64_t eventId, const std::string& type);
  /// The votes not yet accepted (first submission or last edit) whose event
  /// starts now or later (now truncated to whole seconds).
  void getUnsuccessfulVotesWithCompletion(VotesCompletion completion);
  std::future<std::vector<MOVote>> getUnsuccessfulVotesWithCompletion();
  /// Every vote as cache key -> value text (later records win); nothing
  /// when the store cannot be read.
  void getVotesForCache(VoteDictionaryCompletion completion);
  std::future<std::optional<VoteDictionary>> getVotesForCache();
  /// Deletes the votes whose event started more than 90 days ago
  /// (eventTimestamp not 0); reports StoreChange::votes, then completes.
  void deleteVotesOlderThan90Days(BoolCompletion completion);
  std::future<bool> deleteVotesOlderThan90Days();
  /// Deletes every vote; reports StoreChange::votes, then completes.
  void deleteVotes(BoolCompletion completion);
  std::future<bool> deleteVotes();
  /// Keeps one vote per (eventId, type): the first (in store order) with
  /// both flags true, else the first with isAddSuccessful, else the first.
  void fixDuplicateVotes(BoolCompletion completion);
  std::future<bool> fixDuplicateVotes();
  /// The first vote stored for (eventId, type).
  void fetchVote(std::int64_t eventId, const std::string& type, VoteCompletion completion);
  std::future<std::optional<MOVote>> fetchVote(std::int64_t eventId, const std::string& type);

  // ---- Highlights ----------------------------------------------------------------

  using HighlightCompletion = std::function<void(std::optional<MOHighlight> highlight)>;

  /// Records that the highlight was watched now, with its URL (one record
  /// per ID, made on first watch).
  void markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                            std::int64_t urlCreated, BoolCompletion completion);
  std::future<bool> markHighlightWatched(std::int64_t id, const std::optional<std::string>& url,
                                         std::int64_t urlCreated);
  void fetchHighlight(std::int64_t id, HighlightCompletion completion);
  std::future<std::optional<MOHighlight>> fetchHighlight(std::int64_t id);
  /// The IDs of every stored highlight; nothing when the store cannot be read.
  void getHighlightsForCacheWithCompletion(IDSetCompletion completion);
  std::future<std::optional<IDSet>> getHighlightsForCacheWithCompletion();
  /// Deletes the highlights last watched more than 7 days ago (lastWatching
  /// not 0); reports StoreChange::highlights, then completes.
  void deleteHiglightsOlderThan7Days(BoolCompletion completion);
  std::future<bool> deleteHiglightsOlderThan7Days();

  // ---- Unique stages ---------------------------------------------------------------

  void followUniqueStage(std::int64_t id, BoolCompletion completion);
  std::future<bool> followUniqueStage(std::int64_t id);
  void unfollowUniqueStage(std::int64_t id, BoolCompletion completion);
  std::future<bool> unfollowUniqueStage(std::int64_t id);
  /// The IDs of every followed unique stage; nothing when the store cannot be read.
  void getUniqueStagesForCacheWithCompletion(IDSetCompletion completion);
  std::future<std::optional<IDSet>> getUniqueStagesForCacheWithCompletion();
  /// Unfollows every unique stage; reports StoreChange::uniqueStages.
  void deleteUniqueStages(BoolCompletion completion);
  std::future<bool> deleteUniqueStages();

  // ---- Recent searches ---------------------------------------------------------------

  using RecentSearchesCompletion = std::function<void(std::vector<MORecentSearch> searches)>;

  /// Saves the search of (id, type) with the caller's serialised entity as
  /// the newest one (a search saved before moves to the front); beyond
  /// kRecentSearchLimit the oldest go.
  void saveRecentSearch(std::int64_t id, const std::string& type, const platform::Bytes& searchEntity,
                        BoolCompletion completion);
  std::future<bool> saveRecentSearch(std::int64_t id, const std::string& type,
                                     const platform::Bytes& searchEntity);
  /// Newest first.
  void getRecentSearches(RecentSearchesCompletion completion);
  std::future<std::vector<MORecentSearch>> getRecentSearches();
  void deleteRecentSearch(std::int64_t id, const std::string& type, BoolCompletion completion);
  std::future<bool> deleteRecentSearch(std::int64_t id, const std::string& type);
  void deleteRecentSearches(BoolCompletion completion);
  std::future<bool> deleteRecentSearches();

  // ---- Score suggestions -------------------------------------------------------------

  using ScoreSuggestionCompletion =
      std::function<void(std::optional<MOEventScoreSuggestion> suggestion)>;

  /// Replaces the event's suggestion (and its items) with this one, made now.
  void saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                           const std::vector<MOEventScoreItem::Values>& items,
                           BoolCompletion completion);
  std::future<bool> saveScoreSuggestion(const std::string& id, std::int64_t eventId,
                                        const std::vector<MOEventScoreItem::Values>& items);
  void getScoreSuggestion(std::int64_t eventId, ScoreSuggestionCompletion completion);
  std::future<std::optional<MOEventScoreSuggestion>> getScoreSuggestion(std::int64_t eventId);
  /// Deletes the suggestions made more than 7 days ago (timestamp not 0).
  void deleteScoreSuggestionsOlderThan7Days(BoolCompletion completion);
  std::future<bool> deleteScoreSuggestionsOlderThan7Days();

  // ---- Player-value votes ----------------------------------------------------------------

  using PlayerValueVoteCompletion =
      std::function<void(std::optional<MOPlayerValueUserVote> vote)>;

  /// One vote per player: a new one replaces the values of the old.
  void savePlayerValueVote(std::int64_t playerId, bool isValueHigher, std::int64_t value,
                           BoolCompletion completion);
  std::future<bool> savePlayerValueVote(std::int64_t playerId, bool isValueHigher,
                                        std::int64_t value);
  void getPlayerValueVote(std::int64_t playerId, PlayerValueVoteCompletion completion);
  std::future<std::optional<MOPlayerValueUserVote>> getPlayerValueVote(std::int64_t playerId);

  // ---- News items -----------------------------------------------------------------------

  void markNewsItemAsRead(const std::string& id, BoolCompletion completion);
  std::future<bool> markNewsItemAsRead(const std::string& id);
  /// Whether the item was marked read (false when the store cannot be read).
  void isNewsItemRead(const std::string& id, BoolCompletion completion);
  std::future<bool> isNewsItemRead(const std::string& id);

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

  DataManager(Configuration configuration, std::shared_ptr<platform::PersistentContainer> container);

  std::optional<platform::StoreError> loadStackLocked();
  // Loads the stack unless both contexts exist; the load error, reported.
  std::optional<platform::StoreError> ensureLoaded();
  void reportLoadError(const platform::StoreError& error) const;
  static void printError(const platform::StoreError& error);
  void notify(StoreChange change) const;

  // Runs the work on the background context once loaded: at once, or
  // queued when `queued` or when called on the main queue.
  void onBackground(Work work, bool queued = false);
  // saveContext() with `change` as its change block, once loaded.
  void change(Work change, Block mainContextBlock);
  // saveContext() on a given background context (the one its change block uses).
  void saveContext(std::shared_ptr<Context> background, Block completionBlock, Block mainContextBlock);

  // Inside background blocks.
  Objects fetch(Context& context, const char* entity,
                std::optional<platform::Predicate> predicate = std::nullopt,
                std::size_t limit = 0) const;
  // Streams the properties' values of every record; false when the fetch failed.
  bool enumerate(Context& context, const char* entity, std::vector<std::string> properties,
                 Context::RowVisitor visit) const;
  std::shared_ptr<platform::ManagedObject> first(Context& context, const char* entity,
                                                 platform::Predicate predicate) const;
  std::shared_ptr<platform::ManagedObject> insert(Context& context, const char* entity) const;
  std::optional<MOVote> findVote(Context& context, std::int64_t eventId, const std::string& type) const;
  static void deleteObjects(const Objects& objects);
  // Deletes the objects in one save; the main-context block reports the
  // change (if any), then completes with true.
  void deleteAll(Context& context, Objects objects, std::optional<StoreChange> change,
                 BoolCompletion completion);
  void deleteAll(Context& context, const char* entity, std::optional<StoreChange> change,
                 BoolCompletion completion);

  void readIDs(const char* entity, IDSetCompletion completion);
  void markVote(std::int64_t eventId, const std::string& type, bool added, BoolCompletion completion);
  // Selects the records whose `attribute` is not 0 and more than `age`
  // seconds before now, hands them to `selected`, and (unless a dry run)
  // deletes them; `done` gets true after the save.
  void purgeOld(const char* entity, const char* attribute, std::int64_t age, bool dryRun,
                std::optional<StoreChange> change, std::function<void(const Objects& old)> selected,
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
