// FaultVfs is an SQLite VFS for the reliability harnesses: it wraps the
// process's real VFS (registered under kName) and, on request, counts every
// I/O call, fails the Nth call of a kind with the error a failing disk
// gives, or "loses power": every file goes back to what its last sync made
// durable, plus none, all or a seeded random set of the sectors written
// since, and the process's I/O stops. Installed as the process default, it
// serves both stores without library changes: "kestrel.db" (FMDatabase
// opens it with no VFS name) and the object store's own connection.
//
// Counting. Every xOpen, xDelete and xAccess of the VFS and every xRead,
// xWrite, xTruncate, xSync, xFileSize and xLock of a file is one call of
// its IoKind, counted when its file's path contains the filter (empty: every
// file). Nameless temporary files are passed through and never counted,
// faulted or recorded; xUnlock, xCheckReservedLock, xClose and the rest are
// passed through uncounted. A file method table without memory mapping is
// given to SQLite, so every page read is an xRead. For a fixed workload in
// one thread, the counts are the same on every run.
//
// Faults. arm() makes the Nth call of one kind (counted from arm()) fail
// with its code, once or from then on; the call does not reach the file. A
// short read fills the buffer with zeros, as SQLite requires.
//
// Power loss. While recording (startRecording()), the VFS keeps for every
// file the size at its last xSync and, for each 512-byte sector changed
// since (by a write or a truncation), the bytes it held before: an undo log
// of what is not yet durable. At the cut (the Nth call after armPowerCut(),
// which does not happen, or cutPower()) the real files are rewritten: each
// file's unsynced sectors are put back (UnsyncedWrites::lost), left
// (kept), or each sector unit of PowerCut::sectorSize kept or put back by a
// coin of the seed, with the file size either its synced or its current one
// (torn: a page written as several sectors may come back half old, half
// new). Directory entries are modelled too: a file created, or deleted,
// since its directory was last made durable may vanish, or come back with
// the content its last sync gave it (a rollback journal whose unlink was not
// synced comes back hot). A directory is made durable by any xSync of a file
// in it (as the journalling file systems do; SQLite also syncs a new
// journal's directory at its first sync) and by an xDelete asking for a
// directory sync (synchronous=EXTRA). PowerCut::directoryChanges decides:
// lost undoes every such change, kept none, torn the last ones (a seeded
// number, the later first: metadata reaches the disk in order). Not
// modelled: the shared-memory file of WAL mode (it is volatile anyway),
// xSync with SQLITE_SYNC_DATAONLY leaving the size behind (every sync
// counts as full), and reordering of writes within a synced interval
// beyond the sector choice. After the cut every counted call fails with its
// kind's code (xOpen: SQLITE_CANTOPEN) until reset(); xUnlock and xClose
// still work so that connections can be closed. Then reopen the files with
// the real VFS (uninstall(), or reset() which passes everything through).
//
// Thread-safety: every member may be called from any thread; the VFS
// serialises its calls (each counted call, with its I/O, runs under one
// lock, so a cut falls between two whole calls).
// Ownership: process-wide state, never destroyed. A file opened through the
// VFS stays on it until closed, also after uninstall().
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kestrel::reliability {

/// The kinds of I/O call counted and faulted.
enum class IoKind : std::size_t { open, remove, access, read, write, truncate, sync, fileSize, lock };
inline constexpr std::size_t kIoKindCount = 9;
/// "xOpen", "xDelete", "xAccess", "xRead", "xWrite", "xTruncate", "xSync",
/// "xFileSize", "xLock".
const char* ioKindName(IoKind kind);

/// Calls counted per kind.
struct IoCounts {
  std::array<std::uint64_t, kIoKindCount> perKind{};

  std::uint64_t operator[](IoKind kind) const { return perKind[static_cast<std::size_t>(kind)]; }
  std::uint64_t total() const;
  /// "xRead 12, xWrite 3, ..." (kinds with no calls left out).
  std::string text() const;
};

/// One injected failure.
struct Fault {
  IoKind kind = IoKind::write;
  /// 1-based: the Nth call of `kind` counted after arm().
  std::uint64_t nth = 1;
  /// The SQLite result code the call returns; 0 takes defaultCode(kind).
  /// Usual others: SQLITE_FULL for a write, SQLITE_BUSY for a lock,
  /// SQLITE_IOERR_SHORT_READ for a read.
  int code = 0;
  /// False: only the Nth call fails (a transient fault). True: every call
  /// of the kind from the Nth on, until disarm() or reset().
  bool persistent = false;
};

enum class UnsyncedWrites { lost, kept, torn };

/// What survives a power cut.
struct PowerCut {
  /// Sectors written (or truncated away) since their file's last sync.
  UnsyncedWrites writes = UnsyncedWrites::lost;
  /// Files created or deleted since their directory was last made durable
  /// (torn: a seeded number of the latest changes is undone).
  UnsyncedWrites directoryChanges = UnsyncedWrites::lost;
  /// The unit a torn cut keeps or loses whole: 512 or 4096 (a multiple of 512).
  std::size_t sectorSize = 512;
  /// Draws every torn choice.
  std::uint64_t seed = 0;
};

class FaultVfs {
 public:
  static constexpr const char* kName = "kestrel-faults";

  /// Registers the VFS over the current default one (once; later calls
  /// only change whether it is the default). `asDefault`: connections that
  /// name no VFS use it.
  static void install(bool asDefault = true);
  /// Unregisters it; the real VFS is the default again. Files still open
  /// through it keep working (passed through once reset()).
  static void uninstall();
  /// Lifts everything: counts zero, no fault, no cut armed, recording off,
  /// power on, filter empty. The VFS then passes every call through.
  static void reset();

  /// Only files whose path contains `fragment` are counted, faulted and
  /// recorded ("" = every file; "kestrel.db" also matches its journal).
  static void setFileFilter(const std::string& fragment);

  static IoCounts counts();
  static void resetCounts();

  /// Arms one fault (replacing any armed one); its N counts from now.
  static void arm(const Fault& fault);
  static void disarm();
  /// How many calls failed by an armed fault since reset().
  static std::uint64_t faultsInjected();
  /// The code a fault of this kind returns unless told otherwise:
  /// SQLITE_CANTOPEN, SQLITE_IOERR_DELETE, _ACCESS, _READ, _WRITE,
  /// _TRUNCATE, _FSYNC, _FSTAT, _LOCK.
  static int defaultCode(IoKind kind);

  /// From now on keeps the undo log of what is not durable; what the files
  /// hold now counts as durable.
  static void startRecording();
  /// The Nth counted call (any kind) after this one cuts the power instead
  /// of running. REQUIRES: recording.
  static void armPowerCut(std::uint64_t nthCall, const PowerCut& cut);
  /// Cuts the power now. REQUIRES: recording.
  static void cutPower(const PowerCut& cut);
  /// Whether a cut has happened (since reset()).
  static bool powerIsOff();
};

}  // namespace kestrel::reliability
