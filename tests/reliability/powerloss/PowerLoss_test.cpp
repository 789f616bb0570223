// What a power cut may take, checked on the fault VFS: nothing the facade
// acknowledged. A commit in a rollback-journal file ends by deleting the
// journal; until the directory reaches the disk, a power cut can bring the
// journal back, and the next open rolls the commit back. Both stores must
// make that deletion durable before they report success.
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include "reliability/workload/OpenedHome.h"
#include "reliability/workload/Workload.h"
#include "support/TempDir.h"
#include "vfs/FaultVfs.h"

namespace kestrel::reliability {
namespace {

class PowerLossTest : public ::testing::Test {
 protected:
  void SetUp() override {
    Workload::fixClock();
    FaultVfs::install(true);
    FaultVfs::reset();
  }
  void TearDown() override {
    FaultVfs::reset();
    FaultVfs::uninstall();
    platform::Clock::reset();
  }
};

TEST_F(PowerLossTest, AnAcknowledgedWriteOfEitherStoreSurvivesACutThatUndoesUnsyncedDirectoryChanges) {
  testing::TempDir home;
  { OpenedHome created(home.path()); }  // both files exist, their directories synced
  {
    OpenedHome opened(home.path());
    FaultVfs::setFileFilter(home.path().string());
    FaultVfs::startRecording();
    model::Event event{.ID = 7, .startTimestamp = Workload::kNow};
    ASSERT_TRUE(opened.facade().insertEvent(event, false).get());
    ASSERT_TRUE(opened.facade().followUniqueStage(61).get());
    // Everything written since the last syncs, and every file created or
    // deleted since their directories were synced, is lost.
    FaultVfs::cutPower({.writes = UnsyncedWrites::lost, .directoryChanges = UnsyncedWrites::lost});
  }
  FaultVfs::reset();
  FaultVfs::uninstall();

  OpenedHome reopened(home.path());
  ASSERT_FALSE(reopened.loadError());
  EXPECT_TRUE(reopened.facade().isFavoriteEvent(7));
  const auto stored = reopened.store().getUniqueStagesForCacheWithCompletion().get();
  ASSERT_TRUE(stored);
  EXPECT_TRUE(stored->contains(61));
}

}  // namespace
}  // namespace kestrel::reliability
