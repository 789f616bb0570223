#include "reliability/locks/LockHolder.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <vector>

extern char** environ;

namespace kestrel::reliability {

const char* LockHolder::name(Kind kind) {
  switch (kind) {
    case Kind::shared: return "shared";
    case Kind::reserved: return "reserved";
    case Kind::exclusive: return "exclusive";
  }
  return "?";
}

LockHolder::LockHolder(const std::filesystem::path& program, const std::filesystem::path& file,
                       Kind kind, std::chrono::milliseconds hold) {
  int pipeEnds[2];
  if (::pipe2(pipeEnds, O_CLOEXEC) != 0) {
    error_ = std::string("pipe: ") + std::strerror(errno);
    return;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, pipeEnds[1], STDOUT_FILENO);
  const std::string programText = program.string();
  const std::string fileText = file.string();
  const std::string kindText = name(kind);
  const std::string holdText = std::to_string(hold.count());
  std::vector<char*> argv{const_cast<char*>(programText.c_str()), const_cast<char*>(fileText.c_str()),
                          const_cast<char*>(kindText.c_str()), const_cast<char*>(holdText.c_str()),
                          nullptr};
  const int spawned =
      ::posix_spawn(&child_, programText.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(pipeEnds[1]);
  output_ = pipeEnds[0];
  if (spawned != 0) {
    child_ = -1;
    error_ = "cannot start " + programText + ": " + std::strerror(spawned);
    return;
  }
  const auto line = readLine(true);
  if (line && *line == "held") {
    held_ = true;
  } else {
    error_ = line ? *line : std::string("the holder ended without a word");
    waitReleased();
  }
}

LockHolder::~LockHolder() {
  waitReleased();
  if (output_ >= 0) ::close(output_);
}

std::optional<std::string> LockHolder::readLine(bool wait) {
  for (;;) {
    const auto end = buffer_.find('\n');
    if (end != std::string::npos) {
      std::string line = buffer_.substr(0, end);
      buffer_.erase(0, end + 1);
      return line;
    }
    if (output_ < 0) return std::nullopt;
    pollfd ready{.fd = output_, .events = POLLIN, .revents = 0};
    const int polled = ::poll(&ready, 1, wait ? -1 : 0);
    if (polled < 0 && errno == EINTR) continue;
    if (polled <= 0) return std::nullopt;
    char chunk[256];
    const ssize_t got = ::read(output_, chunk, sizeof chunk);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) {
      ::close(output_);
      output_ = -1;
      continue;  // a last line without its newline is not a line
    }
    buffer_.append(chunk, static_cast<std::size_t>(got));
  }
}

bool LockHolder::released() {
  if (released_ || child_ < 0) return true;
  while (const auto line = readLine(false)) {
    if (*line == "released") released_ = true;
  }
  if (output_ < 0) released_ = true;  // the holder has ended
  return released_;
}

void LockHolder::stop() {
  if (child_ > 0 && !released_) ::kill(child_, SIGKILL);
  waitReleased();
}

void LockHolder::waitReleased() {
  while (!released_ && output_ >= 0) {
    const auto line = readLine(true);
    if (!line || *line == "released") released_ = true;
  }
  released_ = true;
  if (child_ > 0) {
    int status = 0;
    while (::waitpid(child_, &status, 0) < 0 && errno == EINTR) {
    }
    child_ = -1;
  }
}

}  // namespace kestrel::reliability
