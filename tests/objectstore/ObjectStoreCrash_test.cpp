// Crash safety: a process saving, editing and marking votes, or migrating
// the store, is killed (SIGKILL) at random moments; the store must load
// afterwards, pass the integrity check and hold every change that was
// acknowledged.
//
// The killed processes are this test executable started again with
// KESTREL_OBJECTSTORE_CRASH_CHILD set: a static initializer below sees it,
// does the child's work and exits before the tests start. The child reports
// through a pipe whose descriptor it is given.
#include "DataManagerFixture.h"

#include <KestrelDatabase/objectstore/VoteV2Mapping.h>
#include <KestrelPlatform/ObjectStore/PersistentContainer.h>

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <future>
#include <map>
#include <random>
#include <sstream>
#include <thread>

extern char** environ;

namespace kestrel {
namespace {

constexpr const char* kChildVariable = "KESTREL_OBJECTSTORE_CRASH_CHILD";
constexpr std::int64_t kFirstLayoutVotes = 2000;

bool report(int fd, std::int64_t value) {
  return ::write(fd, &value, sizeof value) == static_cast<ssize_t>(sizeof value);
}

// The vote policy, killing its own process after `killAfter` objects.
class KillingVoteMapping : public VoteV2Mapping {
 public:
  explicit KillingVoteMapping(std::int64_t killAfter) : killAfter_(killAfter) {}
  bool createDestinationInstances(const platform::ManagedObject& source,
                                  const platform::EntityMapping& mapping,
                                  platform::MigrationManager& manager,
                                  std::optional<platform::StoreError>& error) override {
    const bool made = VoteV2Mapping::createDestinationInstances(source, mapping, manager, error);
    if (++made_ == killAfter_) std::raise(SIGKILL);
    return made;
  }

 private:
  std::int64_t killAfter_;
  std::int64_t made_ = 0;
};

// The steps each event's vote goes through in the "save" child, in order;
// the child reports eventId * kSteps + step once the step is acknowledged.
enum Step : std::int64_t { kSaved, kEdited, kMarkedAdded, kMarkedEdited, kSteps };

// Runs a completion form and waits for its result.
template <class Start>
bool acknowledged(Start start) {
  std::promise<bool> done;
  start([&done](bool ok) { done.set_value(ok); });
  return done.get_future().get();
}

// "save <fd> <home> <first>": for events first, first + 1, ...: saves a
// vote "1" not yet accepted, edits it to "X" (edit not accepted), marks it
// added, then edited, and reports each step once it is acknowledged (the
// save through its future, the others through their completions).
// "migrate <fd> <home> <killAfter>": reports 0, then loads (and so
// migrates) the store, killed after `killAfter` migrated votes (0: never).
int runChild(const std::string& task) {
  std::istringstream in(task);
  std::string mode;
  int fd = -1;
  std::string home;
  std::int64_t number = 0;
  in >> mode >> fd >> home >> number;
  if (mode == "save") {
    auto manager = DataManager::forHome(home);
    if (manager->loadStore()) return 2;
    for (std::int64_t eventId = number;; ++eventId) {
      const auto step = [&](Step done, bool ok) { return ok && report(fd, eventId * kSteps + done); };
      DataManager& m = *manager;
      if (!step(kSaved, m.saveVote(eventId, 1'000'000 + eventId, "fullTime", "1", false).get()) ||
          !step(kEdited, acknowledged([&](auto done) { m.editVote(eventId, "fullTime", "X", false, done); })) ||
          !step(kMarkedAdded, acknowledged([&](auto done) { m.markAsAdded(eventId, "fullTime", done); })) ||
          !step(kMarkedEdited, acknowledged([&](auto done) { m.markAsEdited(eventId, "fullTime", done); }))) {
        return 3;
      }
    }
  }
  if (mode == "migrate") {
    auto container = platform::PersistentContainer::create(
        DataManager::kDataModelName, DataManager::loadModel(), DataManager::storePath(home).parent_path());
    container->setMigrationPolicy(VoteV2Mapping::kName, std::make_shared<KillingVoteMapping>(number));
    if (!report(fd, 0)) return 4;
    bool loaded = false;
    container->loadPersistentStores(
        [&](const platform::StoreDescription&, const std::optional<platform::StoreError>& error) {
          loaded = !error;
        });
    return loaded ? 0 : 2;
  }
  return 5;
}

[[maybe_unused]] const bool kIsChild = [] {
  if (const char* task = std::getenv(kChildVariable)) std::_Exit(runChild(task));
  return false;
}();

// A child process with the read end of its report pipe; killed and reaped
// when dropped, whatever the test did meanwhile.
class Child {
 public:
  Child(const std::string& mode, const std::filesystem::path& home, std::int64_t number) {
    int fds[2];
    if (::pipe(fds) != 0) return;
    ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
    readFd_ = fds[0];
    std::ostringstream task;
    task << kChildVariable << "=" << mode << " " << fds[1] << " " << home.string() << " " << number;
    const std::string variable = task.str();
    std::vector<char*> environment;
    for (char** entry = environ; *entry != nullptr; ++entry) environment.push_back(*entry);
    environment.push_back(const_cast<char*>(variable.c_str()));
    environment.push_back(nullptr);
    char name[] = "kestrel_objectstore_tests";
    char* argv[] = {name, nullptr};
    if (::posix_spawn(&pid_, "/proc/self/exe", nullptr, nullptr, argv, environment.data()) != 0) pid_ = -1;
    ::close(fds[1]);
  }
  ~Child() {
    if (pid_ > 0) {
      ::kill(pid_, SIGKILL);
      ::waitpid(pid_, nullptr, 0);
    }
    if (readFd_ >= 0) ::close(readFd_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  bool started() const { return pid_ > 0; }

  /// The next report, or nothing once the child has gone and the pipe is empty.
  std::optional<std::int64_t> next() {
    std::int64_t value = 0;
    std::size_t got = 0;
    while (got < sizeof value) {
      const ssize_t n = ::read(readFd_, reinterpret_cast<char*>(&value) + got, sizeof value - got);
      if (n <= 0) return std::nullopt;
      got += static_cast<std::size_t>(n);
    }
    return value;
  }

  /// Kills the child (unless it has ended) and waits for it: its wait status.
  int kill() {
    ::kill(pid_, SIGKILL);
    return reap();
  }
  /// Waits for the child to end: its wait status.
  int reap() {
    int status = 0;
    ::waitpid(pid_, &status, 0);
    pid_ = -1;
    return status;
  }

 private:
  pid_t pid_ = -1;
  int readFd_ = -1;
};

bool killedBySigkill(int status) { return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL; }

class ObjectStoreCrashTest : public ::testing::Test {
 protected:
  // The application's next start: the store loads and is intact.
  static std::shared_ptr<DataManager> reopen(const std::filesystem::path& home) {
    auto manager = DataManager::forHome(home);
    const auto error = manager->loadStore();
    EXPECT_FALSE(error) << error->fullDescription();
    const platform::StoreInspection inspection = DataManager::inspectStore(home);
    EXPECT_TRUE(inspection.integrityOk())
        << (inspection.error ? inspection.error->fullDescription() : inspection.integrity.front());
    return manager;
  }

  // Whether the store is still of the first layout, loaded the way a
  // version-checking start would (no migration), which also recovers it.
  static std::optional<std::string> versionAfterRecovery(const std::filesystem::path& home) {
    auto container = platform::PersistentContainer::create(
        DataManager::kDataModelName, DataManager::loadModel(), DataManager::storePath(home).parent_path());
    platform::StoreDescription description;
    description.setShouldMigrateStoreAutomatically(false);
    container->setPersistentStoreDescriptions({description});
    container->loadPersistentStores({});
    container.reset();
    const platform::StoreInspection inspection = DataManager::inspectStore(home);
    EXPECT_FALSE(inspection.needsRecovery);
    EXPECT_TRUE(inspection.integrityOk());
    const std::vector<std::pair<std::string, std::int64_t>> expected{{"MOVote", kFirstLayoutVotes}};
    if (inspection.modelVersion == "KestrelDatabaseModel") {
      EXPECT_EQ(inspection.recordCounts, expected);
    } else {
      EXPECT_EQ(inspection.recordCounts.at(0), expected.front());
    }
    return inspection.modelVersion;
  }
};

TEST_F(ObjectStoreCrashTest, EveryAcknowledgedSaveEditAndMarkSurvivesAKillAtAnyMoment) {
  testing::TempDir home;
  std::mt19937 random(20240611);
  std::uniform_int_distribution<int> reportsBeforeKill(0, 6);
  std::uniform_int_distribution<int> delayMicroseconds(0, 4000);
  std::map<std::int64_t, std::int64_t> lastStep;  // event -> the last step acknowledged
  std::int64_t acknowledgedSteps = 0;
  std::int64_t nextEventId = 1;
  int killedDuringSave = 0;
  for (int round = 0; round < 200; ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    {
      Child child("save", home.path(), nextEventId);
      ASSERT_TRUE(child.started());
      const auto note = [&](std::int64_t value) {
        std::int64_t& last = lastStep.try_emplace(value / kSteps, -1).first->second;
        last = std::max(last, value % kSteps);
        ++acknowledgedSteps;
      };
      const int wanted = reportsBeforeKill(random);
      for (int i = 0; i < wanted; ++i) {
        const auto value = child.next();
        if (!value) break;
        note(*value);
      }
      // A random moment, not a synchronisation: the kill may land anywhere.
      std::this_thread::sleep_for(std::chrono::microseconds(delayMicroseconds(random)));
      const int status = child.kill();
      ASSERT_TRUE(killedBySigkill(status)) << "the child ended by itself with status " << status;
      while (const auto value = child.next()) note(*value);
    }
    // A rollback journal left behind: the kill landed inside a save.
    killedDuringSave += std::filesystem::exists(DataManager::storePath(home.path()).string() + "-journal");

    const auto manager = reopen(home.path());
    std::map<std::int64_t, std::string> stored;  // event -> "vote/previous/add/edit"
    manager->backgroundContext()->performAndWait([&] {
      const auto result = manager->backgroundContext()->execute(platform::FetchRequest("MOVote"));
      ASSERT_FALSE(result.error);
      for (const auto& object : result.objects) {
        const MOVote vote(object);
        ASSERT_EQ(stored.count(vote.eventId()), 0u) << "a second record for " << vote.eventId();
        stored[vote.eventId()] = vote.vote().value_or("nil") + "/" + vote.previousVote().value_or("nil") + "/" +
                                 (vote.isAddSuccessful() ? "t" : "f") + "/" + (vote.isEditSuccessful() ? "t" : "f");
      }
    });
    for (const auto& [eventId, step] : lastStep) {
      SCOPED_TRACE("event " + std::to_string(eventId) + ", step " + std::to_string(step));
      ASSERT_EQ(stored.count(eventId), 1u);
      const std::string& vote = stored[eventId];
      if (step >= kEdited) {
        EXPECT_EQ(vote.substr(0, 4), "X/1/");
      }
      if (step >= kMarkedAdded) {
        EXPECT_EQ(vote[4], 't') << vote;
      }
      if (step == kMarkedEdited) {
        EXPECT_EQ(vote, "X/1/t/t");
      }
    }
    // The next child starts after every event stored, acknowledged or not.
    if (!stored.empty()) nextEventId = stored.rbegin()->first + 1;
  }
  EXPECT_GT(acknowledgedSteps, 400);
  EXPECT_GT(std::count_if(lastStep.begin(), lastStep.end(), [](const auto& e) { return e.second == kMarkedEdited; }),
            50);
  RecordProperty("acknowledgedSteps", static_cast<int>(acknowledgedSteps));
  RecordProperty("killedDuringSave", killedDuringSave);
}

TEST_F(ObjectStoreCrashTest, AMigrationKilledMidwayLeavesTheFirstLayoutForTheNextLoad) {
  testing::TempDir home;
  std::vector<testing::FirstLayoutVote> votes;
  for (std::int64_t id = 1; id <= kFirstLayoutVotes; ++id) {
    votes.push_back({id, id % 3 == 0 ? "X" : "1", 1'000'000 + id, id % 2});
  }
  testing::writeFirstLayoutStore(home.path(), votes);

  // Killed while the votes are carried over, inside the migration's transaction.
  for (const std::int64_t killAfter : {std::int64_t{1}, kFirstLayoutVotes / 3, kFirstLayoutVotes}) {
    Child child("migrate", home.path(), killAfter);
    ASSERT_TRUE(child.started());
    EXPECT_TRUE(killedBySigkill(child.reap()));
    EXPECT_EQ(versionAfterRecovery(home.path()), "KestrelDatabaseModel") << killAfter;
  }

  // Killed at moments spread over a whole migration, measured on a copy.
  testing::TempDir copy;
  std::filesystem::create_directories(DataManager::storePath(copy.path()).parent_path());
  std::filesystem::copy_file(DataManager::storePath(home.path()), DataManager::storePath(copy.path()));
  std::chrono::steady_clock::duration whole{};
  {
    Child child("migrate", copy.path(), 0);
    ASSERT_TRUE(child.next());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(child.reap(), 0);
    whole = std::chrono::steady_clock::now() - start;
  }
  bool migrated = false;
  for (int step = 0; step < 10 && !migrated; ++step) {
    Child child("migrate", home.path(), 0);
    ASSERT_TRUE(child.next());
    std::this_thread::sleep_for(whole * step / 10);
    const int status = child.kill();
    EXPECT_TRUE(killedBySigkill(status) || status == 0) << status;
    const auto version = versionAfterRecovery(home.path());
    migrated = version == "KestrelDatabaseModel 2";
    EXPECT_TRUE(migrated || version == "KestrelDatabaseModel") << version.value_or("none");
  }

  // The next start migrates what is there.
  const auto manager = reopen(home.path());
  const auto unsent = manager->getVotesForCache().get();
  ASSERT_TRUE(unsent);
  EXPECT_EQ(unsent->size(), static_cast<std::size_t>(kFirstLayoutVotes));
  EXPECT_EQ(unsent->at("3-fullTime"), "X");
  const auto vote = manager->fetchVote(2, "fullTime").get().value_or(std::nullopt);
  ASSERT_TRUE(vote);
  EXPECT_FALSE(vote->isAddSuccessful());
  EXPECT_TRUE(vote->isEditSuccessful());
  EXPECT_EQ(vote->eventTimestamp(), 1'000'002);
  EXPECT_TRUE(manager->fetchVote(1, "fullTime").get().value_or(std::nullopt)->isAddSuccessful());
}

}  // namespace
}  // namespace kestrel
