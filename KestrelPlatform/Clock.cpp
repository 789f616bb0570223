#include <KestrelPlatform/Clock.h>

#include <KestrelPlatform/Log.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <memory>
#include <mutex>

namespace kestrel::platform {
namespace {

// A fixed time is kept in an atomic so that the common case of tests (a fixed
// clock) and of production (no source at all) never takes the lock.
std::atomic<bool> gHasSource{false};
std::atomic<bool> gFixedActive{false};
std::atomic<double> gFixed{0.0};
std::mutex gSourceMutex;
Clock::Source gSource;
bool gSourceFailureLogged = false;  // under gSourceMutex; once per installed source

}  // namespace

double Clock::systemNow() {
  using namespace std::chrono;
  return duration<double>(system_clock::now().time_since_epoch()).count();
}

double Clock::now() {
  if (gFixedActive.load(std::memory_order_acquire)) return gFixed.load(std::memory_order_relaxed);
  if (gHasSource.load(std::memory_order_acquire)) {
    std::lock_guard lock(gSourceMutex);
    if (gSource) {
      const double time = gSource();
      if (isRepresentable(time)) return time;
      // A NaN or infinite "now" written into a statement makes every
      // time-based query fail from then on, and one beyond the 64-bit range
      // cannot be converted to whole seconds; the real clock answers instead.
      if (!gSourceFailureLogged) {
        gSourceFailureLogged = true;
        log("Clock: the time source gave %g, which is not a time between %.0f and %.0f; the "
            "system clock is used instead",
            time, kEarliest, kLatest);
      }
    }
  }
  return systemNow();
}

void Clock::setSource(Source source) {
  std::lock_guard lock(gSourceMutex);
  gFixedActive.store(false, std::memory_order_release);
  gSource = std::move(source);
  gSourceFailureLogged = false;
  gHasSource.store(static_cast<bool>(gSource), std::memory_order_release);
}

bool Clock::setFixed(double secondsSince1970) {
  if (!isRepresentable(secondsSince1970)) {
    log("Clock: a fixed time of %g is not a time between %.0f and %.0f and was ignored",
        secondsSince1970, kEarliest, kLatest);
    return false;
  }
  gFixed.store(secondsSince1970, std::memory_order_relaxed);
  gFixedActive.store(true, std::memory_order_release);
  return true;
}

void Clock::reset() {
  setSource({});
}

}  // namespace kestrel::platform
