#pragma once

/// Numbers in file headers.

#include <cstddef>
#include <cstdint>

/// The unsigned number in the `size` (up to 8) bytes at `bytes`.
inline std::uint64_t ReadNumber(const unsigned char* bytes, std::size_t size, bool isBigEndian) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) {
    value = value << 8 | bytes[isBigEndian ? i : size - 1 - i];
  }
  return value;
}
