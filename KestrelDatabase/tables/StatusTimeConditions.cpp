#include <KestrelDatabase/tables/StatusTimeConditions.h>

#include <KestrelModel/EventStatus.h>
#include <KestrelPlatform/Log.h>

#include <cstdint>

namespace kestrel {

namespace {

constexpr unsigned long code(std::int64_t status) {
  return static_cast<unsigned long>(status);
}

std::string refreshClause(const StatusTimeConditions::RefreshClause& clause,
                          const StatusTimeConditions::Columns& columns, double now) {
  using Window = StatusTimeConditions::RefreshClause::Window;
  std::string text = "( ";
  if (clause.status != StatusTimeConditions::RefreshClause::kAnyStatus) {
    text += platform::formatString("(%s = %lu) AND ", columns.status, clause.status);
  }
  if (clause.window == Window::BeforeStart) {
    text += platform::formatString("((%s - %f) > %d) AND ", columns.start, now, clause.lower);
    if (clause.upper != 0) {
      text += platform::formatString("((%s - %f) < %d) AND ", columns.start, now, clause.upper);
    }
  } else if (clause.window == Window::AfterStart) {
    text += platform::formatString("((%f - %s) > %d) AND ", now, columns.start, clause.lower);
    if (clause.upper != 0) {
      text += platform::formatString("((%f - %s) < %d) AND ", now, columns.start, clause.upper);
    }
  }
  text += platform::formatString("(ABS(%f - %s) > %d) )", now, columns.lastUpdate, clause.maxAge);
  return text;
}

}  // namespace

std::string StatusTimeConditions::finished(const Columns& columns, double now) {
  using model::EventStatus;
  const char* status = columns.status;
  return platform::formatString("%s = %lu OR ((%s = %lu OR %s = %lu OR %s = %lu) AND %s < %f)",
                                status, code(EventStatus::kFinished), status,
                                code(EventStatus::kPostponed), status, code(EventStatus::kCanceled),
                                status, code(EventStatus::kInterrupted), columns.start, now);
}

std::string StatusTimeConditions::refreshClauses(std::span<const RefreshClause> clauses,
                                                 const Columns& columns, double now) {
  std::string text;
  for (std::size_t i = 0; i < clauses.size(); ++i) {
    if (i > 0) text += " OR  ";
    text += refreshClause(clauses[i], columns, now);
  }
  return text;
}

}  // namespace kestrel
