#include "reliability/crashloop/SideLog.h"

#include <fcntl.h>
#include <unistd.h>

#include <fstream>
#include <sstream>

namespace kestrel::reliability {

SideLog::SideLog(const std::filesystem::path& path)
    : fd_(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644)) {}

SideLog::~SideLog() {
  if (fd_ >= 0) ::close(fd_);
}

bool SideLog::append(const std::string& line) {
  const std::string text = line + "\n";
  if (::write(fd_, text.data(), text.size()) != static_cast<ssize_t>(text.size())) return false;
  return ::fsync(fd_) == 0;
}

SideLog::Reading SideLog::read(const std::filesystem::path& path, std::uint64_t from) {
  Reading reading;
  std::ifstream in(path);
  std::stringstream whole;
  whole << in.rdbuf();
  const std::string text = whole.str();
  std::uint64_t next = from;
  std::size_t start = 0;
  for (std::size_t end = text.find('\n'); end != std::string::npos; start = end + 1, end = text.find('\n', start)) {
    const std::string line = text.substr(start, end - start);
    std::istringstream words(line);
    std::string word, result;
    std::uint64_t index = 0;
    words >> word >> index >> result;
    if (word == "begin" && index == next && !reading.inFlight) {
      reading.inFlight = index;
    } else if (word == "done" && reading.inFlight == index && (result == "ok" || result == "failed")) {
      reading.done.emplace_back(index, result == "ok");
      reading.inFlight.reset();
      ++next;
    } else if (word == "hang" && reading.inFlight == index) {
      reading.hung = index;
    } else {
      reading.disorder.push_back(line);
    }
  }
  return reading;
}

}  // namespace kestrel::reliability
