// The user's score suggestion for an event (entity
// "MOEventScoreSuggestion"): its ID, the event, when it was made (seconds
// since 1970), and its items; deleting it deletes its items.
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>
#include <KestrelDatabase/objectstore/MOEventScoreItem.h>
#include <KestrelDatabase/sql/ReadResult.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace kestrel {

class MOEventScoreSuggestion : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MOEventScoreSuggestion";
  using ManagedObjectView::ManagedObjectView;

  std::optional<std::string> id() const;
  void setId(const std::optional<std::string>& value);
  std::int64_t eventId() const;
  void setEventId(std::int64_t value);
  std::int64_t timestamp() const;
  void setTimestamp(std::int64_t value);

  /// The suggestion's items (the to-many relationship "eventScores"), in
  /// the order they were added; std::nullopt when they could not be read.
  ReadResult<std::vector<MOEventScoreItem>> eventScores() const;
  /// Adds an item of the same context to "eventScores".
  void addToEventScores(const MOEventScoreItem& item);
};

}  // namespace kestrel
