#pragma once

#include <cstddef>

/// The memory that this process holds, in bytes.
struct MemoryUsage {
  /// Reads how it is now.
  MemoryUsage();

  std::size_t heap = 0;
  std::size_t mapped = 0;  ///< 0 with sanitizers, where it means nothing: they keep what has been freed
};
