#include "Host/Validate/Engine/FailingAllocations.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

// The C library's own functions by their other names: looking the usual ones up would itself allocate.
extern "C" {
void* SystemMalloc(std::size_t size) __asm__("__libc_malloc");
void SystemFree(void* block) __asm__("__libc_free");
void* SystemCalloc(std::size_t number, std::size_t size) __asm__("__libc_calloc");
void* SystemRealloc(void* block, std::size_t size) __asm__("__libc_realloc");
void* SystemMemalign(std::size_t alignment, std::size_t size) __asm__("__libc_memalign");
}

namespace {

constinit std::atomic<long> g_counted{0};
constinit std::atomic<long> g_failing{0};
constinit std::atomic<long> g_held{0};
constinit std::atomic<bool> g_failsBehind{false};

void Arm(long n, bool andAllBehindIt) {
  g_failing = 0;
  g_failsBehind = andAllBehindIt;
  g_counted = 0;
  g_failing = n;
}

[[gnu::constructor]] void ArmFromEnvironment() {
  if (const char* const text = std::getenv("FAIL_ALLOCATION"); text != nullptr) {
    char* end = nullptr;
    const long n = std::strtol(text, &end, 10);
    Arm(n, *end == '+');
  }
}

/// Counts an allocation; whether it is the one, or one of those, that is to fail.
bool IsToFail() {
  const long counted = ++g_counted;
  const long failing = g_failing;
  const bool fails = failing != 0 && (counted == failing || (counted > failing && g_failsBehind));
  if (fails) {
    errno = ENOMEM;
  }
  return fails;
}

void* Held(void* block) {
  g_held += block != nullptr ? 1 : 0;
  return block;
}

void* Allocate(std::size_t size) { return IsToFail() ? nullptr : Held(SystemMalloc(size)); }

void* AllocateAligned(std::size_t alignment, std::size_t size) {
  return IsToFail() ? nullptr : Held(SystemMemalign(alignment, size));
}

void Free(void* block) {
  g_held -= block != nullptr ? 1 : 0;
  SystemFree(block);
}

void* Reallocate(void* block, std::size_t size) {
  if (block == nullptr) {
    return Allocate(size);
  }
  if (size == 0) {
    Free(block);
    return nullptr;
  }
  return IsToFail() ? nullptr : SystemRealloc(block, size);
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

void FailAllocation(long n, int andAllBehindIt) { Arm(n, andAllBehindIt != 0); }
long CountedAllocations() { return g_counted; }
long HeldAllocations() { return g_held; }

void* malloc(std::size_t size) noexcept { return Allocate(size); }
void free(void* ptr) noexcept { Free(ptr); }
void* calloc(std::size_t nmemb, std::size_t size) noexcept {
  return IsToFail() ? nullptr : Held(SystemCalloc(nmemb, size));
}
void* realloc(void* ptr, std::size_t size) noexcept { return Reallocate(ptr, size); }
void* memalign(std::size_t alignment, std::size_t size) noexcept { return AllocateAligned(alignment, size); }
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return AllocateAligned(alignment, size); }
int posix_memalign(void** memptr, std::size_t alignment, std::size_t size) noexcept {
  if (alignment < sizeof(void*) || (alignment & (alignment - 1)) != 0) {
    return EINVAL;
  }
  void* const made = AllocateAligned(alignment, size);
  if (made == nullptr) {
    return ENOMEM;
  }
  *memptr = made;
  return 0;
}
}
#pragma GCC visibility pop
