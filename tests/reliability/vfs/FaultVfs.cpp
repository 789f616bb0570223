#include "vfs/FaultVfs.h"

#include <KestrelPlatform/Fatal.h>
#include <KestrelPlatform/Log.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <random>
#include <vector>

namespace kestrel::reliability {
namespace {

// The undo log's unit; a torn cut decides in units of PowerCut::sectorSize.
constexpr std::int64_t kRecordSector = 512;

struct ShimFile {
  sqlite3_file base;  // first: SQLite sees a ShimFile as an sqlite3_file
  sqlite3_file* real;
  const char* path;  // owned by SQLite for the file's life; null for temporary files
};

// What a file held at its last sync, as far as it changed since.
struct FileRecord {
  std::int64_t syncedSize = 0;
  // Sector index -> its bytes before the first change since the sync (fewer
  // than a sector where the file ended inside it).
  std::map<std::int64_t, std::string> preImages;
};

struct DirectoryChange {
  bool created = false;  // false: deleted
  std::string path;
  std::string directory;
  std::string image;  // a deleted file's durable content
};

struct State {
  std::mutex mutex;
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs vfs{};
  bool registered = false;

  std::string filter;
  std::array<std::uint64_t, kIoKindCount> counts{};

  std::optional<Fault> fault;
  std::uint64_t faultSeen = 0;  // calls of its kind since it was armed
  std::uint64_t injected = 0;

  bool recording = false;
  std::map<std::string, FileRecord> records;
  std::vector<DirectoryChange> directoryChanges;  // in the order made
  std::optional<PowerCut> cut;
  std::uint64_t cutCountdown = 0;  // counted calls until it happens
  bool powerOff = false;
};

State& state() {
  static State* const instance = new State;  // never destroyed: files may outlive statics
  return *instance;
}

std::size_t index(IoKind kind) { return static_cast<std::size_t>(kind); }

std::string directoryOf(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

bool admitted(const State& s, const char* path) {
  return path != nullptr && (s.filter.empty() || std::strstr(path, s.filter.c_str()) != nullptr);
}

// ---- Plain file access for the undo log and the cut ---------------------------------------------

std::optional<std::string> readWholeFile(const std::string& path) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return std::nullopt;
  std::string content;
  char buffer[65536];
  for (;;) {
    const ssize_t n = ::read(fd, buffer, sizeof buffer);
    if (n <= 0) break;
    content.append(buffer, static_cast<std::size_t>(n));
  }
  ::close(fd);
  return content;
}

void writeWholeFile(const std::string& path, const std::string& content) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    platform::log("FaultVfs: cannot restore %s", path.c_str());
    return;
  }
  if (::pwrite(fd, content.data(), content.size(), 0) != static_cast<ssize_t>(content.size())) {
    platform::log("FaultVfs: cannot restore %s", path.c_str());
  }
  ::close(fd);
}

// What `content` (a file's current bytes) was at its last sync.
std::string durableImage(std::string content, const FileRecord& record) {
  for (const auto& [sector, bytes] : record.preImages) {
    const auto offset = static_cast<std::size_t>(sector * kRecordSector);
    if (content.size() < offset + bytes.size()) content.resize(offset + bytes.size(), '\0');
    content.replace(offset, bytes.size(), bytes);
  }
  content.resize(static_cast<std::size_t>(record.syncedSize), '\0');
  return content;
}

std::int64_t realSize(sqlite3_file* real) {
  sqlite3_int64 size = 0;
  return real->pMethods->xFileSize(real, &size) == SQLITE_OK ? size : 0;
}

// Before a change of [offset, offset + length) of the file: remembers each
// sector's bytes that no earlier change since the last sync has touched.
void recordBeforeChange(State& s, ShimFile& file, std::int64_t offset, std::int64_t length) {
  if (!s.recording || length <= 0 || !admitted(s, file.path)) return;
  const std::int64_t size = realSize(file.real);
  auto [it, isNew] = s.records.try_emplace(file.path);
  if (isNew) it->second.syncedSize = size;
  FileRecord& record = it->second;
  const std::int64_t last = (offset + length - 1) / kRecordSector;
  for (std::int64_t sector = offset / kRecordSector; sector <= last; ++sector) {
    if (record.preImages.count(sector)) continue;
    const std::int64_t start = sector * kRecordSector;
    const std::int64_t held = std::clamp<std::int64_t>(size - start, 0, kRecordSector);
    std::string bytes(static_cast<std::size_t>(held), '\0');
    if (held > 0) file.real->pMethods->xRead(file.real, bytes.data(), static_cast<int>(held), start);
    record.preImages.emplace(sector, std::move(bytes));
  }
}

void directoryMadeDurable(State& s, const std::string& directory) {
  std::erase_if(s.directoryChanges,
                [&](const DirectoryChange& change) { return change.directory == directory; });
}

// ---- The cut -----------------------------------------------------------------------------------

void restoreFile(const std::string& path, const FileRecord& record, const PowerCut& cut,
                 std::mt19937_64& random) {
  const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
  if (fd < 0) return;
  struct stat info {};
  ::fstat(fd, &info);
  const std::int64_t currentSize = info.st_size;
  const bool torn = cut.writes == UnsyncedWrites::torn;
  const std::int64_t finalSize = torn && (random() & 1) ? currentSize : record.syncedSize;
  const std::int64_t unit = std::max<std::int64_t>(1, static_cast<std::int64_t>(cut.sectorSize) /
                                                          kRecordSector);
  std::map<std::int64_t, bool> unitKept;
  for (const auto& [sector, bytes] : record.preImages) {
    if (torn) {
      auto [it, isNew] = unitKept.try_emplace(sector / unit, false);
      if (isNew) it->second = (random() & 1) != 0;
      if (it->second) continue;
    }
    // Put back what the sector held; where the file ended inside it, zeros
    // (the space was allocated but the data never arrived).
    std::string restored = bytes;
    const std::int64_t start = sector * kRecordSector;
    const std::int64_t end = std::min(start + kRecordSector, std::max(currentSize, finalSize));
    if (end - start > static_cast<std::int64_t>(restored.size())) {
      restored.resize(static_cast<std::size_t>(end - start), '\0');
    }
    if (!restored.empty() && ::pwrite(fd, restored.data(), restored.size(), start) < 0) {
      platform::log("FaultVfs: cannot restore %s", path.c_str());
    }
  }
  if (::ftruncate(fd, finalSize) != 0) platform::log("FaultVfs: cannot restore %s", path.c_str());
  ::close(fd);
}

void performCut(State& s, const PowerCut& cut) {
  std::mt19937_64 random(cut.seed);
  if (cut.writes != UnsyncedWrites::kept) {
    for (const auto& [path, record] : s.records) restoreFile(path, record, cut, random);
  }
  std::size_t undone = 0;
  switch (cut.directoryChanges) {
    case UnsyncedWrites::lost: undone = s.directoryChanges.size(); break;
    case UnsyncedWrites::kept: undone = 0; break;
    case UnsyncedWrites::torn: undone = random() % (s.directoryChanges.size() + 1); break;
  }
  for (std::size_t i = 0; i < undone; ++i) {
    const DirectoryChange& change = s.directoryChanges[s.directoryChanges.size() - 1 - i];
    if (change.created) {
      ::unlink(change.path.c_str());
    } else {
      writeWholeFile(change.path, change.image);
    }
  }
  s.records.clear();
  s.directoryChanges.clear();
  s.cut.reset();
  s.fault.reset();
  s.powerOff = true;
}

// ---- The gate every counted call passes ------------------------------------------------------

// SQLITE_OK: go on with the call; otherwise the code it fails with.
int enter(State& s, IoKind kind, const char* path) {
  if (s.powerOff) return FaultVfs::defaultCode(kind);
  if (!admitted(s, path)) return SQLITE_OK;
  ++s.counts[index(kind)];
  if (s.cut && --s.cutCountdown == 0) {
    performCut(s, *s.cut);
    return FaultVfs::defaultCode(kind);
  }
  if (s.fault && s.fault->kind == kind) {
    const std::uint64_t n = ++s.faultSeen;
    if (n == s.fault->nth || (s.fault->persistent && n > s.fault->nth)) {
      ++s.injected;
      return s.fault->code != 0 ? s.fault->code : FaultVfs::defaultCode(kind);
    }
  }
  return SQLITE_OK;
}

ShimFile& shim(sqlite3_file* file) { return *reinterpret_cast<ShimFile*>(file); }

// ---- File methods --------------------------------------------------------------------------------

int shimClose(sqlite3_file* file) {
  ShimFile& f = shim(file);
  const int rc = f.real->pMethods ? f.real->pMethods->xClose(f.real) : SQLITE_OK;
  f.real->pMethods = nullptr;
  return rc;
}

int shimRead(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  ShimFile& f = shim(file);
  if (const int rc = enter(s, IoKind::read, f.path)) {
    if (rc == SQLITE_IOERR_SHORT_READ) std::memset(buffer, 0, static_cast<std::size_t>(amount));
    return rc;
  }
  return f.real->pMethods->xRead(f.real, buffer, amount, offset);
}

int shimWrite(sqlite3_file* file, const void* buffer, int amount, sqlite3_int64 offset) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  ShimFile& f = shim(file);
  if (const int rc = enter(s, IoKind::write, f.path)) return rc;
  recordBeforeChange(s, f, offset, amount);
  return f.real->pMethods->xWrite(f.real, buffer, amount, offset);
}

int shimTruncate(sqlite3_file* file, sqlite3_int64 size) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  ShimFile& f = shim(file);
  if (const int rc = enter(s, IoKind::truncate, f.path)) return rc;
  if (s.recording) {
    const std::int64_t current = realSize(f.real);
    if (current > size) recordBeforeChange(s, f, size, current - size);
  }
  return f.real->pMethods->xTruncate(f.real, size);
}

int shimSync(sqlite3_file* file, int flags) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  ShimFile& f = shim(file);
  if (const int rc = enter(s, IoKind::sync, f.path)) return rc;
  const int rc = f.real->pMethods->xSync(f.real, flags);
  if (rc == SQLITE_OK && s.recording && admitted(s, f.path)) {
    FileRecord& record = s.records[f.path];
    record.preImages.clear();
    record.syncedSize = realSize(f.real);
    directoryMadeDurable(s, directoryOf(f.path));
  }
  return rc;
}

int shimFileSize(sqlite3_file* file, sqlite3_int64* size) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  ShimFile& f = shim(file);
  if (const int rc = enter(s, IoKind::fileSize, f.path)) return rc;
  return f.real->pMethods->xFileSize(f.real, size);
}

int shimLock(sqlite3_file* file, int level) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  ShimFile& f = shim(file);
  if (const int rc = enter(s, IoKind::lock, f.path)) return rc;
  return f.real->pMethods->xLock(f.real, level);
}

int shimUnlock(sqlite3_file* file, int level) {
  ShimFile& f = shim(file);
  return f.real->pMethods->xUnlock(f.real, level);
}

int shimCheckReservedLock(sqlite3_file* file, int* result) {
  ShimFile& f = shim(file);
  return f.real->pMethods->xCheckReservedLock(f.real, result);
}

int shimFileControl(sqlite3_file* file, int op, void* argument) {
  ShimFile& f = shim(file);
  return f.real->pMethods->xFileControl(f.real, op, argument);
}

int shimSectorSize(sqlite3_file* file) {
  ShimFile& f = shim(file);
  return f.real->pMethods->xSectorSize(f.real);
}

int shimDeviceCharacteristics(sqlite3_file* file) {
  ShimFile& f = shim(file);
  return f.real->pMethods->xDeviceCharacteristics(f.real);
}

int shimShmMap(sqlite3_file* file, int region, int size, int extend, void volatile** pointer) {
  ShimFile& f = shim(file);
  if (f.real->pMethods->iVersion < 2) return SQLITE_IOERR;
  return f.real->pMethods->xShmMap(f.real, region, size, extend, pointer);
}

int shimShmLock(sqlite3_file* file, int offset, int n, int flags) {
  ShimFile& f = shim(file);
  if (f.real->pMethods->iVersion < 2) return SQLITE_IOERR;
  return f.real->pMethods->xShmLock(f.real, offset, n, flags);
}

void shimShmBarrier(sqlite3_file* file) {
  ShimFile& f = shim(file);
  if (f.real->pMethods->iVersion >= 2) f.real->pMethods->xShmBarrier(f.real);
}

int shimShmUnmap(sqlite3_file* file, int deleteFlag) {
  ShimFile& f = shim(file);
  if (f.real->pMethods->iVersion < 2) return SQLITE_OK;
  return f.real->pMethods->xShmUnmap(f.real, deleteFlag);
}

// Version 2: no xFetch, so SQLite never maps the file and every read is an xRead.
const sqlite3_io_methods kFileMethods = {
    2,
    shimClose,
    shimRead,
    shimWrite,
    shimTruncate,
    shimSync,
    shimFileSize,
    shimLock,
    shimUnlock,
    shimCheckReservedLock,
    shimFileControl,
    shimSectorSize,
    shimDeviceCharacteristics,
    shimShmMap,
    shimShmLock,
    shimShmBarrier,
    shimShmUnmap,
    nullptr,
    nullptr,
};

// ---- VFS methods ---------------------------------------------------------------------------------

int shimOpen(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  ShimFile& f = shim(file);
  f.base.pMethods = nullptr;
  f.real = reinterpret_cast<sqlite3_file*>(&f + 1);
  f.path = name;
  if (const int rc = enter(s, IoKind::open, name)) return rc;
  const bool track = name != nullptr && s.recording && admitted(s, name);
  const bool existed = track && ::access(name, F_OK) == 0;
  const int rc = s.real->xOpen(s.real, name, f.real, flags, outFlags);
  if (rc != SQLITE_OK) {
    // SQLite closes nothing after a failed open; the real file may hold methods.
    if (f.real->pMethods) f.real->pMethods->xClose(f.real);
    f.real->pMethods = nullptr;
    return rc;
  }
  f.base.pMethods = &kFileMethods;
  if (track && !existed && ::access(name, F_OK) == 0) {
    s.directoryChanges.push_back({true, name, directoryOf(name), {}});
    s.records[name].syncedSize = 0;
  }
  return SQLITE_OK;
}

int shimDelete(sqlite3_vfs*, const char* name, int syncDirectory) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  if (const int rc = enter(s, IoKind::remove, name)) return rc;
  std::optional<DirectoryChange> change;
  if (s.recording && admitted(s, name)) {
    if (auto content = readWholeFile(name)) {
      const auto record = s.records.find(name);
      change = DirectoryChange{false, name, directoryOf(name),
                               record == s.records.end() ? std::move(*content)
                                                         : durableImage(*content, record->second)};
    }
  }
  const int rc = s.real->xDelete(s.real, name, syncDirectory);
  if (change && rc == SQLITE_OK) {
    s.records.erase(name);
    s.directoryChanges.push_back(std::move(*change));
    if (syncDirectory) directoryMadeDurable(s, directoryOf(name));
  }
  return rc;
}

int shimAccess(sqlite3_vfs*, const char* name, int flags, int* result) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  if (const int rc = enter(s, IoKind::access, name)) return rc;
  return s.real->xAccess(s.real, name, flags, result);
}

int shimFullPathname(sqlite3_vfs*, const char* name, int size, char* out) {
  return state().real->xFullPathname(state().real, name, size, out);
}
void* shimDlOpen(sqlite3_vfs*, const char* name) {
  return state().real->xDlOpen(state().real, name);
}
void shimDlError(sqlite3_vfs*, int size, char* out) {
  state().real->xDlError(state().real, size, out);
}
void (*shimDlSym(sqlite3_vfs*, void* handle, const char* symbol))(void) {
  return state().real->xDlSym(state().real, handle, symbol);
}
void shimDlClose(sqlite3_vfs*, void* handle) {
  state().real->xDlClose(state().real, handle);
}
int shimRandomness(sqlite3_vfs*, int size, char* out) {
  return state().real->xRandomness(state().real, size, out);
}
int shimSleep(sqlite3_vfs*, int microseconds) {
  return state().real->xSleep(state().real, microseconds);
}
int shimCurrentTime(sqlite3_vfs*, double* now) {
  return state().real->xCurrentTime(state().real, now);
}
int shimGetLastError(sqlite3_vfs*, int size, char* out) {
  return state().real->xGetLastError ? state().real->xGetLastError(state().real, size, out) : 0;
}
int shimCurrentTimeInt64(sqlite3_vfs*, sqlite3_int64* now) {
  if (state().real->iVersion >= 2 && state().real->xCurrentTimeInt64) {
    return state().real->xCurrentTimeInt64(state().real, now);
  }
  double days = 0;
  const int rc = state().real->xCurrentTime(state().real, &days);
  *now = static_cast<sqlite3_int64>(days * 86400000.0);
  return rc;
}

}  // namespace

// ---- IoCounts --------------------------------------------------------------------------------------

const char* ioKindName(IoKind kind) {
  static constexpr const char* kNames[kIoKindCount] = {
      "xOpen", "xDelete", "xAccess", "xRead", "xWrite", "xTruncate", "xSync", "xFileSize", "xLock"};
  return kNames[index(kind)];
}

std::uint64_t IoCounts::total() const {
  std::uint64_t sum = 0;
  for (const std::uint64_t n : perKind) sum += n;
  return sum;
}

std::string IoCounts::text() const {
  std::string out;
  for (std::size_t i = 0; i < kIoKindCount; ++i) {
    if (perKind[i] == 0) continue;
    if (!out.empty()) out += ", ";
    out += ioKindName(static_cast<IoKind>(i));
    out += ' ';
    out += std::to_string(perKind[i]);
  }
  return out;
}

// ---- FaultVfs ---------------------------------------------------------------------------------------

void FaultVfs::install(bool asDefault) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  if (!s.real) {
    s.real = sqlite3_vfs_find(nullptr);
    if (!s.real) platform::fatal("FaultVfs: SQLite has no default VFS");
    s.vfs.iVersion = 2;
    s.vfs.szOsFile = static_cast<int>(sizeof(ShimFile)) + s.real->szOsFile;
    s.vfs.mxPathname = s.real->mxPathname;
    s.vfs.zName = kName;
    s.vfs.xOpen = shimOpen;
    s.vfs.xDelete = shimDelete;
    s.vfs.xAccess = shimAccess;
    s.vfs.xFullPathname = shimFullPathname;
    s.vfs.xDlOpen = shimDlOpen;
    s.vfs.xDlError = shimDlError;
    s.vfs.xDlSym = shimDlSym;
    s.vfs.xDlClose = shimDlClose;
    s.vfs.xRandomness = shimRandomness;
    s.vfs.xSleep = shimSleep;
    s.vfs.xCurrentTime = shimCurrentTime;
    s.vfs.xGetLastError = shimGetLastError;
    s.vfs.xCurrentTimeInt64 = shimCurrentTimeInt64;
  }
  if (sqlite3_vfs_register(&s.vfs, asDefault ? 1 : 0) != SQLITE_OK) {
    platform::fatal("FaultVfs: cannot register the VFS");
  }
  s.registered = true;
}

void FaultVfs::uninstall() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  if (!s.registered) return;
  sqlite3_vfs_unregister(&s.vfs);
  s.registered = false;
  // Unregistering the default makes the first remaining VFS the default;
  // make sure that is the real one again.
  sqlite3_vfs_register(s.real, 1);
}

void FaultVfs::reset() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  s.filter.clear();
  s.counts.fill(0);
  s.fault.reset();
  s.faultSeen = 0;
  s.injected = 0;
  s.recording = false;
  s.records.clear();
  s.directoryChanges.clear();
  s.cut.reset();
  s.cutCountdown = 0;
  s.powerOff = false;
}

void FaultVfs::setFileFilter(const std::string& fragment) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  s.filter = fragment;
}

IoCounts FaultVfs::counts() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  IoCounts counts;
  counts.perKind = s.counts;
  return counts;
}

void FaultVfs::resetCounts() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  s.counts.fill(0);
}

void FaultVfs::arm(const Fault& fault) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  s.fault = fault;
  s.faultSeen = 0;
}

void FaultVfs::disarm() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  s.fault.reset();
}

std::uint64_t FaultVfs::faultsInjected() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  return s.injected;
}

int FaultVfs::defaultCode(IoKind kind) {
  switch (kind) {
    case IoKind::open: return SQLITE_CANTOPEN;
    case IoKind::remove: return SQLITE_IOERR_DELETE;
    case IoKind::access: return SQLITE_IOERR_ACCESS;
    case IoKind::read: return SQLITE_IOERR_READ;
    case IoKind::write: return SQLITE_IOERR_WRITE;
    case IoKind::truncate: return SQLITE_IOERR_TRUNCATE;
    case IoKind::sync: return SQLITE_IOERR_FSYNC;
    case IoKind::fileSize: return SQLITE_IOERR_FSTAT;
    case IoKind::lock: return SQLITE_IOERR_LOCK;
  }
  return SQLITE_IOERR;
}

void FaultVfs::startRecording() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  s.recording = true;
  s.records.clear();
  s.directoryChanges.clear();
}

void FaultVfs::armPowerCut(std::uint64_t nthCall, const PowerCut& cut) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  if (!s.recording) platform::fatal("FaultVfs: a power cut needs recording");
  s.cut = cut;
  s.cutCountdown = std::max<std::uint64_t>(nthCall, 1);
}

void FaultVfs::cutPower(const PowerCut& cut) {
  State& s = state();
  std::lock_guard lock(s.mutex);
  if (!s.recording) platform::fatal("FaultVfs: a power cut needs recording");
  performCut(s, cut);
}

bool FaultVfs::powerIsOff() {
  State& s = state();
  std::lock_guard lock(s.mutex);
  return s.powerOff;
}

}  // namespace kestrel::reliability
