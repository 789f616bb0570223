// FacadeSnapshot is every answer a facade gives from memory, written as one
// line of text per question ("favourite events" -> "1 2 3"), so that two
// facades, or one facade before and after a fault, can be compared and
// their differences named in a report.
//
// A facade built anew on a home reads every cache from its stores, so
// `memoryDisagreements` (a facade against a new facade and a new object
// store on the same home) compares what a facade answers from memory with
// what its files hold. It is what every reliability harness calls once its
// work, fault or kill is over.
//
// Thread-safety: none; call it when no other thread uses the facade.
// Ownership: plain values.
#pragma once

#include <KestrelDatabase/objectstore/DataManager.h>
#include <KestrelDatabase/storage/StorageManager.h>

#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kestrel::reliability {

struct FacadeSnapshot {
  /// Question -> answer, both as text.
  std::map<std::string, std::string> answers;

  /// What `facade` answers from memory now. Waits first for the object
  /// store's queued work (see settle()) and lets every store-fed cache
  /// answer its first request.
  static FacadeSnapshot of(StorageManager& facade, DataManager& store);

  /// One line per question answered differently: the question, then both
  /// answers, this one first.
  std::vector<std::string> differences(const FacadeSnapshot& other) const;
};

/// Waits until the store's background queue and the main queue have run
/// every block queued before the call (twice, so that a block one of them
/// queued on the other has run too).
void settle(DataManager& store);

/// `facade`'s memory against a new facade, with a new object store, on the
/// same home; empty when they agree. The new ones are dropped on return.
std::vector<std::string> memoryDisagreements(StorageManager& facade, DataManager& store,
                                             const std::filesystem::path& home);

}  // namespace kestrel::reliability
