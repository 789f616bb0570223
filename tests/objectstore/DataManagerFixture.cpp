#include "DataManagerFixture.h"

#include <KestrelPlatform/Clock.h>
#include <KestrelPlatform/ObjectStore/PersistentContainer.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <sstream>

namespace kestrel::testing {

StdoutCapture::StdoutCapture() {
  std::string pattern = (std::filesystem::temp_directory_path() / "kestrel-stdout-XXXXXX").string();
  const int fd = ::mkstemp(pattern.data());
  file_ = pattern;
  std::fflush(stdout);
  saved_ = ::dup(1);
  ::dup2(fd, 1);
  ::close(fd);
}

StdoutCapture::~StdoutCapture() {
  std::fflush(stdout);
  ::dup2(saved_, 1);
  ::close(saved_);
  // The test's own failure messages went to the file too: pass them on.
  if (::testing::Test::HasFailure()) {
    const std::string captured = text();
    std::fwrite(captured.data(), 1, captured.size(), stdout);
    std::fflush(stdout);
  }
  std::filesystem::remove(file_);
}

std::string StdoutCapture::text() const {
  std::fflush(stdout);
  std::ifstream in(file_);
  std::stringstream content;
  content << in.rdbuf();
  return content.str();
}

std::vector<std::string> StdoutCapture::lines() const {
  std::vector<std::string> result;
  std::istringstream in(text());
  for (std::string line; std::getline(in, line);) result.push_back(line);
  return result;
}

void writeFirstLayoutStore(const std::filesystem::path& home, const std::vector<FirstLayoutVote>& votes) {
  using namespace platform;
  const auto model = DataManager::loadModel();
  ASSERT_TRUE(model);
  // The model as the first version knew it: that version alone, current.
  auto first = std::make_shared<ObjectModel>(model->name(), std::vector{model->versions().front()}, 0,
                                             std::vector<VersionMapping>{});
  auto container = PersistentContainer::create(DataManager::kDataModelName, first,
                                               DataManager::storePath(home).parent_path());
  std::optional<StoreError> failure;
  container->loadPersistentStores([&](const StoreDescription&, const std::optional<StoreError>& error) {
    failure = error;
  });
  ASSERT_FALSE(failure);
  auto context = container->viewContext();
  context->performAndWait([&] {
    for (const FirstLayoutVote& vote : votes) {
      auto object = context->insertNewObject("MOVote");
      object->setValue("id", vote.id);
      object->setValue("vote", vote.vote);
      object->setValue("eventTimestamp", vote.eventTimestamp);
      object->setValue("postFlag", vote.postFlag);
    }
    ASSERT_FALSE(context->save());
  });
}

void DataManagerTest::SetUp() {
  platform::Clock::setFixed(kNow);
  manager_ = DataManager::forHome(home_.path());
}

void DataManagerTest::TearDown() {
  manager_.reset();
  platform::DispatchQueue::main()->waitUntilDrained();
  platform::Clock::reset();
}

std::shared_ptr<DataManager> DataManagerTest::loaded() {
  EXPECT_FALSE(manager_->loadStore());
  return manager_;
}

std::vector<std::string> DataManagerTest::storedVotes(DataManager& manager) {
  std::vector<std::string> votes;
  manager.initializeIfNeeded();
  const auto context = manager.backgroundContext();
  if (!context) return votes;
  context->performAndWait([&] {
    for (const auto& object : context->execute(platform::FetchRequest("MOVote")).objects) {
      const MOVote vote(object);
      votes.push_back(std::to_string(vote.eventId()) + "-" + vote.type().value_or("nil") + "=" +
                      vote.vote().value_or("nil") + "/" + (vote.isAddSuccessful() ? "t" : "f") + "/" +
                      (vote.isEditSuccessful() ? "t" : "f") + "/" + vote.previousVote().value_or("nil") +
                      "/" + std::to_string(vote.eventTimestamp()));
    }
  });
  return votes;
}

std::int64_t DataManagerTest::countOnDisk(const std::string& entity) {
  const platform::StoreInspection inspection = DataManager::inspectStore(home_.path());
  for (const auto& [name, count] : inspection.recordCounts) {
    if (name == entity) return count;
  }
  return -1;
}

}  // namespace kestrel::testing
