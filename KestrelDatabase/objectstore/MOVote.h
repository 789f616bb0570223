// A vote of the user on an event (entity "MOVote"): identified by the
// event ID and the vote type text; the value text, the value before the
// last edit, and whether the server accepted the first submission and the
// last edit.
#pragma once

#include <KestrelDatabase/objectstore/ManagedObjectView.h>
#include <KestrelModel/UnsavedVote.h>

#include <cstdint>
#include <optional>
#include <string>

namespace kestrel {

class MOVote : public ManagedObjectView {
 public:
  static constexpr const char* kEntityName = "MOVote";
  using ManagedObjectView::ManagedObjectView;

  std::int64_t eventId() const;
  void setEventId(std::int64_t value);
  /// Start of the event, seconds since 1970.
  std::int64_t eventTimestamp() const;
  void setEventTimestamp(std::int64_t value);
  std::optional<std::string> type() const;
  void setType(const std::string& value);
  std::optional<std::string> vote() const;
  void setVote(const std::optional<std::string>& value);
  std::optional<std::string> previousVote() const;
  void setPreviousVote(const std::optional<std::string>& value);
  bool isAddSuccessful() const;
  void setIsAddSuccessful(bool value);
  bool isEditSuccessful() const;
  void setIsEditSuccessful(bool value);

  /// The record as the application's unsent vote; std::nullopt when its
  /// type or value text is not one the application knows.
  std::optional<model::UnsavedVote> unsavedVote() const;
};

}  // namespace kestrel
