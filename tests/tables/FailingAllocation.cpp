#include "tables/FailingAllocation.h"

#include <cstdlib>
#include <new>

namespace kestrel::testing {
namespace {

// Allocations left before the failing one (0: disarmed), and whether it came.
thread_local std::size_t countdown = 0;
thread_local bool hasFailed = false;

void* allocate(std::size_t size) {
  if (countdown > 0 && --countdown == 0) {
    hasFailed = true;
    throw std::bad_alloc();
  }
  if (void* memory = std::malloc(size == 0 ? 1 : size)) return memory;
  throw std::bad_alloc();
}

}  // namespace

FailingAllocation::FailingAllocation(std::size_t n) {
  hasFailed = false;
  countdown = n;
}

FailingAllocation::~FailingAllocation() { countdown = 0; }

bool FailingAllocation::failed() const { return hasFailed; }

}  // namespace kestrel::testing

using kestrel::testing::allocate;

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return allocate(size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}
void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
void operator delete[](void* memory, const std::nothrow_t&) noexcept { std::free(memory); }
