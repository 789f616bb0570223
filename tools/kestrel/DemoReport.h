// The text form of `kestrel demo`'s report: the JSON that MatchDay::play()
// gives (with the command's "home", "database" and "objectStore" members),
// printed as headed, aligned tables. Times are shown in UTC.
#pragma once

#include <KestrelPlatform/Json.h>

#include <string>

namespace kestrel::tool {

/// The whole report as text.
std::string demoReportText(const platform::Json& report);

}  // namespace kestrel::tool
