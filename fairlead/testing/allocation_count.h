// Counts the allocations of a test program. Not installed.
//
// Replaces the global operators new and delete: one source of a program
// includes this.

#ifndef FAIRLEAD_TESTING_ALLOCATION_COUNT_H_
#define FAIRLEAD_TESTING_ALLOCATION_COUNT_H_

#include <cstddef>
#include <cstdlib>
#include <new>

namespace fairlead::internal {

// The allocations since the start of the program.
inline std::size_t allocations = 0;

}  // namespace fairlead::internal

// Not inlined: g++ would warn of std::free() on the result of operator new.
[[gnu::noinline]] void* operator new(std::size_t size) {
  ++fairlead::internal::allocations;
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

// For std::pmr, which names an alignment, though malloc's is enough.
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t) {
  return operator new(size);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t,
                                       std::align_val_t) noexcept {
  std::free(memory);
}

#endif  // FAIRLEAD_TESTING_ALLOCATION_COUNT_H_
