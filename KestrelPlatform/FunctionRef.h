// A non-owning reference to a callable, for APIs that call a block before
// they return (DispatchQueue::sync, the database queue's in* forms). Unlike
// std::function it never allocates, so passing a capturing lambda is free.
//
// Ownership: refers to the callable; the callable must outlive the call.
#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace kestrel::platform {

template <class Signature>
class FunctionRef;

template <class R, class... Args>
class FunctionRef<R(Args...)> {
 public:
  template <class F>
    requires(!std::is_same_v<std::remove_cvref_t<F>, FunctionRef> &&
             std::is_invocable_r_v<R, F&, Args...>)
  FunctionRef(F&& f) noexcept  // NOLINT(google-explicit-constructor)
      : object_(const_cast<void*>(static_cast<const void*>(std::addressof(f)))),
        call_([](void* object, Args... args) -> R {
          return (*static_cast<std::remove_reference_t<F>*>(object))(std::forward<Args>(args)...);
        }) {}

  R operator()(Args... args) const { return call_(object_, std::forward<Args>(args)...); }

 private:
  void* object_;
  R (*call_)(void*, Args...);
};

}  // namespace kestrel::platform
