// Makes one later allocation of the calling thread fail with std::bad_alloc,
// to check that code guards against what the C++ runtime throws. The source
// file replaces the global operator new and delete of the test program it is
// built into (plain malloc and free, so sanitizers still see matching pairs);
// nothing fails until a FailingAllocation is armed.
#pragma once

#include <cstddef>

namespace kestrel::testing {

class FailingAllocation {
 public:
  /// The `n`th allocation of this thread from now on (1 = the next) throws
  /// std::bad_alloc; the ones after it succeed again.
  explicit FailingAllocation(std::size_t n);
  /// Disarms, if the failure has not happened yet.
  ~FailingAllocation();
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  /// Whether the armed allocation has failed.
  bool failed() const;
};

}  // namespace kestrel::testing
