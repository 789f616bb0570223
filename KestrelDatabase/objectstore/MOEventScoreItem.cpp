#include <KestrelDatabase/objectstore/MOEventScoreItem.h>

namespace kestrel {

std::int64_t MOEventScoreItem::id() const { return object_->integerValue("id"); }
void MOEventScoreItem::setId(std::int64_t value) { object_->setValue("id", value); }
std::int64_t MOEventScoreItem::teamId() const { return object_->integerValue("teamId"); }
void MOEventScoreItem::setTeamId(std::int64_t value) { object_->setValue("teamId", value); }
std::int64_t MOEventScoreItem::awayScore() const { return object_->integerValue("awayScore"); }
void MOEventScoreItem::setAwayScore(std::int64_t value) { object_->setValue("awayScore", value); }
std::int64_t MOEventScoreItem::homeScore() const { return object_->integerValue("homeScore"); }
void MOEventScoreItem::setHomeScore(std::int64_t value) { object_->setValue("homeScore", value); }
bool MOEventScoreItem::isHomeScoreSuggested() const { return object_->boolValue("isHomeScoreSuggested"); }
void MOEventScoreItem::setIsHomeScoreSuggested(bool value) { object_->setValue("isHomeScoreSuggested", value); }
std::optional<std::int64_t> MOEventScoreItem::scorerId() const { return object_->optionalIntegerValue("scorerId"); }
void MOEventScoreItem::setScorerId(std::optional<std::int64_t> value) { object_->setValue("scorerId", value); }
std::optional<std::string> MOEventScoreItem::scorerName() const { return object_->stringValue("scorerName"); }
void MOEventScoreItem::setScorerName(const std::optional<std::string>& value) { object_->setValue("scorerName", value); }
std::optional<std::string> MOEventScoreItem::scorerShortName() const { return object_->stringValue("scorerShortName"); }
void MOEventScoreItem::setScorerShortName(const std::optional<std::string>& value) { object_->setValue("scorerShortName", value); }
std::optional<std::string> MOEventScoreItem::scorerJerseyNumber() const { return object_->stringValue("scorerJerseyNumber"); }
void MOEventScoreItem::setScorerJerseyNumber(const std::optional<std::string>& value) { object_->setValue("scorerJerseyNumber", value); }
std::optional<std::string> MOEventScoreItem::assistName() const { return object_->stringValue("assistName"); }
void MOEventScoreItem::setAssistName(const std::optional<std::string>& value) { object_->setValue("assistName", value); }
std::optional<std::int64_t> MOEventScoreItem::assistId() const { return object_->optionalIntegerValue("assistId"); }
void MOEventScoreItem::setAssistId(std::optional<std::int64_t> value) { object_->setValue("assistId", value); }
std::optional<std::string> MOEventScoreItem::scoreType() const { return object_->stringValue("scoreType"); }
void MOEventScoreItem::setScoreType(const std::optional<std::string>& value) { object_->setValue("scoreType", value); }

MOEventScoreItem::Values MOEventScoreItem::values() const {
  Values v;
  v.id = id();
  v.teamId = teamId();
  v.awayScore = awayScore();
  v.homeScore = homeScore();
  v.isHomeScoreSuggested = isHomeScoreSuggested();
  v.scorerId = scorerId();
  v.scorerName = scorerName();
  v.scorerShortName = scorerShortName();
  v.scorerJerseyNumber = scorerJerseyNumber();
  v.assistName = assistName();
  v.assistId = assistId();
  v.scoreType = scoreType();
  return v;
}

void MOEventScoreItem::setValues(const Values& v) {
  setId(v.id);
  setTeamId(v.teamId);
  setAwayScore(v.awayScore);
  setHomeScore(v.homeScore);
  setIsHomeScoreSuggested(v.isHomeScoreSuggested);
  setScorerId(v.scorerId);
  setScorerName(v.scorerName);
  setScorerShortName(v.scorerShortName);
  setScorerJerseyNumber(v.scorerJerseyNumber);
  setAssistName(v.assistName);
  setAssistId(v.assistId);
  setScoreType(v.scoreType);
}

}  // namespace kestrel
