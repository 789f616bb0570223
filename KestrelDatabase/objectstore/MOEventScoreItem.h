// One item of a score suggestion (entity "MOEventScoreItem"): the
// suggested score and, for a goal, its scorer and assist.
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel {

class MOEventScoreItem : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MOEventScoreItem";
  using ManagedObjectView::ManagedObjectView;

  std::int64_t id() const;
  void setId(std::int64_t value);
  std::int64_t teamId() const;
  void setTeamId(std::int64_t value);
  std::int64_t awayScore() const;
  void setAwayScore(std::int64_t value);
  std::int64_t homeScore() const;
  void setHomeScore(std::int64_t value);
  bool isHomeScoreSuggested() const;
  void setIsHomeScoreSuggested(bool value);
  std::optional<std::int64_t> scorerId() const;
  void setScorerId(std::optional<std::int64_t> value);
  std::optional<std::string> scorerName() const;
  void setScorerName(const std::optional<std::string>& value);
  std::optional<std::string> scorerShortName() const;
  void setScorerShortName(const std::optional<std::string>& value);
  std::optional<std::string> scorerJerseyNumber() const;
  void setScorerJerseyNumber(const std::optional<std::string>& value);
  std::optional<std::string> assistName() const;
  void setAssistName(const std::optional<std::string>& value);
  std::optional<std::int64_t> assistId() const;
  void setAssistId(std::optional<std::int64_t> value);
  std::optional<std::string> scoreType() const;
  void setScoreType(const std::optional<std::string>& value);

  /// Every attribute as a plain value, for saving an item or reading it
  /// back outside the context.
  struct Values {
    std::int64_t id{};
    std::int64_t teamId{};
    std::int64_t awayScore{};
    std::int64_t homeScore{};
    bool isHomeScoreSuggested{};
    std::optional<std::int64_t> scorerId{};
    std::optional<std::string> scorerName{};
    std::optional<std::string> scorerShortName{};
    std::optional<std::string> scorerJerseyNumber{};
    std::optional<std::string> assistName{};
    std::optional<std::int64_t> assistId{};
    std::optional<std::string> scoreType{};

    bool operator==(const Values&) const = default;
  };
  Values values() const;
  void setValues(const Values& values);
};

}  // namespace kestrel
