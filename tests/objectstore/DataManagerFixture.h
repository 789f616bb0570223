// What the DataManager tests share: a temporary application home with a
// DataManager for it, a fixed clock, the standard output captured (where
// save failures are printed), and a way to write a store of the first model
// version.
#pragma once

#include "support/TempDir.h"

#include <KestrelDatabase/objectstore/DataManager.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kestrel::testing {

/// Redirects standard output (file descriptor 1) to a file while it lives;
/// when the test has failed meanwhile, what was captured (gtest's messages
/// among it) is written out at the end.
class StdoutCapture {
 public:
  StdoutCapture();
  ~StdoutCapture();
  StdoutCapture(const StdoutCapture&) = delete;
  StdoutCapture& operator=(const StdoutCapture&) = delete;

  /// Everything written so far.
  std::string text() const;
  /// The lines written so far.
  std::vector<std::string> lines() const;

 private:
  std::filesystem::path file_;
  int saved_ = -1;
};

/// A vote of the first model version (MOVote: id, vote, eventTimestamp, postFlag).
struct FirstLayoutVote {
  std::int64_t id = 0;
  std::optional<std::string> vote;
  std::optional<std::int64_t> eventTimestamp;
  std::optional<std::int64_t> postFlag;
};

/// Writes the object store of `home` as the first model version left it.
void writeFirstLayoutStore(const std::filesystem::path& home, const std::vector<FirstLayoutVote>& votes);

class DataManagerTest : public ::testing::Test {
 protected:
  static constexpr double kNow = 1'700'000'000.0;

  void SetUp() override;
  void TearDown() override;

  /// A manager for the home, loaded.
  std::shared_ptr<DataManager> loaded();
  /// Every stored vote as "<eventId>-<type>=<vote>/<add>/<edit>/<previous>/<timestamp>", in store order.
  std::vector<std::string> storedVotes(DataManager& manager);
  /// Records per entity in the home's store file, read-only.
  std::int64_t countOnDisk(const std::string& entity);

  TempDir home_;
  std::shared_ptr<DataManager> manager_;
};

}  // namespace kestrel::testing
