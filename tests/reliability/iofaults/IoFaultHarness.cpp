#include "iofaults/IoFaultHarness.h"

#include <KestrelPlatform/DispatchQueue.h>
#include <sqlite3.h>

#include <algorithm>
#include <condition_variable>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <sstream>
#include <thread>

#include "reliability/support/FacadeSnapshot.h"

namespace kestrel::reliability {
namespace {

constexpr const char* kProbeNewsItem = "probe";
constexpr std::int64_t kProbeCompetition = 4242;

struct Facade {
  std::shared_ptr<DataManager> store;
  std::shared_ptr<StorageManager> facade;
};

Facade openFacade(const std::filesystem::path& home) {
  Facade f;
  f.store = DataManager::forHome(home);
  if (f.store->loadStore()) return {};
  f.facade = StorageManager::forHome(home, f.store);
  settle(*f.store);
  return f;
}

void closeFacade(Facade& f) {
  if (f.store) settle(*f.store);
  f.facade.reset();
  f.store.reset();
  platform::DispatchQueue::main()->waitUntilDrained();
}

void copyHome(const std::filesystem::path& from, const std::filesystem::path& to) {
  std::filesystem::remove_all(to);
  std::filesystem::copy(from, to, std::filesystem::copy_options::recursive);
}

// Runs `work` on a thread of its own; false when it has not finished
// within `bound` (it is then left running: a hang).
bool finishesWithin(std::function<void()> work, std::chrono::seconds bound) {
  struct State {
    std::mutex mutex;
    std::condition_variable done;
    bool finished = false;
  };
  auto state = std::make_shared<State>();
  std::thread([state, work = std::move(work)] {
    work();
    std::lock_guard lock(state->mutex);
    state->finished = true;
    state->done.notify_all();
  }).detach();
  std::unique_lock lock(state->mutex);
  return state->done.wait_for(lock, bound, [&] { return state->finished; });
}

std::string integrityOf(const std::filesystem::path& file) {
  sqlite3* db = nullptr;
  std::string result;
  // Through the real VFS, read-only: the check must not change the file.
  if (sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READONLY, "unix") != SQLITE_OK) {
    result = "cannot open";
  } else {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(db, "PRAGMA integrity_check", -1, &statement, nullptr) != SQLITE_OK) {
      result = sqlite3_errmsg(db);
    } else {
      while (sqlite3_step(statement) == SQLITE_ROW) {
        const auto* text = sqlite3_column_text(statement, 0);
        result += (result.empty() ? "" : "; ") + std::string(text ? reinterpret_cast<const char*>(text) : "");
      }
      sqlite3_finalize(statement);
    }
  }
  sqlite3_close(db);
  return result;
}

std::string thousands(std::size_t n) {
  std::string digits = std::to_string(n);
  for (int at = static_cast<int>(digits.size()) - 3; at > 0; at -= 3) digits.insert(at, ",");
  return digits;
}

std::string codeName(int code) { return sqlite3_errstr(code); }

// The lines of `actual` that differ from `expected`.
std::vector<std::string> differences(const std::map<std::string, std::string>& actual,
                                     const std::map<std::string, std::string>& expected) {
  FacadeSnapshot a{actual}, e{expected};
  return a.differences(e);
}

}  // namespace

IoFaultHarness::IoFaultHarness(Options options, std::function<void(const std::string&)> report)
    : options_(std::move(options)), report_(std::move(report)) {
  template_ = options_.workDir / "template";
  home_ = options_.workDir / "home";
}

std::string IoFaultHarness::summary(const Totals& t) {
  return "I/O faults: " + thousands(t.operations) + " operations × " + thousands(t.points) +
         " fault points, " + thousands(t.hung) + " hung, " + thousands(t.lost) + " lost, " +
         thousands(t.damaged) + " damaged, " + thousands(t.disagreeing) + " disagreeing, " +
         thousands(t.unrecovered) + " unrecovered";
}

bool IoFaultHarness::prepareTemplate() {
  std::filesystem::remove_all(template_);
  std::filesystem::create_directories(template_);
  Facade f = openFacade(template_);
  const bool prepared = f.facade && prepareHome(*f.facade);
  closeFacade(f);
  if (!prepared) {
    report_("iofaults: the preparation failed without any fault in " + template_.string());
    return false;
  }
  copyHome(template_, home_);
  const auto before = storedAnswers(nullptr);
  if (!before) {
    report_("iofaults: the prepared home cannot be read back");
    return false;
  }
  before_ = *before;
  return true;
}

std::optional<IoFaultHarness::Answers> IoFaultHarness::storedAnswers(Answers* cacheAnswers) {
  Facade f = openFacade(home_);
  if (!f.facade) return std::nullopt;
  Answers answers = FacadeSnapshot::of(*f.facade, *f.store).answers;
  if (cacheAnswers) *cacheAnswers = answers;
  answers.merge(storedRecords(*f.facade));
  closeFacade(f);
  return answers;
}

std::vector<std::string> IoFaultHarness::integrityProblems() const {
  std::vector<std::string> problems;
  for (const auto& file : {home_ / "Documents" / "kestrel.db",
                           home_ / "Library" / "Application Support" /
                               "KestrelDatabaseModel.sqlite"}) {
    const std::string result = integrityOf(file);
    if (result != "ok") problems.push_back(file.filename().string() + ": " + result);
  }
  return problems;
}

IoFaultHarness::Reference IoFaultHarness::reference(const FacadeOperation& op) {
  Reference ref;
  copyHome(template_, home_);
  Facade f = openFacade(home_);
  FaultVfs::setFileFilter(home_.string());
  FaultVfs::resetCounts();
  PendingAnswer pending = op.start(*f.facade, false);
  pending.waitFor(options_.hangBound);
  settle(*f.store);
  ref.counts = FaultVfs::counts();
  ref.answer = pending.get();
  FaultVfs::setFileFilter("");
  closeFacade(f);
  ref.after = storedAnswers(nullptr).value_or(Answers{});
  return ref;
}

std::vector<IoFaultHarness::Point> IoFaultHarness::points(const FacadeOperation& op,
                                                          const IoCounts& counts) {
  std::vector<Point> all;
  for (std::size_t k = 0; k < kIoKindCount; ++k) {
    const auto kind = static_cast<IoKind>(k);
    for (std::uint64_t n = 1; n <= counts[kind]; ++n) {
      all.push_back({{kind, n, 0, false}});
      all.push_back({{kind, n, 0, true}});
      if (kind == IoKind::write) all.push_back({{kind, n, SQLITE_FULL, true}});
      if (kind == IoKind::lock) all.push_back({{kind, n, SQLITE_BUSY, false}});
    }
  }
  // Alternate the two forms so both meet every kind.
  for (std::size_t i = 0; i < all.size(); ++i) all[i].handlerForm = i % 2 == 1;
  if (options_.sample != 0 && all.size() > options_.sample) {
    std::seed_seq seed{options_.seed, static_cast<std::uint64_t>(std::hash<std::string>{}(op.name))};
    std::mt19937_64 random(seed);
    std::shuffle(all.begin(), all.end(), random);
    all.resize(options_.sample);
  }
  return all;
}

void IoFaultHarness::finding(std::size_t& counter, const std::string& what,
                             const FacadeOperation& op, const Point& point,
                             const std::vector<std::string>& details) {
  ++counter;
  std::ostringstream line;
  line << "FINDING " << what << ": operation \"" << op.name << "\", " << ioKindName(point.fault.kind)
       << " #" << point.fault.nth << " fails with "
       << codeName(point.fault.code ? point.fault.code : FaultVfs::defaultCode(point.fault.kind))
       << (point.fault.persistent ? " from then on" : " once") << ", "
       << (point.handlerForm ? "handler" : "future") << " form (seed " << options_.seed
       << ", --only \"" << op.name << "\")";
  report_(line.str());
  for (const std::string& detail : details) report_("    " + detail);
  if (keptHomes_ < 20) {
    const auto kept = options_.workDir / ("finding-" + std::to_string(++keptHomes_));
    copyHome(home_, kept);
    report_("    home kept in " + kept.string());
  }
}

void IoFaultHarness::runPoint(const FacadeOperation& op, const Reference& ref,
                              const Point& point) {
  ++totals_.points;
  copyHome(template_, home_);
  auto f = std::make_shared<Facade>(openFacade(home_));
  if (!f->facade) {
    report_("iofaults: the copied home does not open: " + home_.string());
    ++totals_.unrecovered;
    return;
  }
  FaultVfs::setFileFilter(home_.string());
  FaultVfs::arm(point.fault);
  auto answer = std::make_shared<std::optional<PendingAnswer>>();
  const auto bound = options_.hangBound;
  const bool answered = finishesWithin(
      [f, answer, op, point, bound] {
        *answer = op.start(*f->facade, point.handlerForm);
        if ((*answer)->waitFor(bound)) settle(*f->store);
      },
      bound * 2);
  FaultVfs::disarm();
  FaultVfs::setFileFilter("");
  if (!answered || !*answer || !(*answer)->waitFor(std::chrono::milliseconds(0))) {
    finding(totals_.hung, "hung", op, point, {"no answer within " + std::to_string(bound.count()) + " s"});
    report_(summary(totals_));
    std::_Exit(2);  // the stuck thread holds the facade: nothing more can run
  }
  const Answer got = (*answer)->get();

  std::vector<std::string> disagreements;
  if (got.deliveries != 1) {
    disagreements.push_back("the answer was delivered " + std::to_string(got.deliveries) + " times");
  }
  if (!got.isFailure() && got.text != ref.answer.text) {
    disagreements.push_back("answered [" + got.text + "], without the fault [" + ref.answer.text + "]");
  }

  // The caches against the files, once the fault is lifted.
  bool reopened = false;
  if (!f->facade->dbQueue()) {
    f->facade->reInit();
    reopened = true;
  }
  const Answers live = FacadeSnapshot::of(*f->facade, *f->store).answers;
  Answers freshCaches;
  const auto stored = storedAnswers(&freshCaches);
  if (!stored) {
    finding(totals_.damaged, "damaged", op, point, {"the home no longer opens"});
    closeFacade(*f);
    return;
  }
  for (const std::string& line : differences(live, freshCaches)) disagreements.push_back(line);
  if (!disagreements.empty()) {
    if (reopened) disagreements.push_back("(after reInit: the fault closed the database)");
    finding(totals_.disagreeing, "disagreeing", op, point, disagreements);
  }

  // Nothing acknowledged lost: after a success the files hold what the
  // operation leaves without a fault; after a failure, everything the
  // operation does not touch is as the preparation stored it. (A failed
  // write of several statements keeps those that succeeded, as every table
  // write commits what it did; such outcomes are counted, not findings.)
  std::vector<std::string> lost;
  if (!got.isFailure() && op.isWhole && *stored != ref.after) {
    lost = differences(*stored, ref.after);
    lost.insert(lost.begin(), "reported [" + got.text + "] but the files differ from that outcome:");
  } else {
    for (const auto& [question, held] : before_) {
      const auto after = ref.after.find(question);
      const auto now = stored->find(question);
      if (after != ref.after.end() && after->second == held &&
          (now == stored->end() || now->second != held)) {
        lost.push_back(question + ": [" + (now == stored->end() ? "(none)" : now->second) +
                       "], stored before [" + held + "]");
      }
    }
    if (got.isFailure() && *stored != before_ && *stored != ref.after) ++partialFailures_;
  }
  if (!lost.empty()) finding(totals_.lost, "lost", op, point, lost);

  if (const auto problems = integrityProblems(); !problems.empty()) {
    finding(totals_.damaged, "damaged", op, point, problems);
  }

  // The next ordinary operations succeed (after reInit where the fault
  // closed the file).
  const auto probe = [&] {
    return f->facade->saveFantasyCompetition(kProbeCompetition).get() &&
           f->facade->markNewsItemAsRead(kProbeNewsItem).get();
  };
  if (!probe()) {
    f->facade->reInit();
    if (!probe()) {
      finding(totals_.unrecovered, "unrecovered", op, point,
              {"the next table and object-store writes fail, also after reInit"});
    }
  }
  closeFacade(*f);
}

IoFaultHarness::Totals IoFaultHarness::run() {
  totals_ = {};
  if (!prepareTemplate()) {
    ++totals_.unrecovered;
    return totals_;
  }
  for (const FacadeOperation& op : facadeOperations()) {
    if (!options_.only.empty() && op.name.find(options_.only) == std::string::npos) continue;
    ++totals_.operations;
    const Reference ref = reference(op);
    const std::vector<Point> chosen = points(op, ref.counts);
    report_(op.name + " [" + ref.answer.text + "]: " + ref.counts.text() + "; " + std::to_string(chosen.size()) +
            " fault points");
    for (const Point& point : chosen) runPoint(op, ref, point);
  }
  report_("iofaults: " + thousands(partialFailures_) +
          " failed writes kept part of their work (committed statements of a many-statement write)");
  return totals_;
}

}  // namespace kestrel::reliability
