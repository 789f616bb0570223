#include <KestrelModel/EventStatus.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace kestrel::model {
namespace {

constexpr std::int64_t kKnownTypes[] = {1, 2, 3, 4, 5, 6, 8, 9, 10};

TEST(EventStatusTest, EveryKnownTypeHasItsOwnName) {
  std::set<std::string> names;
  for (std::int64_t type : kKnownTypes) {
    const std::string name = getStringFromStatusType(type);
    EXPECT_FALSE(name.empty()) << type;
    EXPECT_NE(name, getStringFromStatusType(0)) << type;
    names.insert(name);
  }
  EXPECT_EQ(names.size(), std::size(kKnownTypes));

  EXPECT_EQ(getStringFromStatusType(EventStatus::kFinished), "finished");
  EXPECT_EQ(getStringFromStatusType(EventStatus::kInProgress), "inprogress");
  EXPECT_EQ(getStringFromStatusType(EventStatus::kNotStarted), "notstarted");
}

TEST(EventStatusTest, UnknownTypesShareTheFallbackName) {
  EXPECT_EQ(getStringFromStatusType(0), "unknown");
  EXPECT_EQ(getStringFromStatusType(7), "unknown");
  EXPECT_EQ(getStringFromStatusType(11), "unknown");
  EXPECT_EQ(getStringFromStatusType(-1), "unknown");
  EXPECT_EQ(getStringFromStatusType(INT64_MAX), "unknown");
}

TEST(EventStatusTest, ConstructorDerivesTypeText) {
  const EventStatus status(EventStatus::kPostponed, 60);

  EXPECT_EQ(status.type, 4);
  EXPECT_EQ(status.code, 60);
  EXPECT_EQ(status.typeStr, "postponed");
  EXPECT_EQ(EventStatus(12).typeStr, "unknown");
  EXPECT_TRUE(EventStatus{}.typeStr.empty());
}

}  // namespace
}  // namespace kestrel::model
