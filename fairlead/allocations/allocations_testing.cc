// Replaces the functions that allocate: malloc() and its like, and so operator
// new, which calls it. Where a sanitizer has replaced those, operator new
// alone.

#include "fairlead/allocations/allocations_testing.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <new>

#include "fairlead/export.h"
#include "fairlead/testing/sanitizers.h"

namespace fairlead::internal {
namespace {

struct Allocations {
  std::atomic<bool> counted = false;
  std::atomic<int> made = 0;
  std::atomic<int> failed = 0;
  std::atomic<int> first_to_fail = 0;
  std::atomic<bool> lasts = false;
  std::atomic<long> live = 0;
};
constinit Allocations allocations;
constinit thread_local bool is_peer = false;

bool FailsNow() {
  if (!allocations.counted || is_peer) return false;
  const int number = allocations.made++;
  const bool fails = allocations.lasts ? number >= allocations.first_to_fail
                                       : number == allocations.first_to_fail;
  if (fails) ++allocations.failed;
  return fails;
}

// Takes the memory that `allocate` returns, or fails.
template <typename Allocate>
void* Allocated(const Allocate& allocate) {
  void* const memory = FailsNow() ? nullptr : allocate();
  if (memory == nullptr)
    errno = ENOMEM;
  else
    ++allocations.live;
  return memory;
}

}  // namespace

FailingAllocations::FailingAllocations(int first, bool lasts) {
  allocations.made = 0;
  allocations.failed = 0;
  allocations.first_to_fail = first;
  allocations.lasts = lasts;
  allocations.counted = true;
}

void FailingAllocations::Stop() { allocations.counted = false; }
int FailingAllocations::failed() { return allocations.failed; }
int FailingAllocations::made() { return allocations.made; }
long LiveAllocations() { return allocations.live; }
void BePeer() { is_peer = true; }

}  // namespace fairlead::internal

using fairlead::internal::Allocated;
using fairlead::internal::allocations;
using fairlead::internal::FailsNow;

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)

namespace {

void* New(std::size_t size, std::size_t alignment) {
  void* const memory = Allocated([=] {
    const std::size_t whole = (size + alignment) / alignment * alignment;
    return alignment == 1 ? std::malloc(whole)
                          : std::aligned_alloc(alignment, whole);
  });
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

void Delete(void* memory) noexcept {
  if (memory != nullptr) --allocations.live;
  std::free(memory);
}

}  // namespace

// Not inlined: g++ warns about a `free` of what `new` returned.
[[gnu::noinline]] FAIRLEAD_EXPORT void* operator new(std::size_t size) {
  return New(size, 1);
}
[[gnu::noinline]] FAIRLEAD_EXPORT void* operator new(
    std::size_t size, std::align_val_t alignment) {
  return New(size, static_cast<std::size_t>(alignment));
}
[[gnu::noinline]] FAIRLEAD_EXPORT void* operator new(
    std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  return Allocated([=] { return std::malloc(size + 1); });
}
[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(void* memory) noexcept {
  Delete(memory);
}
[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, std::size_t /*size*/) noexcept {
  Delete(memory);
}
[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, std::align_val_t /*alignment*/) noexcept {
  Delete(memory);
}
[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, std::size_t /*size*/,
    std::align_val_t /*alignment*/) noexcept {
  Delete(memory);
}
[[gnu::noinline]] FAIRLEAD_EXPORT void operator delete(
    void* memory, const std::nothrow_t& /*tag*/) noexcept {
  Delete(memory);
}

#else

// What this file replaces, under the system library's other names, which are
// reserved: a source may not use them.
extern "C" {

void* SystemMalloc(std::size_t size) asm("__libc_malloc");
void* SystemCalloc(std::size_t count, std::size_t size) asm("__libc_calloc");
void* SystemRealloc(void* memory, std::size_t size) asm("__libc_realloc");
void* SystemMemalign(std::size_t alignment,
                     std::size_t size) asm("__libc_memalign");
void SystemFree(void* memory) asm("__libc_free");

FAIRLEAD_EXPORT void* malloc(std::size_t size) {
  return Allocated([=] { return SystemMalloc(size); });
}

FAIRLEAD_EXPORT void* calloc(std::size_t count, std::size_t size) {
  return Allocated([=] { return SystemCalloc(count, size); });
}

FAIRLEAD_EXPORT void* realloc(void* memory, std::size_t size) {
  if (memory == nullptr) return malloc(size);
  if (FailsNow()) {
    errno = ENOMEM;
    return nullptr;
  }
  return SystemRealloc(memory, size);
}

FAIRLEAD_EXPORT void* aligned_alloc(std::size_t alignment, std::size_t size) {
  return Allocated([=] { return SystemMemalign(alignment, size); });
}

FAIRLEAD_EXPORT void free(void* memory) {
  if (memory != nullptr) --allocations.live;
  SystemFree(memory);
}

}  // extern "C"

#endif
