#include "Benchmarks/Allocations.h"

#include <cstddef>
#include <cstdlib>
#include <new>

/// Not atomic: the benchmarks have one thread.
static long allocationCount = 0;

long AllocationCount() { return allocationCount; }

// Replaces the operator of the whole process. The array forms call it.
void* operator new(std::size_t size) {
  ++allocationCount;
  if (void* const block = std::malloc(size)) {
    return block;
  }
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t /*size*/) noexcept { std::free(block); }
