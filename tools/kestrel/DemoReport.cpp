#include "DemoReport.h"

#include "TextTable.h"

#include <ctime>
#include <string_view>
#include <utility>

namespace kestrel::tool {
namespace {

using platform::Json;

// A JSON value as a cell: text as it is, numbers in decimal, null empty.
std::string cell(const Json& value) {
  if (value.is_string()) return value.get<std::string>();
  if (value.is_null()) return "";
  return value.dump();
}

// "Tue 2023-11-14 22:13", UTC; empty for a missing time.
std::string timeText(const Json& seconds) {
  if (!seconds.is_number()) return "";
  const auto time = static_cast<std::time_t>(seconds.get<std::int64_t>());
  std::tm utc{};
  if (gmtime_r(&time, &utc) == nullptr) return seconds.dump();
  char text[32];
  return std::strftime(text, sizeof text, "%a %Y-%m-%d %H:%M", &utc) ? text : seconds.dump();
}

// "1 2 3"; an entry that belongs to an event as "7 (event 103)".
std::string idList(const Json& ids) {
  std::string text;
  for (const Json& id : ids) {
    if (!text.empty()) text += ' ';
    text += id.is_object() ? cell(id["id"]) + " (event " + cell(id["event"]) + ")" : cell(id);
  }
  return text.empty() ? "none" : text;
}

void section(std::string& out, std::string_view title, const TextTable& table) {
  out += std::string(title) + '\n';
  out += table.empty() ? "  (none)\n" : table.text();
  out += '\n';
}

std::string listedAs(const Json& row) {
  if (row.value("favourite", false))
    return row.value("muted", false) ? "favourite, muted" : "favourite";
  return row["owner"].is_string() ? "for the followed " + row["owner"].get<std::string>() : "";
}

void screensText(std::string& out, const Json& screens) {
  TextTable events({"id", "start (UTC)", "status", "match", "score", "tournament", "listed as"});
  for (const Json& row : screens["favouriteEvents"]) {
    events.addRow({cell(row["id"]), timeText(row["start"]), cell(row["status"]), cell(row["match"]),
                   cell(row["score"]), cell(row["tournament"]), listedAs(row)});
  }
  section(out, "Favourite events, by start", events);

  TextTable stages({"id", "start (UTC)", "status", "stage", "weekend", "listed as"});
  for (const Json& row : screens["favouriteStages"]) {
    stages.addRow({cell(row["id"]), timeText(row["start"]), cell(row["status"]), cell(row["name"]),
                   cell(row["weekend"]),
                   row.value("muted", false) ? "favourite, muted" : "favourite"});
  }
  section(out, "Favourite stages, by start", stages);

  TextTable followed({"kind", "id", "name", "notifications"});
  for (const Json& row : screens["followed"]) {
    const Json& on = row["notifications"];
    followed.addRow({cell(row["kind"]), cell(row["id"]), cell(row["name"]),
                     on.is_boolean() ? (on.get<bool>() ? "on" : "off") : "-"});
  }
  section(out, "Followed", followed);

  TextTable pinned({"order", "id", "tournament"});
  int order = 0;
  for (const Json& row : screens["pinned"]) {
    pinned.addRow({std::to_string(++order), cell(row["id"]), cell(row["name"])});
  }
  section(out, "Pinned tournaments", pinned);

  TextTable votes({"event", "match", "type", "vote", "to send again"});
  for (const Json& row : screens["votes"]) {
    votes.addRow({cell(row["event"]), cell(row["match"]), cell(row["type"]), cell(row["vote"]),
                  row.value("resend", false) ? "yes" : "no"});
  }
  section(out, "Votes", votes);

  const Json& remembered = screens["remembered"];
  TextTable other({"what", "id", "event", "detail"});
  for (const Json& row : remembered["chatUpvotes"]) {
    other.addRow({"chat message upvoted", cell(row["id"]), cell(row["event"]), ""});
  }
  for (const Json& row : remembered["chatReports"]) {
    other.addRow({"chat message reported", cell(row["id"]), "", ""});
  }
  for (const Json& row : remembered["tvSuggestions"]) {
    other.addRow({"TV channel answer", cell(row["id"]), cell(row["event"]),
                  row.value("approve", false) ? "shown there" : "not shown there"});
  }
  for (const Json& row : remembered["highlights"]) {
    other.addRow({"highlight watched", cell(row["id"]), "", ""});
  }
  section(out, "Remembered", other);

  const Json& due = screens["dueForRefresh"];
  out += "Due for a refresh\n  events: " + idList(due["events"]) +
         "\n  stages: " + idList(due["stages"]) + "\n\n";
}

}  // namespace

std::string demoReportText(const Json& report) {
  std::string out = "kestrel demo: one match day, then a week on\n";
  out += "home:         " + cell(report["home"]) + '\n';
  out += "database:     " + cell(report["database"]) + '\n';
  out += "object store: " + cell(report["objectStore"]) + "\n\n";

  TextTable created({"what", "ids"});
  const std::pair<const char*, const char*> kinds[] = {{"teams", "teams followed"},
                                                       {"leagues", "leagues followed"},
                                                       {"players", "players followed"},
                                                       {"uniqueStages", "unique stages followed"},
                                                       {"pinned", "tournaments pinned"},
                                                       {"events", "events"},
                                                       {"stages", "stages"},
                                                       {"votes", "votes"},
                                                       {"chatUpvotes", "chat upvotes"},
                                                       {"chatReports", "chat reports"},
                                                       {"tvSuggestions", "TV channel answers"},
                                                       {"highlights", "highlights watched"}};
  for (const auto& [key, label] : kinds) created.addRow({label, idList(report["created"][key])});
  section(out, "Created at " + timeText(report["start"]) + " UTC", created);

  const Json& day = report["matchDay"];
  out += "== Match day, " + timeText(day["now"]) + " UTC: half an hour after the start ==\n\n";
  screensText(out, day);

  const Json& week = report["weekLater"];
  out += "== A week later, " + timeText(week["now"]) + " UTC: eight days after the start ==\n\n";
  TextTable refreshed({"kind", "id", "was", "now"});
  for (const Json& row : week["refreshed"]) {
    refreshed.addRow({cell(row["kind"]), cell(row["id"]), cell(row["was"]), cell(row["status"])});
  }
  section(out, "Refreshed from the server", refreshed);

  TextTable removed({"step", "kind", "id", "event", "what", "why"});
  for (const Json& row : week["removed"]) {
    const std::string event = row.contains("event") ? cell(row["event"]) : "";
    const std::string what = row.contains("type")
                                 ? cell(row["action"]) + " (" + cell(row["type"]) + ")"
                                 : cell(row["action"]);
    removed.addRow(
        {cell(row["step"]), cell(row["kind"]), cell(row["id"]), event, what, cell(row["why"])});
  }
  section(out, "The cleaning: what went, and why", removed);

  out += "-- What the screens show after the cleaning --\n\n";
  screensText(out, week["screens"]);
  return out;
}

}  // namespace kestrel::tool
