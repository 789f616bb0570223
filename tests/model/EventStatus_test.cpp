#include <KestrelModel/EventStatus.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kestrel::model {
namespace {

TEST(EventStatusTest, EveryKnownTypeHasItsOwnNameAndOthersShareTheFallback) {
  std::set<std::string> names;
  for (std::int64_t type : {1, 2, 3, 4, 5, 6, 8, 9, 10})
    names.insert(getStringFromStatusType(type));
  EXPECT_EQ(names.size(), 9u);
  EXPECT_EQ(names.count("unknown"), 0u);
  EXPECT_EQ(getStringFromStatusType(EventStatus::kFinished), "finished");
  EXPECT_EQ(getStringFromStatusType(EventStatus::kNotStarted), "notstarted");
  for (std::int64_t type : {0, 7, 11, -1}) EXPECT_EQ(getStringFromStatusType(type), "unknown");
  // The constructor derives the type's text.
  EXPECT_EQ(EventStatus(EventStatus::kPostponed, 60).typeStr, "postponed");
  EXPECT_EQ(EventStatus(12).typeStr, "unknown");
}

}  // namespace
}  // namespace kestrel::model
