// Captures every log line written while it lives, for exact assertions.
#pragma once

#include <KestrelPlatform/Log.h>

#include <mutex>
#include <string>
#include <vector>

namespace kestrel::testing {

class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  std::vector<std::string> lines() const;
  /// How many captured lines equal `line` exactly.
  size_t count(const std::string& line) const;
  /// How many captured lines contain `fragment`.
  size_t countContaining(const std::string& fragment) const;
  void clear();

 private:
  mutable std::mutex mutex_;
  std::vector<std::string> lines_;
  platform::LogSink previous_;
};

}  // namespace kestrel::testing
