#include "support/QueueGate.h"

namespace kestrel::testing {

QueueGate::QueueGate() : state_(std::make_shared<State>()) {}

QueueGate::~QueueGate() { release(); }

std::function<void()> QueueGate::block() const {
  return [state = state_] {
    std::unique_lock lock(state->mutex);
    state->held = true;
    state->changed.notify_all();
    state->changed.wait(lock, [&] { return state->released; });
  };
}

void QueueGate::waitUntilHeld() const {
  std::unique_lock lock(state_->mutex);
  state_->changed.wait(lock, [&] { return state_->held; });
}

void QueueGate::release() const {
  const std::lock_guard lock(state_->mutex);
  state_->released = true;
  state_->changed.notify_all();
}

}  // namespace kestrel::testing
