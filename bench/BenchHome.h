// An application home for the table-level benchmark cases: a temporary
// folder with the system's database, created through the start path
// (FMDBHelper) like the application's, and removed with the home.
//
// Thread-safety: none; benchmarks run on one thread.
// Ownership: owns its helper (and through it the database queue).
#pragma once

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace kestrel::bench {

class BenchHome {
 public:
  /// A new home under the temporary directory, its folder name starting
  /// with `prefix`. Stops the process when it cannot be made or opened.
  explicit BenchHome(const std::string& prefix);
  ~BenchHome();
  BenchHome(const BenchHome&) = delete;
  BenchHome& operator=(const BenchHome&) = delete;

  const std::shared_ptr<FMDatabaseQueue>& queue() const { return queue_; }
  std::string databasePath() const { return helper_->databasePath().string(); }

  /// Runs the statements in one transaction on the home's queue; stops the
  /// process when one fails.
  void run(const std::vector<std::string>& statements) const;

 private:
  std::filesystem::path root_;
  std::unique_ptr<FMDBHelper> helper_;
  std::shared_ptr<FMDatabaseQueue> queue_;
};

}  // namespace kestrel::bench
