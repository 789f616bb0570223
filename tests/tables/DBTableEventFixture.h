// A fresh database with all twelve tables in a temporary home, the clock fixed
// at kNow, and helpers to write rows with raw SQL and read single values back,
// for the event table's tests.
#pragma once

#include <KestrelDatabase/schema/FMDBHelper.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/tables/DBTableEvent.h>
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "support/LogCapture.h"
#include "support/TempDir.h"

namespace kestrel::testing {

constexpr std::int64_t kNowSeconds = 1'700'000'000;
constexpr double kNow = static_cast<double>(kNowSeconds);

/// Records what a completion received and how often it was called.
template <class T>
struct Captured {
  int calls = 0;
  std::optional<T> value;
  std::function<void(T)> completion() {
    return [this](T received) {
      ++calls;
      value = std::move(received);
    };
  }
};

/// Records what a read's completion received: `value` holds the answer of a
/// read that ran, `failed` says the read reported a failure (std::nullopt).
template <class T>
struct CapturedRead {
  int calls = 0;
  bool failed = false;
  std::optional<T> value;
  std::function<void(ReadResult<T>)> completion() {
    return [this](ReadResult<T> received) {
      ++calls;
      failed = !received.has_value();
      value = std::move(received);
    };
  }
};

class DBTableEventTest : public ::testing::Test {
 protected:
  using Queue = std::shared_ptr<FMDatabaseQueue>;

  void SetUp() override {
    platform::Clock::setFixed(kNow);
    helper_ = FMDBHelper::forHome(home_.path());
    queue_ = helper_->getDBQueue();
    ASSERT_NE(queue_, nullptr);
    logs_.clear();  // the start logs its already-applied upgrades
  }
  void TearDown() override {
    helper_.reset();
    platform::Clock::reset();
  }

  /// Runs one statement; fails the test when it fails.
  void exec(const std::string& sql) {
    bool ok = false;
    queue_->inDatabase([&](FMDatabase* db) { ok = db && db->executeUpdate(sql); });
    ASSERT_TRUE(ok) << sql;
  }

  /// One column of the row with this ID, as text (absent for NULL or no row).
  std::optional<std::string> column(std::int64_t id, const std::string& name) {
    std::optional<std::string> out;
    queue_->inDatabase([&](FMDatabase* db) {
      out = db->stringForQuery("SELECT " + name +
                               " FROM EventTable_ WHERE ID = " + std::to_string(id));
    });
    return out;
  }

  /// Follows a team or a unique tournament ("MyTeamTable" or "MyLeagueTable").
  void follow(const std::string& table, std::int64_t id) {
    exec("INSERT INTO " + table + " (ID) VALUES (" + std::to_string(id) + ")");
  }

  /// Inserts a favourite (or, with `muted` absent, an entity-owned event).
  bool insert(const model::Event& event, std::optional<bool> muted) {
    Captured<bool> done;
    if (muted) DBTableEvent::insertEvent(event, *muted, queue_, done.completion());
    if (!muted) DBTableEvent::insertEntityOwnedEvent(event, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    return done.value.value_or(false);
  }
  bool insertFavorite(const model::Event& e, bool muted = false) { return insert(e, muted); }
  bool insertOwned(const model::Event& event) { return insert(event, std::nullopt); }

  /// The row of that ID read back (the read must succeed).
  std::optional<model::Event> read(std::int64_t id) {
    CapturedRead<std::optional<model::Event>> done;
    DBTableEvent::getEvent(id, queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    EXPECT_FALSE(done.failed);
    return done.value.value_or(std::nullopt);
  }

  /// The set one of the ID reads delivers (the read must succeed).
  IDSet ids(void (*read)(const Queue&, const IDSetCompletion&)) {
    CapturedRead<IDSet> done;
    read(queue_, done.completion());
    EXPECT_EQ(done.calls, 1);
    EXPECT_FALSE(done.failed);
    return done.value.value_or(IDSet{});
  }

  /// A minimal event: ID, status and start relative to kNow (absent: NULL).
  static model::Event event(std::int64_t id, std::int64_t status = 3,
                            std::optional<std::int64_t> startOffset = 0) {
    model::Event out{.ID = id, .status = model::EventStatus(status)};
    if (startOffset) out.startTimestamp = kNowSeconds + *startOffset;
    return out;
  }

  LogCapture logs_;
  TempDir home_;
  std::unique_ptr<FMDBHelper> helper_;
  Queue queue_;
};

}  // namespace kestrel::testing
