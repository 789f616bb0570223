#include <KestrelDatabase/objectstore/MOVote.h>

namespace kestrel {

std::int64_t MOVote::eventId() const { return object_->integerValue("eventId"); }
void MOVote::setEventId(std::int64_t value) { object_->setValue("eventId", value); }
std::int64_t MOVote::eventTimestamp() const { return object_->integerValue("eventTimestamp"); }
void MOVote::setEventTimestamp(std::int64_t value) { object_->setValue("eventTimestamp", value); }
std::optional<std::string> MOVote::type() const { return object_->stringValue("type"); }
void MOVote::setType(const std::string& value) { object_->setValue("type", value); }
std::optional<std::string> MOVote::vote() const { return object_->stringValue("vote"); }
void MOVote::setVote(const std::optional<std::string>& value) { object_->setValue("vote", value); }
std::optional<std::string> MOVote::previousVote() const { return object_->stringValue("previousVote"); }
void MOVote::setPreviousVote(const std::optional<std::string>& value) {
  object_->setValue("previousVote", value);
}
bool MOVote::isAddSuccessful() const { return object_->boolValue("isAddSuccessful"); }
void MOVote::setIsAddSuccessful(bool value) { object_->setValue("isAddSuccessful", value); }
bool MOVote::isEditSuccessful() const { return object_->boolValue("isEditSuccessful"); }
void MOVote::setIsEditSuccessful(bool value) { object_->setValue("isEditSuccessful", value); }

std::optional<model::UnsavedVote> MOVote::unsavedVote() const {
  const auto typeText = type();
  const auto voteText = vote();
  const auto kind = typeText ? model::voteTypeFromText(*typeText) : std::nullopt;
  const auto value = voteText ? model::voteValueFromText(*voteText) : std::nullopt;
  if (!kind || !value) return std::nullopt;
  model::UnsavedVote unsaved;
  unsaved.eventId = eventId();
  unsaved.eventTimestamp = eventTimestamp();
  unsaved.type = *kind;
  unsaved.vote = *value;
  if (const auto previous = previousVote()) unsaved.previousVote = model::voteValueFromText(*previous);
  unsaved.isAddSuccessful = isAddSuccessful();
  unsaved.isEditSuccessful = isEditSuccessful();
  return unsaved;
}

}  // namespace kestrel
