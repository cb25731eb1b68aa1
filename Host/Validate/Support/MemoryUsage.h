#pragma once

#include <cstddef>

/// The memory that this process holds.
struct MemoryUsage {
  /// Reads how it is now.
  MemoryUsage();

  std::size_t heap = 0;    ///< bytes
  long blocks = 0;         ///< how many they are in; 0 without the library of FailingAllocations.h
  std::size_t mapped = 0;  ///< bytes; 0 with sanitizers, which keep what has been freed
};

/// Allocations so far; -1 without the library of FailingAllocations.h.
long CountAllocations();

/// Ends this process with a report if freed memory has been written to, where the library can tell.
void LookForSpoiltMemory();
