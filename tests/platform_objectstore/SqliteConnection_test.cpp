// The store's connection binds every byte of a value, and a value SQLite
// cannot take fails the statement instead of turning into a NULL: a save that
// holds one fails as a whole, a fetch by one fails.
#include "GardenModel.h"
#include "support/TempDir.h"

#include <KestrelPlatform/ObjectStore/Predicate.h>
#include <KestrelPlatform/ObjectStore/SqliteConnection.h>
#include <KestrelPlatform/ObjectStore/SqliteStore.h>

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

namespace kestrel::platform {
namespace {

class SqliteConnectionTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::optional<StoreError> error;
    connection_ = SqliteConnection::open(dir_.path() / "store.sqlite", false, error);
    ASSERT_NE(connection_, nullptr);
    ASSERT_FALSE(connection_->execute("CREATE TABLE T (K INTEGER PRIMARY KEY, S TEXT, D BLOB)"));
  }

  /// Every row as "<key>:<S>:<D>" (NULL as "-"), read back as the store reads.
  std::vector<std::string> rows() {
    std::vector<std::string> out;
    std::optional<StoreError> error;
    sqlite3_stmt* statement = connection_->statement("SELECT K, S, D FROM T ORDER BY K", error);
    EXPECT_NE(statement, nullptr);
    while (statement != nullptr && sqlite3_step(statement) == SQLITE_ROW) {
      const ObjectValue text = SqliteConnection::column(statement, 1, AttributeType::string);
      const ObjectValue data = SqliteConnection::column(statement, 2, AttributeType::binary);
      out.push_back(std::to_string(sqlite3_column_int64(statement, 0)) + ":" +
                    (text.text() ? *text.text() : "-") + ":" +
                    (data.data() ? std::string(data.data()->begin(), data.data()->end()) : "-"));
    }
    if (statement != nullptr) sqlite3_reset(statement);
    return out;
  }

  testing::TempDir dir_;
  std::unique_ptr<SqliteConnection> connection_;
};

TEST_F(SqliteConnectionTest, TextsAndDataKeepEveryByte) {
  static constexpr char kRaw[] = "Club \"Atl\xC3\xA9tico\" \0 \xFF\xFE";
  const std::string text(kRaw, sizeof kRaw - 1);
  const Bytes data{0, 'a', 0xFF, 0};
  ASSERT_FALSE(connection_->run("INSERT INTO T VALUES (?, ?, ?)", {1, text, data}));
  ASSERT_FALSE(connection_->run("INSERT INTO T VALUES (?, ?, ?)", {2, "", Bytes{}}));
  EXPECT_EQ(rows(),
            (std::vector<std::string>{"1:" + text + ":" + std::string("\0a\xFF\0", 4), "2::"}));
}

TEST_F(SqliteConnectionTest, AValueTheStatementHasNoPlaceForFailsItAndWritesNothing) {
  const std::optional<StoreError> error =
      connection_->run("INSERT INTO T (K, S) VALUES (?, ?)", {1, "a", "one too many"});
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->userInfo.at("sqliteCode"), std::to_string(SQLITE_RANGE));
  EXPECT_EQ(error->userInfo.at("parameter"), "3");
  EXPECT_TRUE(rows().empty());
  // The cached statement is usable again afterwards.
  EXPECT_FALSE(connection_->run("INSERT INTO T (K, S) VALUES (?, ?)", {1, "a"}));
  EXPECT_EQ(rows(), std::vector<std::string>{"1:a:-"});
}

// ---- The store: a value SQLite cannot take -------------------------------------------

// SQLite takes at most 10^9 bytes in one value.
std::string beyondTheLengthLimit() {
  return std::string(1'000'000'001, 'x');
}

class StoreValuesTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::optional<StoreError> error;
    store_ = SqliteStore::open(dir_.path() / "Garden.sqlite",
                               testing::modelFromJson(testing::gardenModelJson()),
                               StoreDescription{}, {}, error);
    ASSERT_NE(store_, nullptr) << (error ? error->fullDescription() : "");
    plant_ = store_->version()->entity("Plant");
  }

  /// Plant(id, name, watered, note, rank) with this id and name.
  StoreChanges::Write plant(std::int64_t id, ObjectValue name) {
    std::vector<ObjectValue> values;
    values.emplace_back(id);
    values.push_back(std::move(name));
    values.emplace_back(true);
    values.emplace_back(Bytes{});
    values.emplace_back();
    return {plant_, store_->allocatePrimaryKey(*plant_), std::move(values)};
  }

  /// The ids of the plants a fetch with `predicate` (none: all) selects.
  std::vector<std::int64_t> ids(const Predicate* predicate, std::optional<StoreError>& error) {
    Predicate::Bound bound;
    SqliteStore::Query query;
    query.entity = plant_.get();
    if (predicate != nullptr) {
      error = predicate->bind(*plant_, bound);
      if (error) return {};
      query.predicate = &bound;
    }
    std::vector<std::int64_t> found;
    error = store_->fetch(query, [&](std::int64_t, std::span<ObjectValue> values) {
      found.push_back(*values[0].integer());
    });
    return found;
  }

  testing::TempDir dir_;
  std::shared_ptr<SqliteStore> store_;
  std::shared_ptr<const EntityDescription> plant_;
};

TEST_F(StoreValuesTest, ASaveHoldingATextBeyondTheLimitFailsAsAWholeAndStoresNoNull) {
  StoreChanges changes;
  changes.inserted.push_back(plant(1, "rose"));
  changes.inserted.push_back(plant(2, beyondTheLengthLimit()));
  const std::optional<StoreError> error = store_->save(changes);
  changes = {};
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->userInfo.at("sqliteCode"), std::to_string(SQLITE_TOOBIG));
  std::optional<StoreError> fetchError;
  EXPECT_TRUE(ids(nullptr, fetchError).empty()) << "the save's other write is gone too";
  EXPECT_FALSE(fetchError);

  // The store goes on.
  changes.inserted.push_back(plant(3, "tulip"));
  EXPECT_FALSE(store_->save(changes));
  EXPECT_EQ(ids(nullptr, fetchError), std::vector<std::int64_t>{3});
}

TEST_F(StoreValuesTest, AFetchByATextBeyondTheLimitFailsInsteadOfMatchingNull) {
  StoreChanges changes;
  changes.inserted.push_back(plant(1, ObjectValue::null()));  // a plant without a name
  ASSERT_FALSE(store_->save(changes));
  // "name = %@" is "name IS ?": bound as NULL, the text would find plant 1.
  const Predicate byName =
      Predicate::comparison("name", Predicate::Operator::equal, beyondTheLengthLimit());
  std::optional<StoreError> error;
  EXPECT_TRUE(ids(&byName, error).empty());
  ASSERT_TRUE(error.has_value());
  EXPECT_EQ(error->userInfo.at("sqliteCode"), std::to_string(SQLITE_TOOBIG));
}

}  // namespace
}  // namespace kestrel::platform
