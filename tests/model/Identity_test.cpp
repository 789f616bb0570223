// Types with an ID compare and hash by ID alone, so caches can keep them in
// ordered and unordered sets; value types compare all their fields.
#include <KestrelModel/Model.h>

#include <gtest/gtest.h>

#include <memory>
#include <unordered_set>

namespace kestrel::model {
namespace {

// Makes an object with the given ID and, when `variant` is set, different
// contents in some of its other fields.
template <typename T>
T make(std::int64_t id, bool variant);

template <>
Event make<Event>(std::int64_t id, bool variant) {
  Event event{.ID = id};
  if (variant) {
    event.startTimestamp = 1700000000;
    event.status = EventStatus(EventStatus::kFinished, 100);
    event.homeTeamOriginal = Team{.ID = 9, .name = "Home"};
  }
  return event;
}
template <>
Stage make<Stage>(std::int64_t id, bool variant) {
  Stage stage{.ID = id};
  if (variant) {
    stage.desc = "Race";
    stage.stageEvent = std::make_shared<Stage>(Stage{.ID = id + 1});
  }
  return stage;
}
template <>
Team make<Team>(std::int64_t id, bool variant) {
  Team team{.ID = id};
  if (variant) {
    team.name = "Kestrels";
    team.subTeams = {Team{.ID = 1}, Team{.ID = 2}};
  }
  return team;
}
template <>
Player make<Player>(std::int64_t id, bool variant) {
  Player player{.ID = id};
  if (variant) player.name = "Smith";
  return player;
}
template <>
Tournament make<Tournament>(std::int64_t id, bool variant) {
  Tournament tournament{.ID = id};
  if (variant) {
    tournament.uniqueId = 17;
    tournament.name = "Cup";
  }
  return tournament;
}
template <>
UniqueTournament make<UniqueTournament>(std::int64_t id, bool variant) {
  UniqueTournament tournament{.ID = id};
  if (variant) tournament.category = CategoryModel{.ID = 3};
  return tournament;
}
template <>
CategoryModel make<CategoryModel>(std::int64_t id, bool variant) {
  CategoryModel category{.ID = id};
  if (variant) {
    category.name = "England";
    category.priority = 10;
  }
  return category;
}
template <>
Season make<Season>(std::int64_t id, bool variant) {
  Season season{.ID = id};
  if (variant) season.year = "24/25";
  return season;
}
template <>
StageSeason make<StageSeason>(std::int64_t id, bool variant) {
  StageSeason season{.ID = id};
  if (variant) season.uniqueStage = UniqueStage{.ID = 4};
  return season;
}
template <>
UniqueStage make<UniqueStage>(std::int64_t id, bool variant) {
  UniqueStage stage{.ID = id};
  if (variant) stage.stageColors = StageColors{.primary = "#ff0000"};
  return stage;
}
template <>
StageType make<StageType>(std::int64_t id, bool variant) {
  StageType type(id);
  if (variant) type.name = "Race";
  return type;
}

template <typename T>
class IdentityTest : public ::testing::Test {
 protected:
  static T object(std::int64_t id, bool variant = false) { return make<T>(id, variant); }
};

using IdentifiedTypes =
    ::testing::Types<Event, Stage, Team, Player, Tournament, UniqueTournament, CategoryModel,
                     Season, StageSeason, UniqueStage, StageType>;
TYPED_TEST_SUITE(IdentityTest, IdentifiedTypes);

TYPED_TEST(IdentityTest, EqualWhenIdsAreEqualWhateverTheOtherFields) {
  const TypeParam plain = TestFixture::object(7);
  const TypeParam different = TestFixture::object(7, true);
  const TypeParam other = TestFixture::object(8, true);

  EXPECT_TRUE(plain == different);
  EXPECT_FALSE(plain != different);
  EXPECT_FALSE(different == other);
  EXPECT_TRUE(different != other);
}

TYPED_TEST(IdentityTest, HashesByIdSoUnorderedSetsKeepOneObjectPerId) {
  std::unordered_set<TypeParam> set;
  set.insert(TestFixture::object(7));
  set.insert(TestFixture::object(7, true));
  set.insert(TestFixture::object(-7));
  set.insert(TestFixture::object(0));

  EXPECT_EQ(set.size(), 3u);
  EXPECT_EQ(std::hash<TypeParam>{}(TestFixture::object(7)),
            std::hash<TypeParam>{}(TestFixture::object(7, true)));
  EXPECT_EQ(set.count(TestFixture::object(-7, true)), 1u);
}

TEST(SportTest, SportWithSlugKnowsOnlyTheSlug) {
  const Sport sport = Sport::sportWithSlug("ice-hockey");

  EXPECT_EQ(sport.slug, "ice-hockey");
  EXPECT_EQ(sport.ID, 0);
  EXPECT_FALSE(sport.name.has_value());
}

TEST(SportTest, EqualWhenIdAndSlugAreEqual) {
  EXPECT_EQ(Sport::sportWithSlug("tennis"), Sport::sportWithSlug("tennis"));
  EXPECT_NE(Sport::sportWithSlug("tennis"), Sport::sportWithSlug("football"));

  const Sport named{.ID = 5, .name = "Tennis", .slug = "tennis"};
  EXPECT_EQ(named, (Sport{.ID = 5, .slug = "tennis"}));
  EXPECT_NE(named, Sport::sportWithSlug("tennis"));
  EXPECT_EQ(std::hash<Sport>{}(named), std::hash<Sport>{}(Sport{.ID = 5}));
}

TEST(ValueTypesTest, CompareEveryField) {
  EXPECT_EQ((EventScore{.display = 2, .periods = {1, 1}}),
            (EventScore{.display = 2, .periods = {1, 1}}));
  EXPECT_NE((EventScore{.display = 2, .periods = {1, 1}}),
            (EventScore{.display = 2, .periods = {1, 0}}));
  EXPECT_NE(EventScore{.period7 = 1}, EventScore{});
  EXPECT_NE((TVScheduleChannelCountry(1, "One", "DE")), (TVScheduleChannelCountry(1, "One", "AT")));
  EXPECT_NE(VarInProgress(true, false), VarInProgress(false, true));
}

TEST(ValueTypesTest, TvChannelSuggestionsHashByValue) {
  const TVChannelSuggestion suggestion{.channelId = 3, .eventId = 4, .startTimestamp = 5};
  std::unordered_set<TVChannelSuggestion> set{suggestion, suggestion};
  set.insert(
      TVChannelSuggestion{.channelId = 3, .eventId = 4, .startTimestamp = 5, .approve = true});
  set.insert(TVChannelSuggestion{.channelId = 4, .eventId = 3, .startTimestamp = 5});
  set.insert(TVChannelSuggestion{.eventId = 4, .startTimestamp = 5});

  EXPECT_EQ(set.size(), 4u);
}

}  // namespace
}  // namespace kestrel::model
