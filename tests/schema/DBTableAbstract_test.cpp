#include <KestrelDatabase/schema/DBTableAbstract.h>
#include <KestrelDatabase/sql/FMDatabase.h>
#include <KestrelDatabase/sql/FMDatabaseQueue.h>

#include "support/TempDir.h"

#include <gtest/gtest.h>

namespace kestrel {
namespace {

class DBTableAbstractTest : public ::testing::Test {
 protected:
  void SetUp() override {
    queue_ = FMDatabaseQueue::databaseQueueWithPath((dir_.path() / "t.db").string());
    ASSERT_NE(queue_, nullptr);
    queue_->inDatabase(
        [](FMDatabase* db) { db->executeUpdate("CREATE TABLE T (ID INTEGER PRIMARY KEY)"); });
  }
  int rowsSeenByAnotherConnection() {
    auto other = FMDatabase::databaseWithPath((dir_.path() / "t.db").string());
    EXPECT_TRUE(other->open());
    const int n = other->intForQuery("SELECT count(*) FROM T");
    other->close();
    return n;
  }

  testing::TempDir dir_;
  std::shared_ptr<FMDatabaseQueue> queue_;
};

TEST_F(DBTableAbstractTest, UpdateAndDeleteCommitAndReportSuccessInsideTheCallButNeedAQueue) {
  std::vector<bool> results;
  DBTableAbstract::updateRows("INSERT INTO T (ID) VALUES (1)", queue_,
                              [&](bool ok) { results.push_back(ok); });
  DBTableAbstract::updateRows("INSERT INTO T (ID) VALUES (2)", queue_);  // no completion
  EXPECT_EQ(results, std::vector<bool>{true});
  EXPECT_EQ(rowsSeenByAnotherConnection(), 2);

  DBTableAbstract::deleteRows("DELETE FROM T WHERE ID = 1", queue_,
                              [&](bool ok) { results.push_back(ok); });
  EXPECT_EQ(results, (std::vector<bool>{true, true}));
  EXPECT_EQ(rowsSeenByAnotherConnection(), 1);

  // Without a queue nothing runs and no completion is called.
  DBTableAbstract::updateRows("DELETE FROM T", nullptr, [&](bool ok) { results.push_back(ok); });
  DBTableAbstract::deleteRows("DELETE FROM T", nullptr, [&](bool ok) { results.push_back(ok); });
  EXPECT_EQ(results.size(), 2u);
}

TEST_F(DBTableAbstractTest, FailingStatementReportsFalseAndTheTransactionStillCommits) {
  std::vector<bool> results;
  DBTableAbstract::deleteRows("DELETE FROM NoSuchTable", queue_,
                              [&](bool ok) { results.push_back(ok); });
  EXPECT_EQ(results, std::vector<bool>{false});
  bool inTransaction = true;
  queue_->inDatabase([&](FMDatabase* db) { inTransaction = db->isInTransaction(); });
  EXPECT_FALSE(inTransaction);
  DBTableAbstract::updateRows("INSERT INTO T (ID) VALUES (5)", queue_);
  EXPECT_EQ(rowsSeenByAnotherConnection(), 1);
}

TEST(DBTableAbstractConversion, RoundTripThroughBase64JsonAndNoValueForAbsentEmptyOrMalformedText) {
  model::FieldTranslations translations;
  translations.nameTranslation = {{"de", "Bayern München"}, {"hr", "Dinamo Zagreb"}};
  translations.shortNameTranslation = {{"de", "FCB"}};
  const auto text = DBTableAbstract::convertFieldTranslationsToString(translations);
  ASSERT_TRUE(text.has_value());
  EXPECT_EQ(text->find_first_of(" \n\r"), std::string::npos);
  EXPECT_EQ(DBTableAbstract::convertStringToFieldTranslations(text), translations);

  EXPECT_FALSE(DBTableAbstract::convertFieldTranslationsToString(std::nullopt).has_value());
  EXPECT_FALSE(DBTableAbstract::convertStringToFieldTranslations(std::nullopt).has_value());
  // Empty Base64 decodes to no bytes, which is not JSON.
  EXPECT_FALSE(DBTableAbstract::convertStringToFieldTranslations(std::string()).has_value());
  const std::string valid =
      *DBTableAbstract::convertFieldTranslationsToString(model::FieldTranslations{});
  EXPECT_TRUE(DBTableAbstract::convertStringToFieldTranslations(valid).has_value());
  std::string broken = valid;
  broken.insert(4, "\n");
  EXPECT_FALSE(DBTableAbstract::convertStringToFieldTranslations(broken).has_value());
  // Valid Base64 of something that is not a translations object.
  EXPECT_FALSE(
      DBTableAbstract::convertStringToFieldTranslations(std::string("WzEsMl0=")).has_value());
}

}  // namespace
}  // namespace kestrel
