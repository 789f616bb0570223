// The promise behind DataManager's std::future forms, and the guard that
// makes every completion run exactly once. A completion may be copied into
// blocks that a failure drops without calling (a store that never loads, a
// manager that is gone); when the last copy goes without a value, the
// fallback is delivered instead, so every future becomes ready and every
// completion hears of the failure.
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

/// The completion, made to run exactly once: with the value of its first
/// call, or with `fallback` when its last copy goes uncalled (an operation
/// dropped because the store did not load or its manager went away). An
/// empty completion gives one that does nothing.
template <class T>
std::function<void(T)> calledOnce(T fallback, std::function<void(T)> completion) {
  if (!completion) return [](T) {};
  struct State {
    State(T value, std::function<void(T)> run) : fallback(std::move(value)), completion(std::move(run)) {}
    ~State() {
      if (!called.exchange(true)) completion(std::move(fallback));
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    T fallback;
    std::function<void(T)> completion;
    std::atomic<bool> called{false};
  };
  auto state = std::make_shared<State>(std::move(fallback), std::move(completion));
  return [state](T value) {
    if (!state->called.exchange(true)) state->completion(std::move(value));
  };
}

/// Starts an operation with a completion that resolves the returned future
/// (with `fallback` when the operation drops the completion uncalled).
template <class T, class Start>
std::future<T> futureOf(T fallback, Start&& start) {
  auto [future, resolve] = ResolvingPromise<T>::make(std::move(fallback));
  std::forward<Start>(start)(std::move(resolve));
  return std::move(future);
}

}  // namespace kestrel
