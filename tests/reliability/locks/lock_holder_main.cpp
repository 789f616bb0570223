// Holds a lock on an SQLite file from a process of its own, as another
// process of the application (a widget, an extension) would:
//
//   kestrel_lock_holder FILE shared|reserved|exclusive MILLISECONDS
//
// Takes the lock (waiting up to 10 s for the file's current writer), prints
// "held", keeps it for the given time, lets it go and prints "released".
// A lock it cannot take prints "failed <reason>" and exits 1.
//   shared:    a read inside an open transaction (others may read, no one
//              may commit);
//   reserved:  BEGIN IMMEDIATE (others may read, no one else may write);
//   exclusive: BEGIN EXCLUSIVE (no one else may read or write).
#include <sqlite3.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: kestrel_lock_holder FILE shared|reserved|exclusive MILLISECONDS\n");
    return 2;
  }
  const std::string kind = argv[2];
  const long milliseconds = std::strtol(argv[3], nullptr, 10);
  sqlite3* db = nullptr;
  if (sqlite3_open_v2(argv[1], &db, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) {
    std::printf("failed open: %s\n", db ? sqlite3_errmsg(db) : "no memory");
    return 1;
  }
  sqlite3_busy_timeout(db, 10000);
  const char* take = kind == "shared"     ? "BEGIN DEFERRED; SELECT count(*) FROM sqlite_master"
                     : kind == "reserved" ? "BEGIN IMMEDIATE"
                     : kind == "exclusive" ? "BEGIN EXCLUSIVE"
                                           : nullptr;
  if (take == nullptr) {
    std::fprintf(stderr, "kestrel_lock_holder: unknown lock kind %s\n", kind.c_str());
    return 2;
  }
  if (sqlite3_exec(db, take, nullptr, nullptr, nullptr) != SQLITE_OK) {
    std::printf("failed %s\n", sqlite3_errmsg(db));
    sqlite3_close_v2(db);
    return 1;
  }
  std::printf("held\n");
  std::fflush(stdout);
  // The hold itself is the fault: the facade meets it for this long.
  std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
  sqlite3_exec(db, "ROLLBACK", nullptr, nullptr, nullptr);
  sqlite3_close_v2(db);
  std::printf("released\n");
  std::fflush(stdout);
  return 0;
}
