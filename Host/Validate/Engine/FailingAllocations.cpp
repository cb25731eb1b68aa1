#include "Host/Validate/Engine/FailingAllocations.h"

#include <unistd.h>
#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

// The C library's own functions by their other names: looking the usual ones up would itself allocate.
extern "C" {
void* SystemMalloc(std::size_t size) __asm__("__libc_malloc");
void SystemFree(void* block) __asm__("__libc_free");
}

namespace {

constinit std::atomic<long> g_counted{0};
constinit std::atomic<long> g_failing{0};
constinit std::atomic<long> g_held{0};
constinit std::atomic<long> g_heldBytes{0};
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

/// In front of each block.
struct alignas(16) Header {
  std::size_t size;
  void* base;           ///< what the C library has allocated
  std::uintptr_t mark;  ///< whether the block is in use, told from memory that is not a header
};

constexpr std::uintptr_t kUsed = 0x5AFE0B10;
constexpr std::uintptr_t kFreed = 0xF4EED;
constexpr unsigned char kEdge = 0xC5;
constexpr unsigned char kFill = 0xDD;
constexpr std::size_t kEdgeSize = 16;
constexpr std::size_t kMost = SIZE_MAX / 4;

Header* HeaderOf(void* block) { return static_cast<Header*>(block) - 1; }

std::uintptr_t Mark(const Header* header, std::uintptr_t state) {
  return reinterpret_cast<std::uintptr_t>(header) ^ state ^ header->size;
}

[[noreturn]] void Report(const char* fault, std::size_t size) {
  std::array<char, 128> text{};
  const int length = std::snprintf(text.data(), text.size(), "memory: %s a block of %zu bytes\n", fault, size);
  static_cast<void>(!write(STDERR_FILENO, text.data(), static_cast<std::size_t>(length)));
  std::abort();
}

bool AreAll(const unsigned char* bytes, std::size_t size, unsigned char value) {
  return size == 0 || (bytes[0] == value && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

/// Blocks that were freed lately, oldest first; each waits until it is overtaken by others, to see whether it is written
/// to meanwhile.
class Quarantine {
 public:
  void Add(Header* header) {
    while (m_lock.test_and_set(std::memory_order_acquire)) {
    }
    std::swap(header, m_headers[m_next]);
    m_next = (m_next + 1) % m_headers.size();
    m_lock.clear(std::memory_order_release);
    if (header != nullptr) {
      Check(header);
      SystemFree(header->base);
    }
  }
  void CheckAll() {
    for (Header* const header : m_headers) {
      if (header != nullptr) {
        Check(header);
      }
    }
  }

 private:
  static void Check(Header* header) {
    if (!AreAll(reinterpret_cast<unsigned char*>(header + 1), header->size, kFill)) {
      Report("a write after the free of", header->size);
    }
  }

  std::array<Header*, 256> m_headers{};
  std::size_t m_next = 0;
  std::atomic_flag m_lock;
};

constinit Quarantine g_quarantine;
constexpr std::size_t kMostInQuarantine = std::size_t{16} * 1024;

void* Place(void* base, std::size_t alignment, std::size_t size) {
  if (base == nullptr) {
    return nullptr;
  }
  auto* const first = static_cast<unsigned char*>(base) + sizeof(Header);
  const std::size_t excess = reinterpret_cast<std::uintptr_t>(first) % alignment;
  unsigned char* const block = excess == 0 ? first : first + (alignment - excess);
  Header* const header = HeaderOf(block);
  header->size = size;
  header->base = base;
  header->mark = Mark(header, kUsed);
  std::memset(block + size, kEdge, kEdgeSize);
  ++g_held;
  g_heldBytes += static_cast<long>(size);
  return block;
}

void* AllocateAligned(std::size_t alignment, std::size_t size) {
  const std::size_t beside = sizeof(Header) + kEdgeSize + (alignment > sizeof(Header) ? alignment : 0);
  return IsToFail() || size > kMost || alignment > kMost
             ? nullptr
             : Place(SystemMalloc(beside + size), std::max(alignment, alignof(Header)), size);
}

void* Allocate(std::size_t size) { return AllocateAligned(alignof(Header), size); }

void Free(void* block) {
  if (block == nullptr) {
    return;
  }
  Header* const header = HeaderOf(block);
  if (header->mark == Mark(header, kFreed)) {
    Report("a second free of", header->size);
  }
  if (header->mark != Mark(header, kUsed)) {
    Report("a write in front of, or the free of what is not,", header->size);
  }
  auto* const bytes = static_cast<unsigned char*>(block);
  if (!AreAll(bytes + header->size, kEdgeSize, kEdge)) {
    Report("a write behind", header->size);
  }
  --g_held;
  g_heldBytes -= static_cast<long>(header->size);
  header->mark = Mark(header, kFreed);
  if (header->size <= kMostInQuarantine) {
    std::memset(bytes, kFill, header->size);
    g_quarantine.Add(header);
  } else {
    std::memset(bytes, kFill, kMostInQuarantine);
    SystemFree(header->base);
  }
}

void* Reallocate(void* block, std::size_t size) {
  if (block == nullptr) {
    return Allocate(size);
  }
  if (size == 0) {
    Free(block);
    return nullptr;
  }
  void* const moved = Allocate(size);
  if (moved != nullptr) {
    std::memcpy(moved, block, std::min(size, HeaderOf(block)->size));
    Free(block);
  }
  return moved;
}

}  // namespace

#pragma GCC visibility push(default)
extern "C" {

void FailAllocation(long n, int andAllBehindIt) { Arm(n, andAllBehindIt != 0); }
long CountedAllocations() { return g_counted; }
long HeldAllocations() { return g_held; }
long HeldBytes() { return g_heldBytes; }
void CheckFreedMemory() { g_quarantine.CheckAll(); }

void* malloc(std::size_t size) noexcept { return Allocate(size); }
void free(void* ptr) noexcept { Free(ptr); }
void* calloc(std::size_t nmemb, std::size_t size) noexcept {
  std::size_t bytes = 0;
  if (__builtin_mul_overflow(nmemb, size, &bytes)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* const block = Allocate(bytes);
  return block == nullptr ? nullptr : std::memset(block, 0, bytes);
}
void* realloc(void* ptr, std::size_t size) noexcept { return Reallocate(ptr, size); }
void* memalign(std::size_t alignment, std::size_t size) noexcept { return AllocateAligned(alignment, size); }
void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept { return AllocateAligned(alignment, size); }
std::size_t malloc_usable_size(void* ptr) noexcept { return ptr == nullptr ? 0 : HeaderOf(ptr)->size; }
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
