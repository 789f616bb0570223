// Types with an ID compare and hash by ID alone, so caches can keep them in
// ordered and unordered sets; two representative types stand for the rest.
#include <KestrelModel/Model.h>

#include <gtest/gtest.h>

#include <unordered_set>

namespace kestrel::model {
namespace {

template <typename T>
void expectIdentityById(const T& plain, const T& sameIdOtherFields, const T& otherId) {
  EXPECT_TRUE(plain == sameIdOtherFields);
  EXPECT_FALSE(plain != sameIdOtherFields);
  EXPECT_TRUE(sameIdOtherFields != otherId);
  EXPECT_EQ(std::hash<T>{}(plain), std::hash<T>{}(sameIdOtherFields));
  EXPECT_EQ((std::unordered_set<T>{plain, sameIdOtherFields, otherId}.size()), 2u);
}

TEST(IdentityTest, EqualAndHashedByIdWhateverTheOtherFields) {
  expectIdentityById(Event{.ID = 7},
                     Event{.ID = 7,
                           .startTimestamp = 1700000000,
                           .status = EventStatus(EventStatus::kFinished, 100)},
                     Event{.ID = 8, .startTimestamp = 1700000000});
  expectIdentityById(Team{.ID = 7}, Team{.ID = 7, .name = "Kestrels", .subTeams = {Team{.ID = 1}}},
                     Team{.ID = -7, .name = "Kestrels"});
}

TEST(IdentityTest, SportsFromASlugAloneEqualByIdAndSlug) {
  const Sport sport = Sport::sportWithSlug("tennis");
  EXPECT_EQ(sport.ID, 0);
  EXPECT_EQ(sport, Sport::sportWithSlug("tennis"));
  EXPECT_NE(sport, Sport::sportWithSlug("football"));
  const Sport named{.ID = 5, .name = "Tennis", .slug = "tennis"};
  EXPECT_EQ(named, (Sport{.ID = 5, .slug = "tennis"}));
  EXPECT_NE(named, sport);
}

}  // namespace
}  // namespace kestrel::model
