#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

// The header that declares the functions defined at the bottom is left out on purpose: there they are weak.

// The C library's own functions under their other names: looking the usual ones up would itself allocate.
extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t number, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
}

namespace {

constinit std::atomic<long> g_counted{0};
constinit std::atomic<long> g_failing{0};
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

bool IsToFail() {
  const long counted = ++g_counted;
  const long failing = g_failing;
  const bool fails = failing != 0 && (counted == failing || (counted > failing && g_failsBehind));
  errno = fails ? ENOMEM : errno;
  return fails;
}

}  // namespace

extern "C" {

[[gnu::visibility("default")]] void FailAllocation(long n, int andAllBehindIt) { Arm(n, andAllBehindIt != 0); }

[[gnu::visibility("default")]] long CountedAllocations() { return g_counted; }

[[gnu::visibility("default")]] void* malloc(std::size_t size) noexcept {
  return IsToFail() ? nullptr : __libc_malloc(size);
}
[[gnu::visibility("default")]] void* calloc(std::size_t number, std::size_t size) noexcept {
  return IsToFail() ? nullptr : __libc_calloc(number, size);
}
[[gnu::visibility("default")]] void* realloc(void* block, std::size_t size) noexcept {
  return IsToFail() ? nullptr : __libc_realloc(block, size);
}
[[gnu::visibility("default")]] void* memalign(std::size_t alignment, std::size_t size) noexcept {
  return IsToFail() ? nullptr : __libc_memalign(alignment, size);
}
[[gnu::visibility("default")]] void* aligned_alloc(std::size_t alignment, std::size_t size) noexcept {
  return IsToFail() ? nullptr : __libc_memalign(alignment, size);
}
[[gnu::visibility("default")]] int posix_memalign(void** block, std::size_t alignment, std::size_t size) noexcept {
  if (alignment % sizeof(void*) != 0 || (alignment & (alignment - 1)) != 0 || alignment == 0) {
    return EINVAL;
  }
  void* const made = IsToFail() ? nullptr : __libc_memalign(alignment, size);
  if (made == nullptr) {
    return ENOMEM;
  }
  *block = made;
  return 0;
}
}
