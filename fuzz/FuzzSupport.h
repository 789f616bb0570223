// What every fuzz target shares: a reader that turns the fuzz bytes into
// typed values, the check that stops a run on a broken promise, and a log
// sink that keeps the lines a call logs (so a target can require that a
// refusal was logged, and the run stays quiet).
//
// A target defines LLVMFuzzerTestOneInput only. Under the fuzz preset
// libFuzzer calls it; in every other build ReplayMain.cpp calls it once per
// file of the target's corpus folder.
//
// Thread-safety: a target runs its inputs one at a time on one thread.
#pragma once

#include <KestrelPlatform/Log.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace kestrel::fuzz {

/// Stops the run (a finding) when `holds` is false; the message says which
/// promise broke.
inline void check(bool holds, const char* promise, const std::string& detail = {}) {
  if (holds) return;
  std::fprintf(stderr, "FUZZ FINDING: %s%s%s\n", promise, detail.empty() ? "" : ": ",
               detail.c_str());
  std::abort();
}

/// The fuzz bytes read front to back; once they run out, every read gives
/// zero or empty, so any input is a complete one.
class FuzzInput {
 public:
  FuzzInput(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

  bool empty() const { return position_ >= size_; }
  std::size_t remaining() const { return empty() ? 0 : size_ - position_; }

  std::uint8_t byte() { return empty() ? 0 : data_[position_++]; }
  bool flag() { return (byte() & 1) != 0; }

  /// Little-endian, from up to sizeof(T) bytes.
  template <class T>
  T integral() {
    std::uint64_t bits = 0;
    for (std::size_t i = 0; i < sizeof(T) && !empty(); ++i) bits |= std::uint64_t{byte()} << (8 * i);
    T value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  std::int64_t int64() { return integral<std::int64_t>(); }
  /// Any bit pattern: NaN, infinities, denormals and negative zero included.
  double real() {
    const std::uint64_t bits = integral<std::uint64_t>();
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
  }
  /// An integer that is often one of the ends of the 64-bit range or near zero.
  std::int64_t interestingInt64() {
    switch (byte() % 4) {
      case 0:
        return static_cast<std::int8_t>(byte());
      case 1:
        return byte() % 2 ? INT64_MAX - byte() % 4 : INT64_MIN + byte() % 4;
      default:
        return int64();
    }
  }
  /// A text of up to `limit` bytes (any bytes), its length read first.
  std::string text(std::size_t limit = 255) {
    std::size_t length = byte();
    if (length == 255 && limit > 255) length += integral<std::uint16_t>();
    if (length > limit) length = limit;
    return bytes(length);
  }
  /// The next `length` bytes (fewer when the input ends).
  std::string bytes(std::size_t length) {
    if (length > remaining()) length = remaining();
    std::string out(reinterpret_cast<const char*>(data_ + position_), length);
    position_ += length;
    return out;
  }
  /// Every byte not read yet.
  std::string rest() { return bytes(remaining()); }

 private:
  const std::uint8_t* data_;
  std::size_t size_;
  std::size_t position_ = 0;
};

/// While alive, the log lines go into `lines` instead of standard error.
class LogLines {
 public:
  LogLines()
      : previous_(platform::setLogSink([this](std::string_view line) { lines.emplace_back(line); })) {}
  ~LogLines() { platform::setLogSink(std::move(previous_)); }
  LogLines(const LogLines&) = delete;
  LogLines& operator=(const LogLines&) = delete;

  bool contains(std::string_view part) const {
    for (const auto& line : lines) {
      if (line.find(part) != std::string::npos) return true;
    }
    return false;
  }

  std::vector<std::string> lines;

 private:
  platform::LogSink previous_;
};

/// Printable form of bytes for a finding's message.
inline std::string shown(std::string_view bytes) {
  std::string out;
  for (const char c : bytes) {
    const auto u = static_cast<unsigned char>(c);
    if (u >= 0x20 && u < 0x7F && c != '\\') {
      out += c;
    } else {
      static constexpr char kHex[] = "0123456789abcdef";
      out += "\\x";
      out += kHex[u >> 4];
      out += kHex[u & 0xF];
    }
  }
  return out;
}

}  // namespace kestrel::fuzz
