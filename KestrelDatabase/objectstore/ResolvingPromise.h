// The promise behind DataManager's std::future forms. Its completion may be
// copied into blocks that a failure drops without calling (a save that
// fails, a store that never loads, a manager that is gone); when the last
// copy goes without a value, the future receives the fallback instead, so
// every future becomes ready.
//
// Thread-safety: resolve() may race with itself and with the destructor;
// the first value wins.
// Ownership: shared by every copy of the completion.
#pragma once

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <utility>

namespace kestrel {

template <class T>
class ResolvingPromise {
 public:
  explicit ResolvingPromise(T fallback) : fallback_(std::move(fallback)) {}
  ~ResolvingPromise() {
    if (!done_.exchange(true)) promise_.set_value(std::move(fallback_));
  }
  ResolvingPromise(const ResolvingPromise&) = delete;
  ResolvingPromise& operator=(const ResolvingPromise&) = delete;

  void resolve(T value) {
    if (!done_.exchange(true)) promise_.set_value(std::move(value));
  }

  /// A future and the completion that resolves it (with the fallback when
  /// the completion is dropped uncalled).
  static std::pair<std::future<T>, std::function<void(T)>> make(T fallback) {
    auto state = std::make_shared<ResolvingPromise<T>>(std::move(fallback));
    std::future<T> future = state->promise_.get_future();
    return {std::move(future), [state](T value) { state->resolve(std::move(value)); }};
  }

 private:
  std::promise<T> promise_;
  std::atomic<bool> done_{false};
  T fallback_;
};

/// Starts an operation with a completion that resolves the returned future
/// (with `fallback` when the operation drops the completion uncalled).
template <class T, class Start>
std::future<T> futureOf(T fallback, Start&& start) {
  auto [future, resolve] = ResolvingPromise<T>::make(std::move(fallback));
  std::forward<Start>(start)(std::move(resolve));
  return std::move(future);
}

}  // namespace kestrel
