// The fault-injecting VFS: exact counts, the Nth call failing with the code
// asked for, and power cuts that keep what was synced and lose, keep or
// tear what was not, on real files.
#include "vfs/FaultVfs.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <cstdlib>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>
#include <vector>

#include "support/TempDir.h"

namespace kestrel::reliability {
namespace {

using testing::TempDir;

constexpr int kCreate = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_MAIN_DB;

// One file opened through the VFS itself, for calls one at a time.
class VfsFile {
 public:
  explicit VfsFile(std::filesystem::path path, int flags = kCreate) : path_(std::move(path)) {
    vfs_ = sqlite3_vfs_find(FaultVfs::kName);
    file_ = static_cast<sqlite3_file*>(std::calloc(1, static_cast<std::size_t>(vfs_->szOsFile)));
    openCode_ = vfs_->xOpen(vfs_, path_.c_str(), file_, flags, nullptr);
  }
  ~VfsFile() {
    if (file_->pMethods) file_->pMethods->xClose(file_);
    std::free(file_);
  }
  VfsFile(const VfsFile&) = delete;
  VfsFile& operator=(const VfsFile&) = delete;

  int openCode() const { return openCode_; }
  int write(const std::string& data, sqlite3_int64 offset) {
    return file_->pMethods->xWrite(file_, data.data(), static_cast<int>(data.size()), offset);
  }
  int read(std::string& into, sqlite3_int64 offset) {
    return file_->pMethods->xRead(file_, into.data(), static_cast<int>(into.size()), offset);
  }
  int sync() { return file_->pMethods->xSync(file_, SQLITE_SYNC_NORMAL); }
  int truncate(sqlite3_int64 size) { return file_->pMethods->xTruncate(file_, size); }
  int fileSize() {
    sqlite3_int64 size = 0;
    return file_->pMethods->xFileSize(file_, &size);
  }
  int lockShared() {
    const int rc = file_->pMethods->xLock(file_, SQLITE_LOCK_SHARED);
    if (rc == SQLITE_OK) file_->pMethods->xUnlock(file_, SQLITE_LOCK_NONE);
    return rc;
  }

 private:
  std::filesystem::path path_;  // SQLite keeps the name's pointer while the file is open
  sqlite3_vfs* vfs_ = nullptr;
  sqlite3_file* file_ = nullptr;
  int openCode_ = SQLITE_ERROR;
};

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream in(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

int exec(sqlite3* db, const char* sql) { return sqlite3_exec(db, sql, nullptr, nullptr, nullptr); }

int rowCount(sqlite3* db) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(db, "SELECT count(*) FROM t", -1, &statement, nullptr) != SQLITE_OK) {
    return -1;
  }
  const int count = sqlite3_step(statement) == SQLITE_ROW ? sqlite3_column_int(statement, 0) : -1;
  sqlite3_finalize(statement);
  return count;
}

// A database through the default VFS (the fault VFS once installed).
sqlite3* openDatabase(const std::filesystem::path& path, const char* vfs = nullptr) {
  sqlite3* db = nullptr;
  sqlite3_open_v2(path.c_str(), &db, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, vfs);
  return db;
}

class FaultVfsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    FaultVfs::install();
    FaultVfs::reset();
  }
  void TearDown() override {
    FaultVfs::reset();
    FaultVfs::uninstall();
  }
  std::filesystem::path file(const char* name) const { return dir_.path() / name; }

  TempDir dir_;
};

// ---- Counting ------------------------------------------------------------------------------------

TEST_F(FaultVfsTest, CountsEveryCallOfTheFilteredFilesByKind) {
  FaultVfs::setFileFilter("counted");
  VfsFile counted(file("counted.bin"));
  VfsFile other(file("other.bin"));
  std::string buffer(512, '\0');
  ASSERT_EQ(counted.write(std::string(512, 'a'), 0), SQLITE_OK);
  ASSERT_EQ(counted.write(std::string(512, 'b'), 512), SQLITE_OK);
  ASSERT_EQ(counted.write(std::string(512, 'c'), 1024), SQLITE_OK);
  ASSERT_EQ(counted.sync(), SQLITE_OK);
  ASSERT_EQ(counted.read(buffer, 0), SQLITE_OK);
  ASSERT_EQ(counted.read(buffer, 512), SQLITE_OK);
  ASSERT_EQ(counted.fileSize(), SQLITE_OK);
  ASSERT_EQ(counted.truncate(1024), SQLITE_OK);
  ASSERT_EQ(counted.lockShared(), SQLITE_OK);
  ASSERT_EQ(other.write(std::string(512, 'x'), 0), SQLITE_OK);
  ASSERT_EQ(other.sync(), SQLITE_OK);

  const IoCounts counts = FaultVfs::counts();
  EXPECT_EQ(counts.text(), "xOpen 1, xRead 2, xWrite 3, xTruncate 1, xSync 1, xFileSize 1, xLock 1");
  EXPECT_EQ(counts.total(), 10u);
  FaultVfs::resetCounts();
  EXPECT_EQ(FaultVfs::counts().total(), 0u);
}

TEST_F(FaultVfsTest, ASqliteWorkloadMakesTheSameCallsOnEveryRun) {
  const auto run = [](const std::filesystem::path& path) {
    FaultVfs::resetCounts();
    sqlite3* db = openDatabase(path);
    exec(db, "CREATE TABLE t(id INTEGER PRIMARY KEY, name TEXT)");
    exec(db, "BEGIN");
    for (int i = 0; i < 50; ++i) exec(db, "INSERT INTO t(name) VALUES (hex(randomblob(300)))");
    exec(db, "COMMIT");
    exec(db, "DELETE FROM t WHERE id % 3 = 0");
    const int rows = rowCount(db);
    sqlite3_close(db);
    EXPECT_EQ(rows, 34);
    return FaultVfs::counts();
  };
  TempDir second;
  const IoCounts first = run(file("a.db"));
  const IoCounts again = run(second.path() / "a.db");
  EXPECT_EQ(first.text(), again.text());
  // Three transactions in rollback-journal mode: each opens its journal
  // and syncs it and the database.
  EXPECT_GE(first[IoKind::open], 4u);
  EXPECT_GE(first[IoKind::sync], 6u);
  EXPECT_GT(first[IoKind::write], 3u);
}

TEST_F(FaultVfsTest, CountsCallsOfSeveralThreadsExactly) {
  constexpr int kThreads = 4;
  constexpr int kWrites = 300;
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([this, t] {
      VfsFile own(file(("thread" + std::to_string(t)).c_str()));
      for (int i = 0; i < kWrites; ++i) own.write(std::string(64, 'w'), i * 64);
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(FaultVfs::counts()[IoKind::write], static_cast<std::uint64_t>(kThreads * kWrites));
  EXPECT_EQ(FaultVfs::counts()[IoKind::open], static_cast<std::uint64_t>(kThreads));
}

// ---- Faults ------------------------------------------------------------------------------------

TEST_F(FaultVfsTest, FailsOnlyTheNthCallWhenTransient) {
  VfsFile f(file("f.bin"));
  FaultVfs::arm({IoKind::write, 2, SQLITE_FULL, false});
  EXPECT_EQ(f.write("one", 0), SQLITE_OK);
  EXPECT_EQ(f.write("two", 3), SQLITE_FULL);
  EXPECT_EQ(f.write("three", 3), SQLITE_OK);
  EXPECT_EQ(FaultVfs::faultsInjected(), 1u);
  f.sync();
  EXPECT_EQ(contentOf(file("f.bin")), "onethree");  // the failed write never reached the file
}

TEST_F(FaultVfsTest, FailsEveryCallFromTheNthOnWhenPersistentUntilDisarmed) {
  VfsFile f(file("f.bin"));
  FaultVfs::arm({IoKind::sync, 2, 0, true});
  EXPECT_EQ(f.sync(), SQLITE_OK);
  EXPECT_EQ(f.sync(), SQLITE_IOERR_FSYNC);
  EXPECT_EQ(f.sync(), SQLITE_IOERR_FSYNC);
  EXPECT_EQ(f.write("x", 0), SQLITE_OK);  // other kinds go on
  FaultVfs::disarm();
  EXPECT_EQ(f.sync(), SQLITE_OK);
  EXPECT_EQ(FaultVfs::faultsInjected(), 2u);
}

TEST_F(FaultVfsTest, EachKindFailsWithItsOwnCode) {
  const auto path = file("k.bin");
  VfsFile f(path);
  sqlite3_vfs* vfs = sqlite3_vfs_find(FaultVfs::kName);
  std::string buffer(4, '\0');
  f.write("data", 0);
  const std::vector<std::pair<IoKind, std::function<int()>>> calls = {
      {IoKind::open, [&] { return VfsFile(file("new.bin")).openCode(); }},
      {IoKind::access,
       [&] {
         int exists = 0;
         return vfs->xAccess(vfs, path.c_str(), SQLITE_ACCESS_EXISTS, &exists);
       }},
      {IoKind::remove, [&] { return vfs->xDelete(vfs, path.c_str(), 0); }},
      {IoKind::read, [&] { return f.read(buffer, 0); }},
      {IoKind::write, [&] { return f.write("x", 0); }},
      {IoKind::truncate, [&] { return f.truncate(0); }},
      {IoKind::sync, [&] { return f.sync(); }},
      {IoKind::fileSize, [&] { return f.fileSize(); }},
      {IoKind::lock, [&] { return f.lockShared(); }},
  };
  const std::vector<int> expected = {SQLITE_CANTOPEN,       SQLITE_IOERR_ACCESS, SQLITE_IOERR_DELETE,
                                     SQLITE_IOERR_READ,     SQLITE_IOERR_WRITE,
                                     SQLITE_IOERR_TRUNCATE, SQLITE_IOERR_FSYNC,
                                     SQLITE_IOERR_FSTAT,    SQLITE_IOERR_LOCK};
  for (std::size_t i = 0; i < calls.size(); ++i) {
    FaultVfs::arm({calls[i].first, 1});
    EXPECT_EQ(calls[i].second(), expected[i]) << ioKindName(calls[i].first);
    EXPECT_EQ(FaultVfs::defaultCode(calls[i].first), expected[i]);
  }
  FaultVfs::disarm();
  EXPECT_TRUE(std::filesystem::exists(path));  // the failed delete did nothing
}

TEST_F(FaultVfsTest, AShortReadFillsTheBufferWithZeros) {
  VfsFile f(file("f.bin"));
  f.write("abcd", 0);
  std::string buffer = "zzzz";
  FaultVfs::arm({IoKind::read, 1, SQLITE_IOERR_SHORT_READ});
  EXPECT_EQ(f.read(buffer, 0), SQLITE_IOERR_SHORT_READ);
  EXPECT_EQ(buffer, std::string(4, '\0'));
}

TEST_F(FaultVfsTest, SqliteSeesTheInjectedCodeAndWorksOnOnceItIsLifted) {
  sqlite3* db = openDatabase(file("s.db"));
  ASSERT_EQ(exec(db, "CREATE TABLE t(v)"), SQLITE_OK);

  FaultVfs::arm({IoKind::write, 1, SQLITE_FULL});
  EXPECT_EQ(exec(db, "INSERT INTO t VALUES (1)"), SQLITE_FULL);
  EXPECT_EQ(exec(db, "INSERT INTO t VALUES (2)"), SQLITE_OK);

  FaultVfs::arm({IoKind::lock, 1, SQLITE_BUSY});
  EXPECT_EQ(exec(db, "INSERT INTO t VALUES (3)"), SQLITE_BUSY);

  sqlite3_close(db);  // a new connection must read the file
  db = openDatabase(file("s.db"));
  FaultVfs::arm({IoKind::read, 1});
  EXPECT_EQ(rowCount(db), -1);
  EXPECT_EQ(sqlite3_extended_errcode(db), SQLITE_IOERR_READ);
  EXPECT_EQ(rowCount(db), 1);
  sqlite3_close(db);

  FaultVfs::arm({IoKind::open, 1});
  sqlite3* refused = nullptr;
  EXPECT_EQ(sqlite3_open_v2(file("s.db").c_str(), &refused, SQLITE_OPEN_READWRITE, nullptr),
            SQLITE_CANTOPEN);
  sqlite3_close(refused);
}

// ---- Power loss ------------------------------------------------------------------------------------

// A file of `sectors` 512-byte sectors of `fill`, synced.
void writeSynced(VfsFile& f, int sectors, char fill) {
  ASSERT_EQ(f.write(std::string(static_cast<std::size_t>(sectors) * 512, fill), 0), SQLITE_OK);
  ASSERT_EQ(f.sync(), SQLITE_OK);
}

TEST_F(FaultVfsTest, ACutKeepsWhatWasSyncedAndLosesWhatWasNot) {
  FaultVfs::startRecording();
  VfsFile f(file("f.bin"));
  writeSynced(f, 4, 'a');
  f.write(std::string(1024, 'b'), 512);   // overwrites two sectors
  f.write(std::string(700, 'c'), 2048);   // extends the file
  FaultVfs::cutPower({UnsyncedWrites::lost});
  EXPECT_EQ(contentOf(file("f.bin")), std::string(2048, 'a'));
}

TEST_F(FaultVfsTest, ACutThatKeepsUnsyncedWritesLeavesTheFilesAsWritten) {
  FaultVfs::startRecording();
  VfsFile f(file("f.bin"));
  writeSynced(f, 2, 'a');
  f.write("bb", 1000);
  f.truncate(600);
  FaultVfs::cutPower({UnsyncedWrites::kept});
  EXPECT_EQ(contentOf(file("f.bin")), std::string(600, 'a'));
}

TEST_F(FaultVfsTest, AnUnsyncedTruncationIsUndone) {
  FaultVfs::startRecording();
  VfsFile f(file("f.bin"));
  writeSynced(f, 3, 'a');
  f.truncate(100);
  FaultVfs::cutPower({UnsyncedWrites::lost});
  EXPECT_EQ(contentOf(file("f.bin")), std::string(1536, 'a'));
}

// Each unit of `unit` bytes of the file after a torn cut: 'o' old, 'n' new.
std::string tornPattern(const std::filesystem::path& path, std::size_t cutSector,
                        std::uint64_t seed) {
  {
    FaultVfs::reset();
    FaultVfs::startRecording();
    VfsFile f(path);
    writeSynced(f, 64, 'o');
    f.write(std::string(64 * 512, 'n'), 0);
    FaultVfs::cutPower({UnsyncedWrites::torn, UnsyncedWrites::kept, cutSector, seed});
  }
  const std::string content = contentOf(path);
  std::string pattern;
  for (std::size_t at = 0; at < content.size(); at += cutSector) {
    const std::string unit = content.substr(at, cutSector);
    if (unit == std::string(unit.size(), 'o')) {
      pattern += 'o';
    } else if (unit == std::string(unit.size(), 'n')) {
      pattern += 'n';
    } else {
      pattern += '?';  // a unit mixed inside: the cut broke a sector
    }
  }
  return pattern;
}

TEST_F(FaultVfsTest, ATornCutKeepsEachSectorWholeEitherOldOrNewAsTheSeedDecides) {
  const std::string small = tornPattern(file("t.bin"), 512, 7);
  EXPECT_EQ(small.size(), 64u);
  EXPECT_EQ(small.find('?'), std::string::npos) << small;
  EXPECT_NE(small.find('o'), std::string::npos) << small;
  EXPECT_NE(small.find('n'), std::string::npos) << small;
  EXPECT_EQ(tornPattern(file("t.bin"), 512, 7), small);  // the same seed, the same cut

  const std::string large = tornPattern(file("t.bin"), 4096, 7);
  EXPECT_EQ(large.size(), 8u);
  EXPECT_EQ(large.find('?'), std::string::npos) << large;
}

TEST_F(FaultVfsTest, AnArmedCutTakesThePlaceOfTheNthCallAndStopsAllIo) {
  FaultVfs::startRecording();
  VfsFile f(file("f.bin"));  // call 1
  FaultVfs::armPowerCut(3, {UnsyncedWrites::lost});
  EXPECT_EQ(f.write(std::string(512, 'a'), 0), SQLITE_OK);  // 1
  EXPECT_EQ(f.sync(), SQLITE_OK);                           // 2
  EXPECT_FALSE(FaultVfs::powerIsOff());
  EXPECT_EQ(f.write(std::string(512, 'b'), 0), SQLITE_IOERR_WRITE);  // 3: the cut
  EXPECT_TRUE(FaultVfs::powerIsOff());
  EXPECT_EQ(f.sync(), SQLITE_IOERR_FSYNC);
  EXPECT_EQ(VfsFile(file("g.bin")).openCode(), SQLITE_CANTOPEN);
  EXPECT_EQ(contentOf(file("f.bin")), std::string(512, 'a'));

  FaultVfs::reset();
  EXPECT_EQ(f.write(std::string(512, 'c'), 0), SQLITE_OK);
}

TEST_F(FaultVfsTest, AFileCreatedSinceItsDirectoryWasLastSyncedMayVanish) {
  FaultVfs::startRecording();
  {
    VfsFile f(file("new.bin"));
    f.write("never synced", 0);
  }
  FaultVfs::cutPower({UnsyncedWrites::kept, UnsyncedWrites::lost});
  EXPECT_FALSE(std::filesystem::exists(file("new.bin")));
}

TEST_F(FaultVfsTest, AnUnlinkNotSyncedComesBackWithTheFilesSyncedContent) {
  sqlite3_vfs* vfs = sqlite3_vfs_find(FaultVfs::kName);
  for (const int syncDirectory : {0, 1}) {
    FaultVfs::reset();
    FaultVfs::startRecording();
    const auto path = file("unlink.bin");
    {
      VfsFile f(path);
      writeSynced(f, 1, 's');
      f.write("unsynced", 0);
    }
    ASSERT_EQ(vfs->xDelete(vfs, path.c_str(), syncDirectory), SQLITE_OK);
    FaultVfs::cutPower({UnsyncedWrites::lost, UnsyncedWrites::lost});
    if (syncDirectory) {
      EXPECT_FALSE(std::filesystem::exists(path));
    } else {
      EXPECT_EQ(contentOf(path), std::string(512, 's'));
      std::filesystem::remove(path);
    }
  }
}

// What a connection in rollback-journal mode, synchronous `mode`, keeps of
// its last commit when the power goes right after it.
int rowsAfterCutFollowingACommit(const std::filesystem::path& path, const char* mode,
                                 UnsyncedWrites directoryChanges) {
  FaultVfs::reset();
  sqlite3* db = openDatabase(path);
  exec(db, (std::string("PRAGMA journal_mode=DELETE; PRAGMA synchronous=") + mode).c_str());
  exec(db, "CREATE TABLE t(v); INSERT INTO t VALUES (1)");
  FaultVfs::startRecording();
  EXPECT_EQ(exec(db, "INSERT INTO t VALUES (2)"), SQLITE_OK);
  FaultVfs::cutPower({UnsyncedWrites::lost, directoryChanges});
  sqlite3_close(db);
  FaultVfs::reset();
  sqlite3* reopened = openDatabase(path, "unix");
  const int rows = rowCount(reopened);
  sqlite3_close(reopened);
  return rows;
}

TEST_F(FaultVfsTest, ACommitSurvivesACutOnceItsJournalsUnlinkIsDurable) {
  EXPECT_EQ(rowsAfterCutFollowingACommit(file("extra.db"), "EXTRA", UnsyncedWrites::lost), 2);
  EXPECT_EQ(rowsAfterCutFollowingACommit(file("kept.db"), "FULL", UnsyncedWrites::kept), 2);
  // FULL does not sync the directory after the unlink: the journal comes
  // back hot and rolls the acknowledged commit back.
  EXPECT_EQ(rowsAfterCutFollowingACommit(file("full.db"), "FULL", UnsyncedWrites::lost), 1);
}

}  // namespace
}  // namespace kestrel::reliability
