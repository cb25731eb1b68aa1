#include "Host/Validate/Support/MemoryUsage.h"

#include "Host/Validate/Engine/FailingAllocations.h"

#include <dlfcn.h>
#include <malloc.h>
#include <unistd.h>
#include <fstream>

namespace {

/// A function that is there only if its library is loaded into this process; null otherwise.
template <class Function>
Function Find(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_DEFAULT, name));
}

}  // namespace

MemoryUsage::MemoryUsage() {
  std::size_t resident = 0;
  // The first two numbers, in pages: the size of the mapped memory, and how much of it is resident.
  std::ifstream("/proc/self/statm") >> mapped >> resident;
  mapped *= static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  // Sanitizers have allocating functions of their own, which know how much is in use.
  if (const auto sanitizer = Find<std::size_t (*)()>("__sanitizer_get_current_allocated_bytes")) {
    heap = sanitizer();
    mapped = 0;
  } else if (const auto held = Find<decltype(&HeldBytes)>("HeldBytes")) {
    heap = static_cast<std::size_t>(held());
    blocks = Find<decltype(&HeldAllocations)>("HeldAllocations")();
  } else {
    // Bytes in use: in the heap, and in blocks with a mapping of their own.
    const struct mallinfo2 info = mallinfo2();
    heap = info.uordblks + info.hblkhd;
  }
}

long CountAllocations() {
  const auto counted = Find<decltype(&CountedAllocations)>("CountedAllocations");
  return counted == nullptr ? -1 : counted();
}

void LookForSpoiltMemory() {
  if (const auto check = Find<decltype(&CheckFreedMemory)>("CheckFreedMemory")) {
    check();
  }
}
