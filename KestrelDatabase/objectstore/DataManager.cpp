// DataManager: creation, the store stack, and the helpers every record
// operation shares.
#include <KestrelDatabase/objectstore/DataManager.h>

#include <KestrelDatabase/objectstore/ResolvingPromise.h>
#include <KestrelDatabase/objectstore/VoteV2Mapping.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/Fatal.h>
#include <KestrelPlatform/Log.h>
#include <KestrelPlatform/ObjectStore/ResourceBundle.h>

#include <cmath>

namespace kestrel {

// Defined by the build (kestrel_embed_resources): registers this library's
// resource bundle, which holds the model.
void registerKestrelDatabaseResources();

namespace {

using platform::ObjectContext;
using platform::StoreError;

std::filesystem::path applicationSupport(const std::filesystem::path& home) {
  return home / "Library" / "Application Support";
}

}  // namespace

// ---- Creation ------------------------------------------------------------------

const std::shared_ptr<DataManager>& DataManager::shared() {
  // Never released: blocks may still run on its queues while the process ends.
  static const auto* instance = new std::shared_ptr<DataManager>(create(Configuration{}));
  return *instance;
}

std::shared_ptr<DataManager> DataManager::forHome(const std::filesystem::path& home) {
  Configuration configuration;
  configuration.home = home;
  return create(std::move(configuration));
}

std::shared_ptr<const platform::ObjectModel> DataManager::loadModel(std::string_view bundleIdentifier) {
  registerKestrelDatabaseResources();
  const auto bundle = platform::ResourceBundle::bundleWithIdentifier(bundleIdentifier);
  if (!bundle) return nullptr;
  std::optional<StoreError> error;
  return platform::ObjectModel::fromBundle(*bundle, kDataModelName, kDataModelExtension, error);
}

std::shared_ptr<DataManager> DataManager::create(Configuration configuration) {
  auto model = loadModel(configuration.bundleIdentifier);
  if (!model) platform::fatal("%sUnable to load persistent container.", kErrorLabel);
  std::optional<std::filesystem::path> directory;
  if (configuration.home) directory = applicationSupport(*configuration.home);
  auto container =
      platform::PersistentContainer::create(kDataModelName, std::move(model), std::move(directory));
  container->setMigrationPolicy(VoteV2Mapping::kName, std::make_shared<VoteV2Mapping>());
  auto manager =
      std::shared_ptr<DataManager>(new DataManager(std::move(configuration), std::move(container)));
  manager->container_->setPersistentStoreDescriptions(
      {manager->storeDescription(manager->configuration_.migrateAutomatically)});
  return manager;
}

platform::StoreDescription DataManager::storeDescription(bool migrate) const {
  platform::StoreDescription description;
  description.setShouldMigrateStoreAutomatically(migrate);
  description.setShouldInferMappingModelAutomatically(true);
  description.busyTimeout = configuration_.busyTimeout;
  return description;
}

std::filesystem::path DataManager::storePath(const std::filesystem::path& home) {
  return applicationSupport(home) / (std::string(kDataModelName) + ".sqlite");
}

DataManager::DataManager(Configuration configuration,
                         std::shared_ptr<platform::PersistentContainer> container)
    : configuration_(std::move(configuration)), container_(std::move(container)) {}

DataManager::~DataManager() = default;

std::filesystem::path DataManager::storeFile() const {
  if (configuration_.home) return storePath(*configuration_.home);
  return container_->defaultStoreLocation();
}

// ---- The stack ---------------------------------------------------------------------

DataManager::ErrorHandler DataManager::stackInitializationErrorHandler() const {
  std::lock_guard lock(mutex_);
  return errorHandler_;
}

void DataManager::setStackInitializationErrorHandler(ErrorHandler handler) {
  std::lock_guard lock(mutex_);
  errorHandler_ = std::move(handler);
}

std::shared_ptr<ObjectContext> DataManager::mainContext() const {
  std::lock_guard lock(mutex_);
  return mainContext_;
}

std::shared_ptr<ObjectContext> DataManager::backgroundContext() const {
  std::lock_guard lock(mutex_);
  return backgroundContext_;
}

void DataManager::setStoreChangeHandler(StoreChangeHandler handler) {
  std::lock_guard lock(mutex_);
  changeHandler_ = std::move(handler);
}

void DataManager::notify(StoreChange change) const {
  StoreChangeHandler handler;
  {
    std::lock_guard lock(mutex_);
    handler = changeHandler_;
  }
  if (handler) handler(change);
}

std::optional<StoreError> DataManager::loadStackLocked() {
  std::optional<StoreError> failure;
  container_->loadPersistentStores(
      [&](const platform::StoreDescription&, const std::optional<StoreError>& error) {
        if (error && !failure) failure = error;
      });
  if (failure) return failure;
  // Later loads of this container (the one after clearData) load the store
  // as it is: no automatic migration.
  container_->setPersistentStoreDescriptions({storeDescription(false)});
  auto background = ObjectContext::create(ObjectContext::ConcurrencyType::privateQueue);
  background->setParent(container_->viewContext());
  std::lock_guard lock(mutex_);
  mainContext_ = container_->viewContext();
  backgroundContext_ = std::move(background);
  return std::nullopt;
}

void DataManager::reportLoadError(const StoreError& error) const {
  if (const ErrorHandler handler = stackInitializationErrorHandler()) handler(error);
}

void DataManager::initialize(Block postInitBlock) {
  std::optional<StoreError> error;
  {
    std::lock_guard lock(loadMutex_);
    error = loadStackLocked();
  }
  if (error) {
    reportLoadError(*error);
    return;
  }
  if (postInitBlock) postInitBlock();
}

std::optional<StoreError> DataManager::ensureLoaded() {
  if (mainContext() && backgroundContext()) return std::nullopt;
  std::optional<StoreError> error;
  {
    std::lock_guard lock(loadMutex_);
    // Another thread may have loaded the stack meanwhile.
    if (!mainContext() || !backgroundContext()) error = loadStackLocked();
  }
  if (error) reportLoadError(*error);
  return error;
}

void DataManager::initializeIfNeeded(Block postInitBlock) {
  if (!ensureLoaded() && postInitBlock) postInitBlock();
}

void DataManager::printError(const StoreError& error) {
  platform::print("%s%s\n", kErrorLabel, error.fullDescription().c_str());
}

void DataManager::saveContext(Block completionBlock, Block mainContextBlock) {
  saveContext(backgroundContext(), std::move(completionBlock), std::move(mainContextBlock));
}

void DataManager::saveContext(std::shared_ptr<Context> background, Block completionBlock,
                              Block mainContextBlock) {
  if (!background) return;
  background->perform([weak = weak_from_this(), background, completionBlock = std::move(completionBlock),
                       mainContextBlock = std::move(mainContextBlock)] {
    if (completionBlock) completionBlock();
    const auto self = weak.lock();
    if (!self) {
      if (mainContextBlock) mainContextBlock();
      return;
    }
    self->saveBoth(*background, mainContextBlock);
  });
}

bool DataManager::saveBoth(Context& background, const Block& afterSave) {
  if (!background.hasChanges()) {
    if (afterSave) afterSave();
    return true;
  }
  if (const auto error = background.save()) {
    printError(*error);
    background.rollback();
    return false;
  }
  return saveMain({}, afterSave);
}

void DataManager::saveMainContext(Block blockBeforeSave, Block blockAfterSave) {
  saveMain(blockBeforeSave, blockAfterSave);
}

bool DataManager::saveMain(const Block& blockBeforeSave, const Block& blockAfterSave) {
  const auto main = mainContext();
  if (!main) return false;
  bool saved = false;
  main->performAndWait([&] {
    if (blockBeforeSave) blockBeforeSave();
    if (const auto error = main->save()) {
      printError(*error);
      main->rollback();
      return;
    }
    saved = true;
    if (blockAfterSave) blockAfterSave();
  });
  return saved;
}

void DataManager::migrateData() { initializeIfNeeded({}); }

void DataManager::clearData() {
  initializeIfNeeded([weak = weak_from_this()] {
    const auto self = weak.lock();
    if (!self) return;
    const auto coordinator = self->container_->persistentStoreCoordinator();
    if (!coordinator) return;
    for (const auto& store : coordinator->persistentStores()) {
      // A store that cannot be removed is left; the reload below uses it.
      coordinator->destroyPersistentStore(store.location, store.type);
    }
    self->initialize({});
  });
}

std::shared_ptr<const platform::EntityDescription> DataManager::entityForName(
    std::string_view name) const {
  const auto background = backgroundContext();
  auto entity = background ? background->entityForName(name) : nullptr;
  if (!entity) {
    platform::fatal("%sunknown managed object name %.*s", kErrorLabel, static_cast<int>(name.size()),
                    name.data());
  }
  return entity;
}

// ---- Shared by the record operations --------------------------------------------------

std::int64_t DataManager::now() {
  return static_cast<std::int64_t>(std::trunc(platform::Clock::now()));
}

void DataManager::onBackground(Work work, bool queued) {
  initializeIfNeeded([weak = weak_from_this(), work = std::move(work), queued] {
    const auto self = weak.lock();
    const auto background = self ? self->backgroundContext() : nullptr;
    if (!background) return;
    auto run = [weak, background, work] {
      if (const auto manager = weak.lock()) work(*manager, *background);
    };
    if (queued || platform::DispatchQueue::main()->isCurrent()) {
      background->perform(std::move(run));
    } else {
      background->performAndWait(run);
    }
  });
}

void DataManager::write(Change change, BoolCompletion done, std::optional<StoreChange> notice) {
  done = calledOnce(false, std::move(done));
  initializeIfNeeded([weak = weak_from_this(), change = std::move(change), done, notice] {
    const auto self = weak.lock();
    const auto background = self ? self->backgroundContext() : nullptr;
    if (!background) return;  // `done` hears false when this block goes
    // The fetch, the change and both saves in one block: no other write can
    // come between them, and each write's completion has run before the
    // next write starts.
    background->perform([weak, background, change, done, notice] {
      const auto manager = weak.lock();
      if (!manager) return;
      if (!change(*manager, *background)) {
        background->rollback();
        done(false);
        return;
      }
      const bool saved = manager->saveBoth(*background, [&] {
        if (notice) manager->notify(*notice);
        done(true);
      });
      if (!saved) done(false);
    });
  });
}

ReadResult<DataManager::Objects> DataManager::fetch(Context& context, const char* entity,
                                                    std::optional<platform::Predicate> predicate,
                                                    std::size_t limit) const {
  entityForName(entity);
  platform::FetchRequest request(entity);
  request.predicate = std::move(predicate);
  request.limit = limit;
  platform::FetchResult result = context.execute(request);  // a failure is logged there
  if (result.error) return std::nullopt;
  return std::move(result.objects);
}

bool DataManager::enumerate(Context& context, const char* entity, std::vector<std::string> properties,
                            Context::RowVisitor visit) const {
  entityForName(entity);
  platform::FetchRequest request(entity);
  request.properties = std::move(properties);
  return !context.enumerate(request, visit);  // a failure is logged
}

ReadResult<std::shared_ptr<platform::ManagedObject>> DataManager::first(
    Context& context, const char* entity, platform::Predicate predicate) const {
  ReadResult<Objects> found = fetch(context, entity, std::move(predicate), 1);
  if (!found) return std::nullopt;
  return found->empty() ? nullptr : std::move(found->front());
}

std::shared_ptr<platform::ManagedObject> DataManager::insert(Context& context, const char* entity) const {
  entityForName(entity);
  return context.insertNewObject(entity);
}

bool DataManager::deleteObjects(const Objects& objects) {
  for (const auto& object : objects) {
    const auto context = object->context();
    if (!context || context->deleteObject(object)) return false;
  }
  return true;
}

void DataManager::deleteEvery(const char* entity, std::optional<StoreChange> notice,
                              BoolCompletion completion) {
  write(
      [entity](DataManager& self, Context& background) {
        const ReadResult<Objects> all = self.fetch(background, entity);
        return all && deleteObjects(*all);
      },
      std::move(completion), notice);
}

void DataManager::readIDs(const char* entity, IDSetCompletion completion) {
  completion = calledOnce<ReadResult<IDSet>>(std::nullopt, std::move(completion));
  onBackground(
      [entity, completion](DataManager& self, Context& background) {
        IDSet ids;
        const bool read = self.enumerate(background, entity, {"id"},
                                         [&](std::int64_t, std::span<platform::ObjectValue> values) {
                                           if (const std::int64_t* id = values[0].integer()) ids.insert(*id);
                                         });
        completion(read ? ReadResult<IDSet>(std::move(ids)) : std::nullopt);
      },
      /*queued=*/true);
}

void DataManager::purgeOld(const char* entity, const char* attribute, std::int64_t age,
                           bool dryRun, std::optional<StoreChange> notice,
                           std::function<void(const Objects& old)> selected, BoolCompletion done) {
  const std::int64_t limit = now() - age;
  // Not 0 (never set), and older than the age: now - value > age.
  const std::string format = std::string(attribute) + " != 0 AND " + attribute + " < %@";
  const auto select = [entity, format, limit, selected](DataManager& self, Context& background) {
    const ReadResult<Objects> old =
        self.fetch(background, entity, platform::Predicate::withFormat(format, {limit}));
    if (old && selected) selected(*old);
    return old;
  };
  if (dryRun) {
    done = calledOnce(false, std::move(done));
    onBackground([select, done](DataManager& self, Context& background) {
      done(select(self, background).has_value());
    });
    return;
  }
  write(
      [select](DataManager& self, Context& background) {
        const ReadResult<Objects> old = select(self, background);
        return old && deleteObjects(*old);
      },
      std::move(done), notice);
}

// ---- For the tool ------------------------------------------------------------------------

platform::StoreInspection DataManager::inspectStore(const std::filesystem::path& home) {
  const auto model = loadModel();
  if (!model) {
    platform::StoreInspection inspection;
    inspection.location = storePath(home);
    inspection.error = StoreError{platform::StoreErrorCode::modelNotFound,
                                  "Unable to load persistent container.", {}};
    return inspection;
  }
  return platform::StoreInspector::inspect(storePath(home), *model);
}

std::optional<StoreError> DataManager::loadStore() { return ensureLoaded(); }

std::future<PurgeReport<DuplicateVoteKey>> DataManager::purgeVotesOlderThan90Days(bool dryRun) {
  auto [future, resolve] = ResolvingPromise<PurgeReport<DuplicateVoteKey>>::make({});
  auto report = std::make_shared<PurgeReport<DuplicateVoteKey>>();
  purgeOld(
      MOVote::kEntityName, "eventTimestamp", kVoteRetentionSeconds, dryRun, StoreChange::votes,
      [report](const Objects& old) {
        for (const auto& object : old) {
          const MOVote vote(object);
          report->records.push_back({vote.eventId(), vote.type().value_or("")});
        }
      },
      [report, resolve = std::move(resolve)](bool succeeded) {
        report->succeeded = succeeded;
        if (!succeeded) report->records.clear();
        resolve(*report);
      });
  return std::move(future);
}

std::future<PurgeReport<std::int64_t>> DataManager::purgeHighlightsOlderThan7Days(bool dryRun) {
  auto [future, resolve] = ResolvingPromise<PurgeReport<std::int64_t>>::make({});
  auto report = std::make_shared<PurgeReport<std::int64_t>>();
  purgeOld(
      MOHighlight::kEntityName, "lastWatching", kHighlightRetentionSeconds, dryRun,
      StoreChange::highlights,
      [report](const Objects& old) {
        for (const auto& object : old) report->records.push_back(MOHighlight(object).id());
      },
      [report, resolve = std::move(resolve)](bool succeeded) {
        report->succeeded = succeeded;
        if (!succeeded) report->records.clear();
        resolve(*report);
      });
  return std::move(future);
}

}  // namespace kestrel
