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

// The C library's own functions by the names under which it also exports them. A look-up by dlsym would itself allocate
// and so call the functions that are being replaced.
extern "C" {
void* SystemMalloc(std::size_t size) __asm__("__libc_malloc");
void SystemFree(void* block) __asm__("__libc_free");
}

namespace {

// Initialized at compile time: other libraries allocate before this one's constructors run.
constinit std::atomic<long> g_counted{0};
constinit std::atomic<long> g_failing{0};
constinit std::atomic<long> g_held{0};
constinit std::atomic<long> g_heldBytes{0};
constinit std::atomic<bool> g_failsBehind{false};

/// FailAllocation. Disarms first, so that no allocation of another thread fails while the count restarts.
void Arm(long n, bool andAllBehindIt) {
  g_failing = 0;
  g_failsBehind = andAllBehindIt;
  g_counted = 0;
  g_failing = n;
}

/// A malformed FAIL_ALLOCATION counts as 0: none fails.
[[gnu::constructor]] void ArmFromEnvironment() {
  if (const char* const text = std::getenv("FAIL_ALLOCATION"); text != nullptr) {
    char* end = nullptr;
    const long n = std::strtol(text, &end, 10);
    Arm(n, *end == '+');
  }
}

/// Counts an allocation. True, with errno set as malloc sets it, for the one or those that must fail.
bool IsToFail() {
  const long counted = ++g_counted;
  const long failing = g_failing;
  const bool fails = failing != 0 && (counted == failing || (counted > failing && g_failsBehind));
  if (fails) {
    errno = ENOMEM;
  }
  return fails;
}

/// Stored directly in front of each block. Its alignment of 16 is what malloc guarantees to callers.
struct alignas(16) Header {
  std::size_t size;
  void* base;           ///< the block as the C library has allocated it
  std::uintptr_t mark;  ///< Mark(), which tells the block's state and any other memory from a header
};

/// States of a block, part of its mark.
constexpr std::uintptr_t kUsed = 0x5AFE0B10;
constexpr std::uintptr_t kFreed = 0xF4EED;
/// Fills the bytes behind a block; another value there means a write beyond its end.
constexpr unsigned char kEdge = 0xC5;
/// Fills freed blocks; another value there means a write after the free.
constexpr unsigned char kFill = 0xDD;
/// Bytes behind each block that are checked.
constexpr std::size_t kEdgeSize = 16;
/// Larger sizes and alignments fail; smaller ones cannot overflow when they are added up.
constexpr std::size_t kMost = SIZE_MAX / 4;

/// The header of a block that Place has returned.
Header* HeaderOf(void* block) { return static_cast<Header*>(block) - 1; }

/// The mark of a header in this state. It depends on address and size, so that a copied header, or one whose size has
/// been overwritten, does not match.
std::uintptr_t Mark(const Header* header, std::uintptr_t state) {
  return reinterpret_cast<std::uintptr_t>(header) ^ state ^ header->size;
}

/// Ends the process with a message. Allocates nothing: the heap may be damaged.
[[noreturn]] void Report(const char* fault, std::size_t size) {
  std::array<char, 128> text{};
  const int length = std::snprintf(text.data(), text.size(), "memory: %s a block of %zu bytes\n", fault, size);
  static_cast<void>(!write(STDERR_FILENO, text.data(), static_cast<std::size_t>(length)));
  std::abort();
}

/// Whether all bytes have this value: the first has it, and each equals its successor.
bool AreAll(const unsigned char* bytes, std::size_t size, unsigned char value) {
  return size == 0 || (bytes[0] == value && std::memcmp(bytes, bytes + 1, size - 1) == 0);
}

/// The blocks that were freed last, in a ring. None is reused while it is here, so that writes to it show.
class Quarantine {
 public:
  /// Takes ownership of a freed and filled block; checks and frees the oldest one.
  void Add(Header* header) {
    // A spin lock: it needs no construction, and the critical section is a few instructions.
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
  /// Takes no lock: no other thread may free memory meanwhile.
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
/// Bytes of the largest block that waits in the quarantine, which so holds 4 MiB at most.
constexpr std::size_t kMostInQuarantine = std::size_t{16} * 1024;

/// Writes the header and the edge around a block in `base`, memory of the C library; null when that is null.
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

/// A block of `size` bytes; null when it must fail or memory is out. `alignment` is a power of 2. A refused size
/// counts as an allocation too.
void* AllocateAligned(std::size_t alignment, std::size_t size) {
  const std::size_t beside = sizeof(Header) + kEdgeSize + (alignment > sizeof(Header) ? alignment : 0);
  return IsToFail() || size > kMost || alignment > kMost
             ? nullptr
             : Place(SystemMalloc(beside + size), std::max(alignment, alignof(Header)), size);
}

void* Allocate(std::size_t size) { return AllocateAligned(alignof(Header), size); }

/// Checks the block and frees it, or ends the process with a report.
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
  // A larger block goes back at once; its beginning is filled, so that reading it has an effect.
  if (header->size <= kMostInQuarantine) {
    std::memset(bytes, kFill, header->size);
    g_quarantine.Add(header);
  } else {
    std::memset(bytes, kFill, kMostInQuarantine);
    SystemFree(header->base);
  }
}

/// realloc that always moves, so that a stale pointer to the old block shows. Size 0 frees, as in glibc.
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

// The library is compiled with hidden visibility; only exported functions replace those of the C library.
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
  // The product must be checked: a wrapped one would give a block that is too small.
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
// The C library's own function would read its chunk header in front of the block, where Header is.
std::size_t malloc_usable_size(void* ptr) noexcept { return ptr == nullptr ? 0 : HeaderOf(ptr)->size; }
int posix_memalign(void** memptr, std::size_t alignment, std::size_t size) noexcept {
  // POSIX: a power of 2 and a multiple of sizeof(void*); errno is not set, the error is returned.
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
