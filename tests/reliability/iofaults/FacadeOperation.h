// The operations the I/O-fault harness runs under faults: every write of
// StorageManager (table and object-store records) and its reads, each in
// the future form or the handler form, with its answer as text, and the
// prepared home they all start from.
//
// Thread-safety: an operation is started from one thread; its answer may
// arrive on any.
// Ownership: a started operation shares its state with the handler it gave
// the facade, so the handler may run after the starter has returned.
#pragma once

#include <KestrelDatabase/storage/StorageManager.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kestrel::reliability {

/// What an operation answers: "false" for a write's failure value,
/// "failed" for a read's (std::nullopt), otherwise the value as text.
struct Answer {
  std::string text;
  /// How often the handler ran (1 for the future form once ready).
  int deliveries = 0;

  bool isFailure() const { return text == "false" || text == "failed"; }
};

/// An operation once started: wait for its answer, then read it.
struct PendingAnswer {
  std::function<bool(std::chrono::milliseconds bound)> waitFor;
  std::function<Answer()> get;
};

struct FacadeOperation {
  std::string name;
  /// Starts it in the handler form (true) or the future form (false).
  std::function<PendingAnswer(StorageManager& facade, bool handlerForm)> start;
  /// False for operations made of independent steps (cleanDB) whose
  /// failure may leave some steps done: the store is then checked only for
  /// losses of what the preparation stored.
  bool isWhole = true;
};

/// The clock every run is fixed at.
inline constexpr std::int64_t kNow = 1'700'000'000;

/// Stores what every operation works on (favourites, followed entities,
/// pins, votes, chat, TV channels, records of every object-store entity);
/// false when any write of it failed.
bool prepareHome(StorageManager& facade);

/// Every operation, in a fixed order.
std::vector<FacadeOperation> facadeOperations();

/// What the files of a home hold beyond what the caches show: the rows
/// and records that only reads reach, one line of text per question,
/// read through `facade` (a fresh one on the home).
std::map<std::string, std::string> storedRecords(StorageManager& facade);

}  // namespace kestrel::reliability
