// What every facade operation shares: running a table operation whose
// completion may not come and still getting a value, delivering that value
// to an optional handler, turning a handler form into a future form,
// wrapping a handler given to the object store so that it runs exactly once
// even when the store drops the operation, and taking removed rows out of
// the caches on both sides of the write that removes them.
//
// Thread-safety: stateless helpers; a handler made by exactlyOnce() may be
// called and released from any threads (the first value wins).
#pragma once

#include <KestrelDatabase/objectstore/ResolvingPromise.h>

#include <atomic>
#include <functional>
#include <future>
#include <memory>
#include <optional>
#include <utility>

namespace kestrel::facade {

/// Runs `start` with a completion that keeps the value; the value, or
/// `fallback` when the operation did not call its completion (a null queue,
/// a save lacking an argument). Table operations complete before they return.
template <class T, class Start>
T runTable(T fallback, Start&& start) {
  std::optional<T> result;
  std::forward<Start>(start)([&result](T value) { result = std::move(value); });
  return result ? std::move(*result) : std::move(fallback);
}

/// A removal around a table write: `leave` takes the rows out of the caches
/// before the write and, once it succeeded, again, since a fill on another
/// thread may have read them in between. The write's result.
template <class Leave, class Write>
bool removeAround(const Leave& leave, Write&& write) {
  leave();
  const bool ok = std::forward<Write>(write)();
  if (ok) leave();
  return ok;
}

/// Calls the handler with the value, when there is a handler.
template <class T>
void deliver(const std::function<void(T)>& handler, T value) {
  if (handler) handler(std::move(value));
}

/// The future form of an operation given by its handler form: `start` is
/// called with the handler that resolves the future (with `fallback` when
/// the handler is dropped uncalled).
template <class T, class Start>
std::future<T> futureFrom(T fallback, Start&& start) {
  return futureOf(std::move(fallback), std::forward<Start>(start));
}

/// A handler that runs `body` exactly once: with the value of the first
/// call, or with `fallback` when the last copy goes uncalled (the object
/// store drops its completion when it cannot finish).
template <class T, class Body>
std::function<void(T)> exactlyOnce(T fallback, Body body) {
  struct State {
    State(T value, Body run) : fallback(std::move(value)), body(std::move(run)) {}
    ~State() {
      if (!called.exchange(true)) body(std::move(fallback));
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    T fallback;
    Body body;
    std::atomic<bool> called{false};
  };
  auto state = std::make_shared<State>(std::move(fallback), std::move(body));
  return [state](T value) {
    if (!state->called.exchange(true)) state->body(std::move(value));
  };
}

/// The plain pass-through: the handler, run exactly once.
template <class T>
std::function<void(T)> passOnce(T fallback, std::function<void(T)> handler) {
  if (!handler) return {};
  return exactlyOnce(std::move(fallback),
                     [handler = std::move(handler)](T value) { handler(std::move(value)); });
}

}  // namespace kestrel::facade
