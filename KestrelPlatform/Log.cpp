#include <KestrelPlatform/Log.h>

#include <KestrelPlatform/NumberText.h>

#include <cstdarg>
#include <cstdio>
#include <mutex>
#include <vector>

namespace kestrel::platform {
namespace {

std::mutex& sinkMutex() {
  static std::mutex mutex;
  return mutex;
}

LogSink& currentSink() {
  static LogSink sink;
  return sink;
}

}  // namespace

std::string formatStringV(const char* format, va_list args) {
  const ClassicLocaleScope classic;
  va_list copy;
  va_copy(copy, args);
  char small[512];
  const int needed = std::vsnprintf(small, sizeof small, format, copy);
  va_end(copy);
  if (needed < 0) return {};
  if (static_cast<size_t>(needed) < sizeof small) return std::string(small, needed);
  std::vector<char> big(static_cast<size_t>(needed) + 1);
  std::vsnprintf(big.data(), big.size(), format, args);
  return std::string(big.data(), static_cast<size_t>(needed));
}

void log(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string line = formatStringV(format, args);
  va_end(args);
  std::lock_guard lock(sinkMutex());
  if (currentSink()) {
    currentSink()(line);
  } else {
    line.push_back('\n');
    std::fwrite(line.data(), 1, line.size(), stderr);
  }
}

LogSink setLogSink(LogSink sink) {
  std::lock_guard lock(sinkMutex());
  LogSink previous = std::move(currentSink());
  currentSink() = std::move(sink);
  return previous;
}

void print(const char* format, ...) {
  va_list args;
  va_start(args, format);
  const std::string text = formatStringV(format, args);
  va_end(args);
  printText(text);
}

void printText(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stdout);
  std::fflush(stdout);
}

std::string formatString(const char* format, ...) {
  va_list args;
  va_start(args, format);
  std::string text = formatStringV(format, args);
  va_end(args);
  return text;
}

}  // namespace kestrel::platform
