#include <KestrelDatabase/objectstore/MOEventScoreSuggestion.h>

namespace kestrel {

std::optional<std::string> MOEventScoreSuggestion::id() const { return object_->stringValue("id"); }
void MOEventScoreSuggestion::setId(const std::optional<std::string>& value) { object_->setValue("id", value); }
std::int64_t MOEventScoreSuggestion::eventId() const { return object_->integerValue("eventId"); }
void MOEventScoreSuggestion::setEventId(std::int64_t value) { object_->setValue("eventId", value); }
std::int64_t MOEventScoreSuggestion::timestamp() const { return object_->integerValue("timestamp"); }
void MOEventScoreSuggestion::setTimestamp(std::int64_t value) { object_->setValue("timestamp", value); }

ReadResult<std::vector<MOEventScoreItem>> MOEventScoreSuggestion::eventScores() const {
  auto related = object_->relatedObjects("eventScores");
  if (!related) return std::nullopt;
  std::vector<MOEventScoreItem> items;
  items.reserve(related->size());
  for (auto& object : *related) items.emplace_back(std::move(object));
  return items;
}

void MOEventScoreSuggestion::addToEventScores(const MOEventScoreItem& item) {
  object_->addRelatedObject("eventScores", item.object());
}

}  // namespace kestrel
