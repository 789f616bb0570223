// The one path every log line of the system goes through, and the one path
// for text the tool prints to standard output.
//
// log() formats printf-style and hands the finished line (without a trailing
// newline) to the current sink; the default sink writes it to standard error
// followed by a newline. Tests replace the sink to capture lines exactly.
//
// All formatting here is the one path for text that holds numbers: SQL
// statements, log lines and the tool's output. It always formats in the C
// locale ("%f" writes a '.' decimal point, integers are never grouped),
// whatever locale the host process has set.
//
// Thread-safety: log() and print() may be called from any thread; the sink is
// called under a lock, one line at a time.
#pragma once

#include <cstdarg>
#include <functional>
#include <string>
#include <string_view>

namespace kestrel::platform {

using LogSink = std::function<void(std::string_view line)>;

/// Formats one log line and sends it to the sink.
void log(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Replaces the sink; an empty function restores the default (standard error).
/// Returns the previous sink so a caller can put it back.
LogSink setLogSink(LogSink sink);

/// Writes formatted text to standard output as it is (no newline added).
void print(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// Same as print() for text that is already formatted.
void printText(std::string_view text);

/// printf-style formatting into a std::string.
std::string formatString(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The same for a va_list, for the platform's other printf-style functions.
std::string formatStringV(const char* format, va_list args) __attribute__((format(printf, 1, 0)));

}  // namespace kestrel::platform
