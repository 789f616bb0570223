// The quick form of the lock-contention harness, and the holder it relies
// on: another process's lock really keeps the facade out for its length.
#include <KestrelDatabase/objectstore/DataManager.h>
#include <gtest/gtest.h>
#include <sqlite3.h>

#include <chrono>
#include <string>

#include "reliability/locks/LockContention.h"
#include "reliability/locks/LockHolder.h"
#include "support/TempDir.h"

namespace kestrel::reliability {
namespace {

TEST(LockContentionTest, HoldsOfEveryKindOnBothFilesLeaveNothingLateLostOrDisagreeing) {
  const testing::TempDir home;
  LockOptions options;
  options.home = home.path();
  options.holderProgram = KESTREL_LOCK_HOLDER;
  options.seed = 3;
  options.holds = 12;
  const LockReport report = runLockContention(options);
  std::string faults;
  for (const std::string& line : report.faults) faults += "\n  " + line;
  EXPECT_TRUE(report.clean()) << report.summary() << faults;
  EXPECT_EQ(report.holds, 12u) << faults;
  // The holds were felt: some writes were refused, and some acknowledged.
  EXPECT_GT(report.refused, 0u) << report.summary();
  EXPECT_GT(report.acknowledged, 0u) << report.summary();
}

int tryWrite(const std::filesystem::path& file, const char* statement) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(file.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr);
  const int code = sqlite3_exec(db, statement, nullptr, nullptr, nullptr);
  sqlite3_close_v2(db);
  return code;
}

TEST(LockHolderTest, EachKindKeepsOthersOutAsSQLiteDefinesItUntilItLetsGo) {
  const testing::TempDir home;
  const auto file = home.path() / "held.db";
  ASSERT_EQ(tryWrite(file, "CREATE TABLE t(x)"), SQLITE_OK);
  struct Case {
    LockHolder::Kind kind;
    int read;   // a read from another connection
    int write;  // a write from another connection
  };
  for (const Case& c : {Case{LockHolder::Kind::shared, SQLITE_OK, SQLITE_BUSY},
                        Case{LockHolder::Kind::reserved, SQLITE_OK, SQLITE_BUSY},
                        Case{LockHolder::Kind::exclusive, SQLITE_BUSY, SQLITE_BUSY}}) {
    LockHolder hold(KESTREL_LOCK_HOLDER, file, c.kind, std::chrono::milliseconds(60'000));
    ASSERT_TRUE(hold.held()) << hold.error().value_or("");
    EXPECT_FALSE(hold.released());
    EXPECT_EQ(tryWrite(file, "SELECT count(*) FROM t"), c.read) << LockHolder::name(c.kind);
    EXPECT_EQ(tryWrite(file, "INSERT INTO t VALUES (1)"), c.write) << LockHolder::name(c.kind);
    hold.stop();
    EXPECT_TRUE(hold.released());
    EXPECT_EQ(tryWrite(file, "INSERT INTO t VALUES (2)"), SQLITE_OK) << LockHolder::name(c.kind);
  }
}

}  // namespace
}  // namespace kestrel::reliability
