#include "support/LogCapture.h"

#include <algorithm>

namespace kestrel::testing {

LogCapture::LogCapture() {
  previous_ = platform::setLogSink([this](std::string_view line) {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  });
}

LogCapture::~LogCapture() { platform::setLogSink(std::move(previous_)); }

std::vector<std::string> LogCapture::lines() const {
  std::lock_guard lock(mutex_);
  return lines_;
}

size_t LogCapture::count(const std::string& line) const {
  std::lock_guard lock(mutex_);
  return static_cast<size_t>(std::count(lines_.begin(), lines_.end(), line));
}

size_t LogCapture::countContaining(const std::string& fragment) const {
  std::lock_guard lock(mutex_);
  return static_cast<size_t>(std::count_if(lines_.begin(), lines_.end(), [&](const std::string& l) {
    return l.find(fragment) != std::string::npos;
  }));
}

void LogCapture::clear() {
  std::lock_guard lock(mutex_);
  lines_.clear();
}

}  // namespace kestrel::testing
