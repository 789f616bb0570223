// The fresh database of the event tests, for the tests of the smaller tables:
// helpers to call an operation and see whether (and how often) its completion
// came, to read rows back as text, and to move the fixed clock.
#pragma once

#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>
#include <KestrelDatabase/sql/FMResultSet.h>
#include <KestrelPlatform/Clock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tables/DBTableEventFixture.h"

namespace kestrel::testing {

class SmallTableTest : public DBTableEventTest {
 protected:
  using Row = std::vector<std::optional<std::string>>;

  /// Calls `operation` with a completion; what the completion received, or
  /// absent when it was not called. A second call fails the test.
  template <class T, class Operation>
  static std::optional<T> outcome(Operation&& operation) {
    Captured<T> done;
    std::forward<Operation>(operation)(done.completion());
    EXPECT_LE(done.calls, 1) << "a completion is called at most once";
    return done.calls == 1 ? std::move(done.value) : std::nullopt;
  }

  /// The same for an operation that must call its completion.
  template <class T, class Operation>
  static T result(Operation&& operation) {
    auto value = outcome<T>(std::forward<Operation>(operation));
    EXPECT_TRUE(value.has_value()) << "the completion was not called";
    return value.value_or(T{});
  }

  /// The answer of a read that must call its completion once, and succeed.
  template <class T, class Operation>
  static T read(Operation&& operation) {
    CapturedRead<T> done;
    std::forward<Operation>(operation)(done.completion());
    EXPECT_EQ(done.calls, 1) << "a read's completion is called exactly once";
    EXPECT_FALSE(done.failed) << "the read failed";
    return done.value.value_or(T{});
  }

  /// Every row of the query, each column as text (NULL as absent).
  std::vector<Row> rows(const std::string& sql) {
    std::vector<Row> out;
    queue_->inDatabase([&](FMDatabase* db) {
      const auto resultSet = db->executeQuery(sql);
      if (!resultSet) return;
      while (resultSet->next()) {
        Row row;
        for (int i = 0; i < resultSet->columnCount(); ++i) {
          row.push_back(resultSet->stringForColumnIndex(i));
        }
        out.push_back(std::move(row));
      }
    });
    return out;
  }

  /// Seconds since 1970 relative to the fixture's now.
  static void setNow(double offset) { platform::Clock::setFixed(kNow + offset); }
};

}  // namespace kestrel::testing
