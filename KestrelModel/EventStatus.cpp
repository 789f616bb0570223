#include <KestrelModel/EventStatus.h>

namespace kestrel::model {

std::string getStringFromStatusType(std::int64_t type) {
  switch (type) {
    case EventStatus::kFinished:
      return "finished";
    case EventStatus::kInProgress:
      return "inprogress";
    case EventStatus::kNotStarted:
      return "notstarted";
    case EventStatus::kPostponed:
      return "postponed";
    case EventStatus::kCanceled:
      return "canceled";
    case EventStatus::kInterrupted:
      return "interrupted";
    case EventStatus::kPause:
      return "pause";
    case EventStatus::kSuspended:
      return "suspended";
    case EventStatus::kDelayed:
      return "delayed";
    default:
      return "unknown";
  }
}

}  // namespace kestrel::model
