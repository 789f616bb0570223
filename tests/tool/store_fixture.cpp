// Writes records into an application home's object store for the tool's
// end-to-end tests, which cannot make a store with the sqlite3 shell alone
// (its version is recorded with a hash of the layout).
//
//   kestrel_store_fixture HOME RECORD...
//     first-layout-vote ID VOTE EVENT_TIMESTAMP POST_FLAG
//         a vote of the model's first version; the store must not exist yet,
//         and is written in that version
//     vote EVENT_ID EVENT_TIMESTAMP TYPE VALUE     an accepted vote
//     highlight ID WATCHED_AT                      a highlight watched then
//
// A record list mixes no first-layout votes with the others. Exits 1, with a
// message, on any failure.
#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/ObjectStore/PersistentContainer.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using namespace kestrel;

[[noreturn]] void fail(const std::string& message) {
  std::fprintf(stderr, "kestrel_store_fixture: %s\n", message.c_str());
  std::exit(1);
}

std::int64_t number(const char* text) {
  char* end = nullptr;
  const long long value = std::strtoll(text, &end, 10);
  if (end == text || *end != '\0') fail(std::string("not an integer: ") + text);
  return value;
}

struct FirstLayoutVote {
  std::int64_t id;
  std::string vote;
  std::int64_t eventTimestamp;
  std::int64_t postFlag;
};

// The store as the model's first version wrote it: that version alone, as
// the current one.
void writeFirstLayout(const std::filesystem::path& home,
                      const std::vector<FirstLayoutVote>& votes) {
  using namespace platform;
  const auto model = DataManager::loadModel();
  if (!model) fail("no model");
  auto first = std::make_shared<ObjectModel>(model->name(), std::vector{model->versions().front()},
                                             0, std::vector<VersionMapping>{});
  auto container = PersistentContainer::create(DataManager::kDataModelName, first,
                                               DataManager::storePath(home).parent_path());
  std::optional<StoreError> failure;
  container->loadPersistentStores(
      [&](const StoreDescription&, const std::optional<StoreError>& error) { failure = error; });
  if (failure) fail("load: " + failure->fullDescription());
  auto context = container->viewContext();
  context->performAndWait([&] {
    for (const FirstLayoutVote& vote : votes) {
      auto object = context->insertNewObject("MOVote");
      object->setValue("id", vote.id);
      object->setValue("vote", vote.vote);
      object->setValue("eventTimestamp", vote.eventTimestamp);
      object->setValue("postFlag", vote.postFlag);
    }
    if (auto error = context->save()) failure = error;
  });
  if (failure) fail("save: " + failure->fullDescription());
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) fail("usage: kestrel_store_fixture HOME RECORD...");
  const std::filesystem::path home = argv[1];
  std::vector<FirstLayoutVote> firstLayout;
  std::shared_ptr<DataManager> manager;
  const auto current = [&] {
    if (!manager) manager = DataManager::forHome(home);
    return manager;
  };
  for (int i = 2; i < argc;) {
    const std::string kind = argv[i];
    const auto take = [&](int count) {
      if (i + count >= argc) fail("too few values for " + kind);
      char** values = argv + i + 1;
      i += count + 1;
      return values;
    };
    if (kind == "first-layout-vote") {
      char** v = take(4);
      firstLayout.push_back({number(v[0]), v[1], number(v[2]), number(v[3])});
    } else if (kind == "vote") {
      char** v = take(4);
      if (!current()->saveVote(number(v[0]), number(v[1]), v[2], v[3], true).get()) {
        fail("the vote was not saved");
      }
    } else if (kind == "highlight") {
      char** v = take(2);
      const std::int64_t id = number(v[0]);
      platform::Clock::setFixed(static_cast<double>(number(v[1])));
      if (!current()
               ->markHighlightWatched(id, "https://highlights.test/" + std::to_string(id), 0)
               .get()) {
        fail("the highlight was not saved");
      }
    } else {
      fail("unknown record " + kind);
    }
  }
  if (!firstLayout.empty()) {
    if (manager) fail("first-layout votes cannot go with the others");
    writeFirstLayout(home, firstLayout);
  }
  return 0;
}
